#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# scripts/windows-sysroot.sh DIR: makes DIR, a folder of Windows libraries (Qt, libcurl, libsodium),
# from Debian's source packages with Debian's mingw-w64. A step that is done is not done again, so a
# run that was stopped goes on when it is started again. DIR.build, beside it, holds sources and
# objects and may go afterwards.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[[ $# == 1 ]] || die "usage: scripts/windows-sysroot.sh DIR"
mkdir -p "$1" "$1.build"
dir=$(cd "$1" && pwd)
work=$(cd "$1.build" && pwd)
host=x86_64-w64-mingw32
jobs=${PELLORY_JOBS:-$(nproc)}

need_packages g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix g++ make cmake ninja-build \
    pkg-config python3 perl dpkg-dev libtool autoconf automake ca-certificates
say "This takes about an hour on two processors, nearly all of it for Qt."

# step NAME COMMAND...: runs the command once, in the folder of the sources.
step() {
    local name=$1 begin=$SECONDS
    shift
    if [[ -e $work/$name.done ]]; then
        say "== $name: done before"
        return
    fi
    say "== $name"
    (cd "$work" && "$@") >"$work/$name.log" 2>&1 ||
        die "$name failed; $work/$name.log tells why. Start again to go on from here."
    touch "$work/$name.done"
    say "== $name: $((SECONDS - begin)) s"
}

# The sources of the same Debian release as the compiler, by a list of our own: the machine's need
# not name sources.
lists() {
    local release
    release=$(debian_release)
    mkdir -p apt/lists/partial apt/cache/archives/partial
    local keys=/usr/share/keyrings/debian-archive-keyring.gpg mirror
    mirror=$(debian_mirror)
    printf 'deb-src [signed-by=%s] %s %s main\n' "$keys" "$mirror" "$release" \
        "$keys" "$mirror" "$release-updates" >apt/sources.list
    printf '%s\n' "Dir::Etc::SourceList \"$work/apt/sources.list\";" 'Dir::Etc::SourceParts "-";' \
        "Dir::State::Lists \"$work/apt/lists\";" "Dir::Cache \"$work/apt/cache\";" \
        'APT::Sandbox::User "root";' >apt/apt.conf
    APT_CONFIG=$work/apt/apt.conf apt-get update
}

# fetch PACKAGE: unpacked and patched, in a folder of the package's name.
fetch() {
    rm -rf "$1" "fetch-$1"
    mkdir "fetch-$1"
    (cd "fetch-$1" && APT_CONFIG=$work/apt/apt.conf apt-get source "$1")
    # The licences that are shipped name the version.
    touch "$dir/sources.txt"
    sed -i "/^$1 /d" "$dir/sources.txt"
    sed -n "0,/^Version: /s/^Version: /$1 /p" "fetch-$1"/*.dsc >>"$dir/sources.txt"
    mv "fetch-$1"/*/ "$1"
    rm -rf "fetch-$1"
}

make_sodium() {
    cd libsodium
    autoreconf -fi
    ./configure --host=$host --prefix="$dir" --disable-static --disable-ssp
    make -j"$jobs"
    make install
}

make_curl() {
    cmake -S curl -B curl-build -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_C_COMPILER=$host-gcc-posix -DCMAKE_RC_COMPILER=$host-windres \
        -DCMAKE_FIND_ROOT_PATH=/usr/$host -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
        -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY \
        -DCMAKE_INSTALL_PREFIX="$dir" -DCMAKE_BUILD_TYPE=Release -DCURL_USE_SCHANNEL=ON \
        -DHTTP_ONLY=ON -DCURL_USE_OPENSSL=OFF -DCURL_USE_LIBSSH2=OFF -DCURL_ZLIB=OFF \
        -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF
    cmake --build curl-build -j"$jobs"
    cmake --install curl-build --strip
}

# mkspecs name the compiler without its variant, which may be the one without std::thread.
posix_compilers() {
    local name
    mkdir -p compilers
    for name in gcc g++; do
        ln -sf "$(command -v $host-$name-posix)" "compilers/$host-$name"
    done
}

configure_qt() {
    posix_compilers
    rm -rf qt-build
    mkdir qt-build
    cd qt-build
    # Debian's tarball lacks wintab.h, hence no tablet events.
    PATH=$work/compilers:$PATH ../qtbase-opensource-src/configure -xplatform win32-g++ \
        -device-option CROSS_COMPILE=$host- -prefix "$dir" -opensource -confirm-license -release \
        -shared -nomake examples -nomake tests -no-opengl -no-feature-sql -no-feature-network \
        -no-feature-printer -no-feature-tabletevent -no-openssl -no-dbus -no-icu -no-pch \
        -qt-zlib -qt-libpng -qt-libjpeg -qt-freetype -qt-pcre -qt-harfbuzz
}

make_qt() {
    cd qt-build
    PATH=$work/compilers:$PATH make -j"$jobs"
    PATH=$work/compilers:$PATH make install
}

step sources-list lists
for package in libsodium curl qtbase-opensource-src; do
    step "sources-$package" fetch "$package"
done
step libsodium make_sodium
step curl make_curl
step qt-configure configure_qt
step qt make_qt

say "Ready: export PELLORY_WINDOWS_SYSROOT=$dir; $work may go."
