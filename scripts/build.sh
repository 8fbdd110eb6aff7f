#!/usr/bin/env bash
# Configures (once) and builds ORVANE incrementally into build/ (or $ORVANE_BUILD_DIR).
# Usage: scripts/build.sh [Release|Debug] [extra cmake --build args...]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
type="${1:-${ORVANE_BUILD_TYPE:-Release}}"
[ $# -gt 0 ] && shift
build="${ORVANE_BUILD_DIR:-$root/build}"
[ "$type" = "Debug" ] && [ -z "${ORVANE_BUILD_DIR:-}" ] && build="$root/build-debug"

export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-time_macros}"
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}"

generator=()
if command -v ninja >/dev/null 2>&1 && [ ! -f "$build/Makefile" ]; then
    generator=(-G Ninja)
fi
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE="$type" >&2
fi
cmake --build "$build" --parallel "$(nproc)" "$@" >&2
echo "$build"
