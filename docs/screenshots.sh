#!/bin/sh
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0
#
# docs/screenshots.sh PROGRAM FOLDER: starts the program on a virtual display with a home of its
# own and puts pictures of its window and dialogs into FOLDER. SCALE is that of the display in percent
# (100 unless it is set), which the program has to follow by itself. Needs Xvfb, xdotool and
# ImageMagick (Debian: xvfb xdotool imagemagick).
set -eu
program=$(realpath "$1")
mkdir -p "$2"
pictures=$(realpath "$2")
scale=${SCALE:-100}
unset QT_SCALE_FACTOR QT_SCREEN_SCALE_FACTORS QT_ENABLE_HIGHDPI_SCALING

# A home whose path reads well in a picture; it must not be there yet.
HOME=/tmp/alex
mkdir "$HOME"
display_pid=
program_pid=
finish() {
    [ -z "$program_pid" ] || kill "$program_pid" 2>/dev/null || true
    [ -z "$display_pid" ] || kill "$display_pid" 2>/dev/null || true
    rm -rf "$HOME"
}
trap finish EXIT
export HOME XDG_CONFIG_HOME="$HOME/.config" XDG_STATE_HOME="$HOME/.local/state"
entries="$XDG_CONFIG_HOME/Corvane/Pellory"
mkdir -p "$entries" "$HOME/Documents" "$HOME/Footage/2026" "$HOME/Projects"
for bucket in news-rushes sports-archive; do
    printf 'AWSAccessKeyId=EXAMPLE\r\nAWSSecretKey=EXAMPLE\r\nAWSRegion=eu-west-1\r\n' \
        >"$entries/$bucket.csv"
done
echo '{ "endpoint": "/Prod/" }' >"$entries/tams.media.amazonaws.com.json"
for name in interview_01.mxf interview_02.mxf opening-titles.mov aerial-harbour.mxf; do
    head -c 1500000 /dev/zero >"$HOME/$name"
done

# The server chooses a free display and writes its number.
mkfifo "$HOME/.display"
Xvfb -displayfd 3 -screen 0 $((17 * scale))x$((10 * scale))x24 -dpi $((96 * scale / 100)) \
    -nolisten tcp 3>"$HOME/.display" 2>/dev/null &
display_pid=$!
number=$(timeout 60 head -n 1 "$HOME/.display")
[ -n "$number" ]
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb
cd "$HOME"

# A window that does not come ends the script.
xdotool() { timeout 60 xdotool "$@"; }

settle() { sleep 0.8; }

find_window() { xdotool search --sync --onlyvisible --name "^$1\$" | tail -n 1; }

picture() {
    import -window root -crop "$(xdotool getwindowgeometry --shell "$1" |
        sed -n 's/^\(X\|Y\|WIDTH\|HEIGHT\)=//p' | tr '\n' ' ' |
        awk '{ print $3 "x" $4 "+" $1 "+" $2 }')" +repage "$pictures/$2.png"
    echo "$pictures/$2.png"
}

# click X Y: in the window's own pixels.
click() {
    xdotool mousemove --sync $(($1 * scale / 100)) $(($2 * scale / 100)) click 1
    settle
}

press() {
    xdotool key "$@"
    settle
}

# dialog BUTTON_X TITLE NAME: opens the dialog of a button of the first row.
dialog() {
    click "$1" 23
    shown=$(find_window "$2")
    settle
    picture "$shown" "$3"
    xdotool windowfocus "$shown"
    press Escape
    xdotool windowfocus "$window"
}

"$program" &
program_pid=$!
window=$(find_window Pellory)
xdotool windowmove "$window" 0 0 windowfocus "$window"
settle

click 100 90
for folder in tmp alex; do
    press Right
    xdotool type --delay 40 "$folder"
    settle
done
press Return
picture "$window" window

click 200 23
picture "$window" sources
press Home Return

dialog 602 'Add URL' new-s3
dialog 420 'Set Params' params
dialog 504 'Add TAMS Repository' new-tams

xdotool windowsize --sync "$window" $((16 * scale)) $((9 * scale))
settle
picture "$window" large
