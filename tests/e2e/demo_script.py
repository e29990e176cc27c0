"""End-to-end: scripts/demo.sh, the README's one command, as a newcomer runs it.

--case freertos and --case threadx run the demo and check every line it prints: the headers, GDB's session
through tarnwick (connect, the second stop, info threads, a task that waits on a queue: its frame, backtrace
and saved registers, monitor rtos state) and tarnwick's console. The expected lines come from the program's
symbols and sources by way of the kernels' own suites (freertos_targets.py, threadx_programs.py) and from
the state texts those suites expect. Afterwards no port of the demo listens and its scratch directory is
gone. --case qemu runs `scripts/demo.sh qemu`, the real FreeRTOS kernel under QEMU: its headers, the
session's fixed lines, every task in info threads with the kernel function it waits in, QueueRx's frame and
backtrace, and the tasks and objects of monitor rtos state; with --unavailable (no real kernels) it skips.
--case failures runs it where it must fail: an unknown kernel, a GDB that fails, and a SIGTERM while GDB runs;
each time it ends at once, says why, and leaves nothing behind.
"""

import collections
import difflib
import os
import re
import signal
import stat
import subprocess
import tempfile
import time

import freertos_targets as freertos
import gdbsession
import harness
import threadx_programs as threadx

SOURCE_DIR = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
FIXTURES = os.path.join(SOURCE_DIR, "tests", "fixtures")
DEMO = os.path.join(SOURCE_DIR, "scripts", "demo.sh")
DEMO_TIMEOUT = 120

# Per kernel: the program and how tarnwick and the simulator serve it, the demo's two lines about it, and the
# GDB commands that bring the second stop (the first shows the core alone).
KERNELS = {
    "freertos": {
        "program": "e2e_freertos_cm4f",
        "driver": ("freertos", "ARM_CM4F", "FreeRTOS"),
        "sim_options": "--ram 0x20000000:0x10000",
        "about": "a FreeRTOS kernel stopped with six tasks, a queue, a mutex and a timer (Cortex-M4F)",
        "story": "Control runs and is about to yield; Logger waits on LogQueue and its saved frame returns into "
                 "task_logger",
        "stop": ["break port_yield", "continue"],
    },
    "threadx": {
        "program": "threadx_target_cm4",
        "driver": ("threadx", "cortex_m4", "ThreadX"),
        "sim_options": "--regs-file main.regs",
        "about": "a ThreadX kernel stopped with five threads and one object of every kind (Cortex-M4)",
        "story": 'main runs on the core; logger waits on "log queue" and its saved context returns into '
                 "logger_write",
        "stop": ["continue"],
    },
}

HEADER_SIM = re.compile(r"^== target_sim --port 0 --once (.+) (\S+): listening on port (\d+)$")
HEADER_TARNWICK = re.compile(r"^== tarnwick --port (\d+) (.*)$")

# A thread as info threads shows it; frame is the innermost frame's text.
Row = collections.namedtuple("Row", "current number tid label frame")
# What the demo shows of the waiting thread: its row, the source line of its frame, bt, r4, lr, pc and sp, and
# the symbols that GDB names for pc and sp.
Waiting = collections.namedtuple("Waiting", "row line backtrace registers pc_symbol sp_symbol")


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


def signed(value):
    return str(value - (1 << 32) if value & 0x80000000 else value)


def symbolic(value, symbol, address):
    """An address as GDB prints it beside the symbol it lies in."""
    offset = value - address
    return "0x%x <%s%s>" % (value, symbol, "+%d" % offset if offset else "")


