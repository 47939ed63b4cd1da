#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# packaging/windows/check.sh ZIP INSTALLER: looks at what is in the packages for Windows.
# scripts/windows-test.sh runs them.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
version=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' "$repository/CMakeLists.txt")
installer=$(readlink -f "$2")
objdump=x86_64-w64-mingw32-objdump

fail() {
    printf 'packaging: %s\n' "$*" >&2
    exit 1
}

unzip -q "$1" -d "$folder"
cd "$folder"/*
for file in pellory.exe LICENSE.txt licenses/README.txt licenses/LGPL-3.0.txt licenses/GPL-3.0.txt \
    platforms/qwindows.dll platforms/qoffscreen.dll styles/qwindowsvistastyle.dll; do
    [[ -f $file ]] || fail "$file is missing"
done
# What is in no file here is Windows' own.
for file in *.exe *.dll */*.dll; do
    for name in $("$objdump" -p "$file" | sed -n 's/^\s*DLL Name: //p'); do
        [[ -e $name || ! $name =~ ^(Qt|lib) ]] || fail "$file needs $name"
    done
done
for file in pellory.exe "$installer"; do
    header=$("$objdump" -p "$file")
    for property in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
        grep -q "$property" <<<"$header" || fail "$file: no $property"
    done
    # Texts of resources have 16 bits for a character.
    strings -el "$file" | grep -qx "$version" || fail "$file does not tell its version $version"
done
grep -q "name=\"Corvane.Pellory\" version=\"$version.0\"" pellory.exe || fail "another manifest"
# Windows 10 and 11, which go by the same number.
[[ $(grep -ao '<supportedOS ' pellory.exe | wc -l) == 1 ]] || fail "another number of Windows versions"
for guard in 'stack smashing detected' 'buffer overflow detected'; do
    grep -qaF "$guard" pellory.exe || fail "the program does not look for: $guard"
done
! grep -qaF "$repository" pellory.exe || fail "the program names the folder that it was built in"
[[ $(grep -c '^    Source: https://' licenses/README.txt) == 5 ]] ||
    fail "the licences do not tell where the sources are"
! grep 'unknown version' licenses/README.txt || fail "the licences lack a version"
