#!/usr/bin/env bash
# The window under stress, meant for a sanitizer build (AddressSanitizer with LeakSanitizer):
# a session of 50 files opens; while they load, twenty of them are deleted from the disk and the
# reset button clears every track; the loads that remain go on to the end, and the session then
# saved must list them all, in order. A second session of ten files is opened, saved from the
# window and opened again from what was saved: all ten tracks, every time. No run may end in a
# crash, a sanitizer report or a status other than 0.
# Usage: soak.sh <orvane> <orvane_e2e_helper> <output folder>
# Exits 77 (skipped) when Xvfb, xdotool or ImageMagick's import is missing.
set -euo pipefail

app="$(realpath "$1")"
helper="$(realpath "$2")"
out="$3"

for tool in Xvfb xdotool import; do
    command -v "$tool" >/dev/null 2>&1 || { echo "skipped: $tool is not installed"; exit 77; }
done

mkdir -p "$out"
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"
make_scratch

fail() {
    echo "FAILED: $*" >&2
    # What the screen and the status showed at the failure, kept in the output folder.
    command -v import >/dev/null 2>&1 && import -window root "$out/failure.png" 2>/dev/null
    [ -f "$work/status.txt" ] && cp "$work/status.txt" "$out/status.txt"
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; tail -n 20 "$work/status.txt" >&2; }
    for f in "$out"/stderr-*.txt; do [ -f "$f" ] && { echo "--- $f:" >&2; tail -n 60 "$f" >&2; }; done
    exit 1
}

start_virtual_display
use_private_home
# Leaks are always looked for, whatever the caller set; JUCE's own leak detector speaks on
# stderr too. The full unwinder lets a suppression see the library that leaked (lsan.supp).
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=1:fast_unwind_on_malloc=0:abort_on_error=0:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/lsan.supp:print_suppressions=1"

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
    local asked=$SECONDS
    # A sanitizer build paints slowly, and the quit waits behind the messages already queued.
    for _ in $(seq 1 3000); do
        kill -0 "$app_pid" 2>/dev/null || break
        sleep 0.1
    done
    kill -0 "$app_pid" 2>/dev/null && fail "run $run: the program did not quit in 300 s"
    echo "run $run: quit $((SECONDS - asked)) s after the window was closed"
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

# True once the status has counted at least $1 loads. The texts are made as their messages are
# handled, which on a slow build lags the loads and skips numbers.
loaded_at_least() {
    awk -v n="$1" '/^Loading track [0-9]+ of/ && $3 + 0 >= n { found = 1 } END { exit !found }' "$work/status.txt"
}

# Saves the session from the window into $work/$1 through the save button and JUCE's own save
# dialog (the folder it opens in is the opened session's).
save_session() {
    local name="$1" run="$2" dialog
    # A slow build may take the click while it still works through the loads' messages.
    for _ in $(seq 1 6); do
        click 1057 24
        wait_for 10 xdotool search --name "^Save your ORVANE session" && break
    done
    xdotool search --name "^Save your ORVANE session" >/dev/null || return 1
    dialog="$(xdotool search --name "^Save your ORVANE session" | head -n 1)"
    xdotool mousemove --window "$dialog" 300 436 click 1
    sleep 0.5
    xdotool type --delay 20 "$name"
    xdotool key Return
    wait_for 60 grep -q "^Session saved$" "$work/status.txt" || fail "run $run: \"Session saved\" was not shown"
    test -s "$work/$name" || fail "run $run: $name was not written"
}

# The file names a saved session lists, one a line.
listed() { "$helper" tracks "$work/$1" | sed 's#.*/##'; }

# The reset button is disabled while a track loads and enabled between tracks; a missing file
# holds the worker for two seconds between tracks, so the twenty deleted files give it 40 s, time
# enough for a slow build's message thread to catch up and take the click while loads remain.
# The button of a 1200 x 900 window is clicked until the confirmation (a blue box in the middle)
# shows, then its OK.
# "All tracks loaded" can show a moment early, when a strip's last message comes after the next
# load has begun; the loads are over when it is the last text and the last count is complete.
loads_ended() {
    [ "$(tail -n 1 "$work/status.txt")" = "All tracks loaded" ] \
        && awk '/^Loading track [0-9]+ of [0-9]+$/ { done = ($3 == $5) } END { exit !done }' "$work/status.txt"
}

confirmation_shown() {
    import -window "$window" "$work/shot.png" 2>/dev/null || return 1
    [ "$("$helper" count "$work/shot.png" 460 335 280 155 4c58c8 8)" -gt 30000 ]
}
confirmation_gone() { ! confirmation_shown; }
reset_while_loading() {
    for _ in $(seq 1 20); do
        click 54 872
        if wait_for 2 confirmation_shown; then
            click 554 472
            wait_for 30 confirmation_gone || true
            return 0
        fi
    done
    return 1
}

# Run 1: fifty files; twenty vanish while the first ones load; then a reset, while loading.
start "$work/fifty.bws" 1
wait_for 120 loaded_at_least 3 || fail "run 1: loading did not start"
for i in $(seq 20 39); do rm -f "$work/tone $i.wav"; done
wait_for 240 loaded_at_least 21 || fail "run 1: loading stalled"
reset_while_loading || fail "run 1: the reset button never offered its confirmation while loading"
wait_for 600 loads_ended || fail "run 1: the loads did not end"
sleep 1
# Every load after the reset is kept: the tracks are tone k to tone n, less the deleted ones, where n
# is the number of requests the queue took. It takes all 50 unless its loop woke late: a running
# batch of 40 or more drops the requests that come behind it.
save_session "after reset.bws" 1 || fail "run 1: no track was left to save: the reset did not come while loading"
first="$(listed "after reset.bws" | head -n 1 | tr -dc 0-9)"
last="$(sed -n 's/^Loading track [0-9]* of \([0-9]*\)$/\1/p' "$work/status.txt" | sort -n | tail -n 1)"
[ -n "$last" ] && [ "$last" -ge 40 ] && [ "$last" -le 50 ] || fail "run 1: the queue took ${last:-no} requests, not 40 to 50"
expected="$(for i in $(seq "$first" "$last"); do [ "$i" -ge 20 ] && [ "$i" -le 39 ] || echo "tone $i.wav"; done)"
[ "$(listed "after reset.bws")" = "$expected" ] \
    || fail "run 1: the tracks after the reset are $(listed "after reset.bws" | tr '\n' ',') not tone $first to $last"
after_reset="$(listed "after reset.bws" | wc -l)"
stop 1

# Runs 2 and 3: a session of ten files that are all there, saved from the window, then that
# saved session opened again and saved once more: the same ten tracks in the same order.
ten="$(printf 'tone %d.wav\n' $(seq 41 50))"
run=2
for session in ten.bws saved.bws; do
    start "$work/$session" "$run"
    wait_for 300 loads_ended || fail "run $run: the loads did not end"
    saved="saved.bws"
    [ "$session" = saved.bws ] && saved="again.bws"
    save_session "$saved" "$run" || fail "run $run: the save dialog did not open"
    [ "$(listed "$saved")" = "$ten" ] || fail "run $run: $saved lists $(listed "$saved" | tr '\n' ',')"
    stop "$run"
    run=$((run + 1))
done

echo "soak: 50 files with 20 deletions and a reset while loading ($after_reset tracks loaded after it, tone $first to $last), then a session of 10 saved and opened again: 10 tracks each time, no crash, no sanitizer report"
