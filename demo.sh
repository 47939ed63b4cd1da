#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# ./demo.sh: opens the window on an S3 bucket and a TAMS repository that run on this machine, in a
# temporary home; needs no cloud account.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/scripts/common.sh"

need_packages "${build_packages[@]}" openssl python3
build release pellory
exec python3 "$root/scripts/demo.py" "$root/build/release/pellory"
