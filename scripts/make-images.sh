#!/bin/sh
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0
#
# Draws the style sheet's images and the application icons again from the SVGs beside them.
# Needs rsvg-convert (Debian: librsvg2-bin) and ImageMagick. The build does not run it: the
# results are kept in the repository.
set -eu
cd "$(dirname "$0")/../resources"

for drawing in images/*.svg; do
    name=${drawing%.svg}
    rsvg-convert -z 1 -o "$name.png" "$drawing"
    rsvg-convert -z 2 -o "$name@2x.png" "$drawing"
done

sizes=$(mktemp -d)
trap 'rm -rf "$sizes"' EXIT
for size in 16 24 32 48 64 128 256; do
    rsvg-convert -w "$size" -h "$size" -o "$sizes/$(printf %03d "$size").png" pellory.svg
done
convert "$sizes"/*.png pellory.ico
for size in 16 24 32 48 64 128 256; do
    cp "$sizes/$(printf %03d "$size").png" "../packaging/linux/icons/pellory-$size.png"
done
