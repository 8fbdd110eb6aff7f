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
