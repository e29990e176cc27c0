"""End-to-end: scripts/demo.sh, the README's one command, as a newcomer runs it.

--case freertos and --case threadx run the demo and check every line it prints: the headers, GDB's session
through tarnwick (connect, breakpoint, info threads, a blocked task's frame, monitor rtos state) against the
ELF file's symbols, the fixture sources and the expected state text, and tarnwick's console. Afterwards no
port of the demo listens and its scratch directory is gone. --case failures runs it where it must fail: an
unknown kernel, a GDB that fails, and a SIGTERM while GDB runs; each time it ends at once, says why, and
leaves nothing behind.
"""

import argparse
import difflib
import os
import re
import signal
import stat
import subprocess
import sys
import tempfile
import time

import harness

SOURCE_DIR = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
FIXTURES = os.path.join(SOURCE_DIR, "tests", "fixtures")
DEMO = os.path.join(SOURCE_DIR, "scripts", "demo.sh")
DEMO_TIMEOUT = 120


def frame_word(task, index):
    """Word index of task number task's saved frame in freertos_snapshot.c."""
    return 0xC0DE0000 | (task << 8) | index


def threadx_word(tag, offset):
    """Word at byte offset offset of a saved frame tagged tag in threadx_state.c."""
    return tag | offset


# Per kernel: the program, how tarnwick is started, where the session stops (function, source, the line's text),
# GDB's threads in the order GDB numbers them (symbol, name as shown, pc of a switched-out one; the first
# runs), the blocked thread the demo selects, and the words of its saved frame.
KERNELS = {
    "freertos": {
        "program": "freertos_snapshot",
        "driver": ("freertos", "ARM_CM4F", "FreeRTOS"),
        "reset": ("Reset_Handler", "sim/startup.c", "void Reset_Handler(void)", 1),
        "stop": ("main", "freertos/freertos_snapshot.c", "    for (;;) {"),
        "threads": [
            ("xControlLoopTCB", "ControlLoop RUNNING", None),
            ("xIdleTCB", "IDLE", frame_word(1, 15)),
            # Worker's frame is the extended one: its pc is word 31.
            ("xWorkerTCB", "Worker", frame_word(2, 31)),
            ("xSleeperTCB", "Sleeper", frame_word(6, 15)),
            ("xSensorTCB", "SensorFusionManager", frame_word(4, 15)),
            ("xProducerTCB", "Producer", frame_word(7, 15)),
            # Names are read as 20 bytes and so cut to 19 characters.
            ("xTelemetryTCB", "TelemetryUplinkSche", frame_word(5, 15)),
            ("xEventWaiterATCB", "EventWaiterA", frame_word(11, 15)),
            ("xPendingTCB", "Pending", frame_word(8, 15)),
            ("xPausedTCB", "Paused", frame_word(9, 15)),
            ("xBinWaiterTCB", "BinWaiter", frame_word(10, 15)),
            ("xEventWaiterBTCB", "EventWaiterB", frame_word(12, 15)),
        ],
        "blocked": 6,
        # r4, lr, pc; the frame ends the stack, so the task's sp is the stack's end.
        "frame": (frame_word(4, 0), frame_word(4, 14), frame_word(4, 15)),
        "stack": "xSensorStack",
    },
    "threadx": {
        "program": "threadx_state",
        "driver": ("threadx", "cortex_m4", "ThreadX"),
        "reset": ("_start", "debuginfo/entry.c", "void _start(void) {", 0),
        "stop": ("_start", "debuginfo/entry.c", "    for (;;) {"),
        "threads": [("thread_main", "main RUNNING", None)] + [
            (symbol, name, threadx_word(tag, 60)) for symbol, name, tag in [
                ("thread_sensor", "sensor poll", 0x12000000),
                ("thread_uart_rx", "uart rx", 0x13000000),
                ("thread_uart_tx", "uart tx", 0x14000000),
                ("thread_logger", "logger", 0x15000000),
                ("thread_storage", "storage", 0x16000000),
                ("thread_net", "net events", 0x17000000),
                ("thread_housekeeping", "housekeeping and wa", 0x18000000),
                ("thread_buffers", "buffer alloc", 0x19000000),
                ("thread_heap", "heap user", 0x1a000000),
                ("thread_one_shot", "one shot", 0x1b000000),
                ("thread_stopped", "stopped", 0x1c000000),
                ("thread_paused", "paused", 0x1d000000),
            ]],
        "blocked": 4,
        "frame": (threadx_word(0x13000000, 4), threadx_word(0x13000000, 56), threadx_word(0x13000000, 60)),
        "stack": "stack_uart_rx",
    },
}

