# Shared by the end-to-end scripts (sourced): waiting, and a virtual display of the test's own.
# The sourcing script defines fail() and the variables work and helper.

# Waits up to $1 seconds for a command to succeed.
wait_for() {
    local seconds="$1"; shift
    local tries=$((seconds * 10))
    while ! "$@" >/dev/null 2>&1; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || return 1
        sleep 0.1
    done
}

# A display of our own: Xvfb picks a free number and writes it to the descriptor. Sets
# xvfb_pid and DISPLAY, and makes the window manager's atoms on it.
start_virtual_display() {
    exec 5>"$work/display"
    Xvfb -displayfd 5 -screen 0 1920x1200x24 -nolisten tcp -noreset >"$work/xvfb.log" 2>&1 &
    xvfb_pid=$!
    exec 5>&-
    wait_for 10 test -s "$work/display" || fail "Xvfb did not start"
    export DISPLAY=":$(head -n 1 "$work/display")"
    "$helper" atoms || fail "could not prepare the display"
}


# A scratch folder in $work, removed when the script ends, after the program ($app_pid) and the
# display ($xvfb_pid) if they still run.
make_scratch() {
    work="$(mktemp -d)"
    xvfb_pid=""
    app_pid=""
    trap end_scratch EXIT
}
end_scratch() {
    if [ -n "$app_pid" ] && kill -0 "$app_pid" 2>/dev/null; then kill "$app_pid" 2>/dev/null || true; fi
    if [ -n "$xvfb_pid" ] && kill -0 "$xvfb_pid" 2>/dev/null; then kill "$xvfb_pid" 2>/dev/null || true; fi
    rm -rf "$work"
}

# Settings and everything else go to a home of the test's own; status texts to a file.
use_private_home() {
    export HOME="$work/home"
    export XDG_CONFIG_HOME="$HOME/.config"
    mkdir -p "$XDG_CONFIG_HOME"
    export ORVANE_TEST_STATUS_FILE="$work/status.txt"
}
# The program's notices never leave the machine: they ask a closed local port unless a test
# serves them itself.
export ORVANE_VERSION_URL="${ORVANE_VERSION_URL:-http://127.0.0.1:9/version}"
export ORVANE_NEW_PRODUCT_URL="${ORVANE_NEW_PRODUCT_URL:-http://127.0.0.1:9/newproduct}"

# The frame of a window scenario, for a script that sets app, helper and out: skipped (77)
# without Xvfb, xdotool or ImageMagick's import; a scratch folder removed at the end with the
# program and the display; fail() with the status texts and the program's stderr; a display
# and a home of the test's own.
window_scenario() {
    for tool in Xvfb xdotool import; do
        if ! command -v "$tool" >/dev/null 2>&1; then
            echo "skipped: $tool is not installed"
            exit 77
        fi
    done
    mkdir -p "$out"
    make_scratch
    fail() {
        echo "FAILED: $*" >&2
        [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; cat "$work/status.txt" >&2; }
        [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
        exit 1
    }
    start_virtual_display
    use_private_home
}

# Starts the program on a session and waits for its window, titled after the session, to
# stand at the given size; sets app_pid and window.
open_session() {
    local session="$1" size="$2"
    local title
    title="^ORVANE - $(basename "$session" | sed 's/[.]/\\./g')\$"
    (cd "$work" && exec "$app" "$session") >"$out/stdout.txt" 2>"$out/stderr.txt" &
    app_pid=$!
    wait_for 30 xdotool search --name "$title" || fail "no window titled 'ORVANE - $(basename "$session")'"
    window="$(xdotool search --name "$title" | head -n 1)"
    window_has_size() { xdotool getwindowgeometry "$window" | grep -q "Geometry: $size"; }
    wait_for 10 window_has_size \
        || fail "window size is $(xdotool getwindowgeometry "$window" | grep Geometry), not $size"
}

# Closes the window as a window manager would and waits up to $2 seconds (20 unless given)
# for the program to end with status 0 and no JUCE assertion.
close_and_wait() {
    local seconds="${2:-20}"
    if ! "$helper" close "$1"; then
        kill -0 "$app_pid" 2>/dev/null || fail "the program had ended by itself"
        fail "could not ask the window to close"
    fi
    for _ in $(seq 1 $((seconds * 10))); do
        kill -0 "$app_pid" 2>/dev/null || break
        sleep 0.1
    done
    if kill -0 "$app_pid" 2>/dev/null; then
        fail "the program did not quit within $seconds s of its window closing"
    fi
    local status=0
    wait "$app_pid" || status=$?
    app_pid=""
    [ "$status" -eq 0 ] || fail "the program exited with status $status"
    if grep -q "JUCE Assertion failure" "$out/stderr.txt"; then
        fail "a JUCE assertion fired"
    fi
}
