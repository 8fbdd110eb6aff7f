#!/usr/bin/env bash
# Runs the analyses that may overlap (span analyses started while files load, and the walk
# that follows the decoder inside a load) under ThreadSanitizer.
#
# Builds JUCE, the core and the analysis tests with -fsanitize=thread in a build folder of
# its own (build-tsan, or $ORVANE_TSAN_BUILD_DIR; a few minutes the first time, with ccache
# much less after), then runs the overlap tests and the pipeline's tests. Any report fails the
# run. (The first-pass stop test is left out: its own stopper thread polls a plain counter.)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${ORVANE_TSAN_BUILD_DIR:-$root/build-tsan}"

export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-time_macros}"
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}"
export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"
if [ ! -f "$build/CMakeCache.txt" ]; then
    generator=()
    command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
    cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DORVANE_SANITIZE=thread -DORVANE_BUILD_BENCH=OFF >&2
fi
cmake --build "$build" --parallel "$(nproc)" --target orvane_analysis_tests >&2

export TSAN_OPTIONS="halt_on_error=1 exitcode=66 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
"$build/tests/orvane_analysis_tests" --gtest_filter='AnalysisOverlap.*:Pipeline.*:-Pipeline.StopInTheFirstPassKeepsWhatWasRead'
