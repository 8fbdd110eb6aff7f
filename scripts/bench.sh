#!/usr/bin/env bash
# Whole-file checks timed against FFmpeg's loudness meter, paired, on generated music-like
# audio: 4 and 12 minutes of 44.1 kHz stereo, as 24-bit WAV, FLAC and MP3.
#
#   scripts/bench.sh [runs, default 9]
#
# For each file, hyperfine runs `orvane-check --json FILE` and
#   ffmpeg -nostdin -threads 1 -i FILE -af ebur128=peak=true+sample -f null -
# one after the other with a warm-up each, and the table gives the median wall times and
# their ratio, the mean CPU time (user + system) of both and its ratio, and the peak
# resident memory of one more run of each under /usr/bin/time, with how far ours lies above
# the decoded samples held as floats. The last lines give the 12-minute over 4-minute
# ratios of our median wall time and mean CPU time per format. No figure is judged here: this only measures.
#
# The audio (deterministic) is written once into <build>/bench-audio/. The Google Benchmark
# microbenchmarks run with <build>/bench/orvane_bench.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
runs="${1:-9}"
"$root/scripts/deps.sh"
build="$("$root/scripts/build.sh" Release --target orvane-check orvane-bench-audio)"
audio="$build/bench-audio"
mkdir -p "$audio"

for minutes in 4 12; do
    wav="$audio/music-${minutes}min.wav"
    [ -f "$wav" ] || "$build/bench/orvane-bench-audio" "$wav" $((minutes * 60))
    [ -f "${wav%.wav}.flac" ] || ffmpeg -nostdin -loglevel error -i "$wav" -c:a flac "${wav%.wav}.flac"
    [ -f "${wav%.wav}.mp3" ] || ffmpeg -nostdin -loglevel error -i "$wav" -c:a libmp3lame -b:a 320k "${wav%.wav}.mp3"
done

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

peak_kb() { /usr/bin/time -f %M -o "$work/rss" "$@" >/dev/null 2>&1 || true; cat "$work/rss" | tail -1; }

echo "ORVANE $(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo '?') on $(nproc) cores ($(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1)), $(date -u '+%Y-%m-%d %H:%M UTC'), load average $(cut -d' ' -f1-3 /proc/loadavg), $runs runs each"
printf '%-10s %9s %9s %6s %8s %8s %6s %8s %8s %8s\n' file "ours s" "ffmpeg s" ratio "ours cpu" "ff cpu" ratio "ours MB" "ff MB" "+floats"
declare -A median cpu
for minutes in 4 12; do
    for ext in wav flac mp3; do
        file="$audio/music-${minutes}min.$ext"
        ours=("$build/orvane-check" --json "$file")
        theirs=(ffmpeg -nostdin -threads 1 -i "$file" -af ebur128=peak=true+sample -f null -)
        hyperfine --style none --warmup 1 --runs "$runs" -i --export-csv "$work/t.csv" \
            "${ours[*]} >/dev/null" "${theirs[*]} >/dev/null 2>&1" >/dev/null 2>"$work/hyperfine.err" \
            || { cat "$work/hyperfine.err" >&2; exit 1; }
        # command,mean,stddev,median,user,system,min,max
        read -r ow ou os < <(awk -F, 'NR==2 { print $4, $5, $6 }' "$work/t.csv")
        read -r fw fu fs < <(awk -F, 'NR==3 { print $4, $5, $6 }' "$work/t.csv")
        orss="$(peak_kb "${ours[@]}")"
        frss="$(peak_kb "${theirs[@]}")"
        floats_mb="$(awk -v m="$minutes" 'BEGIN { printf "%.1f", m * 60 * 44100 * 2 * 4 / 1048576 }')"
        median["$minutes.$ext"]="$ow"
        cpu["$minutes.$ext"]="$(awk -v a="$ou" -v b="$os" 'BEGIN{print a+b}')"
        awk -v n="${minutes}min.$ext" -v ow="$ow" -v fw="$fw" -v oc="$(awk -v a="$ou" -v b="$os" 'BEGIN{print a+b}')" \
            -v fc="$(awk -v a="$fu" -v b="$fs" 'BEGIN{print a+b}')" -v orss="$orss" -v frss="$frss" -v fl="$floats_mb" \
            'BEGIN { printf "%-10s %9.3f %9.3f %6.2f %8.3f %8.3f %6.2f %8.0f %8.0f %8.0f\n",
                     n, ow, fw, ow / fw, oc, fc, oc / fc, orss / 1024, frss / 1024, orss / 1024 - fl }'
    done
done
for ext in wav flac mp3; do
    awk -v e="$ext" -v a="${median[12.$ext]}" -v b="${median[4.$ext]}" -v c="${cpu[12.$ext]}" -v d="${cpu[4.$ext]}" \
        'BEGIN { printf "12 min / 4 min, ours, %s: wall %.2f, cpu %.2f\n", e, a / b, c / d }'
done
echo "(s: median wall time; cpu: mean user + system time; MB: peak resident; +floats: ours above the decoded samples as floats)"
