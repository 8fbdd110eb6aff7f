#!/usr/bin/env bash
# Installs the Debian 12 packages that building, running and testing ORVANE need,
# but only those that are missing. Runs apt as root, or through sudo.
set -euo pipefail

PACKAGES=(
    build-essential cmake ninja-build pkg-config ccache
    juce-modules-source
    libflac-dev libvorbis-dev libogg-dev libpng-dev libjpeg-dev zlib1g-dev
    libavformat-dev libavcodec-dev libswresample-dev libavutil-dev
    libasound2-dev libfreetype-dev libfontconfig1-dev
    libx11-dev libxrandr-dev libxinerama-dev libxcursor-dev libxext-dev libxcomposite-dev
    libgtest-dev libbenchmark-dev
    clang libclang-rt-14-dev
    ffmpeg time
    xvfb xauth xdotool imagemagick
    pulseaudio pulseaudio-utils libasound2-plugins
    fonts-jura
)

missing=()
for p in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing missing packages: ${missing[*]}" >&2
SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        SUDO="sudo"
    else
        echo "These packages are missing and neither root nor sudo is available: ${missing[*]}" >&2
        exit 1
    fi
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
