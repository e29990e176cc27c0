#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer and UndefinedBehaviorSanitizer) and runs them.
#
#   scripts/fuzz.sh [-t SECONDS] [-j JOBS] [-b BUILD_DIR] [--no-build] [TARGET ...]
#
# Each target runs SECONDS (default 60) from its checked-in seeds (tests/fuzz/corpus/<target>, only read)
# and the inputs it found before (<build>/tests/fuzz/work/<target>/corpus), JOBS targets at a time
# (default 1). Logs and crash inputs go to <build>/tests/fuzz/work/<target>/. The summary gives the
# executions and the coverage of each run; the exit status is non-zero if any target found a crash, a
# leak or a hang. Without TARGET names, all of them. Example of a long run, two at a time:
#   scripts/fuzz.sh -t 600 -j 2
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=60
jobs=1
build_dir=build-sanitize
build=1
targets=()
while [ $# -gt 0 ]; do
    case "$1" in
    -t) seconds=$2; shift 2 ;;
    -j) jobs=$2; shift 2 ;;
    -b) build_dir=$2; shift 2 ;;
    --no-build) build=0; shift ;;
    -h|--help) sed -n '2,12p' "$0"; exit 0 ;;
    *) targets+=("$1"); shift ;;
    esac
done

all=(rsp_framing rsp_util options dump_parser target_description freertos_walk threadx_walk proxy_dispatch)
if [ ${#targets[@]} -eq 0 ]; then
    targets=("${all[@]}")
fi
declare -A max_len=([rsp_framing]=24576 [rsp_util]=8192 [options]=4096 [dump_parser]=65536
                    [target_description]=8192 [freertos_walk]=16384 [threadx_walk]=20480
                    [proxy_dispatch]=8192)
# Seconds one input may take before it counts as a hang (see tests/fuzz/CMakeLists.txt).
declare -A timeout=([rsp_framing]=60)

if [ "$build" = 1 ]; then
    CC=clang CXX=clang++ cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNWICK_SANITIZE=ON \
        -DTARNWICK_FUZZ=ON >/dev/null
    cmake --build "$build_dir" -j 2 --target tarnwick_fuzzers
fi

fuzz_dir=$build_dir/tests/fuzz
run_one() {
    local name=$1
    local work=$fuzz_dir/work/$name
    mkdir -p "$work/corpus" "$work/artifacts"
    local status=0
    ASAN_OPTIONS=detect_leaks=1 "$fuzz_dir/fuzz_$name" -max_total_time="$seconds" -max_len="${max_len[$name]}" \
        -timeout="${timeout[$name]:-10}" -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$work/artifacts/" \
        "$work/corpus" "tests/fuzz/corpus/$name" >"$work/fuzz.log" 2>&1 || status=$?
    echo "$status" >"$work/status"
}

running=0
for name in "${targets[@]}"; do
    if [ -z "${max_len[$name]:-}" ]; then
        echo "unknown fuzz target: $name (known: ${all[*]})" >&2
        exit 2
    fi
    echo "fuzzing $name for $seconds s"
    run_one "$name" &
    running=$((running + 1))
    if [ "$running" -ge "$jobs" ]; then
        wait -n || true
        running=$((running - 1))
    fi
done
wait

failed=0
printf '%-20s %8s %12s %10s %8s %s\n' target seconds executions exec/s corpus result
for name in "${targets[@]}"; do
    work=$fuzz_dir/work/$name
    log=$work/fuzz.log
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    corpus=$(find "$work/corpus" -type f | wc -l)
    result=ok
    if [ "$(cat "$work/status")" != 0 ]; then
        result="FOUND: $(grep -m1 -E '^(==[0-9]+==ERROR|SUMMARY|ALARM|property broken)' "$log" || echo see "$log")"
        failed=1
    fi
    printf '%-20s %8s %12s %10s %8s %s\n' "$name" "$seconds" "${runs:-?}" "${speed:-?}" "$corpus" "$result"
done
exit $failed
