#!/usr/bin/env bash
# Installs every Debian package that building and testing Vantry need.
# Does nothing when they are all there; otherwise one apt-get update, then
# apt-get install -y of what is missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libgtest-dev libgmock-dev googletest
    nlohmann-json3-dev libbenchmark-dev
    g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
    wine64
    clang-format
    clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
