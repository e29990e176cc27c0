#!/usr/bin/env bash
# Installs what is missing (as root), builds from scratch into build/ and runs every test.
# Exits non-zero on any failure. Extra arguments go to ctest (for example: -L unit).
#
# With CI=true, or on request with TARNWICK_ROBUSTNESS=1, a second pass follows: a build with clang,
# AddressSanitizer, UndefinedBehaviorSanitizer and the fuzz targets in build-sanitize/, in which the whole
# suite runs again and each fuzz target runs TARNWICK_FUZZ_SECONDS (default 20) from its seeds. valgrind is
# then installed too, so that the first pass also runs a GDB session through tarnwick under memcheck.
set -euo pipefail
cd "$(dirname "$0")/.."

robustness=0
if [ "${CI:-}" = "true" ] || [ "${TARNWICK_ROBUSTNESS:-}" = "1" ]; then
    robustness=1
fi

. scripts/packages.sh
packages=("${tarnwick_test_packages[@]}")
if [ "$robustness" = 1 ]; then
    packages+=(clang libclang-rt-14-dev valgrind)
fi
install_missing_packages "${packages[@]}"

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
# The second pass runs even when the first fails, so that one CI run shows both.
status=0
(cd "$build_dir" && ctest --output-on-failure -j "$(nproc)" -LE bench "$@") || status=$?

if [ "$robustness" = 1 ]; then
    sanitize_dir=${TARNWICK_SANITIZE_BUILD_DIR:-build-sanitize}
    rm -rf "$sanitize_dir"
    CC=clang CXX=clang++ cmake -S . -B "$sanitize_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNWICK_WERROR=ON \
        -DTARNWICK_SANITIZE=ON -DTARNWICK_FUZZ=ON -DTARNWICK_FUZZ_SECONDS="${TARNWICK_FUZZ_SECONDS:-20}"
    cmake --build "$sanitize_dir" -j "$(nproc)"
    # Any report ends the process that made it: a test fails, and so does a fuzz run.
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:strict_string_checks=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    (cd "$sanitize_dir" && ctest --output-on-failure -j "$(nproc)" -LE bench "$@") || status=$?
fi
exit $status
