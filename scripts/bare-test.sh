#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# scripts/bare-test.sh PACKAGE: installs the Debian package in a folder with nothing but Debian's base
# system, runs the program there and removes it again. Needs root. The base system is kept in
# build/bare-RELEASE.tar for the next time.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[[ $# == 1 && -f $1 ]] || die "usage: scripts/bare-test.sh PACKAGE"
[[ $(id -u) == 0 ]] || die "only root can install a package in a folder of its own; it was not tried"
need_packages debootstrap
release=$(debian_release)
base=$root/build/bare-$release.tar
bare=$(mktemp -d)
trap 'rm -rf "$bare"' EXIT

if [[ ! -e $base ]]; then
    timeout 900 debootstrap --variant=minbase "$release" "$bare" "$(debian_mirror)" >&2 ||
        die "debootstrap failed; where it may make no devices there is no bare system to test in"
    rm -f "$bare"/var/cache/apt/archives/*.deb
    tar cf "$base.new" -C "$bare" . && mv "$base.new" "$base"
else
    tar xpf "$base" -C "$bare"
fi
cp /etc/resolv.conf "$bare/etc/resolv.conf"
apt-config dump | grep -i '^Acquire::https\?::proxy' >"$bare/etc/apt/apt.conf.d/proxy" || true
printf '#!/bin/sh\nexit 101\n' >"$bare/usr/sbin/policy-rc.d"
chmod 755 "$bare/usr/sbin/policy-rc.d"
cp "$1" "$bare/pellory.deb"

# inside SECONDS COMMAND...: runs a command in the folder as a user's first shell would.
inside() {
    timeout --kill-after=10 "$1" chroot "$bare" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "${@:2}"
}
apt=(apt-get -q -o Acquire::http::Timeout=60 -o Acquire::https::Timeout=60 -o Acquire::Retries=3)
inside 300 "${apt[@]}" update >&2
inside 600 "${apt[@]}" install -y --no-install-recommends /pellory.deb >&2

status=0
inside 60 pellory -u /usr/share/doc/pellory -f copyright -t /root/plain || status=$?
[[ $status == 1 && $(cat "$bare/root/plain.stream") == '/usr/share/doc/pellory\copyright' ]] ||
    die "the installed program ends with $status and leaves no right stream file"
status=0
inside 60 pellory -u /usr/share/doc/pellory -f copyright -e -t /root/hidden || status=$?
[[ $status == 1 && $(cat "$bare/root/hidden.stream") == :x* ]] ||
    die "the installed program ends with $status and leaves no encrypted stream file"
# The window stays open until it is ended.
status=0
inside 5 env QT_QPA_PLATFORM=offscreen pellory >&2 || status=$?
[[ $status == 124 ]] || die "the window of the installed program ends with $status"
log=$bare/root/.local/state/Corvane/Pellory/Pellory.log
[[ ! -s $log ]] || say "Its log:" "$(cat "$log")"

inside 120 "${apt[@]}" purge -y pellory >&2
left=$(find "$bare" -xdev -ipath '*pellory*' ! -path "$bare/root/*" ! -path "$bare/pellory.deb")
[[ -z $left ]] || die "removed, the package leaves $left"
say "The package installs, runs and goes on a bare $release."
