#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# scripts/windows-test.sh: builds for Windows with the libraries of PELLORY_WINDOWS_SYSROOT, makes
# the ZIP and the installer, signed with a certificate of its own, and tests under Wine: what ctest
# knows, then the program as it is unpacked and as it is installed, elsewhere too. Leaves a picture of
# its window in build/windows/window.png.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

need_windows_sysroot
need_packages "${build_packages[@]}" "${test_packages[@]}" "${windows_packages[@]}" \
    "${wine_packages[@]}"
build windows
made=$root/build/windows

# A Windows of its own, where nothing was installed, without the parts for web pages and .NET that
# Wine asks for otherwise.
rm -rf "$made/wine"
mkdir "$made/wine"
export WINEPREFIX=$made/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8
unset DISPLAY WINEPATH QT_PLUGIN_PATH
server_pid=

# limited SECONDS COMMAND...: ends a command that hangs, as those of Wine can.
limited() {
    timeout --kill-after=10 "$@"
}
wine() {
    limited 180 wine "$@"
}
finish() {
    limited 60 wineserver -k || true
    [[ -z $server_pid ]] || kill "$server_pid" 2>/dev/null || true
}
trap finish EXIT
# Windows get the keyboard on a display only.
rm -f "$made/display"
mkfifo "$made/display"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3<>"$made/display" 2>/dev/null &
server_pid=$!
read -r -t 60 number <>"$made/display" || die "Xvfb does not start"
rm "$made/display"
export DISPLAY=:$number
# It is kept between the programs, which would start Windows anew each time.
limited 60 wineserver -p
limited 300 wineboot -u >&2

windows_path() {
    limited 60 winepath -w "$1" 2>/dev/null
}

# soon COMMAND...: whether the command succeeds within 30 seconds.
soon() {
    local end=$((SECONDS + 30))
    until "$@"; do
        ((SECONDS < end)) || return
        sleep 0.5
    done
}

compiler=x86_64-w64-mingw32-g++-posix
libraries() {
    local name
    windows_path "$PELLORY_WINDOWS_SYSROOT/bin"
    for name in libstdc++-6.dll libwinpthread-1.dll; do
        printf ';%s' "$(windows_path "$(dirname "$("$compiler" -print-file-name=$name)")")"
    done
}
say "== Unit tests under Wine"
WINEPATH=$(libraries | tr -d '\n') ctest --test-dir "$made" --output-on-failure -LE server

say "== Packages, signed"
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=Pellory test' \
    -addext extendedKeyUsage=codeSigning -keyout "$made/sign.key" -out "$made/sign.pem" 2>/dev/null
cat >"$made/sign" <<'SIGN'
#!/bin/sh
osslsigncode sign -certs "$1.pem" -key "$1.key" -h sha256 -in "$2" -out "$2.signed" >/dev/null &&
    mv "$2.signed" "$2"
SIGN
chmod +x "$made/sign"
rm -rf "$made/unpacked" "$made"/pellory-*
(cd "$made" && PELLORY_SIGN_COMMAND="\"$made/sign\" \"$made/sign\"" cpack >&2)
zip=$(echo "$made"/pellory-*-windows-x64.zip)
installer=${zip%.zip}.exe
"$root/packaging/windows/check.sh" "$zip" "$installer"
unzip -q "$zip" -d "$made/unpacked"
signed() {
    osslsigncode verify -CAfile "$made/sign.pem" -in "$1" 2>&1 | grep '^Signature verification: ok' \
        >/dev/null || die "$1 is not signed"
}
find "$made/unpacked" "$installer" -name '*.exe' -o -name '*.dll' >"$made/signed.txt"
while read -r file; do
    signed "$file"
done <"$made/signed.txt"

say "== The program, unpacked"
limited 900 /usr/bin/python3 "$root/tests/windows_program.py" \
    "$(windows_path "$made"/unpacked/*/pellory.exe)"

say "== The program, installed"
drive=$WINEPREFIX/drive_c
key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Pellory'
entry="$drive/ProgramData/Microsoft/Windows/Start Menu/Programs/Pellory/Pellory.lnk"
registered() {
    wine reg query "$key" /v "$1" 2>/dev/null | tr -d '\r' | sed -n "s/^ *$1 *REG_[A-Z]* *//p"
}
# installed FOLDER: whether everything stands and is registered as being in a folder of C:.
installed() {
    local folder="C:\\$1" place="$drive/${1//\\//}" size
    for file in "$place/pellory.exe" "$place/Uninstall.exe" "$place/platforms/qwindows.dll" "$entry"; do
        [[ -f $file ]] || die "the installer left out $file"
    done
    signed "$place/Uninstall.exe"
    [[ $(registered InstallLocation) == "$folder" &&
        $(registered UninstallString) == "\"$folder\\Uninstall.exe\"" &&
        $(registered QuietUninstallString) == "\"$folder\\Uninstall.exe\" /S" &&
        $(registered DisplayIcon) == "$folder\\pellory.exe" &&
        $zip == *"-$(registered DisplayVersion)-"* ]] || die "registered wrongly: $folder"
    size=$(registered EstimatedSize)
    ((size > 20000 && size < 60000)) || die "registered with a size of $size KiB"
}
rm -rf "$drive/Program Files/Pellory" "$drive/Tools"
wine "$installer" /S
installed 'Program Files\Pellory'
# Elsewhere: the older one goes, what someone put beside it stays.
touch "$drive/Program Files/Pellory/clipforge.exe"
# In two arguments: with a blank in one, Wine would put quotation marks around it.
wine "$installer" /S '/D=C:\Tools\Pellory' 2
installed 'Tools\Pellory 2'
[[ $(ls "$drive/Program Files/Pellory") == clipforge.exe ]] || die "the older installation is still there"
# Without a folder it stays where it is.
wine "$installer" /S
installed 'Tools\Pellory 2'

windows_installer=$(windows_path "$installer")
# Drives that are new are seen when Wine starts, which is in the test.
limited 60 wineserver -k -w || die "Wine's server does not end"
limited 600 /usr/bin/python3 "$root/tests/windows_window.py" 'C:\Tools\Pellory 2\pellory.exe' \
    "$windows_installer" "$made/window.png" || die "the window does not do what it should"
say "The window is in $made/window.png."

(cd "$drive/Tools/Pellory 2" && wine Uninstall.exe /S)
uninstalled() {
    [[ ! -e "$drive/Tools/Pellory 2" && ! -e $entry && -z $(registered InstallLocation) ]]
}
soon uninstalled || die "the uninstaller left something behind"
say "== Windows: all passed"
