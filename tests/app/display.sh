# Sourced by the window's end-to-end scripts: a scratch folder ($work), waiting for a condition,
# and a virtual display of the script's own; the program ($app_pid) and the display are ended and
# the folder removed when the script ends. The script defines fail().

work="$(mktemp -d)"
xvfb_pid=""
app_pid=""
cleanup() {
    if [ -n "$app_pid" ] && kill -0 "$app_pid" 2>/dev/null; then kill "$app_pid" 2>/dev/null || true; fi
    if [ -n "$xvfb_pid" ] && kill -0 "$xvfb_pid" 2>/dev/null; then kill "$xvfb_pid" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap cleanup EXIT

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

# Starts Xvfb on a display number it picks itself (written to a descriptor), with its files in
# the folder $1; sets xvfb_pid and DISPLAY, prepares the display with $helper, and gives the
# program a home of its own.
start_display() {
    exec 5>"$1/display"
    Xvfb -displayfd 5 -screen 0 1920x1200x24 -nolisten tcp -noreset >"$1/xvfb.log" 2>&1 &
    xvfb_pid=$!
    exec 5>&-
    wait_for 10 test -s "$1/display" || fail "Xvfb did not start"
    export DISPLAY=":$(head -n 1 "$1/display")"
    "$helper" atoms || fail "could not prepare the display"

    # Settings and everything else go to a home of the test's own; status texts to a file.
    export HOME="$work/home"
    export XDG_CONFIG_HOME="$HOME/.config"
    mkdir -p "$XDG_CONFIG_HOME"
    export ORVANE_TEST_STATUS_FILE="$work/status.txt"
}