HEADER_SIM = re.compile(r"^== target_sim --port 0 --once --ram 0x20000000:0x10000 (\S+): listening on port (\d+)$")
HEADER_TARNWICK = re.compile(r"^== tarnwick --port (\d+) (.*)$")
BREAKPOINT = re.compile(r"^Breakpoint 1 at 0x([0-9a-f]+): file (\S+), line (\d+)\.$")


def symbols(elf):
    """Name to (address, size), and address to the first name there, from arm-none-eabi-nm."""
    listing = subprocess.run(["arm-none-eabi-nm", "-S", "-n", elf], capture_output=True, text=True,
                             check=True).stdout
    table, at = {}, {}
    for line in listing.splitlines():
        fields = line.split()
        if len(fields) in (3, 4):
            address, size = int(fields[0], 16), int(fields[1], 16) if len(fields) == 4 else 0
            table[fields[-1]] = (address, size)
            if fields[-2] in "bBdDrR":
                at.setdefault(address, fields[-1])
    return table, at


def source_line(relative, text, after=0):
    """1-based number of the one line of a fixture source that is text, and the text of the line after + that."""
    with open(os.path.join(FIXTURES, relative)) as source:
        lines = source.read().splitlines()
    hits = [number for number, line in enumerate(lines, 1) if line == text]
    if len(hits) != 1:
        raise AssertionError("%s: %d lines are %r, expected one" % (relative, len(hits), text))
    return hits[0] + after, lines[hits[0] + after - 1]


def differences(expected, actual):
    return "\n".join(difflib.unified_diff(expected, actual, "expected", "printed", lineterm=""))


def process_alive(pid):
    """True while the process exists and is not a zombie waiting to be reaped."""
    try:
        with open("/proc/%d/stat" % pid) as status:
            return status.read().rsplit(")", 1)[1].split()[0] != "Z"
    except (OSError, IndexError):
        return False


def register_line(name, value, natural):
    return "%-15s%-20s%s" % (name, "0x%x" % value, natural)


def signed(value):
    return str(value - (1 << 32) if value & 0x80000000 else value)


def expected_threads(kernel, table, stop_frame):
    """GDB's "info threads": the current-thread mark, Id in 4 columns, Target Id as wide as the widest."""
    targets = ["Thread %d (%s)" % (table[symbol][0], name) for symbol, name, _ in kernel["threads"]]
    width = max(len(target) for target in targets)
    lines = ["  %-4s %-*s %s" % ("Id", width, "Target Id", "Frame ")]
    for number, (target, (_, _, pc)) in enumerate(zip(targets, kernel["threads"]), 2):
        frame = stop_frame if pc is None else "0x%x in ?? ()" % (pc & ~1)
        lines.append("%s %-4s %-*s %s" % ("*" if number == 2 else " ", number, width, target, frame))
    return lines


def stop_place(kernel):
    """Line number, line text, file name and GDB's frame text of the breakpoint where the session stops."""
    stop_function, stop_source, stop_text = kernel["stop"]
    stop_number, stop_line = source_line(stop_source, stop_text)
    stop_file = os.path.basename(stop_source)
    return stop_number, stop_line, stop_file, "%s () at %s:%d" % (stop_function, stop_file, stop_number)


def expected_info_threads(kernel_name, elf):
    """GDB's "info threads" at the breakpoint, with "set filename-display basename" (also for other suites)."""
    kernel = KERNELS[kernel_name]
    return expected_threads(kernel, symbols(elf)[0], stop_place(kernel)[3])


