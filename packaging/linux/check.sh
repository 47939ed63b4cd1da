#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# packaging/linux/check.sh BUILD|PACKAGE [hardened]: takes what the folder BUILD installs, or what is
# in the Debian package, and looks at every file that a desktop, a reader or a shell takes in; with
# "hardened" also at what the program was built with.
set -euo pipefail
given=$(readlink -f "$1")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
if [[ -d $given ]]; then
    DESTDIR=$root cmake --install "$given" --prefix /usr >/dev/null
else
    dpkg-deb -x "$given" "$root"
fi
share=$root/usr/share
program=$root/usr/bin/pellory

fail() {
    printf 'packaging: %s\n' "$*" >&2
    exit 1
}

# What a package says of itself, and that it is the same wherever it is made.
if [[ ! -d $given ]]; then
    depends=" $(dpkg-deb -f "$given" Depends),"
    for name in ca-certificates 'libcurl4 (>= 7.87)' libsodium23 libqt5core5a libqt5gui5 \
        libqt5widgets5 libc6 libstdc++6; do
        [[ $depends == *" $name"[\ ,]* ]] || fail "the package does not depend on $name: $depends"
    done
    [[ -n $(dpkg-deb -f "$given" Homepage) ]] || fail "the package names no homepage"
    ! dpkg-deb -c "$given" | grep -qv '^\(-rw-r--r--\|[-d]rwxr-xr-x\) root/root ' ||
        fail "a file of the package has other rights or another owner than it should"
    (cd "$root" && md5sum --quiet -c <(dpkg-deb --ctrl-tarfile "$given" | tar xO ./md5sums)) ||
        fail "the package's checksums are wrong"
    ! grep -qaF "$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)" "$program" ||
        fail "the program names the folder that it was built in"
fi
if [[ ${2:-} == hardened ]]; then
    # Debian's own start files are not marked for the control flow protection, and so the program is
    # not either; its functions carry the marks all the same.
    hardening-check --nocfprotection --quiet "$program" || fail "hardening-check"
    [[ $(uname -m) != x86_64 ]] || (($(objdump -d "$program" | grep -c 'endbr64') > 1000)) ||
        fail "functions without control flow protection"
fi

desktop-file-validate "$share/applications/pellory.desktop"
appstreamcli validate --no-net --explain "$share/metainfo/com.corvane.pellory.metainfo.xml"

page=$root/pellory.1
gunzip -c "$share/man/man1/pellory.1.gz" >"$page"
warnings=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z "$page" 2>&1) || true
warnings+=$(mandoc -T lint -W style "$page") || true
[[ -z $warnings ]] || fail "the manual page: $warnings"
page=$(LC_ALL=C.UTF-8 MANWIDTH=80 man -E UTF-8 -l "$page" | col -b)

# Every option and every message of the program is in the page, every option is completed.
status=0
usage=$(timeout 60 "$program" '?') || status=$?
[[ $status == 255 ]] || fail "the installed program ends with $status"
options=$(grep -o $'^\t-[a-z]' <<<"$usage" | tr -d '\t' | sort -u)
[[ $(wc -l <<<"$options") == 8 ]] || fail "the list of options was not understood"
for option in $options; do
    grep -q -- "^ *$option\b" <<<"$page" || fail "$option is not in the manual page"
done
for message in 'Could not open source url' 'Could not open target'; do
    grep -qa "$message" "$program" || fail "the program does not say: $message"
    grep -q "$message" <<<"$page" || fail "not in the manual page: $message"
done
# shellcheck source=/dev/null
completed=$(
    source "$share/bash-completion/completions/pellory"
    COMP_WORDS=(pellory -)
    COMP_CWORD=1
    _pellory
    printf '%s\n' "${COMPREPLY[@]}" | sort
)
[[ $completed == "$options" ]] || fail "completion offers: $completed"

for size in 16 24 32 48 64 128 256; do
    icon=$share/icons/hicolor/${size}x$size/apps/pellory.png
    # Width and height stand in bytes 16 to 23.
    [[ $(od -An -tu1 -j16 -N8 "$icon" | xargs) == "0 0 $((size / 256)) $((size % 256)) 0 0 $((size / 256)) $((size % 256))" ]] ||
        fail "$icon is not $size pixels wide and high"
done

XDG_DATA_HOME=$root/none XDG_DATA_DIRS=$share update-mime-database "$share/mime"
grep -q '^50:application/x-pellory-stream:\*\.stream$' "$share/mime/globs2" ||
    fail "the type of .stream files is not known"
