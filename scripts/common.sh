# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034

# Shared by run.sh, test.sh, package.sh and .ci/run: what they install and how they build. Everything
# here prints to standard error, because run.sh passes the program's own output on unchanged.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(
    g++ cmake ninja-build pkg-config
    qtbase5-dev libcurl4-openssl-dev libsodium-dev ca-certificates
)
# What packaging/linux/check.sh looks at a package with.
check_packages=(
    desktop-file-utils appstream man-db mandoc groff bsdextrautils shared-mime-info binutils devscripts
)
# The object store that the tests run, and what they use beside it.
test_packages=(
    python3-swift openssl python3 python3-nacl xvfb "${check_packages[@]}"
)
qt6_packages=(qt6-base-dev) # for -DPELLORY_QT=6
deb_packages=(dpkg-dev lintian "${check_packages[@]}")
windows_packages=(g++-mingw-w64-x86-64-posix nsis unzip zip)
wine_packages=(wine wine64 libsodium23 osslsigncode xdotool imagemagick)
ci_packages=(clang-format-14 clang-tidy-14)

say() {
    printf '%s\n' "$*" >&2
}

# Ends with 2: 1 and 255 are the program's own.
die() {
    say "$(basename "$0"): $*"
    exit 2
}

missing_packages() {
    local package
    for package in "$@"; do
        if [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) != installed ]]; then
            printf '%s\n' "$package"
        fi
    done
}

# Runs a command as root.
as_root() {
    if [[ $(id -u) == 0 ]]; then
        "$@"
    else
        sudo "$@"
    fi
}

# The names of the services that are installed, systemd's units and init scripts.
known_services() {
    find /{,usr/}lib/systemd/{system,user} /etc/init.d -mindepth 1 -printf '%f\n' 2>/dev/null || true
}

# disable_new_services KNOWN: keeps services that are not among KNOWN from starting with the machine.
# The package manager remembers that they were enabled, and an update leaves them as they are then.
disable_new_services() {
    local links link unit names=()
    links=$(find /etc/systemd/{system,user} /etc/rc[2-5S].d -type l ! -lname /dev/null \
        ! -path '/etc/rc*/K*' -printf '%p\t%l\n' 2>/dev/null) || true
    while IFS=$'\t' read -r link unit; do
        unit=${unit##*/}
        if [[ -z $link ]] || grep -qxF -e "$unit" <<<"$1"; then
            continue
        fi
        case $link in
        /etc/rc*) as_root mv "$link" "${link%/*}/K${link##*/S}" ;;
        *)
            as_root rm "$link"
            names+=("$unit")
            ;;
        esac
    done <<<"$links"
    ((${#names[@]} == 0)) ||
        say "Not to start with the machine: $(printf '%s\n' "${names[@]}" | sort -u | xargs)"
}

# Installs without starting services, now or with the machine: the tests start their own, on ports of
# their own, and a machine without an init system could not start them anyway.
apt_install() {
    local policy=/usr/sbin/policy-rc.d made=0 status=0 known
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=600)
    apt+=(-o Acquire::http::Timeout=60 -o Acquire::https::Timeout=60 -o Acquire::Retries=3)
    known=$(known_services)
    if [[ ! -e $policy ]]; then
        printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
        as_root chmod 755 "$policy"
        made=1
    fi
    { as_root "${apt[@]}" update && as_root "${apt[@]}" install -y --no-install-recommends "$@"; } \
        >&2 || status=$?
    if [[ $made == 1 ]]; then
        as_root rm -f "$policy"
    fi
    disable_new_services "$known"
    return "$status"
}

# Installs those of the packages that are not there yet.
need_packages() {
    local missing tool
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        # Another system: its own packages may do.
        for tool in c++ cmake ninja pkg-config; do
            command -v "$tool" >/dev/null ||
                die "'$tool' is missing, and this is not Debian: there is no apt-get to install it" \
                    "with. Install what these Debian packages hold, then try again: $*"
        done
        say "No apt-get here; using what is installed."
        return
    fi
    missing=$(missing_packages "$@" | tr '\n' ' ')
    if [[ -z $missing ]]; then
        return
    fi
    if [[ $(id -u) != 0 ]] && ! command -v sudo >/dev/null; then
        die "packages are missing, and only root can install them. Run this as root:" \
            "apt-get install --no-install-recommends $missing"
    fi
    say "Installing: $missing"
    # shellcheck disable=SC2086
    apt_install $missing || die "apt-get could not install: $missing"
}

# The machine's release of Debian, and the mirror that it gets its packages from.
debian_release() {
    (. /etc/os-release && echo "$VERSION_CODENAME")
}
debian_mirror() {
    # shellcheck disable=SC2016
    apt-get indextargets --format '$(RELEASE) $(SITE)' 'Created-By: Packages' |
        sed -n "s/^$(debian_release) //p" | head -n 1
}

# build PRESET [TARGET]: configures and builds, into build/PRESET.
build() {
    command -v "${CXX:-c++}" >/dev/null ||
        die "there is no C++ compiler '${CXX:-c++}'. Install g++, or name one in CXX."
    (
        cd "$root" &&
            cmake --preset "$1" &&
            cmake --build --preset "$1" --target "${2:-all}"
    ) >&2 || die "the build of preset '$1' failed; the reason stands above."
}

# Sets PELLORY_WINDOWS_SYSROOT, the folder of Windows libraries, unless it is: to one that is unpacked
# from an archive beside the repository, where there is such an archive.
need_windows_sysroot() {
    local archive=$root/../shared/windows-sysroot.tar.xz made=$root/build/windows-sysroot
    if [[ -z ${PELLORY_WINDOWS_SYSROOT:-} && -e $archive ]]; then
        if [[ ! -e $made/README ]]; then
            mkdir -p "$made"
            tar xf "$archive" -C "$made" --strip-components=1 || die "$archive cannot be unpacked"
        fi
        PELLORY_WINDOWS_SYSROOT=$made
    fi
    [[ -d ${PELLORY_WINDOWS_SYSROOT:-} ]] ||
        die "PELLORY_WINDOWS_SYSROOT must name a folder of Windows libraries;" \
            "scripts/windows-sysroot.sh makes one."
    export PELLORY_WINDOWS_SYSROOT
}