def expected_session(kernel, elf, port, breakpoint_address):
    table, at = symbols(elf)
    reset_function, reset_source, reset_text, reset_offset = kernel["reset"]
    reset_number, reset_line = source_line(reset_source, reset_text, reset_offset)
    stop_function = kernel["stop"][0]
    stop_number, stop_line, stop_file, stop_frame = stop_place(kernel)
    running = table[kernel["threads"][0][0]][0]
    blocked_symbol, _, blocked_pc = kernel["threads"][kernel["blocked"] - 2]
    r4, lr, pc = kernel["frame"]
    stack, stack_size = table[kernel["stack"]]
    sp = stack + stack_size
    frames = ["#0  0x%x in ?? ()" % (blocked_pc & ~1)]
    if lr & ~1 != pc & ~1:
        frames.append("#1  0x%x in ?? ()" % (lr & ~1))
    lines = [
        "(gdb) target remote 127.0.0.1:%d" % port,
        "%s () at %s:%d" % (reset_function, os.path.basename(reset_source), reset_number),
        "%d\t%s" % (reset_number, reset_line),
        "(gdb) break " + stop_function,
        "Breakpoint 1 at 0x%x: file %s, line %d." % (breakpoint_address, stop_file, stop_number),
        "(gdb) continue",
    ]
    lines += ["[New Thread %d]" % table[symbol][0] for symbol, _, _ in kernel["threads"]]
    lines += [
        "[Switching to Thread %d]" % running,
        "",
        "Thread 2 hit Breakpoint 1, " + stop_frame,
        "%d\t%s" % (stop_number, stop_line),
        "(gdb) info threads",
    ]
    lines += expected_threads(kernel, table, stop_frame)
    lines += [
        "(gdb) thread %d" % kernel["blocked"],
        "[Switching to thread %d (Thread %d)]" % (kernel["blocked"], table[blocked_symbol][0]),
        frames[0],
        "(gdb) bt",
    ] + frames + [
        "Backtrace stopped: previous frame identical to this frame (corrupt stack?)",
        "(gdb) info registers r4 lr pc sp",
        register_line("r4", r4, signed(r4)),
        register_line("lr", lr, signed(lr)),
        register_line("pc", pc, "0x%x" % pc),
        register_line("sp", sp, "0x%x <%s>" % (sp, at[sp]) if sp in at else "0x%x" % sp),
        "(gdb) monitor rtos state",
    ]
    # The reply is the command's text and one line end more.
    with open(os.path.join(FIXTURES, "expected", "%s_state.txt" % kernel["driver"][0])) as state:
        lines += state.read().split("\n")
    lines += ["(gdb) detach", "[Inferior 1 (Remote target) detached]"]
    return lines, table[stop_function]


def shown_path(path):
    """A path as the demo prints it: relative to the top of the tree when it lies inside."""
    return path[len(SOURCE_DIR) + 1:] if path.startswith(SOURCE_DIR + os.sep) else path


def run_demo(args, kernel_name, env=None, timeout=DEMO_TIMEOUT):
    environment = dict(os.environ, TARNWICK_BUILD_DIR=args.build_dir, **(env or {}))
    try:
        return subprocess.run(["bash", DEMO, kernel_name], capture_output=True, text=True, errors="replace",
                              env=environment, stdin=subprocess.DEVNULL, timeout=timeout)
    except subprocess.TimeoutExpired as expired:
        raise AssertionError("scripts/demo.sh %s did not end within %d s:\n%s" % (
            kernel_name, timeout, harness.indent(harness.decode(expired.stdout) + harness.decode(expired.stderr))))


def check_left_nothing(ports, scratch):
    for port in ports:
        if harness.is_listening(port):
            raise AssertionError("port %d still listens after the demo ended" % port)
    if scratch and os.path.exists(scratch):
        raise AssertionError("the demo left its scratch directory %s" % scratch)


