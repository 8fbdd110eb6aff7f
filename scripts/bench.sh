#!/usr/bin/env bash
# Times the whole-file analysis of a 4-minute 44.1 kHz stereo file.
#
#   scripts/bench.sh [extra Google Benchmark arguments...]
#
# 1. Builds orvane_bench and orvane-check in Release (into build/, or $ORVANE_BUILD_DIR).
# 2. Runs the Google Benchmark case BM_WholeFileLoad, which writes the test file on first
#    use (deterministic audio, 24-bit WAV, about 64 MB) and times decode, band pass,
#    analyseRange and waveform points through the Model's queue.
# 3. Times `orvane-check` on the same file with /usr/bin/time: wall time and peak memory
#    of the whole program, start-up and report included.
#
# The file lives at $ORVANE_BENCH_AUDIO (default: <build>/bench-audio/four-minutes.wav).
# Every other benchmark runs with: <build>/bench/orvane_bench
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="$("$root/scripts/build.sh" Release --target orvane_bench orvane-check)"

export ORVANE_BENCH_AUDIO="${ORVANE_BENCH_AUDIO:-$build/bench-audio/four-minutes.wav}"

echo "== Google Benchmark: whole-file load through the Model =="
"$build/bench/orvane_bench" --benchmark_filter='BM_WholeFileLoad' "$@"

if [ ! -f "$ORVANE_BENCH_AUDIO" ]; then
    echo "The bench file was not written: $ORVANE_BENCH_AUDIO" >&2
    exit 1
fi

echo
echo "== orvane-check on the same file =="
report="$(mktemp)"
trap 'rm -f "$report"' EXIT
/usr/bin/time -v -o "$report" "$build/orvane-check" --no-progress "$ORVANE_BENCH_AUDIO" >/dev/null
wall="$(sed -n 's/^[[:space:]]*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$report")"
rss="$(sed -n 's/^[[:space:]]*Maximum resident set size (kbytes): //p' "$report")"
cpu="$(sed -n 's/^[[:space:]]*Percent of CPU this job got: //p' "$report")"
user="$(sed -n 's/^[[:space:]]*User time (seconds): //p' "$report")"
echo "file:          $ORVANE_BENCH_AUDIO"
echo "wall time:     $wall"
echo "max RSS:       $((rss / 1024)) MB ($rss kB)"
echo "CPU time:      ${user} s user ($cpu of one core; lower means other work shared the machine)"
