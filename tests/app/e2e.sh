#!/usr/bin/env bash
# The window end to end on a virtual display: a session named on the command line opens,
# its tracks load, a screenshot is taken, the window is closed and the settings are written.
# Usage: e2e.sh <orvane> <orvane_e2e_helper> <output folder>
# Exits 77 (skipped) when Xvfb, xdotool or ImageMagick's import is missing.
set -euo pipefail
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"

app="$1"
helper="$2"
out="$3"

rm -f "$out/screenshot.png" "$out/stdout.txt" "$out/stderr.txt"
window_scenario

"$helper" tone "$work/first tone.wav" 3 440 || fail "could not write the first tone"
"$helper" tone "$work/second.wav" 2.5 1000 || fail "could not write the second tone"
session="$work/e2e review.bws"
"$helper" session "$session" 9 60 40 1200 900 "$work/first tone.wav" "$work/second.wav" \
    || fail "could not write the session"

open_session "$session" 1200x900

# Without a window manager the size limits stand as hints on the window.
if command -v xprop >/dev/null 2>&1; then
    size_limits_hinted() {
        local hints
        hints="$(xprop -id "$window" WM_NORMAL_HINTS)"
        grep -q "minimum size: 1000 by 800" <<<"$hints" && grep -q "maximum size: 8000 by 5000" <<<"$hints"
    }
    # JUCE writes the limits and then the position over them, and writes the limits again when
    # the window reports its new bounds; a second move to bounds it already has reports
    # nothing, and the limits stay overwritten until the next move. A move from outside then
    # brings them back, as it would under any window manager. Each move is let arrive before
    # the next: two that the window takes in one go look like no move at all.
    at() { xdotool getwindowgeometry "$window" | grep -q "Position: $1,$2 "; }
    nudge() {
        xdotool windowmove "$window" 61 41 && wait_for 5 at 61 41 && sleep 0.5
        xdotool windowmove "$window" 60 40 && wait_for 5 at 60 40
        wait_for 5 size_limits_hinted
    }
    if ! wait_for 10 size_limits_hinted; then
        nudge || nudge || nudge \
            || fail "no size limits of 1000 by 800 to 8000 by 5000: $(xprop -id "$window" WM_NORMAL_HINTS)"
    fi
fi

wait_for 60 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the tracks did not finish loading"
grep -q "^Loading track 1 of 2$" "$work/status.txt" || fail "no 'Loading track 1 of 2' status"

sleep 0.5
import -window root "$out/screenshot.png" || fail "no screenshot"

close_and_wait "$window"

settings="$XDG_CONFIG_HOME/BrenwickSound/orvane-settings.dat"
[ -s "$settings" ] || fail "no settings file at $settings"
# The binary wrapper's magic, then the document with the session's preset written back.
[ "$(head -c 4 "$settings" | od -An -tx1 | tr -d ' \n')" = "56433221" ] || fail "the settings file has no wrapper"
grep -aq 'defaultPresetId="9"' "$settings" || fail "the session's preset was not saved"

echo "window, session, load, close and settings: all good; screenshot in $out/screenshot.png"
