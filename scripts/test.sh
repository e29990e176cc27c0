#!/usr/bin/env bash
# Installs what is missing (as root), builds from scratch into build/ and runs every test.
# Exits non-zero on any failure. Extra arguments go to ctest (for example: -L unit).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++ make googletest libgtest-dev libgmock-dev gcc-arm-none-eabi binutils-arm-none-eabi
          libnewlib-arm-none-eabi gdb-multiarch qemu-system-arm python3)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then
        echo "Missing packages: ${missing[*]}"
        echo "Install them with: sudo apt-get install --no-install-recommends ${missing[*]}"
        exit 1
    fi
    echo "Installing: ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build_dir=${TARNWICK_BUILD_DIR:-build}
cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${CI:-}" = "true" ]; then
    cmake_args+=(-DTARNWICK_WERROR=ON)
fi
if [ -n "${TARNWICK_SANITIZE:-}" ]; then
    cmake_args+=(-DTARNWICK_SANITIZE=ON)
fi

rm -rf "$build_dir"
cmake -S . -B "$build_dir" "${cmake_args[@]}"
cmake --build "$build_dir" -j "$(nproc)"
cd "$build_dir"
ctest --output-on-failure -j "$(nproc)" -LE bench "$@"
