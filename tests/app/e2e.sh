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

for tool in Xvfb xdotool import; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

mkdir -p "$out"
rm -f "$out/screenshot.png" "$out/stdout.txt" "$out/stderr.txt"
make_scratch

fail() {
    echo "FAILED: $*" >&2
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; cat "$work/status.txt" >&2; }
    [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
    exit 1
}

start_virtual_display
use_private_home

"$helper" tone "$work/first tone.wav" 3 440 || fail "could not write the first tone"
"$helper" tone "$work/second.wav" 2.5 1000 || fail "could not write the second tone"
session="$work/e2e review.bws"
"$helper" session "$session" 9 60 40 1200 900 "$work/first tone.wav" "$work/second.wav" \
    || fail "could not write the session"

(cd "$work" && exec "$app" "$session") >"$out/stdout.txt" 2>"$out/stderr.txt" &
app_pid=$!

title='^ORVANE - e2e review\.bws$'
wait_for 30 xdotool search --name "$title" || fail "no window titled 'ORVANE - e2e review.bws'"
window="$(xdotool search --name "$title" | head -n 1)"

window_is_1200x900() { xdotool getwindowgeometry "$window" | grep -q "Geometry: 1200x900"; }
wait_for 10 window_is_1200x900 \
    || fail "window size is $(xdotool getwindowgeometry "$window" | grep Geometry), not 1200x900"

# Without a window manager the size limits stand as hints on the window. A move or resize
# replaces them for a moment with the position, until the window has taken its new bounds.
if command -v xprop >/dev/null 2>&1; then
    size_limits_hinted() {
        local hints
        hints="$(xprop -id "$window" WM_NORMAL_HINTS)"
        grep -q "minimum size: 1000 by 800" <<<"$hints" && grep -q "maximum size: 8000 by 5000" <<<"$hints"
    }
    # JUCE writes the limits and then the position over them, and writes the limits again when
    # the window reports its new bounds; a second move to bounds it already has reports
    # nothing, and the limits stay overwritten until the next move. A move from outside then
    # brings them back, as it would under any window manager.
    if ! wait_for 10 size_limits_hinted; then
        xdotool windowmove "$window" 61 41 && xdotool windowmove "$window" 60 40
        wait_for 10 size_limits_hinted \
            || fail "no size limits of 1000 by 800 to 8000 by 5000: $(xprop -id "$window" WM_NORMAL_HINTS)"
    fi
fi

wait_for 60 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the tracks did not finish loading"
grep -q "^Loading track 1 of 2$" "$work/status.txt" || fail "no 'Loading track 1 of 2' status"

sleep 0.5
import -window root "$out/screenshot.png" || fail "no screenshot"

"$helper" close "$window" || fail "could not ask the window to close"
for _ in $(seq 1 200); do
    kill -0 "$app_pid" 2>/dev/null || break
    sleep 0.1
done
if kill -0 "$app_pid" 2>/dev/null; then
    fail "the program did not quit after its window was closed"
fi
status=0
wait "$app_pid" || status=$?
app_pid=""
[ "$status" -eq 0 ] || fail "the program exited with status $status"

settings="$XDG_CONFIG_HOME/BrenwickSound/orvane-settings.dat"
[ -s "$settings" ] || fail "no settings file at $settings"
# The binary wrapper's magic, then the document with the session's preset written back.
[ "$(head -c 4 "$settings" | od -An -tx1 | tr -d ' \n')" = "56433221" ] || fail "the settings file has no wrapper"
grep -aq 'defaultPresetId="9"' "$settings" || fail "the session's preset was not saved"

if grep -q "JUCE Assertion failure" "$out/stderr.txt"; then
    fail "a JUCE assertion fired"
fi

echo "window, session, load, close and settings: all good; screenshot in $out/screenshot.png"
