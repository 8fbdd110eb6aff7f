#!/usr/bin/env bash
# Playback through a real sound server: a PulseAudio server of the test's own with a null sink,
# a virtual display, ORVANE opening a session of one tone. Space plays, the sink's monitor is
# recorded, Space stops; then once more with the loudness match on (integrated, -14 LUFS).
# The recordings must sound, match the file's level within 0.5 dB with the match off, and
# move by -14 minus the file's unweighted integrated loudness (as orvane-check reads it) with
# it on.
# Usage: playback_e2e.sh <orvane> <orvane_e2e_helper> <orvane-check> <output folder>
# Exits 77 (skipped) when Xvfb, xdotool, ImageMagick, pulseaudio, pactl or parec is missing.
set -euo pipefail
# shellcheck source=e2e/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/e2e/common.sh"

app="$1"
helper="$2"
checker="$3"
out="$4"

for tool in Xvfb xdotool import convert pulseaudio pactl parec; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed (apt-get install xvfb xdotool imagemagick pulseaudio pulseaudio-utils)"
        exit 77
    fi
done

mkdir -p "$out"
rm -f "$out"/*.wav "$out"/*.txt "$out"/*.log
work="$(mktemp -d)"
pulse_pid=""
xvfb_pid=""
app_pid=""
rec_pid=""
cleanup() {
    for pid in "$rec_pid" "$app_pid" "$xvfb_pid" "$pulse_pid"; do
        if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then kill "$pid" 2>/dev/null || true; fi
    done
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "FAILED: $*" >&2
    [ -f "$out/stderr.txt" ] && { echo "--- program stderr:" >&2; tail -n 40 "$out/stderr.txt" >&2; }
    [ -f "$out/pulseaudio.log" ] && { echo "--- pulseaudio:" >&2; tail -n 20 "$out/pulseaudio.log" >&2; }
    exit 1
}

# Everything private: home, configuration and the sound server's socket.
export HOME="$work/home"
export XDG_CONFIG_HOME="$HOME/.config"
export XDG_RUNTIME_DIR="$work/run"
mkdir -p "$XDG_CONFIG_HOME/pulse" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
echo "autospawn = no" >"$XDG_CONFIG_HOME/pulse/client.conf"
export PULSE_CLIENTCONFIG="$XDG_CONFIG_HOME/pulse/client.conf"
export PULSE_SERVER="unix:$XDG_RUNTIME_DIR/pulse/native"
unset PULSE_SINK PULSE_SOURCE || true

# The server must not reach for an X display or a session bus of the machine.
unset DISPLAY DBUS_SESSION_BUS_ADDRESS || true
sink=orvane_e2e
pulseaudio -n --daemonize=no --exit-idle-time=-1 --disallow-exit \
    -L "module-null-sink sink_name=$sink rate=44100 channels=2" \
    -L "module-native-protocol-unix" >"$out/pulseaudio.log" 2>&1 &
pulse_pid=$!
wait_for 10 pactl info || fail "the sound server did not start"
pactl set-default-sink "$sink"
pactl set-default-source "$sink.monitor"
pactl set-sink-volume "$sink" 100%

start_virtual_display

# A steady tone well under the target, so that the match lifts it audibly.
tone="$work/tone.wav"
"$helper" tone "$tone" 10 440 0.1 || fail "could not write the tone"
session="$work/playback.bws"
"$helper" session "$session" 4 0 0 1200 900 "$tone" || fail "could not write the session"
export ORVANE_TEST_STATUS_FILE="$work/status.txt"

(cd "$work" && exec "$app" "$session") >"$out/stdout.txt" 2>"$out/stderr.txt" &
app_pid=$!
title='^ORVANE - playback\.bws$'
wait_for 30 xdotool search --name "$title" || fail "no ORVANE window"
window="$(xdotool search --name "$title" | head -n 1)"
wait_for 60 grep -q "^All tracks loaded$" "$work/status.txt" || fail "the track did not load"

# The device is open once the program's stream stands on the sink.
wait_for 15 bash -c "pactl list short sink-inputs | grep -q ." \
    || fail "ORVANE opened no stream on the sound server (the ALSA device 'default' should reach it)"
# The one track is the active one by itself. The focus goes to the window; a click on the
# title, which belongs to the main component, makes sure the keys go there.
xdotool windowfocus --sync "$window" 2>/dev/null || xdotool windowfocus "$window"
xdotool mousemove --window "$window" 60 25 click 1
sleep 0.3

# Records the monitor while Space plays for a few seconds, then stops.
record() {
    local file="$1"
    parec -d "$sink.monitor" --file-format=wav --format=float32le --rate=44100 --channels=2 "$file" &
    rec_pid=$!
    sleep 0.5
    xdotool key --clearmodifiers space
    sleep 3
    xdotool key --clearmodifiers space
    sleep 0.5
    kill -INT "$rec_pid" 2>/dev/null || true
    wait "$rec_pid" 2>/dev/null || true
    rec_pid=""
    [ -s "$file" ] || fail "nothing was recorded into $file"
}

field() { awk -v key="$1" '{ for (i = 1; i < NF; ++i) if ($i == key) print $(i + 1) }'; }

record "$out/match-off.wav"

# The colour of a pixel of the window, as RRGGBB.
pixel() {
    import -window "$window" "$work/shot.png" && convert "$work/shot.png" -format "%[hex:p{$1,$2}]" info:
}
# Under the loudness match button, in the gap above the strip.
choices_x=700
choices_y=47
[ "$(pixel $choices_x $choices_y)" != "4C58C8" ] || fail "the loudness match choices show before the pointer came"

# The loudness match button, at the top bar's right end: integrated, -14 LUFS, as it starts.
# Hovering shows its choices beneath it.
xdotool mousemove --window "$window" 727 20 click 1
sleep 0.5
[ "$(pixel $choices_x $choices_y)" = "4C58C8" ] || fail "hovering the loudness match button showed no choices"
import -window "$window" "$out/choices.png"
xdotool mousemove --window "$window" 300 500
sleep 0.3
record "$out/match-on.wav"

"$helper" close "$window" || true
for _ in $(seq 1 100); do kill -0 "$app_pid" 2>/dev/null || break; sleep 0.1; done

file_level="$("$helper" level "$tone")"
off_level="$("$helper" level "$out/match-off.wav")"
on_level="$("$helper" level "$out/match-on.wav")"
{
    echo "file:      $file_level"
    echo "match off: $off_level"
    echo "match on:  $on_level"
} | tee "$out/levels.txt"

# Levels are the medians of 100 ms blocks, so that a dropout of a busy machine doesn't count.
file_rms="$(field median <<<"$file_level")"
off_rms="$(field median <<<"$off_level")"
on_rms="$(field median <<<"$on_level")"
# The checker's exit status tells the tone's verdict against the preset, which doesn't matter here.
readings="$("$checker" --json "$tone" || true)"
file_plain="$(sed -n 's/.*"plainIntegrated": *\([-0-9.]*\).*/\1/p' <<<"$readings" | head -n 1)"
[ -n "$file_plain" ] || fail "orvane-check gave no plainIntegrated for the tone"
off_seconds="$(field seconds <<<"$off_level")"
on_seconds="$(field seconds <<<"$on_level")"

check() { awk "BEGIN { exit !($1) }"; }
[ "$off_rms" != "-inf" ] && check "$off_seconds > 2" || fail "the recording with the match off is silent or short ($off_level)"
[ "$on_rms" != "-inf" ] && check "$on_seconds > 2" || fail "the recording with the match on is silent or short ($on_level)"
check "($off_rms - $file_rms) < 0.5 && ($file_rms - $off_rms) < 0.5" \
    || fail "match off: recorded at $off_rms dB, the file is at $file_rms dB"
expected_gain="$(awk "BEGIN { printf \"%.3f\", -14 - ($file_plain) }")"
check "($on_rms - $off_rms - $expected_gain) < 0.5 && ($expected_gain - $on_rms + $off_rms) < 0.5" \
    || fail "match on: moved by $(awk "BEGIN { print $on_rms - $off_rms }") dB, expected $expected_gain dB"

if grep -q "JUCE Assertion failure" "$out/stderr.txt"; then
    fail "a JUCE assertion fired"
fi
echo "played through the sound server: off $off_rms dB (file $file_rms dB), on $on_rms dB (gain $expected_gain dB expected)"
