#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; then the analyses that overlap under
# ThreadSanitizer (scripts/tsan.sh, its own build folder; ORVANE_SKIP_TSAN=1 leaves it out).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="$("$root/scripts/build.sh" "${ORVANE_BUILD_TYPE:-Release}")"
cd "$build"
ctest --output-on-failure --parallel "$(nproc)" --timeout 600 "$@"
if [ "${ORVANE_SKIP_TSAN:-0}" != 1 ]; then
    "$root/scripts/tsan.sh"
fi
