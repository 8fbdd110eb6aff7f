#!/usr/bin/env bash
# The window under stress on a sanitizer build: builds the application and the end-to-end
# helper with AddressSanitizer (LeakSanitizer included) into a build folder of their own, then
# runs tests/app/soak.sh on them under Xvfb (50 files, deletions and a reset while loading, a
# session saved and opened again); leak reports fail it unless tests/app/lsan.supp names them as
# outside our code. Takes minutes: the first build compiles all of JUCE instrumented.
# Usage: scripts/soak.sh      ORVANE_SOAK_BUILD_DIR: build folder (default: build-asan)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${ORVANE_SOAK_BUILD_DIR:-$root/build-asan}"

export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-time_macros}"
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}"
if [ ! -f "$build/CMakeCache.txt" ]; then
    generator=()
    command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
    flags="-O1 -fsanitize=address -fno-omit-frame-pointer"
    cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags" \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address >&2
fi
cmake --build "$build" --parallel "$(nproc)" --target orvane orvane_e2e_helper >&2
"$root/tests/app/soak.sh" "$build/app/orvane" "$build/tests/orvane_e2e_helper" "$build/soak"
