#!/usr/bin/env bash
# GDB sees the tasks of a kernel through tarnwick, in one command:
#
#     scripts/demo.sh            a FreeRTOS kernel on a Cortex-M4F
#     scripts/demo.sh threadx    a ThreadX kernel on a Cortex-M4
#     scripts/demo.sh qemu       the real FreeRTOS V11.1.0 kernel running under QEMU (mps2-an386, Cortex-M4F)
#
# Installs what is missing (as root, like scripts/test.sh), builds into build/ (or $TARNWICK_BUILD_DIR) what
# is not built yet, serves a kernel snapshot of our own from the target simulator (or runs the real kernel
# under QEMU), starts tarnwick in front of it and runs gdb-multiarch
# through tarnwick. Prints the session and tarnwick's console. Every process it starts
# is ended on the way out; every wait has a time limit; any failure exits non-zero with the logs.
set -euo pipefail
cd "$(dirname "$0")/.."

kernel=${1:-freertos}
# What the program holds, how the simulator serves it, how GDB reaches the second stop (the first shows the
# core alone), and the GDB number of a thread that waits on a queue.
case "$kernel" in
freertos)
    program=e2e_freertos_cm4f rtos=freertos variant=ARM_CM4F blocked_thread=5
    stop=("break port_yield" "continue")
    about="a FreeRTOS kernel stopped with six tasks, a queue, a mutex and a timer (Cortex-M4F)"
    story="Control runs and is about to yield; Logger waits on LogQueue and its saved frame returns into task_logger"
    ;;
threadx)
    program=threadx_target_cm4 rtos=threadx variant=cortex_m4 blocked_thread=4
    # The simulator stops at once, at the running thread's pc: a breakpoint there would trip GDB 13.
    stop=("continue")
    about="a ThreadX kernel stopped with five threads and one object of every kind (Cortex-M4)"
    story="main runs on the core; logger waits on \"log queue\" and its saved context returns into logger_write"
    ;;
qemu)
    program=realkernel_freertos_cm4f rtos=freertos variant=ARM_CM4F blocked_thread=3 machine=mps2-an386
    stop=("break checkpoint_reached" "continue")
    about="the real FreeRTOS V11.1.0 kernel running under QEMU with thirteen tasks (mps2-an386, Cortex-M4F)"
    story="Checker reaches its checkpoint; QueueRx waits on Queue and its saved frame returns into task_queue_rx"
    ;;
*)
    echo "usage: scripts/demo.sh [freertos|threadx|qemu]" >&2
    exit 2
    ;;
esac

. scripts/packages.sh
if [ "$kernel" = qemu ]; then
    install_missing_packages "${tarnwick_build_packages[@]}" qemu-system-arm
else
    install_missing_packages "${tarnwick_build_packages[@]}"
fi

build_dir=${TARNWICK_BUILD_DIR:-build}
# The real kernel's program exists only where its sources could be unpacked; the script says why not.
if [ "$kernel" = qemu ] && ! reason=$(bash scripts/kernels.sh "$build_dir/kernels"); then
    echo "demo.sh: FAILED: $reason" >&2
    exit 1
fi
tarnwick=$build_dir/tarnwick
target_sim=$build_dir/tests/support/target_sim/target_sim
elf=$build_dir/tests/fixtures/$program.elf
if [ ! -x "$tarnwick" ] || [ ! -x "$target_sim" ] || [ ! -f "$elf" ]; then
    echo "== Building tarnwick, the target simulator and $program.elf into $build_dir/"
    if [ ! -f "$build_dir/CMakeCache.txt" ]; then
        cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    fi
    cmake --build "$build_dir" -j "$(nproc)" --target tarnwick target_sim "fixture_$program"
fi
tarnwick=$(realpath "$tarnwick")
target_sim=$(realpath "$target_sim")
elf=$(realpath "$elf")

