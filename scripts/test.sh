#!/usr/bin/env bash
# Installs what is missing (as root), builds from scratch into build/ and runs every test.
# Exits non-zero on any failure. Extra arguments go to ctest (for example: -L unit).
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
install_missing_packages "${tarnwick_test_packages[@]}"

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