def check_kernel(args, kernel_name):
    kernel = KERNELS[kernel_name]
    elf = os.path.realpath(os.path.join(args.build_dir, "tests", "fixtures", kernel["program"] + ".elf"))
    done = run_demo(args, kernel_name)
    lines = done.stdout.split("\n")
    if done.returncode != 0 or done.stderr:
        raise AssertionError("scripts/demo.sh %s: exit status %d\nstdout:\n%s\nstderr:\n%s" % (
            kernel_name, done.returncode, harness.indent(done.stdout), harness.indent(done.stderr)))
    sim_header, tarnwick_header = HEADER_SIM.match(lines[2]), HEADER_TARNWICK.match(lines[3])
    if not (lines[0].startswith("== a ") and lines[1].startswith("== The saved frames hold marker words")
            and sim_header and tarnwick_header):
        raise AssertionError("unexpected headers:\n" + harness.indent("\n".join(lines[:5])))
    server_port, port = int(sim_header.group(2)), int(tarnwick_header.group(1))
    driver, variant, driver_name = kernel["driver"]
    cache = tarnwick_header.group(2).split(" --debug_info_cache ")[1].split(" ")[0]
    scratch = os.path.dirname(cache)
    expected_tarnwick = ("--server_connection 127.0.0.1:%d --file %s --rtos %s --rtos_variant %s "
                         "--debug_info_cache %s/%s.elf.proxy_cache --gdbserver_connect_timeout 5"
                         % (server_port, shown_path(elf), driver, variant, scratch, kernel["program"]))
    if sim_header.group(1) != kernel["program"] + ".elf" or tarnwick_header.group(2) != expected_tarnwick:
        raise AssertionError("unexpected headers:\n%s\nexpected tarnwick's arguments: %s" % (
            harness.indent("\n".join(lines[2:4])), expected_tarnwick))
    if lines[4] != "== gdb-multiarch %s.elf, through tarnwick" % kernel["program"]:
        raise AssertionError("unexpected header: %r" % lines[4])

    console_at = lines.index("== tarnwick's console") if "== tarnwick's console" in lines else len(lines)
    session = lines[5:console_at]
    found = BREAKPOINT.match(session[4]) if len(session) > 4 else None
    if not found:
        raise AssertionError("no breakpoint line in the session:\n" + harness.indent("\n".join(session)))
    expected, (function, size) = expected_session(kernel, elf, port, int(found.group(1), 16))
    if not function <= int(found.group(1), 16) < function + size:
        raise AssertionError("breakpoint %s lies outside %s" % (found.group(1), kernel["stop"][0]))
    if session != expected:
        raise AssertionError("the session differs:\n" + differences(expected, session))

    console = lines[console_at + 1:]
    expected_console = [
        "Veltrona Tarnwick. Version 0.17.0", "Copyright (c) Veltrona. All rights reserved.", "",
        "Loading RTOS driver... " + driver_name,
        "Connecting to GDB server 127.0.0.1 on port %d ... Connected" % server_port,
        "Listen for GDB connection on port: %d ... Connected" % port,
        # Which side closes first after detach is the two peers' race.
        console[6] if console[6:7] == ["Lost connection to GDB Client"] else "Lost connection to GDB Server",
        "Proxy stopped.", ""]
    if console != expected_console:
        raise AssertionError("tarnwick's console differs:\n" + differences(expected_console, console))
    check_left_nothing([server_port, port], scratch)
    if kernel_name == "freertos":
        check_readme(lines)
    print("scripts/demo.sh %s: %d lines as expected" % (kernel_name, len(lines)))


def variable_parts(lines):
    """The texts of a demo transcript that differ from run to run: ports, the scratch folder, the program's path."""
    sim, tarnwick = HEADER_SIM.match(lines[2]), HEADER_TARNWICK.match(lines[3])
    arguments = tarnwick.group(2).split(" ")
    cache = arguments[arguments.index("--debug_info_cache") + 1]
    return [(os.path.dirname(cache), "<scratch>"), (arguments[arguments.index("--file") + 1], "<elf>"),
            (sim.group(2), "<server port>"), (tarnwick.group(1), "<port>")]


def normalised(lines):
    text = "\n".join(lines)
    for value, name in variable_parts(lines):
        text = re.sub(r"(?<![0-9A-Za-z])%s(?![0-9A-Za-z])" % re.escape(value), name, text)
    # Which peer closes first after detach is their race.
    text = re.sub(r"^Lost connection to GDB (Server|Client)$", "Lost connection to <peer>", text, flags=re.M)
    return text.split("\n")


def check_readme(lines):
    """The README shows a real transcript: the same lines, but for ports and paths."""
    with open(os.path.join(SOURCE_DIR, "README.md")) as readme:
        text = readme.read()
    start = text.index("$ scripts/demo.sh\n") + len("$ scripts/demo.sh\n")
    shown = text[start:text.index("\n```", start)].split("\n")
    actual = normalised(lines[:lines.index("Proxy stopped.") + 1])
    if normalised(shown) != actual:
        raise AssertionError("README.md's transcript is not what the demo prints:\n" +
                             differences(actual, normalised(shown)))


