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

# shellcheck source=../support/e2e_session.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/e2e_session.sh"
rm -f "$out"/*.png "$out/stdout.txt" "$out/stderr.txt"

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
both_loaded() { grep -q "^Loading track 2 of 2$" "$work/status.txt" && [ "$(tail -n 1 "$work/status.txt")" = "All tracks loaded" ]; }
wait_for 60 both_loaded || fail "the tracks did not finish loading"

# Where things are on the screen: the track list starts at (4, 55) in the window, strips are 140
# high every 150, the waveform begins 336 into a strip and is 848 wide in a 1200-wide window.
position="$(xdotool getwindowgeometry "$window" | sed -n 's/.*Position: \([0-9]*\),\([0-9]*\).*/\1 \2/p')"
read -r wx wy <<<"$position"
wave_x=$((wx + 340))
wave_w=848
strip_y() { echo $((wy + 55 + $1 * 150)); }

shot() { sleep "${2:-0.6}"; import -window root "$out/$1.png" || fail "no screenshot $1"; }
# The colours in a band of the middle of a strip's waveform, most common first.
wave_colours() { "$strips" colours "$out/$1.png" $((wave_x + 10)) $(($(strip_y "$2") + 50)) 500 40; }
pixel() { "$strips" pixel "$out/$1.png" "$2" "$3"; }
has_colour() { grep -q "^$2 " <<<"$1"; }
only_colours() {  # every colour in $1 is one of the rest
    local list="$1"; shift
    local pattern; pattern="$(printf '^%s |' "$@")"; pattern="${pattern%|}"
    ! grep -vE "$pattern" <<<"$list" | grep -q .
}
# A readout button's inner fill, at its top right corner: loudness 0, peak 1, stereo 2, dynamics 3.
readout_fill() { pixel "$1" $((wx + 4 + $3 * 84 + 76)) $(($(strip_y "$2") + 36)); }

# 1. Loaded: the first strip is active. The passing track's heat map is bright blue throughout.
shot 1-loaded
colours="$(wave_colours 1-loaded 0)"
has_colour "$colours" ff4c58c8 || fail "the passing track shows no waveform in 0xff4c58c8: $colours"
only_colours "$colours" ff4c58c8 ff121212 || fail "the passing track's waveform is not 0xff4c58c8 throughout: $colours"

# 2. The keys work from the start, without a click into the window: Right makes the second strip
# active (every reading shown, the peak one over its target), Left the first again.
xdotool mousemove $((wx + 600)) $((wy + 20))
xdotool key Right
shot 2-right-key
[ "$(readout_fill 2-right-key 1 1)" = "fffa4d42" ] || fail "Right did not make the second strip active: $(readout_fill 2-right-key 1 1)"
xdotool key Left
shot 2-left-key
[ "$(readout_fill 2-left-key 0 0)" = "ff4c58c8" ] || fail "Left did not make the first strip active: $(readout_fill 2-left-key 0 0)"

# A click on the failing track's waveform makes its strip active, at full alpha, with every
# reading shown: its heat map is dim with red columns at the loud bursts.
xdotool mousemove $((wave_x + 3)) $(($(strip_y 1) + 20)) click 1
xdotool mousemove $((wx + 600)) $((wy + 20))
shot 2-second-active
colours="$(wave_colours 2-second-active 1)"
has_colour "$colours" ff43476c || fail "the failing track shows no 0xff43476c: $colours"
has_colour "$colours" fffa4d42 || fail "the failing track shows no 0xfffa4d42 columns: $colours"
only_colours "$colours" ff43476c fffa4d42 ff121212 || fail "the failing track has other colours: $colours"
[ "$(readout_fill 2-second-active 1 1)" = "fffa4d42" ] || fail "the active failing track's peak button is not red: $(readout_fill 2-second-active 1 1)"

# 3. A click on the true-peak figure chooses that reading alone: the loudness button goes back to rest.
xdotool mousemove $((wx + 4 + 84 + 20)) $(($(strip_y 1) + 30 + 60)) click 1
shot 3-readout
[ "$(readout_fill 3-readout 1 0)" = "ff43476c" ] || fail "the loudness button stayed chosen: $(readout_fill 3-readout 1 0)"
[ "$(readout_fill 3-readout 1 1)" = "fffa4d42" ] || fail "the true-peak reading is not shown chosen: $(readout_fill 3-readout 1 1)"

# 4. A click on the waveform at a quarter moves the play marker there.
seek_x=$((wave_x + wave_w / 4))
xdotool mousemove "$seek_x" $(($(strip_y 1) + 20)) click 1
xdotool mousemove $((wx + 600)) $((wy + 20))
shot 4-seek
[ "$(pixel 4-seek "$seek_x" $(($(strip_y 1) + 10)))" = "ffe6e7fa" ] || fail "no play marker at the click: $(pixel 4-seek "$seek_x" $(($(strip_y 1) + 10)))"

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
xdotool mousemove $((wx + 600)) $((wy + 20))
span_judged() {
    import -window root "$out/5-span.png"
    local c; c="$("$strips" colours "$out/5-span.png" $((span_from + 4)) $(($(strip_y 1) + 50)) $((span_to - span_from - 24)) 40)"
    has_colour "$c" ff4c58c8 && only_colours "$c" ff4c58c8 ff121212
}
wait_for 20 span_judged || fail "the span was not judged on its own: $("$strips" colours "$out/5-span.png" $((span_from + 4)) $(($(strip_y 1) + 50)) $((span_to - span_from - 24)) 40 | head -5)"
[ "$(readout_fill 5-span 1 1)" = "ff4c58c8" ] || fail "the peak readout does not speak of the span: $(readout_fill 5-span 1 1)"

# 6. The feedback view opens under the failing track's strip, framed with it.
xdotool mousemove $((wx + 4 + 312)) $(($(strip_y 1) + 14)) click 1
xdotool mousemove $((wx + 600)) $((wy + 20))
shot 6-feedback
fill="$(pixel 6-feedback $((wx + 40)) $(($(strip_y 1) + 150)))"
[ "$fill" = "ff1d1e25" ] || [ "$fill" = "ff2a1918" ] || fail "no feedback view under the strip: $fill"

# 7. Clicked again, it closes.
xdotool mousemove $((wx + 4 + 312)) $(($(strip_y 1) + 14)) click 1
xdotool mousemove $((wx + 600)) $((wy + 20))
shot 7-feedback-closed
fill="$(pixel 7-feedback-closed $((wx + 40)) $(($(strip_y 1) + 150)))"
[ "$fill" != "ff1d1e25" ] && [ "$fill" != "ff2a1918" ] || fail "the feedback view did not close"

"$helper" close "$window" || fail "could not ask the window to close"
for _ in $(seq 1 200); do
    kill -0 "$app_pid" 2>/dev/null || break
    sleep 0.1
done
kill -0 "$app_pid" 2>/dev/null && fail "the program did not quit"
status=0
wait "$app_pid" || status=$?
app_pid=""
[ "$status" -eq 0 ] || fail "the program exited with status $status"
if grep -q "JUCE Assertion failure" "$out/stderr.txt"; then
    fail "a JUCE assertion fired"
fi
echo "heat maps, keys, readout, seek, span and feedback: all good; screenshots in $out"
