#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# ./package.sh [deb|windows|all]: makes the packages that users get, the Debian package by default,
# checks them and puts them into build/packages with their SHA256SUMS. Equal sources make equal
# packages, in whatever folder and at whatever time. A command in PELLORY_SIGN_COMMAND signs what is
# for Windows, see docs/packaging.md.
set -euo pipefail
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/scripts/common.sh"

kind=${1:-deb}
[[ $# -le 1 && $kind =~ ^(deb|windows|all)$ ]] || die "usage: ./package.sh [deb|windows|all]"
umask 022
export TZ=UTC LC_ALL=C.UTF-8
export CXXFLAGS="${CXXFLAGS:-} -ffile-prefix-map=$root=."
cd "$root"
if [[ -z ${SOURCE_DATE_EPOCH:-} ]]; then
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null) ||
        die "this is no git repository: SOURCE_DATE_EPOCH must tell the time of the sources"
fi
export SOURCE_DATE_EPOCH
packages=$root/build/packages
work=$root/build/package
rm -rf "$packages" "$work"
mkdir -p "$packages" "$work"

# made PRESET GENERATOR...: builds the preset afresh, without tests, and makes its packages.
made() {
    local dir=$work/$1
    (
        cmake --preset "$1" -B "$dir" -DBUILD_TESTING=OFF &&
            cmake --build "$dir" &&
            cpack --config "$dir/CPackConfig.cmake" -B "$dir" -G "$2"
    ) >&2 || die "the packages of preset '$1' could not be made; the reason stands above."
}

# cpack's own files hold sizes and orders that depend on the file system, so they are packed again.
deb() {
    local package tree=$work/tree size
    need_packages "${build_packages[@]}" "${deb_packages[@]}"
    made release DEB
    package=$(basename "$work"/release/pellory_*.deb)
    dpkg-deb -R "$work/release/$package" "$tree"
    # As dpkg-gencontrol counts: KiB begun by each file, one for each folder.
    size=$(find "$tree" -mindepth 1 ! -path "$tree/DEBIAN*" -printf '%y %s\n' |
        awk '{ sum += $1 == "f" ? int(($2 + 1023) / 1024) : 1 } END { print sum }')
    sed -i "s/^Installed-Size: .*/Installed-Size: $size/" "$tree/DEBIAN/control"
    find "$tree" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group -Zxz -b "$tree" "$packages/$package" >&2
    lintian --fail-on error "$packages/$package" >&2 || die "lintian refuses $package"
    "$root/packaging/linux/check.sh" "$packages/$package" hardened >&2
}

windows() {
    local name
    need_windows_sysroot
    need_packages "${build_packages[@]}" "${windows_packages[@]}"
    made windows "ZIP;NSIS"
    name=$(basename "$work"/windows/pellory-*.exe .exe)
    (
        cd "$work"/windows/_CPack_Packages/*/ZIP
        find "$name" -type f | sort | zip -9 -q -X -@ "$packages/$name.zip"
    )
    cp "$work/windows/$name.exe" "$packages"
    "$root/packaging/windows/check.sh" "$packages/$name.zip" "$packages/$name.exe" >&2
}

[[ $kind == windows ]] || deb
[[ $kind == deb ]] || windows
cd "$packages"
sha256sum -- pellory* >SHA256SUMS
say "In $packages:"
cat SHA256SUMS