class FreeRtosDemo:
    """The FreeRTOS program: every task gave up the core in port_yield, Control is stopped at its start."""

    TASKS = "targets/freertos/target_tasks.c"

    def __init__(self, elf):
        self.symbols = gdbsession.ElfSymbols(elf)
        self.program = freertos.PROGRAMS["cm4f"]
        self.yield_line = source_line(self.TASKS, '    __asm__ volatile("nop\\n"')

    def place(self, pc=None):
        at = "" if pc is None else "0x%08x in " % pc
        return "%sport_yield () at target_tasks.c:%d" % (at, self.yield_line[0])

    def rows(self):
        numbers = freertos.gdb_numbers(self.symbols)
        yielded = self.symbols.address("port_yield_point")
        rows = [Row(task.name == freertos.RUNNING, numbers[task.name], self.symbols.address(task.tcb),
                    task.name + (" RUNNING" if task.name == freertos.RUNNING else ""),
                    self.place(None if task.name == freertos.RUNNING else yielded)) for task in freertos.TASKS]
        return sorted(rows, key=lambda row: row.number)

    def connected(self):
        number, text = source_line("sim/startup.c", "void Reset_Handler(void)", 1)
        return ["Reset_Handler () at startup.c:%d" % number, "%d\t%s" % (number, text)]

    def second_stop(self, rows):
        running = rows[0]
        return ["(gdb) break port_yield",
                "Breakpoint 1 at 0x%x: file target_tasks.c, line %d." % (self.symbols.address("port_yield"),
                                                                          self.yield_line[0]),
                "(gdb) continue"] + ["[New Thread %d]" % row.tid for row in rows] + [
                "[Switching to Thread %d]" % running.tid, "",
                "Thread 2 hit Breakpoint 1, " + running.frame, "%d\t%s" % self.yield_line]

    def waiting(self, rows):
        task = next(task for task in freertos.TASKS if task.name == "Logger")
        entry = source_line(self.TASKS, "TASK_ENTRY(logger, logger_work)")[0]
        backtrace = ["#0  " + self.place(self.symbols.address("port_yield_point")),
                     "#1  0x%08x in %s (parameters=<unavailable>) at target_tasks.c:%d" % (
                         self.symbols.address(task.resume), task.entry, entry)]
        registers = freertos.expected_registers(self.program, self.symbols, task)
        return Waiting(next(row for row in rows if row.label == task.name), "%d\t%s" % self.yield_line,
                       backtrace, registers, "port_yield", task.stack)

    def address(self, name):
        return self.symbols.address(name)

    def headers(self):
        return []

    def state_reply(self):
        """What monitor rtos state prints, as the kernel's suite expects it."""
        return freertos.expected_text("e2e_freertos_cm4f_state.txt") + "\n"


class ThreadxDemo:
    """The ThreadX program: main runs on the core with the registers its suite gives the simulator."""

    def __init__(self, elf):
        self.image = threadx.Image(threadx.PROGRAMS["cm4"], None,
                                   os.path.join(FIXTURES, "targets", "threadx"), elf=elf)

    def shown(self, text):
        """GDB names the source by its base name ("set filename-display basename")."""
        return text.replace(self.image.source, os.path.basename(self.image.source))

    def source_text(self, thread):
        line = self.image.line_of(threadx.THREADS[thread].pc_label)
        return "%d\t%s" % (line, self.image.source_lines[line - 1])

    def rows(self):
        return [Row(current, number, tid, label, self.shown(frame))
                for current, number, tid, label, frame in threadx.expected_rows(self.image)]

    def connected(self):
        return [self.shown(self.image.frame_text(threadx.RUNNING)), self.source_text(threadx.RUNNING)]

    def second_stop(self, rows):
        running = rows[0]
        return ["(gdb) continue"] + ["[New Thread %d]" % row.tid for row in rows] + [
            "", "Thread 2 received signal SIGTRAP, Trace/breakpoint trap.",
            "[Switching to Thread %d]" % running.tid] + self.connected()

    def waiting(self, rows):
        registers = dict(self.image.registers("logger"))
        return Waiting(next(row for row in rows if row.label == "logger"), self.source_text("logger"),
                       [self.shown(line) for line in self.image.backtrace("logger")], registers,
                       threadx.THREADS["logger"].inner, "stack_logger")

    def address(self, name):
        return self.image.address(name)

    def headers(self):
        return ["== main.regs, main's registers: " + " ".join(
            "%s=0x%x" % register for register in self.image.registers(threadx.RUNNING))]

    def state_reply(self):
        """What monitor rtos state prints, as the kernel's suite expects it."""
        with open(os.path.join(FIXTURES, "expected", "e2e_threadx_cm4_state.txt")) as state:
            return state.read()