def fake_gdb(directory, body):
    """A gdb-multiarch of the test's own, first on the PATH given back."""
    path = os.path.join(directory, "gdb-multiarch")
    with open(path, "w") as script:
        script.write("#!/bin/sh\n" + body)
    os.chmod(path, os.stat(path).st_mode | stat.S_IXUSR)
    return {"PATH": directory + os.pathsep + os.environ["PATH"]}


def ports_and_scratch(stdout):
    lines = stdout.split("\n")
    sim = next((HEADER_SIM.match(line) for line in lines if HEADER_SIM.match(line)), None)
    tarnwick = next((HEADER_TARNWICK.match(line) for line in lines if HEADER_TARNWICK.match(line)), None)
    if not (sim and tarnwick):
        raise AssertionError("the demo printed no headers:\n" + harness.indent(stdout))
    cache = tarnwick.group(2).split(" --debug_info_cache ")[1].split(" ")[0]
    return [int(sim.group(2)), int(tarnwick.group(1))], os.path.dirname(cache)


def check_unknown_kernel(args):
    done = run_demo(args, "zephyr")
    if (done.returncode, done.stdout, done.stderr) != (2, "", "usage: scripts/demo.sh [freertos|threadx]\n"):
        raise AssertionError("scripts/demo.sh zephyr: status %d\nstdout:\n%s\nstderr:\n%s" % (
            done.returncode, harness.indent(done.stdout), harness.indent(done.stderr)))


def check_failing_gdb(args, directory):
    done = run_demo(args, "freertos", env=fake_gdb(directory, "echo 'gdb: cannot start' >&2\nexit 3\n"))
    ports, scratch = ports_and_scratch(done.stdout)
    err = done.stderr.split("\n")
    if done.returncode != 1 or err[0] != "demo.sh: FAILED: gdb-multiarch exited with status 3" \
            or "---- gdb.log" not in err or "gdb: cannot start" not in err or "---- tarnwick.log" not in err:
        raise AssertionError("a failing GDB: status %d\nstderr:\n%s" % (done.returncode, harness.indent(done.stderr)))
    check_left_nothing(ports, scratch)


def check_terminated(args, directory):
    pid_file = os.path.join(directory, "gdb.pid")
    env = fake_gdb(directory, 'echo $$ > "%s"\nexec sleep 30\n' % pid_file)
    demo = subprocess.Popen(["bash", DEMO, "freertos"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            stdin=subprocess.DEVNULL, text=True,
                            env=dict(os.environ, TARNWICK_BUILD_DIR=args.build_dir, **env))
    try:
        deadline = time.monotonic() + 30
        while not os.path.exists(pid_file) or not open(pid_file).read().strip():
            if time.monotonic() > deadline or demo.poll() is not None:
                raise AssertionError("the demo never started GDB")
            time.sleep(0.05)
        gdb_pid = int(open(pid_file).read())
        started = time.monotonic()
        demo.send_signal(signal.SIGTERM)
        stdout, stderr = demo.communicate(timeout=10)
    finally:
        if demo.poll() is None:
            demo.kill()
            demo.communicate()
    if demo.returncode != 143 or time.monotonic() - started > 5:
        raise AssertionError("SIGTERM: status %d after %.1f s\nstderr:\n%s" % (
            demo.returncode, time.monotonic() - started, harness.indent(stderr)))
    if process_alive(gdb_pid):
        raise AssertionError("GDB (pid %d) still runs after the demo ended" % gdb_pid)
    check_left_nothing(*ports_and_scratch(stdout))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--case", required=True, choices=["freertos", "threadx", "failures"])
    parser.add_argument("--build-dir", required=True)
    args = parser.parse_args()
    args.build_dir = os.path.abspath(args.build_dir)
    try:
        if args.case == "failures":
            check_unknown_kernel(args)
            with tempfile.TemporaryDirectory(prefix="tarnwick-demo-test-") as directory:
                check_failing_gdb(args, directory)
            with tempfile.TemporaryDirectory(prefix="tarnwick-demo-test-") as directory:
                check_terminated(args, directory)
            print("scripts/demo.sh fails loudly and cleans up: unknown kernel, failing GDB, SIGTERM")
        else:
            check_kernel(args, args.case)
    except (AssertionError, harness.HarnessError) as failure:
        print("FAIL: %s" % failure)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
