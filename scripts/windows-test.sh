#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# scripts/windows-test.sh: builds for Windows with the libraries of PELLORY_WINDOWS_SYSROOT, makes
# the ZIP and the installer, and tests under Wine: what ctest knows, then the program as it is
# unpacked and as it is installed. Leaves a picture of its window in build/windows/window.png.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[[ -d ${PELLORY_WINDOWS_SYSROOT:-} ]] ||
    die "PELLORY_WINDOWS_SYSROOT must name a folder of Windows libraries;" \
        "scripts/windows-sysroot.sh makes one."
need_packages "${build_packages[@]}" "${test_packages[@]}" "${windows_packages[@]}"
build windows
made=$root/build/windows

# A Windows of its own, without the parts for web pages and .NET that Wine asks for otherwise.
mkdir -p "$made/wine"
export WINEPREFIX=$made/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8
unset DISPLAY WINEPATH QT_PLUGIN_PATH
server_pid=
finish() {
    [[ -z $server_pid ]] || kill "$server_pid" 2>/dev/null || true
    wineserver -k || true
}
trap finish EXIT
# It is kept between the programs, which would start Windows anew each time.
wineserver -p
wineboot -u >&2

compiler=x86_64-w64-mingw32-g++-posix
libraries() {
    local name
    printf '%s' "$(winepath -w "$PELLORY_WINDOWS_SYSROOT/bin" 2>/dev/null)"
    for name in libstdc++-6.dll libwinpthread-1.dll; do
        printf ';%s' "$(winepath -w "$(dirname "$("$compiler" -print-file-name=$name)")" 2>/dev/null)"
    done
}
say "== Unit tests under Wine"
WINEPATH=$(libraries) ctest --test-dir "$made" --output-on-failure -LE server

say "== The program, unpacked"
rm -rf "$made/unpacked"
mkdir "$made/unpacked"
(cd "$made" && cpack >&2 && cd unpacked && cmake -E tar xf ../pellory-*-windows-x64.zip)
/usr/bin/python3 "$root/tests/windows_program.py" \
    "$(winepath -w "$made"/unpacked/*/pellory.exe 2>/dev/null)"

say "== The program, installed"
installed="$WINEPREFIX/drive_c/Program Files/Pellory"
entry="$WINEPREFIX/drive_c/ProgramData/Microsoft/Windows/Start Menu/Programs/Pellory/Pellory.lnk"
wine "$made"/pellory-*-windows-x64.exe /S
[[ -f $entry && -f $installed/Uninstall.exe ]] || die "the installer left something out"

mkfifo "$made/display"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3<>"$made/display" 2>/dev/null &
server_pid=$!
read -r number <"$made/display"
rm "$made/display"
export DISPLAY=:$number
# The Windows that runs was started without a display, and stays so.
wineserver -k -w
wine 'C:\Program Files\Pellory\pellory.exe' &
program_pid=$!
window=
for _ in {1..120}; do
    window=$(xdotool search --onlyvisible --name '^Pellory$' 2>/dev/null | head -n 1) || true
    [[ -z $window ]] || break
    sleep 0.5
done
[[ -n $window ]] || die "the installed program shows no window"
# The list of drives comes a moment after the window.
sleep 3
import -window root "$made/window.png"
xdotool mousemove --window "$window" 813 561 click 1 # "Exit"
wait "$program_pid" || die "the program did not end well"
say "The window is in $made/window.png."

(cd "$installed" && wine Uninstall.exe /S)
for _ in {1..60}; do
    [[ -e $installed/pellory.exe || -e $entry ]] || break
    sleep 0.5
done
[[ ! -e $installed/pellory.exe && ! -e $entry ]] || die "the uninstaller left something behind"
say "== Windows: all passed"