scratch=$(mktemp -d "${TMPDIR:-/tmp}/tarnwick-demo.XXXXXX")
pids=()
# alive PID: the child runs (an ended child that is not reaped yet is a zombie, "Z").
alive() {
    local stat
    stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 1
    [ "$(echo "${stat##*)}" | cut -d' ' -f2)" != Z ]
}

# SIGTERM to our own children (by their pids) that still run.
terminate_children() {
    local pid
    for pid in "${pids[@]}"; do
        if alive "$pid"; then
            kill "$pid" 2>/dev/null || true
        fi
    done
}

# wait_children TENTHS: waits until none of our children runs, at most TENTHS tenths of a second.
wait_children() {
    local pid tenths=$1
    for pid in "${pids[@]}"; do
        while alive "$pid" && [ "$tenths" -gt 0 ]; do
            sleep 0.1
            tenths=$((tenths - 1))
        done
    done
}

# SIGTERM; again to what still runs after half a second, for tarnwick waiting for GDB heeds only a second
# signal; then SIGKILL to what still runs two seconds after the first.
cleanup() {
    local pid
    terminate_children
    wait_children 5
    terminate_children
    wait_children 15
    for pid in "${pids[@]}"; do
        alive "$pid" && { kill -KILL "$pid" 2>/dev/null || true; }
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$scratch"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# start LOG COMMAND...: runs the command in the background with its output in LOG; its pid is in $started.
# Every child starts here, so that the way out ends exactly those still running.
start() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 </dev/null &
    started=$!
    pids+=("$started")
}

# reap PID: waits for the child and returns its exit status; from then on its pid is no longer ours.
reap() {
    local pid=$1 status=0 kept=() other
    wait "$pid" || status=$?
    for other in "${pids[@]}"; do
        [ "$other" = "$pid" ] || kept+=("$other")
    done
    pids=("${kept[@]}")
    return "$status"
}

fail() {
    echo "demo.sh: FAILED: $*" >&2
    local log
    for log in "$scratch"/*.log; do
        [ -f "$log" ] || continue
        echo "---- $(basename "$log")" >&2
        cat "$log" >&2
    done
    exit 1
}

# wait_for_line PID LOG PATTERN SECONDS: the first line of LOG that matches the extended regular expression,
# once it is there; fails if the process ends first or time runs out.
wait_for_line() {
    local pid=$1 log=$2 pattern=$3 tenths=$(($4 * 10)) line
    while [ "$tenths" -gt 0 ]; do
        line=$(grep -E -m1 "$pattern" "$log" 2>/dev/null || true)
        if [ -n "$line" ]; then
            echo "$line"
            return 0
        fi
        kill -0 "$pid" 2>/dev/null || return 1
        sleep 0.1
        tenths=$((tenths - 1))
    done
    return 1
}

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# The target simulator serves the program's memory as it was linked: the kernel as it stood at one moment. The
# core holds what the end-to-end suites give it: nothing for FreeRTOS (Control's registers do not matter where
# GDB stops), the registers of the running thread for ThreadX, as its suite works them out from the program.
case "$kernel" in
freertos)
    sim_args=(--ram 0x20000000:0x10000)
    ;;
threadx)
    PYTHONPATH=tests/e2e PYTHONDONTWRITEBYTECODE=1 python3 -c '
import sys
import threadx_programs as tx
image = tx.Image(tx.PROGRAMS[sys.argv[1]], None, "tests/fixtures/targets/threadx", elf=sys.argv[2])
print("\n".join("%s=0x%x" % register for register in image.registers(tx.RUNNING)))' \
        "${program#threadx_target_}" "$elf" >"$scratch/main.regs" ||
        fail "could not work out the running thread's registers"
    sim_args=(--regs-file "$scratch/main.regs")
    ;;
esac
# listening PORT: a socket listens on the TCP port of 127.0.0.1, learnt from /proc so that no connection is
# spent on QEMU's gdbstub, which serves one.
listening() {
    grep -qE "^ *[0-9]+: 0100007F:$(printf %04X "$1") 00000000:0000 0A " /proc/net/tcp
}

# The real kernel runs under QEMU, halted at reset until GDB continues it, and tarnwick talks to QEMU's gdbstub
# itself. A port taken meanwhile costs one more attempt.
start_qemu() {
    local attempt
    for attempt in 1 2 3; do
        qemu_port=$(free_port)
        qemu_args=(-M "$machine" -kernel "$elf" -nographic -S -gdb "tcp:127.0.0.1:$qemu_port" -monitor none
                   -serial none)
        start "$scratch/qemu.log" qemu-system-arm "${qemu_args[@]}"
        for _ in $(seq 100); do
            listening "$qemu_port" || ! kill -0 "$started" 2>/dev/null && break
            sleep 0.1
        done
        listening "$qemu_port" && return 0
        kill -0 "$started" 2>/dev/null && fail "QEMU did not listen on port $qemu_port"
        grep -q "Address already in use" "$scratch/qemu.log" && [ "$attempt" -lt 3 ] ||
            fail "QEMU ended before its gdbstub listened"
        reap "$started" || true
    done
}

if [ "$kernel" = qemu ]; then
    start_qemu
    server_port=$qemu_port
else
    start "$scratch/target_sim.log" "$target_sim" --port 0 --once "${sim_args[@]}" "$elf"
    line=$(wait_for_line "$started" "$scratch/target_sim.log" '^target_sim: listening on port [0-9]+$' 10) ||
        fail "the target simulator did not start listening"
    server_port=${line##* }
fi

# tarnwick in front of it; a port taken meanwhile by someone else costs one more attempt.
tarnwick_args=(--server_connection "127.0.0.1:$server_port" --file "$elf" --rtos "$rtos"
               --rtos_variant "$variant" --debug_info_cache "$scratch/$program.elf.proxy_cache"
               --gdbserver_connect_timeout 5)
for attempt in 1 2 3; do
    port=$(free_port)
    start "$scratch/tarnwick.log" "$tarnwick" --port "$port" "${tarnwick_args[@]}"
    tarnwick_pid=$started
    if wait_for_line "$tarnwick_pid" "$scratch/tarnwick.log" "^Listen for GDB connection on port: $port " 10 \
        >/dev/null; then
        break
    fi
    if ! grep -q "Failed listen for incoming connections" "$scratch/tarnwick.log" || [ "$attempt" -eq 3 ]; then
        fail "tarnwick did not start listening for GDB"
    fi
    reap "$tarnwick_pid" || true
done

# GDB's session: each command is echoed as typed before its output.
commands=("target remote 127.0.0.1:$port" "${stop[@]}" "info threads" "thread $blocked_thread" "bt"
          "info registers r4 lr pc sp" "monitor rtos state" "detach")
{
    echo "set pagination off"
    echo "set confirm off"
    echo "set width 0"
    echo "set filename-display basename"
    echo "set tcp connect-timeout 5"
    echo "file $elf"
    for command in "${commands[@]}"; do
        printf 'echo (gdb) %s\\n\n' "$command"
        echo "$command"
    done
} >"$scratch/session.gdb"

echo "== $about"
echo "== $story"
if [ "$kernel" = qemu ]; then
    shown=${qemu_args[*]}
    echo "== qemu-system-arm ${shown//$PWD\//}"
else
    shown=${sim_args[*]}
    echo "== target_sim --port 0 --once ${shown//$scratch\//} $program.elf: listening on port $server_port"
fi
if [ "$kernel" = threadx ]; then
    mapfile -t registers <"$scratch/main.regs"
    echo "== main.regs, main's registers: ${registers[*]}"
fi
shown=${tarnwick_args[*]}
echo "== tarnwick --port $port ${shown//$PWD\//}"
echo "== gdb-multiarch $program.elf, through tarnwick"
# In the background, so that a signal to this script is handled at once rather than after GDB.
start "$scratch/gdb.log" timeout 60 gdb-multiarch -nx -batch -x "$scratch/session.gdb"
status=0
reap "$started" || status=$?
cat "$scratch/gdb.log"
[ "$status" -eq 0 ] || fail "gdb-multiarch exited with status $status"

# tarnwick ends when GDB has gone.
for _ in $(seq 50); do
    kill -0 "$tarnwick_pid" 2>/dev/null || break
    sleep 0.1
done
kill -0 "$tarnwick_pid" 2>/dev/null && fail "tarnwick did not end after GDB detached"
tarnwick_status=0
reap "$tarnwick_pid" || tarnwick_status=$?
echo "== tarnwick's console"
cat "$scratch/tarnwick.log"
[ "$tarnwick_status" -eq 0 ] || fail "tarnwick exited with status $tarnwick_status"

# Loud about a session that ran but did not show the kernel.
threads=$(grep -cE '^[* ] +[0-9]+ +Thread [0-9]+ \(' "$scratch/gdb.log" || true)
[ "$threads" -gt 1 ] || fail "info threads listed $threads kernel threads"
grep -qx "Kernel state : Started" "$scratch/gdb.log" || fail "monitor rtos state did not show a started kernel"
