#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="$("$root/scripts/build.sh" "${ORVANE_BUILD_TYPE:-Release}")"
cd "$build"
ctest --output-on-failure --parallel "$(nproc)" --timeout 600 "$@"
