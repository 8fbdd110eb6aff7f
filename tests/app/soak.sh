#!/usr/bin/env bash
# The window under stress, meant for a sanitizer build (AddressSanitizer with LeakSanitizer):
# a session of 50 files opens; while they load, five of them are deleted from the disk and the
# reset button clears every track; the loads that remain go on to the end. The window is
# closed and opened again on a second session, whose ten files must all load. No run may end
# in a crash, a sanitizer report or a status other than 0.
# Usage: soak.sh <orvane> <orvane_e2e_helper> <output folder>
# Exits 77 (skipped) when Xvfb or xdotool is missing.
set -euo pipefail

app="$(realpath "$1")"
helper="$(realpath "$2")"
out="$3"

for tool in Xvfb xdotool; do
    command -v "$tool" >/dev/null 2>&1 || { echo "skipped: $tool is not installed"; exit 77; }
done

mkdir -p "$out"
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"
make_scratch

fail() {
    echo "FAILED: $*" >&2
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; tail -n 20 "$work/status.txt" >&2; }
    for f in "$out"/stderr-*.txt; do [ -f "$f" ] && { echo "--- $f:" >&2; tail -n 60 "$f" >&2; }; done
    exit 1
}

start_virtual_display
use_private_home
# Leaks are looked for; JUCE's own leak detector speaks on stderr too.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:halt_on_error=1}"

files=()
for i in $(seq 1 50); do
    "$helper" tone "$work/tone $i.wav" 1.5 $((200 + 17 * i)) || fail "could not write tone $i"
    files+=("$work/tone $i.wav")
done
"$helper" session "$work/fifty.bws" 4 60 40 1200 900 "${files[@]}" || fail "could not write the first session"
"$helper" session "$work/ten.bws" 9 60 40 1200 900 "${files[@]:40:10}" || fail "could not write the second session"

# Runs the window on a session until its window appears; sets app_pid and window.
start() {
    local session="$1" run="$2"
    : >"$work/status.txt"
    (cd "$work" && exec "$app" "$session") >"$out/stdout-$run.txt" 2>"$out/stderr-$run.txt" &
    app_pid=$!
    local title="^ORVANE - $(basename "$session" | sed 's/\./\\./g')\$"
    wait_for 60 xdotool search --name "$title" || fail "run $run: no window"
    window="$(xdotool search --name "$title" | head -n 1)"
}

# Closes the window as a window manager would and checks how the program ended.
stop() {
    local run="$1"
    "$helper" close "$window" || fail "run $run: could not ask the window to close"
    for _ in $(seq 1 600); do
        kill -0 "$app_pid" 2>/dev/null || break
        sleep 0.1
    done
    kill -0 "$app_pid" 2>/dev/null && fail "run $run: the program did not quit"
    local status=0
    wait "$app_pid" || status=$?
    app_pid=""
    [ "$status" -eq 0 ] || fail "run $run: the program exited with status $status"
    if grep -qE "ERROR: (AddressSanitizer|LeakSanitizer)|runtime error:|JUCE Assertion failure|Leaked objects detected" \
        "$out/stderr-$run.txt"; then
        fail "run $run: a sanitizer or leak report"
    fi
}

click() { xdotool mousemove --window "$window" "$1" "$2" click 1; }

# Run 1: fifty files; five vanish while the first ones load; then a reset, while loading.
start "$work/fifty.bws" 1
wait_for 120 grep -q "^Loading track 3 of" "$work/status.txt" || fail "run 1: loading did not start"
rm -f "$work/tone 20.wav" "$work/tone 21.wav" "$work/tone 22.wav" "$work/tone 23.wav" "$work/tone 24.wav"
wait_for 240 grep -q "^Loading track 12 of" "$work/status.txt" || fail "run 1: loading stalled"
# The reset button of a 1200 x 900 window, then the confirmation's OK.
click 54 872
sleep 1
click 554 472
wait_for 600 grep -q "^All tracks loaded$" "$work/status.txt" || fail "run 1: the loads did not end"
sleep 1
stop 1

# Run 2: a session of ten files that are all there: every one loads.
start "$work/ten.bws" 2
wait_for 300 grep -q "^All tracks loaded$" "$work/status.txt" || fail "run 2: the loads did not end"
grep -q "^Loading track 10 of 10$" "$work/status.txt" || fail "run 2: not all ten tracks were loaded"
grep -q "File not found" "$work/status.txt" && fail "run 2: a file went missing"
stop 2

echo "soak: 50 files with deletions and a reset while loading, then a session of 10: no crash, no sanitizer report"
