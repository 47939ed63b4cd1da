#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# ./run.sh [arguments]: builds Pellory when something changed and starts it with the arguments.
set -euo pipefail
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/scripts/common.sh"

program=$root/build/release/pellory
stamp=$root/build/release/run.stamp
sources=(CMakeLists.txt CMakePresets.json cmake app browse core platform resources store ui)

# Folders count too: their time changes when a file in them goes.
changed() {
    [[ -x $program && -e $stamp ]] || return 0
    local path
    for path in "${sources[@]}"; do
        if [[ -e $root/$path && -n $(find "$root/$path" -newer "$stamp" -print -quit) ]]; then
            return 0
        fi
    done
    return 1
}

if changed; then
    mkdir -p "$root/build/release"
    # Two first runs at once build one after the other.
    exec 9>"$root/build/run.lock"
    flock -w 3600 9 || die "another ./run.sh has been building for an hour"
    if changed; then
        need_packages "${build_packages[@]}"
        # Taken before the build, so that an edit during it counts as a change.
        touch "$stamp.new"
        build release pellory
        mv "$stamp.new" "$stamp"
    fi
    exec 9>&-
fi
exec "$program" "$@"