DEMOS = {"freertos": FreeRtosDemo, "threadx": ThreadxDemo}


def format_threads(rows):
    """GDB's "info threads": the current-thread mark, Id in 4 columns, Target Id as wide as the widest."""
    targets = ["Thread %d (%s)" % (row.tid, row.label) for row in rows]
    width = max(len(target) for target in targets)
    lines = ["  %-4s %-*s %s" % ("Id", width, "Target Id", "Frame ")]
    for target, row in zip(targets, rows):
        lines.append("%s %-4s %-*s %s" % ("*" if row.current else " ", row.number, width, target, row.frame))
    return lines


def expected_info_threads(kernel_name, elf):
    """GDB's "info threads" at the demo's second stop, with "set filename-display basename" (also for other
    suites)."""
    return format_threads(DEMOS[kernel_name](elf).rows())


def expected_session(kernel_name, elf, port):
    demo = DEMOS[kernel_name](elf)
    rows = demo.rows()
    waiting = demo.waiting(rows)
    registers = waiting.registers
    lines = ["(gdb) target remote 127.0.0.1:%d" % port] + demo.connected() + demo.second_stop(rows)
    lines += ["(gdb) info threads"] + format_threads(rows)
    lines += [
        "(gdb) thread %d" % waiting.row.number,
        "[Switching to thread %d (Thread %d)]" % (waiting.row.number, waiting.row.tid),
        waiting.backtrace[0],
        waiting.line,
        "(gdb) bt",
    ] + waiting.backtrace + [
        "(gdb) info registers r4 lr pc sp",
        "%-15s%-20s%s" % ("r4", "0x%x" % registers["r4"], signed(registers["r4"])),
        "%-15s%-20s%s" % ("lr", "0x%x" % registers["lr"], signed(registers["lr"])),
        "%-15s%-20s%s" % ("pc", "0x%x" % registers["pc"], symbolic(registers["pc"], waiting.pc_symbol,
                                                                   demo.address(waiting.pc_symbol))),
        "%-15s%-20s%s" % ("sp", "0x%x" % registers["sp"], symbolic(registers["sp"], waiting.sp_symbol,
                                                                   demo.address(waiting.sp_symbol))),
        "(gdb) monitor rtos state",
    ]
    lines += demo.state_reply().split("\n")[:-1]
    lines += ["(gdb) detach", "[Inferior 1 (Remote target) detached]"]
    return lines


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
    sim_header = HEADER_SIM.match(lines[2])
    more_headers = DEMOS[kernel_name](elf).headers()
    tarnwick_at = 3 + len(more_headers)
    tarnwick_header = HEADER_TARNWICK.match(lines[tarnwick_at]) if len(lines) > tarnwick_at else None
    if not (sim_header and tarnwick_header):
        raise AssertionError("unexpected headers:\n" + harness.indent("\n".join(lines[:tarnwick_at + 2])))
    server_port, port = int(sim_header.group(3)), int(tarnwick_header.group(1))
    driver, variant, driver_name = kernel["driver"]
    cache = tarnwick_header.group(2).split(" --debug_info_cache ")[1].split(" ")[0]
    scratch = os.path.dirname(cache)
    expected_headers = [
        "== " + kernel["about"], "== " + kernel["story"],
        "== target_sim --port 0 --once %s %s.elf: listening on port %d" % (kernel["sim_options"], kernel["program"],
                                                                         server_port)] + more_headers + [
        "== tarnwick --port %d --server_connection 127.0.0.1:%d --file %s --rtos %s --rtos_variant %s "
        "--debug_info_cache %s/%s.elf.proxy_cache --gdbserver_connect_timeout 5"
        % (port, server_port, shown_path(elf), driver, variant, scratch, kernel["program"]),
        "== gdb-multiarch %s.elf, through tarnwick" % kernel["program"]]
    headers = lines[:len(expected_headers)]
    if headers != expected_headers:
        raise AssertionError("the headers differ:\n" + differences(expected_headers, headers))

    console_at = lines.index("== tarnwick's console") if "== tarnwick's console" in lines else len(lines)
    session = lines[len(expected_headers):console_at]
    expected = expected_session(kernel_name, elf, port)
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


