#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build and test Lumivane.
# Packages already present are left alone, so a second run is quick.
set -euo pipefail

packages=(
    g++ make cmake pkg-config python3
    libgtest-dev libgmock-dev libbenchmark-dev
    libx11-dev libxres-dev
    xvfb x11-apps x11-utils
    clang libclang-rt-14-dev
    imagemagick netpbm ghostscript python3-pil
)

missing=()
for package in "${packages[@]}"; do
    dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done

if ((${#missing[@]})); then
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
