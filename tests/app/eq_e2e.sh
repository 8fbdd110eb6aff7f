#!/usr/bin/env bash
# The EQ pane end to end on a virtual display: a session of three tracks of different tonal
# balance opens; the pane is opened by its handle, a genre preset is chosen from the preset
# list, a track is selected by name, and the stereo, mid and side views are shown. Each step
# is a screenshot in the output folder, checked by its pixels: every track's curve colour in
# the plot, the centre line at half the plot's height, one curve only while a track is selected.
# Usage: eq_e2e.sh <orvane> <orvane_e2e_helper> <output folder>
set -euo pipefail
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"

app="$1"
helper="$2"
out="$3"

for tool in Xvfb xdotool import; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

mkdir -p "$out"
rm -f "$out"/eq_*.png "$out/stdout.txt" "$out/stderr.txt"
work="$(mktemp -d)"
xvfb_pid=""
app_pid=""
cleanup() {
    if [ -n "$app_pid" ] && kill -0 "$app_pid" 2>/dev/null; then kill "$app_pid" 2>/dev/null || true; fi
    if [ -n "$xvfb_pid" ] && kill -0 "$xvfb_pid" 2>/dev/null; then kill "$xvfb_pid" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; cat "$work/status.txt" >&2; }
    [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
    exit 1
}

start_virtual_display

# Settings and everything else go to a home of the test's own.
export HOME="$work/home"
export XDG_CONFIG_HOME="$HOME/.config"
mkdir -p "$XDG_CONFIG_HOME"
export ORVANE_TEST_STATUS_FILE="$work/status.txt"

"$helper" noise "$work/pink.wav" 4 pink 1 || fail "could not write the pink track"
"$helper" noise "$work/bright.wav" 4 bright 2 || fail "could not write the bright track"
"$helper" noise "$work/dark.wav" 4 dark 3 || fail "could not write the dark track"
session="$work/eq review.bws"
"$helper" session "$session" 4 0 0 1200 900 "$work/pink.wav" "$work/bright.wav" "$work/dark.wav" \
    || fail "could not write the session"

open_session "$session" 1200x900
wait_for 90 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the tracks did not finish loading"

# Window coordinates, from the layout of a 1200 x 900 window: the handle of the split sits
# at the bottom while the pane is hidden; a click opens the pane at half the height (450),
# which puts the plot's panel at (258, 463) and the plot at (296, 498), 884 x 338.
click() { xdotool mousemove --window "$window" "$1" "$2" click 1; sleep "${3:-0.4}"; }
park() { xdotool mousemove --window "$window" 600 150; sleep 0.4; }
shot() { import -window "$window" "$out/$1" || fail "no screenshot $1"; }
plot_x=296 plot_y=498 plot_w=884 plot_h=338

# How many pixels of a colour the plot holds in a screenshot; and in one row of the plot.
in_plot() { convert "$out/$1" -crop "${plot_w}x${plot_h}+${plot_x}+${plot_y}" +repage txt:- | grep -ci "#$2" || true; }
in_row() { convert "$out/$1" -crop "${plot_w}x1+${plot_x}+$(( plot_y + $2 ))" +repage txt:- | grep -ci "#$3" || true; }

pink=4C58C8 bright=4CC7C8 dark=4CC84D centre=325463

click 681 842 0.8
park
shot eq_open.png
[ "$(in_plot eq_open.png $centre)" -gt 0 ] || fail "no plot where the pane should be open (eq_open.png)"

# The preset list opens under the menu button, kept inside the window: EDM is its 12th row.
click 269 480 0.8
shot eq_presets.png
click 358 834
click 737 316
park
shot eq_stereo_all.png
for colour in $pink $bright $dark; do
    [ "$(in_plot eq_stereo_all.png $colour)" -gt 20 ] || fail "no curve of colour $colour in eq_stereo_all.png"
done
# A scale of +-5 dB: the solid centre line is row 169 of 338; no other row is solid.
[ "$(in_row eq_stereo_all.png 169 $centre)" -gt 300 ] || fail "the 0 dB line is not at half the plot's height"
[ "$(in_row eq_stereo_all.png 100 $centre)" -eq 0 ] || fail "a solid line off the centre"

# The second name in the list: its curve alone.
click 97 508
park
shot eq_selected.png
[ "$(in_plot eq_selected.png $bright)" -gt 20 ] || fail "the selected track's curve is missing"
[ "$(in_plot eq_selected.png $pink)" -eq 0 ] || fail "an unselected track's curve is drawn"
[ "$(in_plot eq_selected.png $dark)" -eq 0 ] || fail "an unselected track's curve is drawn"

for view in mid:1057 side:974 stereo:1140; do
    click "${view#*:}" 479
    park
    shot "eq_${view%%:*}.png"
    [ "$(in_plot "eq_${view%%:*}.png" $bright)" -gt 20 ] || fail "no curve in the ${view%%:*} view"
done
cmp -s "$out/eq_mid.png" "$out/eq_side.png" && fail "the mid and side views are alike"

close_and_wait "$window"
grep -aq 'defaultEQPresetId="10"' "$XDG_CONFIG_HOME/BrenwickSound/orvane-settings.dat" \
    || fail "the chosen EQ preset was not kept"

echo "EQ pane: open, preset, selection, stereo/mid/side all good; screenshots in $out"