# The real kernel's program: each task in creation order, and the function its frame shows at the checkpoint
# (a spinner is wherever the tick preempted its floating-point work).
QEMU_PROGRAM = "realkernel_freertos_cm4f"
QEMU_TASKS = [("Checker RUNNING", ("checkpoint_reached",)), ("QueueRx", ("xQueueReceive",)),
              ("BinarySem", ("xQueueSemaphoreTake",)), ("CountingSem", ("xQueueSemaphoreTake",)),
              ("MutexWait", ("xQueueSemaphoreTake",)), ("RecursiveWait", ("xQueueSemaphoreTake",)),
              ("EventWait", ("xEventGroupWaitBits",)), ("Sleeper", ("vTaskDelay",)), ("Suspended", ("vTaskSuspend",)),
              ("Spinner1", ("spin_work", "task_spinner")), ("Spinner2", ("spin_work", "task_spinner")),
              ("IDLE", ("prvIdleTask",)), ("Tmr Svc", ("prvProcessTimerOrBlockTask",))]
# A yield that a kernel call pends inside a critical section is taken where the port lowers BASEPRI again, so
# a task may show that port function innermost, above the kernel function it waits in.
PORT_LOWERS_BASEPRI = "vPortSetBASEPRI"
KERNEL_FILES = {"queue.c": "queue.c", "tasks.c": "tasks.c", "event_groups.c": "event_groups.c",
                "timers.c": "timers.c", "portmacro.h": "portable/GCC/ARM_CM4F/portmacro.h"}
QEMU_OBJECTS = ["Queue", "Mailbox", "TmrQ", "Binary", "Counting", "Mutex", "Recursive", "Active"]
INFO_THREADS_ROW = re.compile(r"^([* ]) (\d+) +Thread (\d+) \((.*?)\) +(?:0x[0-9a-f]+ in )?(\S+) \(.*\) at (\S+):(\d+)$")


def kernel_line(build_dir, name, number):
    with open(os.path.join(build_dir, "kernels", "FreeRTOS-Kernel-V11.1.0", name)) as source:
        return source.read().splitlines()[number - 1]


