#!/usr/bin/env bash
# Fuzzes the readers of the settings file, the session file and audio files (every format a
# track opens, through the checked reader) with libFuzzer under AddressSanitizer and
# UndefinedBehaviorSanitizer.
#
# Builds the targets of tests/fuzz with clang in a build folder of their own, then runs each
# target for the given number of seconds, starting from the committed seed corpus
# (tests/fuzz/corpus/<name>/, only read) and a working corpus in the build folder (which
# grows from run to run). A crash, a sanitizer report or a failed round-trip check stops the
# run, leaves the input in <build>/artifacts/<name>/ and makes the script fail.
#
# Usage: scripts/fuzz.sh [seconds per target, default 10] [session|settings|audio ...]
#   ORVANE_FUZZ_BUILD_DIR  build folder (default: build-fuzz)
#   ORVANE_FUZZ_ARGS       extra libFuzzer arguments, e.g. "-jobs=2 -workers=2"
# Reproduce a finding: <build>/fuzz_<name>_reader <artifact file>
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-10}"
[ $# -gt 0 ] && shift
names=("$@")
[ ${#names[@]} -eq 0 ] && names=(session settings audio)
build="${ORVANE_FUZZ_BUILD_DIR:-$root/build-fuzz}"

command -v clang++ >/dev/null 2>&1 || { echo "fuzz.sh: clang++ is missing (scripts/deps.sh installs it)" >&2; exit 1; }

export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-time_macros}"
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}"
# Debug information names the build folder; leave it out of the cache key so that another
# build folder reuses the compiled JUCE.
export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"
if [ ! -f "$build/CMakeCache.txt" ]; then
    generator=()
    command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
    launcher=()
    command -v ccache >/dev/null 2>&1 && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
    CC=clang CXX=clang++ cmake -S "$root/tests/fuzz" -B "$build" "${generator[@]}" "${launcher[@]}" \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo >&2
fi
targets=()
for name in "${names[@]}"; do targets+=("fuzz_${name}_reader"); done
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]}" >&2

# Leaks are not what these runs look for, and JUCE keeps a few singletons to the end.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=0:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

status=0
for name in "${names[@]}"; do
    seeds="$root/tests/fuzz/corpus/$name"
    work="$build/corpus/$name"
    artifacts="$build/artifacts/$name"
    mkdir -p "$work" "$artifacts"
    echo "== fuzz_${name}_reader for ${seconds}s" >&2
    # shellcheck disable=SC2086
    if ! "$build/fuzz_${name}_reader" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
            -max_len=65536 -print_final_stats=1 -artifact_prefix="$artifacts/" \
            ${ORVANE_FUZZ_ARGS:-} "$work" "$seeds" >"$build/$name.log" 2>&1; then
        echo "fuzz_${name}_reader found a problem; see $build/$name.log and $artifacts/" >&2
        tail -n 40 "$build/$name.log" >&2
        status=1
    else
        grep -E "^stat::number_of_executed_units|^#[0-9]+.*DONE" "$build/$name.log" >&2 || true
    fi
done
exit $status
