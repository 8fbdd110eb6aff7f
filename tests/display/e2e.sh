#!/usr/bin/env bash
# The track strips end to end on a virtual display. A session of two music-like files opens under
# MIXING: BALANCED; one passes it, the other peaks too high every two seconds. The heat maps are
# read from screenshots, then the keys, a readout, a seek, a span and the feedback view are
# driven by the keyboard and pointer, with a screenshot of every step in the output folder.
# Usage: e2e.sh <orvane> <orvane_e2e_helper> <orvane_strip_e2e_helper> <output folder>
# Exits 77 (skipped) when Xvfb, xdotool or ImageMagick's import is missing.
set -euo pipefail

app="$1"
helper="$2"
strips="$3"
out="$4"

# shellcheck source=../app/e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../app/e2e/common.sh"

mkdir -p "$out"
rm -f "$out"/*.png "$out/stdout.txt" "$out/stderr.txt"
window_scenario

"$strips" bursts "$work/passes.wav" 6 0 || fail "could not write the passing file"
"$strips" bursts "$work/peaks.wav" 6 1 || fail "could not write the failing file"
session="$work/strips.bws"
# Preset 0 is MIXING: BALANCED.
"$helper" session "$session" 0 60 40 1200 900 "$work/passes.wav" "$work/peaks.wav" || fail "could not write the session"

(cd "$work" && exec "$app" "$session") >"$out/stdout.txt" 2>"$out/stderr.txt" &
app_pid=$!

title='^ORVANE - strips\.bws$'
wait_for 30 xdotool search --name "$title" || fail "no window titled 'ORVANE - strips.bws'"
window="$(xdotool search --name "$title" | head -n 1)"
window_is_1200x900() { xdotool getwindowgeometry "$window" | grep -q "Geometry: 1200x900"; }
wait_for 10 window_is_1200x900 || fail "the window did not take the session's size"
# Each track shows one "Loading track x of n" text, but the counts are read when the window
# gets to the message: behind a quick load they may already be back at "0 of 0".
both_loaded() { [ "$(grep -c "^Loading track " "$work/status.txt")" -ge 2 ] && [ "$(tail -n 1 "$work/status.txt")" = "All tracks loaded" ]; }
wait_for 60 both_loaded || fail "the tracks did not finish loading"

# Where things are on the screen: the track list starts at (4, 55) in the window, strips are 140
# high every 150, the waveform begins 336 into a strip and is 848 wide in a 1200-wide window.
position="$(xdotool getwindowgeometry "$window" | sed -n 's/.*Position: \([0-9]*\),\([0-9]*\).*/\1 \2/p')"
read -r wx wy <<<"$position"
wave_x=$((wx + 340))
wave_w=848
strip_y() { echo $((wy + 55 + $1 * 150)); }

# Takes screenshots into $out/<name>.png until the check passes, for up to 15 s: the window answers
# when it can, and a busy machine makes it slow.
expect() {
    local name="$1" what="$2"; shift 2
    local tries=60
    until import -window root "$out/$name.png" && "$@"; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || fail "$what"
        sleep 0.25
    done
}
away() { xdotool mousemove $((wx + 600)) $((wy + 20)); }
# The colours in a band of a strip's waveform (from x, w wide), most common first.
colours_in() { "$strips" colours "$out/$1.png" "$3" $(($(strip_y "$2") + 50)) "$4" 40; }
pixel() { "$strips" pixel "$out/$1.png" "$2" "$3"; }
pixel_is() { [ "$(pixel "$1" "$2" "$3")" = "$4" ]; }
has_colour() { grep -q "^$2 " <<<"$1"; }
only_colours() {  # every colour in $1 is one of the rest
    local list="$1"; shift
    local pattern; pattern="$(printf '^%s |' "$@")"; pattern="${pattern%|}"
    ! grep -vE "$pattern" <<<"$list" | grep -q .
}
# A readout button's inner fill, at its top right corner: loudness 0, peak 1, stereo 2, dynamics 3.
fill_is() { pixel_is "$1" $((wx + 4 + $3 * 84 + 76)) $(($(strip_y "$2") + 36)) "$4"; }
# Bright blue throughout, or dim with red columns, in a band of a strip's waveform.
all_plain() { local c; c="$(colours_in "$@")"; has_colour "$c" ff4c58c8 && only_colours "$c" ff4c58c8 ff121212; }
dim_with_red() {
    local c; c="$(colours_in "$@")"
    has_colour "$c" ff43476c && has_colour "$c" fffa4d42 && only_colours "$c" ff43476c fffa4d42 ff121212
}
feedback_shown() { local f; f="$(pixel "$1" $((wx + 40)) $(($(strip_y 1) + 150)))"; [ "$f" = ff1d1e25 ] || [ "$f" = ff2a1918 ]; }
feedback_gone() { ! feedback_shown "$1"; }

