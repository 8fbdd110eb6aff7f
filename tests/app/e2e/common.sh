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
