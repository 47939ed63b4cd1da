#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# packaging/linux/check.sh BUILD: installs from the folder BUILD into a temporary one and looks at
# every file that a desktop, a reader or a shell takes in.
set -euo pipefail
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR=$root cmake --install "$1" --prefix /usr >/dev/null
share=$root/usr/share

fail() {
    printf 'packaging: %s\n' "$*" >&2
    exit 1
}

desktop-file-validate "$share/applications/pellory.desktop"
appstreamcli validate --no-net --explain "$share/metainfo/com.corvane.pellory.metainfo.xml"

warnings=$(MANROFFSEQ='' MANWIDTH=80 LC_ALL=C.UTF-8 \
    man --warnings -E UTF-8 -l -Tutf8 -Z "$share/man/man1/pellory.1.gz" 2>&1 >/dev/null)
[[ -z $warnings ]] || fail "man warns: $warnings"
page=$(LC_ALL=C.UTF-8 MANWIDTH=80 man -E UTF-8 -l "$share/man/man1/pellory.1.gz" | col -b)

# Every option and every message of the program is in the page, every option is completed.
status=0
usage=$("$root/usr/bin/pellory" '?') || status=$?
[[ $status == 255 ]] || fail "the installed program ends with $status"
options=$(grep -o $'^\t-[a-z]' <<<"$usage" | tr -d '\t' | sort -u)
[[ $(wc -l <<<"$options") == 8 ]] || fail "the list of options was not understood"
for option in $options; do
    grep -q -- "^ *$option\b" <<<"$page" || fail "$option is not in the manual page"
done
for message in 'Could not open source url' 'Could not open target'; do
    grep -qa "$message" "$root/usr/bin/pellory" || fail "the program does not say: $message"
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