# 1. Loaded: the first strip is active. The passing track's heat map is bright blue throughout.
expect 1-loaded "the passing track's waveform is not 0xff4c58c8 throughout" all_plain 1-loaded 0 $((wave_x + 10)) 500

# 2. The keys work from the start, without a click into the window: Right makes the second strip
# active (every reading shown, the peak one over its target), Left the first again.
away
xdotool key Right
expect 2-right-key "Right did not make the second strip active" fill_is 2-right-key 1 1 fffa4d42
xdotool key Left
expect 2-left-key "Left did not make the first strip active" fill_is 2-left-key 0 0 ff4c58c8

# A click on the failing track's waveform makes its strip active, at full alpha, with every
# reading shown: its heat map is dim with red columns at the loud bursts.
xdotool mousemove $((wave_x + 3)) $(($(strip_y 1) + 20)) click 1
away
expect 2-second-active "the click did not make the failing track's strip active" fill_is 2-second-active 1 1 fffa4d42
expect 2-second-active "the failing track's heat map is not dim with red columns" \
    dim_with_red 2-second-active 1 $((wave_x + 10)) 500

# 3. A click on the true-peak figure chooses that reading alone: the loudness button goes back to rest.
xdotool mousemove $((wx + 4 + 84 + 20)) $(($(strip_y 1) + 30 + 60)) click 1
expect 3-readout "the loudness button stayed chosen" fill_is 3-readout 1 0 ff43476c
expect 3-readout "the true-peak reading is not shown chosen" fill_is 3-readout 1 1 fffa4d42

# 4. A click on the waveform at a quarter moves the play marker there.
seek_x=$((wave_x + wave_w / 4))
xdotool mousemove "$seek_x" $(($(strip_y 1) + 20)) click 1
away
expect 4-seek "no play marker at the click" pixel_is 4-seek "$seek_x" $(($(strip_y 1) + 10)) ffe6e7fa

# 5. A span from 40 % to 62 % (2.4 s to 3.7 s) holds no loud burst: once its analysis reports
# back, it is judged alone, bright blue, and the peak readout is no longer over its target.
span_from=$((wave_x + wave_w * 40 / 100))
span_to=$((wave_x + wave_w * 62 / 100))
xdotool mousemove "$span_from" $(($(strip_y 1) + 70)) mousedown 1
for step in 1 2 3 4 5 6 7 8; do
    xdotool mousemove $((span_from + (span_to - span_from) * step / 8)) $(($(strip_y 1) + 70))
    sleep 0.05
done
xdotool mouseup 1
away
expect 5-span "the span was not judged on its own" all_plain 5-span 1 $((span_from + 4)) $((span_to - span_from - 24))
expect 5-span "the peak readout does not speak of the span" fill_is 5-span 1 1 ff4c58c8

# 6. The feedback view opens under the failing track's strip, framed with it: the frame's two sides
# run along the strip's edges, whole; clicked again, it closes.
frame_whole() {
    local y=$(($(strip_y 1) + 300)) left right
    left="$(pixel "$1" $((wx + 5)) "$y")"
    right="$(pixel "$1" $((wx + 4 + 336 + wave_w - 2)) "$y")"
    [ "$left" = "$right" ] && { [ "$left" = ff4c58c8 ] || [ "$left" = fffa4d42 ]; }
}
xdotool mousemove $((wx + 4 + 312)) $(($(strip_y 1) + 14)) click 1
away
expect 6-feedback "no feedback view under the strip" feedback_shown 6-feedback
expect 6-feedback "the feedback view's frame is not whole at both sides" frame_whole 6-feedback
xdotool mousemove $((wx + 4 + 312)) $(($(strip_y 1) + 14)) click 1
away
expect 7-feedback-closed "the feedback view did not close" feedback_gone 7-feedback-closed

close_and_wait "$window"
echo "heat maps, keys, readout, seek, span and feedback: all good; screenshots in $out"
