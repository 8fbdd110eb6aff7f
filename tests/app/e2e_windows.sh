#!/usr/bin/env bash
# The top bar, the presets window, the settings and help overlays and the two notices, end to
# end on a virtual display, in three runs of the program. The first, with a local server
# answering both notice addresses, finds the update badge, opens the help window, and edits a
# user preset in the settings window; the checker then judges by the edited preset. The second
# starts on that preset as read from the file and picks another by group and name in the presets
# window: the strip's verdict changes. The third meets a server that accepts and never answers:
# the window opens at once and the exit isn't held up.
# Usage: e2e_windows.sh <orvane> <orvane_e2e_helper> <orvane-check> <output folder>
set -euo pipefail
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"

app="$1"
helper="$2"
checker="$3"
out="$4"

for tool in Xvfb xdotool import python3; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

mkdir -p "$out"
rm -f "$out"/*.png "$out/stdout.txt" "$out/stderr.txt"
work="$(mktemp -d)"
xvfb_pid=""
app_pid=""
server_pid=""
cleanup() {
    for pid in "$app_pid" "$server_pid" "$xvfb_pid"; do
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then kill "$pid" 2>/dev/null || true; fi
    done
    # With E2E_KEEP set to a folder, the settings, status texts and server logs are kept there.
    [ -n "${E2E_KEEP:-}" ] && cp -r "$work" "$E2E_KEEP"
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    [ -f "$work/status.txt" ] && { echo "--- status texts:" >&2; cat "$work/status.txt" >&2; }
    [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
    exit 1
}

start_virtual_display

use_private_home

# Serves the two notices on 127.0.0.1 and logs each request with its time. "silent" accepts
# and never answers.
start_server() {
    local mode="$1" log="$2"
    rm -f "$work/port"
    python3 - "$mode" "$log" "$work/port" <<'PY' &
import http.server, sys, time
mode, log_path, port_path = sys.argv[1:4]
log = open(log_path, "a", buffering=1)
class Notices(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        log.write("%.3f %s\n" % (time.time(), self.path))
        if mode == "silent":
            time.sleep(600)
            return
        body = (b"9.9.9\n" if self.path == "/version" else b"True")
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
    def log_message(self, *args):
        pass
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Notices)
server.daemon_threads = True
open(port_path, "w").write(str(server.server_address[1]))
server.serve_forever()
PY
    server_pid=$!
    wait_for 10 test -s "$work/port" || fail "the notice server did not start"
    export ORVANE_VERSION_URL="http://127.0.0.1:$(cat "$work/port")/version"
    export ORVANE_NEW_PRODUCT_URL="http://127.0.0.1:$(cat "$work/port")/newproduct"
}

stop_server() {
    kill "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
    server_pid=""
}

requests_at_least() { [ -f "$1" ] && [ "$(wc -l <"$1")" -ge "$2" ]; }
# Clicks at a point of the window (the main component fills it).
click() { xdotool mousemove --window "$window" "$1" "$2" click 1; sleep 0.4; }
shot() { sleep 0.4; import -window "$window" "$out/$1.png" || fail "no screenshot $1"; }
# Pixels of the problem red (0xfffa4d42) in an area of a screenshot.
red_pixels() { "$helper" count "$out/$1.png" "$2" "$3" "$4" "$5" fa4d42 40; }
# The checker's exit status for the tone under a preset, reading the window's settings file
# (its compiled-in presets while there is none).
checker_status() {
    local status=0 from=()
    [ -f "$settings" ] && from=(--settings "$settings")
    "$checker" "${from[@]}" --preset "$1" "$tone" >/dev/null 2>&1 || status=$?
    echo "$status"
}

tone="$work/tone.wav"
"$helper" tone "$tone" 3 440 || fail "could not write the tone"
settings="$XDG_CONFIG_HOME/BrenwickSound/orvane-settings.dat"
edited='presetId="27"[^>]*dynamicRange="0'

# A steady tone is too compressed for USER1 as it comes (a copy of ALL-ROUND), and out of
# BROADCAST: EBU R 128 on its loudness too.
[ "$(checker_status 27)" = 1 ] || fail "the checker finds the tone within the factory USER1"
[ "$(checker_status 24)" = 1 ] || fail "the checker finds the tone within EBU R 128"

# --- first run: a server that answers ---------------------------------------------------------
start_server answer "$work/requests1.txt"
"$helper" session "$work/first.bws" 4 0 0 1000 800 "$tone" || fail "could not write the first session"
started=$(date +%s.%N)
(cd "$work" && exec "$app" "$work/first.bws") >"$out/stdout.txt" 2>"$out/stderr.txt" &
app_pid=$!
wait_for 30 xdotool search --name '^ORVANE - first\.bws$' || fail "no window titled 'ORVANE - first.bws'"
window="$(xdotool search --name '^ORVANE - first\.bws$' | head -n 1)"
wait_for 60 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the track did not finish loading"
shot main

# The presets window opens under the top bar's toggle (302 + 241, 21).
click 543 21
shot presets-window
click 543 21

# Both notices have been asked for; the help toggle wears the update badge.
# The answer is painted once the window gets to it, which takes a while on a busy machine.
wait_for 15 requests_at_least "$work/requests1.txt" 2 || fail "the notices were not requested"
badge_shown() { shot badge && [ "$(red_pixels badge 963 16 17 17)" -ge 3 ]; }
wait_for 10 badge_shown || fail "no update badge on the help toggle"
click 971 24
shot help-window
click 971 24

# The settings window opens on USER1; its lowest dynamic range becomes 0, then Save.
click 917 24
shot settings-window
# Without a window manager the keyboard goes where it is sent: to the window, then the field.
xdotool windowfocus "$window" || true
click 621 520
xdotool key --clearmodifiers ctrl+a
xdotool type --delay 50 -- "0"
shot settings-edited
click 627 612
click 917 24
click 284 232
shot settings-output
click 704 612
click 917 24

close_and_wait "$window" 20
stop_server
[ "$(grep -c ' /version$' "$work/requests1.txt")" = 1 ] || fail "the version address was not asked exactly once"
[ "$(grep -c ' /newproduct$' "$work/requests1.txt")" = 1 ] || fail "the new-product address was not asked exactly once"
[ "$(wc -l <"$work/requests1.txt")" = 2 ] || fail "the server saw more than the two requests"
first_request=$(sort -n "$work/requests1.txt" | head -n 1 | cut -d' ' -f1)
python3 -c "import sys; d = $first_request - $started; sys.exit(0 if 3.2 <= d <= 30 else 1)" \
    || fail "the first notice request came $(python3 -c "print(round($first_request - $started, 2))") s after the start"

grep -aq "$edited" "$settings" || fail "USER1's edit is not in the settings file"
[ "$(checker_status 27)" = 0 ] || fail "the checker doesn't judge by the edited USER1"

# --- second run: USER1 as read from the file, then EBU R 128 picked by group and name ---------
"$helper" session "$work/second.bws" 27 0 0 1000 800 "$tone" || fail "could not write the second session"
: >"$work/status.txt"
(cd "$work" && exec "$app" "$work/second.bws") >>"$out/stdout.txt" 2>>"$out/stderr.txt" &
app_pid=$!
wait_for 30 xdotool search --name '^ORVANE - second\.bws$' || fail "no window titled 'ORVANE - second.bws'"
window="$(xdotool search --name '^ORVANE - second\.bws$' | head -n 1)"
wait_for 60 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the track did not finish loading again"
shot user1
[ "$(red_pixels user1 4 55 340 150)" -lt 20 ] || fail "the strip shows problems under the edited USER1"
# BROADCAST is the third group and EBU R 128 the sixth preset: rows of 38 from y 44 inside the
# window, which stands at (80, 53).
click 543 21
click 189 192
click 435 306
shot presets-picked
[ "$(red_pixels presets-picked 4 55 70 150)" -ge 20 ] || fail "the strip's verdict did not change for EBU R 128"
close_and_wait "$window" 20
grep -aq 'defaultPresetId="24"' "$settings" || fail "the picked preset was not remembered"

# --- third run: a server that accepts and never answers ---------------------------------------
start_server silent "$work/requests3.txt"
launched=$(date +%s)
"$app" >>"$out/stdout.txt" 2>>"$out/stderr.txt" &
app_pid=$!
wait_for 15 xdotool search --onlyvisible --name '^ORVANE$' || fail "no window in the third run"
[ $(( $(date +%s) - launched )) -le 10 ] || fail "the window took more than 10 s to open"
# The window is made more than once while it takes its title bar and size limits: the last stays.
sleep 1
window="$(xdotool search --onlyvisible --name '^ORVANE$' | tail -n 1)"
wait_for 15 test -s "$work/requests3.txt" || fail "the silent server saw no request"
close_and_wait "$window" 5
stop_server
grep -aq "$edited" "$settings" || fail "USER1's edit did not survive the later runs"

echo "top bar, presets, help, settings and notices: all good; screenshots in $out"
