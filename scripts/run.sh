#!/usr/bin/env bash
# Installs what is missing, builds, and starts ORVANE. Arguments go to the program.
# Without a display (or before the window exists) it says how to use the checker.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/deps.sh"
build="$("$root/scripts/build.sh" "${ORVANE_BUILD_TYPE:-Release}")"
app="$(find "$build" -type f -name orvane -perm -u+x 2>/dev/null | head -n 1)"
if [ -n "$app" ] && [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$app" "$@"
fi
check="$build/orvane-check"
if [ -z "$app" ]; then
    echo "The ORVANE window is not part of this build yet; the headless checker is." >&2
else
    echo "No display found, so the ORVANE window cannot open; the headless checker works without one." >&2
fi
echo >&2
if [ $# -gt 0 ]; then
    exec "$check" "$@"
fi
"$check" --help
