#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# ./test.sh [ctest options]: builds everything and runs all tests.
set -euo pipefail
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/scripts/common.sh"

need_packages "${build_packages[@]}" "${test_packages[@]}"
build release
cd "$root"
QT_QPA_PLATFORM=offscreen exec ctest --preset release "$@"
