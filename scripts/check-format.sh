#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# Fails when clang-format would change a source file; "--fix" changes it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mode=(--dry-run -Werror)
if [[ ${1:-} == --fix ]]; then
    mode=(-i)
fi
git ls-files -z -- '*.h' '*.cpp' | xargs -0 clang-format-14 "${mode[@]}"
