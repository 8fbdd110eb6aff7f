#!/usr/bin/env bash
# Redraws the interface art (scripts/draw_art.py) and rasterises the PNG images:
#   resources/art/x2/NAME.svg   -> resources/png/NAME.png and NAME_x2.png (double density)
#   resources/art/2x/NAME.svg   -> resources/png/NAME.png and NAME@2x.png (cursors)
#   resources/art/icon/NAME.svg -> resources/png/NAME.png (drawn at its pixel size)
# The outputs are committed; run this again after changing the drawings.
# Needs python3 and rsvg-convert (librsvg2-bin) or ImageMagick's convert.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
res="$root/resources"

python3 "$root/scripts/draw_art.py" "$res"

# render SVG PNG SCALE
render() {
    if command -v rsvg-convert >/dev/null 2>&1; then
        rsvg-convert --zoom="$3" --background-color=none -o "$2" "$1"
    else
        convert -background none -density "$((96 * $3))" "$1" -depth 8 -strip \
            -define png:exclude-chunks=date,time "PNG32:$2"
    fi
}

mkdir -p "$res/png"
rm -f "$res"/png/*.png
for f in "$res"/art/x2/*.svg; do
    n="$(basename "$f" .svg)"
    render "$f" "$res/png/$n.png" 1
    render "$f" "$res/png/${n}_x2.png" 2
done
for f in "$res"/art/2x/*.svg; do
    n="$(basename "$f" .svg)"
    render "$f" "$res/png/$n.png" 1
    render "$f" "$res/png/$n@2x.png" 2
done
for f in "$res"/art/icon/*.svg; do
    n="$(basename "$f" .svg)"
    render "$f" "$res/png/$n.png" 1
done
echo "resources: $(ls "$res"/svg/*.svg | wc -l) SVG, $(ls "$res"/png/*.png | wc -l) PNG" >&2
