#!/usr/bin/env bash
# The EQ pane end to end on a virtual display: a session of three tracks of different tonal
# balance opens; the pane is opened by its handle, a genre preset is chosen from the preset
# list, a track is selected by name, and the stereo, mid and side views are shown. Each step
# is a screenshot in the output folder, checked by its pixels: every track's curve colour in
# the plot, the centre line at half the plot's height, one curve only while a track is selected.
# Last a reference file is chosen in the preset list's drop area and compared against.
# Usage: eq_e2e.sh <orvane> <orvane_e2e_helper> <output folder>
set -euo pipefail

app="$1"
helper="$2"
out="$3"

# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"
rm -f "$out"/eq_*.png "$out/stdout.txt" "$out/stderr.txt"
window_scenario

"$helper" noise "$work/pink.wav" 4 pink 1 || fail "could not write the pink track"
"$helper" noise "$work/bright.wav" 4 bright 2 || fail "could not write the bright track"
"$helper" noise "$work/dark.wav" 4 dark 3 || fail "could not write the dark track"
"$helper" noise "$work/reference.wav" 4 bright 4 || fail "could not write the reference"
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
count_colour() { convert "$1" -crop "$2" +repage -format %c histogram:info:- | grep -i "#$3 " | awk '{ n += $1 } END { print n + 0 }'; }
in_plot() { count_colour "$out/$1" "${plot_w}x${plot_h}+${plot_x}+${plot_y}" "$2"; }
in_row() { count_colour "$out/$1" "${plot_w}x1+${plot_x}+$(( plot_y + $2 ))" "$3"; }

pink=4C58C8 bright=4CC7C8 dark=4CC84D centre=325463

click 681 842 0.8
park
# Under load the pane can take a moment longer to lay out and paint after the click.
plot_shown() { shot eq_open.png && [ "$(in_plot eq_open.png $centre)" -gt 0 ]; }
wait_for 10 plot_shown || fail "no plot where the pane should be open (eq_open.png)"

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

# A reference chosen through the drop area's browse button (the toolkit's own file dialog
# here): once analysed it is listed second, as REFERENCE TRACK, and chosen. The bright track
# then lies near the centre line, its own kind of noise.
click 269 480 0.8
click 507 481 1
dialog_title='^Select a Wave/MP3/AIFF/FLAC file to play'
wait_for 10 xdotool search --name "$dialog_title" || fail "no file dialog"
# The dialog stands centred on the window and lists the session's folder: bright, dark, home,
# pink, then reference.wav, whose row a double click opens.
sleep 1
xdotool mousemove --window "$window" 397 382 click --repeat 2 --delay 80 1
# Analysed, the drop area says so in three lines of text under its browse button.
reference_done() {
    shot eq_reference_wait.png
    [ "$(count_colour "$out/eq_reference_wait.png" 490x46+262+512 E6E7FA)" -gt 150 ]
}
wait_for 60 reference_done || fail "the reference was not analysed (eq_reference_wait.png)"
rm -f "$out/eq_reference_wait.png"
sleep 0.5
shot eq_reference_list.png
# The DEFAULT group, then its second preset, REFERENCE TRACK; then the window's close button.
click 300 612
click 600 650
click 734 321
park
shot eq_reference.png
[ "$(( $(in_row eq_reference.png 168 $bright) + $(in_row eq_reference.png 169 $bright) ))" -gt 500 ] \
    || fail "the bright track does not lie along the 0 dB line against a bright reference"

close_and_wait "$window"
grep -aq 'defaultEQPresetId="62"' "$XDG_CONFIG_HOME/BrenwickSound/orvane-settings.dat" \
    || fail "the reference preset was not the chosen EQ preset at the end"

echo "EQ pane: open, preset, selection, stereo/mid/side, chosen reference all good; screenshots in $out"