def check_qemu(args):
    """scripts/demo.sh qemu: the real kernel under QEMU, tarnwick straight in front of it."""
    elf = os.path.realpath(os.path.join(args.build_dir, "tests", "fixtures", QEMU_PROGRAM + ".elf"))
    done = run_demo(args, "qemu")
    lines = done.stdout.split("\n")
    if done.returncode != 0 or done.stderr:
        raise AssertionError("scripts/demo.sh qemu: exit status %d\nstdout:\n%s\nstderr:\n%s" % (
            done.returncode, harness.indent(done.stdout), harness.indent(done.stderr)))
    qemu = re.match(r"^== qemu-system-arm -M mps2-an386 -kernel (\S+) -nographic -S -gdb tcp:127.0.0.1:(\d+) "
                    r"-monitor none -serial none$", lines[2])
    tarnwick = HEADER_TARNWICK.match(lines[3])
    if not (qemu and tarnwick):
        raise AssertionError("unexpected headers:\n" + harness.indent("\n".join(lines[:5])))
    qemu_port, port = int(qemu.group(2)), int(tarnwick.group(1))
    scratch = os.path.dirname(tarnwick.group(2).split(" --debug_info_cache ")[1].split(" ")[0])
    expected_headers = [
        "== the real FreeRTOS V11.1.0 kernel running under QEMU with thirteen tasks (mps2-an386, Cortex-M4F)",
        "== Checker reaches its checkpoint; QueueRx waits on Queue and its saved frame returns into task_queue_rx",
        "== qemu-system-arm -M mps2-an386 -kernel %s -nographic -S -gdb tcp:127.0.0.1:%d -monitor none -serial none"
        % (shown_path(elf), qemu_port),
        "== tarnwick --port %d --server_connection 127.0.0.1:%d --file %s --rtos freertos --rtos_variant ARM_CM4F "
        "--debug_info_cache %s/%s.elf.proxy_cache --gdbserver_connect_timeout 5"
        % (port, qemu_port, shown_path(elf), scratch, QEMU_PROGRAM),
        "== gdb-multiarch %s.elf, through tarnwick" % QEMU_PROGRAM]
    if lines[:5] != expected_headers:
        raise AssertionError("the headers differ:\n" + differences(expected_headers, lines[:5]))

    console_at = lines.index("== tarnwick's console")
    session = lines[5:console_at]
    realkernel = "realkernel/freertos/"
    reset = source_line("cortex_m/startup.c", "void Reset_Handler(void) {")
    checkpoint = source_line(realkernel + "app.c", "    app_checkpoints = count;")
    receive = source_line(realkernel + "app.c", "        xQueueReceive(app_queue, item, portMAX_DELAY);")
    threads_at = session.index("(gdb) info threads")
    rows = [INFO_THREADS_ROW.match(line) for line in session[threads_at + 2:threads_at + 2 + len(QEMU_TASKS)]]
    if not all(rows) or session[threads_at + 1] != "  Id   Target Id                          Frame ":
        raise AssertionError("info threads:\n" + harness.indent("\n".join(session[threads_at:threads_at + 15])))
    tids = [int(row.group(3)) for row in rows]
    for number, (row, (label, functions)) in enumerate(zip(rows, QEMU_TASKS), 2):
        if (row.group(1) == "*", int(row.group(2)), row.group(4)) != (number == 2, number, label) or \
                row.group(5) not in functions + (() if number in (2, 11, 12) else (PORT_LOWERS_BASEPRI,)):
            raise AssertionError("info threads shows %r; expected thread %d %s in %s"
                                 % (row.group(0), number, label, "/".join(functions)))
    expected = ["(gdb) target remote 127.0.0.1:%d" % port, "Reset_Handler () at startup.c:%d" % reset[0],
                "%d\t%s" % reset, "(gdb) break checkpoint_reached"]
    expected += [session[4] if re.match(r"^Breakpoint 1 at 0x[0-9a-f]+: file app.c, line %d\.$" % checkpoint[0],
                                        session[4]) else "Breakpoint 1 at <address>: file app.c, line %d." % checkpoint[0],
                 "(gdb) continue"] + ["[New Thread %d]" % tid for tid in tids]
    expected += ["[Switching to Thread %d]" % tids[0], "",
                 "Thread 2 hit Breakpoint 1, checkpoint_reached (count=1) at app.c:%d" % checkpoint[0],
                 "%d\t%s" % checkpoint]
    if session[:threads_at] != expected:
        raise AssertionError("the session differs:\n" + differences(expected, session[:threads_at]))

    waiting = session[threads_at + 2 + len(QEMU_TASKS):]
    frame = rows[1].group(0)[rows[1].group(0).index(") ", rows[1].start(4)) + 1:].strip()
    source, number = rows[1].group(6), int(rows[1].group(7))
    expected = ["(gdb) thread 3", "[Switching to thread 3 (Thread %d)]" % tids[1], "#0  " + frame,
                "%d\t%s" % (number, kernel_line(args.build_dir, KERNEL_FILES[source], number)), "(gdb) bt",
                "#0  " + frame]
    backtrace = waiting[5:waiting.index("(gdb) info registers r4 lr pc sp")]
    entry = r"^#\d  0x[0-9a-f]+ in task_queue_rx \(parameters=0x0 <vector_table>\) at app.c:%d$" % receive[0]
    if waiting[:6] != expected or not any(re.match(entry, line) for line in backtrace) or \
            not any(" xQueueReceive (" in line for line in backtrace):
        raise AssertionError("QueueRx's frame differs:\n" + differences(expected + ["... xQueueReceive ...", entry],
                                                                        waiting[:5] + backtrace))
    registers_at = waiting.index("(gdb) info registers r4 lr pc sp")
    shown = [line.split()[0] for line in waiting[registers_at + 1:registers_at + 5]]
    # vPortSetBASEPRI is inlined into vPortExitCritical, whose name the symbol table gives.
    pc_symbol = "vPortExitCritical" if rows[1].group(5) == PORT_LOWERS_BASEPRI else "xQueueReceive"
    if shown != ["r4", "lr", "pc", "sp"] or " <%s+" % pc_symbol not in waiting[registers_at + 3]:
        raise AssertionError("QueueRx's registers:\n" + harness.indent("\n".join(waiting[registers_at:registers_at + 5])))
    state = waiting[waiting.index("(gdb) monitor rtos state") + 1:waiting.index("(gdb) detach")]
    for (label, _), tid in zip(QEMU_TASKS, tids):
        name = label.split(" RUNNING")[0]
        if not any(re.match(r"^%d +0x%08x +%s +" % (name == "Checker", tid, re.escape(name)), line) for line in state):
            raise AssertionError("monitor rtos state lists no task %s:\n%s" % (name, harness.indent("\n".join(state))))
    for name in QEMU_OBJECTS:
        if not any(line.startswith(name + " ") for line in state):
            raise AssertionError("monitor rtos state lists no %s:\n%s" % (name, harness.indent("\n".join(state))))
    if state[:3] != ["Driver : freeRTOS", "", "Kernel state : Started"] or \
            waiting[-2:] != ["(gdb) detach", "[Inferior 1 (Remote target) detached]"]:
        raise AssertionError("the end of the session differs:\n" + harness.indent("\n".join(waiting[-40:])))
    console = lines[console_at + 1:]
    if console[:6] != ["Veltrona Tarnwick. Version 0.17.0", "Copyright (c) Veltrona. All rights reserved.", "",
                       "Loading RTOS driver... FreeRTOS",
                       "Connecting to GDB server 127.0.0.1 on port %d ... Connected" % qemu_port,
                       "Listen for GDB connection on port: %d ... Connected" % port] or \
            console[-2:] != ["Proxy stopped.", ""]:
        raise AssertionError("tarnwick's console:\n" + harness.indent("\n".join(console)))
    check_left_nothing([qemu_port, port], scratch)
    print("scripts/demo.sh qemu: %d lines as expected" % len(lines))


