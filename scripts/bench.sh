#!/usr/bin/env bash
# Builds (RelWithDebInfo, as shipped) and runs every benchmark, one at a time, the same way each time; then
# writes the report: bench-results/report.md (figures as Markdown tables), docs/performance_stop_cost.svg and
# docs/performance_info_threads.svg.
# The machine and its load go into bench-results/machine.txt; every run records its load average too.
# Extra arguments go to ctest (for example: -R bench_stops to run only the stop-cost runs).
set -euo pipefail
cd "$(dirname "$0")/.."
top=$(pwd)
build_dir=${TARNWICK_BUILD_DIR:-build}
results="$build_dir/bench-results"

cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" -j2

rm -rf "$results"
mkdir -p "$results"
{
    echo "start: $(uptime)"
    uname -srm
    grep -m1 "model name" /proc/cpuinfo
    echo "cores: $(nproc)"
    grep MemTotal /proc/meminfo
    c++ --version | head -1
    git -C "$top" log -1 --format='commit: %h %s'
} > "$results/machine.txt"

# The dump benchmark is run below by hand, as docs/PERFORMANCE.md records it.
(cd "$build_dir" && ctest -L bench -E dump_parsing_bench -V "$@") > "$results/ctest.log" 2>&1 || status=$?
echo "end of ctest: $(uptime)" >> "$results/machine.txt"

if [ -z "$*" ]; then
    for run in 1 2 3; do
        echo "run $run, load: $(cut -d' ' -f1-3 /proc/loadavg)"
        "$build_dir/tests/bench/tarnwick_bench_dump" "$build_dir/tests/bench/bench_dump.proxy_cache" 256 5
    done > "$results/dump.txt" 2>&1
fi

python3 tests/bench/bench_report.py "$results" --svg docs/performance_stop_cost.svg \
    --svg-threads docs/performance_info_threads.svg > "$results/report.md"
cat "$results/report.md"
echo "end: $(uptime)" >> "$results/machine.txt"
exit "${status:-0}"
