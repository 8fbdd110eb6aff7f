# Shared by the end-to-end scripts: checks the tools, starts a virtual display of its own,
# gives the program a home of its own, and cleans up. Source it after setting $out.
# Exits 77 (skipped) when Xvfb, xdotool or ImageMagick's import is missing. With E2E_KEEP set to
# a folder, the work folder (settings, status texts, server logs) is copied there at the end.

for tool in Xvfb xdotool import; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

mkdir -p "$out"
work="$(mktemp -d)"
xvfb_pid=""
app_pid=""
cleanup_extra() { :; }
cleanup() {
    cleanup_extra
    if [ -n "$app_pid" ] && kill -0 "$app_pid" 2>/dev/null; then kill "$app_pid" 2>/dev/null || true; fi
    if [ -n "$xvfb_pid" ] && kill -0 "$xvfb_pid" 2>/dev/null; then kill "$xvfb_pid" 2>/dev/null || true; fi
    [ -n "${E2E_KEEP:-}" ] && cp -r "$work" "$E2E_KEEP"; rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; cat "$work/status.txt" >&2; }
    [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
    exit 1
}

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

# A display of our own: Xvfb picks a free number and writes it to the descriptor.
exec 5>"$work/display"
Xvfb -displayfd 5 -screen 0 1920x1200x24 -nolisten tcp -noreset >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
exec 5>&-
wait_for 10 test -s "$work/display" || fail "Xvfb did not start"
export DISPLAY=":$(head -n 1 "$work/display")"
"$helper" atoms || fail "could not prepare the display"

# Settings and everything else go to a home of the test's own.
export HOME="$work/home"
export XDG_CONFIG_HOME="$HOME/.config"
mkdir -p "$XDG_CONFIG_HOME"
export ORVANE_TEST_STATUS_FILE="$work/status.txt"
# The notices never leave the machine: a closed local port unless a test serves them.
export ORVANE_VERSION_URL="${ORVANE_VERSION_URL:-http://127.0.0.1:9/version}"
export ORVANE_NEW_PRODUCT_URL="${ORVANE_NEW_PRODUCT_URL:-http://127.0.0.1:9/newproduct}"

# Asks the window to close as a window manager does, and waits up to $2 seconds for the
# program to end with status 0.
close_and_wait() {
    local window="$1" seconds="$2"
    if ! "$helper" close "$window"; then
        local status=0
        kill -0 "$app_pid" 2>/dev/null || { wait "$app_pid" || status=$?; app_pid=""; fail "the program had ended by itself, status $status"; }
        fail "could not ask the window to close"
    fi
    local tries=$((seconds * 10))
    while kill -0 "$app_pid" 2>/dev/null && [ "$tries" -gt 0 ]; do
        tries=$((tries - 1))
        sleep 0.1
    done
    kill -0 "$app_pid" 2>/dev/null && fail "the program did not quit within $seconds s of its window closing"
    local status=0
    wait "$app_pid" || status=$?
    app_pid=""
    [ "$status" -eq 0 ] || fail "the program exited with status $status"
}