def headers_of(lines):
    """The simulator's and tarnwick's header lines of a transcript."""
    sim = next((HEADER_SIM.match(line) for line in lines if HEADER_SIM.match(line)), None)
    tarnwick = next((HEADER_TARNWICK.match(line) for line in lines if HEADER_TARNWICK.match(line)), None)
    if not (sim and tarnwick):
        raise AssertionError("the demo printed no headers:\n" + harness.indent("\n".join(lines)))
    return sim, tarnwick


def variable_parts(lines):
    """The texts of a demo transcript that differ from run to run: ports, the scratch folder, the program's path."""
    sim, tarnwick = headers_of(lines)
    arguments = tarnwick.group(2).split(" ")
    cache = arguments[arguments.index("--debug_info_cache") + 1]
    return [(os.path.dirname(cache), "<scratch>"), (arguments[arguments.index("--file") + 1], "<elf>"),
            (sim.group(3), "<server port>"), (tarnwick.group(1), "<port>")]


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
    sim, tarnwick = headers_of(stdout.split("\n"))
    cache = tarnwick.group(2).split(" --debug_info_cache ")[1].split(" ")[0]
    return [int(sim.group(3)), int(tarnwick.group(1))], os.path.dirname(cache)


def check_unknown_kernel(args):
    done = run_demo(args, "zephyr")
    if (done.returncode, done.stdout, done.stderr) != (2, "", "usage: scripts/demo.sh [freertos|threadx|qemu]\n"):
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


def run(args):
    if args.case == "qemu":
        if args.unavailable is not None:
            raise gdbsession.Skip(args.unavailable)
        check_qemu(args)
    elif args.case == "failures":
        check_unknown_kernel(args)
        with tempfile.TemporaryDirectory(prefix="tarnwick-demo-test-") as directory:
            check_failing_gdb(args, directory)
        with tempfile.TemporaryDirectory(prefix="tarnwick-demo-test-") as directory:
            check_terminated(args, directory)
        print("scripts/demo.sh fails loudly and cleans up: unknown kernel, failing GDB, SIGTERM")
    else:
        check_kernel(args, args.case)


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("build_dir",), session=False, options=[
        (["--case"], {"required": True, "choices": ["freertos", "threadx", "qemu", "failures"]}),
        (["--unavailable"], {"help": "why the real kernels are missing: print it and skip --case qemu"})])
