"""End-to-end under QEMU: the scheduler programs of tests/fixtures/qemu, debugged with gdb-multiarch.

Cases, one CTest test each (--case). QEMU keeps acknowledgements on, names its features through
<xi:include> annexes and answers in p<pid>.<tid> thread ids once GDB offers multiprocess; GDB runs with no
settings but the batch ones, straight to QEMU or through tarnwick straight in front of QEMU.
  cm3, cm4f            GDB straight to QEMU, and through tarnwick: breakpoints in two task functions are hit in
                       turn, pxCurrentTCB names the task that hit, the kernel lists are whole, and every
                       switched-out task's saved frame holds a pc inside that task's own code; on the Cortex-M4F
                       the floating-point task's frame is the extended one.
  registers            the register set GDB builds at reset is the same straight from QEMU and through tarnwick.
  control              through tarnwick, acknowledgements on for the whole session: every task listed; with a
                       switched-out task selected, continue stops at the breakpoint and step, next and until
                       stop again (the core steps: QEMU gets its own thread id, never a task's); finish returns
                       to the task's entry function; monitor rtos state in its three forms; kill ends tarnwick.
  determinism          the _det builds stop at the n-th hit of a breakpoint with the same memory every run.

Through tarnwick the cm3 and cm4f cases also check GDB's thread view at each stop: info threads lists every
task, the stopped one current; thread N and info registers give each switched-out task's saved frame with
sp past it; bt reaches the task's entry function.
"""

import collections
import difflib
import json
import os
import re
import subprocess

import gdbsession
import harness

GDB_TIMEOUT = 30.0
STACK_FILL = 0xA5A5A5A5
STACK_BYTES = 256 * 4
THUMB_BIT = 1 << 24
EXC_RETURN_BASIC = 0xFFFFFFFD
EXC_RETURN_EXTENDED = 0xFFFFFFED
EXC_RETURN_NO_FP = 0x10
FAULT_FUNCTIONS = ("HardFault_Handler", "Default_Handler")
STOPS = 8
# Changes between two stops at the same breakpoint: each task delays after the function of its breakpoint.
RAN = "xTickCount"

Task = collections.namedtuple("Task", "name tcb stack priority functions")
Program = collections.namedtuple("Program", "machine elf tasks breakpoints frame_words")

TASKS = [
    Task("IDLE", "idle_tcb", "idle_stack", 0, ("task_idle", "idle_spin")),
    Task("worker", "worker_tcb", "worker_stack", 1, ("task_worker", "worker_step")),
    Task("logger", "logger_tcb", "logger_stack", 1, ("task_logger", "logger_record")),
    Task("blinker", "blinker_tcb", "blinker_stack", 2, ("task_blinker", "blinker_toggle")),
    Task("parked", "parked_tcb", "parked_stack", 3, ("task_parked", "parked_note")),
]
FILTER = Task("filter", "filter_tcb", "filter_stack", 1, ("task_filter", "filter_update", "filter_check_pattern"))

# Words read at each pxTopOfStack: the whole Cortex-M3 frame, or the largest Cortex-M4F frame.
PROGRAMS = {
    "cm3": Program("mps2-an385", "qemu_sched_cm3.elf", TASKS, ("worker_step", "blinker_toggle"), 16),
    "cm4f": Program("mps2-an386", "qemu_sched_cm4f.elf", TASKS + [FILTER], ("filter_update", "blinker_toggle"), 51),
}
LISTS = ["pxReadyTasksLists[%d]" % priority for priority in range(5)] + [
    "xDelayedTaskList1", "xDelayedTaskList2", "xPendingReadyList", "xSuspendedTaskList"]


def gdb_prelude(elf, port, debug_remote=False):
    lines = list(gdbsession.GDB_PRELUDE)
    if debug_remote:
        lines += ["set debug remote 1", "set debug remote-packet-max-chars unlimited"]
    return gdbsession.connect_commands(elf, port, lines)


def stop_dump(program):
    """GDB commands that print, in lines starting with '@', what one stop is checked against."""
    lines = ['printf "@stop 0x%x 0x%x %u %u %d\\n", $pc, pxCurrentTCB, xTickCount, uxTopReadyPriority, '
             'xSchedulerRunning']
    for name in LISTS:
        lines.append('printf "@list %s 0x%%x %%u 0x%%x 0x%%x\\n", &%s, %s.uxNumberOfItems, &%s.xListEnd, '
                     '%s.xListEnd.pxNext' % (name, name, name, name, name))
    for task in program.tasks:
        item = "%s.xStateListItem" % task.tcb
        lines.append('printf "@task %s %%s|0x%%x 0x%%x 0x%%x 0x%%x 0x%%x 0x%%x %%u %%u 0x%%x\\n", %s.pcTaskName, '
                     '&%s, %s.pxTopOfStack, &%s, %s.pxContainer, %s.pxNext, %s.pxPrevious, %s.xItemValue, '
                     '%s.uxPriority, %s[0]'
                     % (task.name, task.tcb, task.tcb, task.tcb, item, item, item, item, item, task.tcb, task.stack))
        lines += ["echo @frame %s\\n" % task.name, "x/%dxw %s.pxTopOfStack" % (program.frame_words, task.tcb)]
    lines.append('printf "@ran %u\\n", parked_notes')
    if FILTER in program.tasks:
        lines += ['printf "@filter %u %u\\n", filter_rounds, filter_fp_errors', "echo @pattern\\n",
                  "x/16xw &filter_pattern"]
    return lines + ["echo @end\\n"]


def session_commands(program, elf, port, thread_view=False):
    lines = gdb_prelude(elf, port)
    lines += ["break " + name for name in FAULT_FUNCTIONS + program.breakpoints]
    for _ in range(STOPS):
        lines += gdbsession.continue_commands(RAN) + stop_dump(program) + (THREAD_VIEW if thread_view else [])
    return lines + ["detach"]


def parse_stops(output):
    """One dictionary per stop from the '@' lines; x/ output lines belong to the '@frame' before them."""
    stops, stop, words = [], None, None
    for line in output.splitlines():
        if line.startswith("@stop "):
            pc, current, tick, top, running = line.split()[1:]
            stop = {"pc": int(pc, 16), "current": int(current, 16), "tick": int(tick), "top": int(top),
                    "running": int(running), "lists": {}, "tasks": {}, "frames": {}}
            words = None
        elif stop is None:
            continue
        elif line.startswith("@list "):
            name, address, count, end, first = line.split()[1:]
            stop["lists"][name] = (int(address, 16), int(count), int(end, 16), int(first, 16))
        elif line.startswith("@task "):
            name, rest = line[len("@task "):].split(" ", 1)
            label, numbers = rest.rsplit("|", 1)
            fields = numbers.split()
            stop["tasks"][name] = {
                "label": label, "tcb": int(fields[0], 16), "top": int(fields[1], 16), "item": int(fields[2], 16),
                "container": int(fields[3], 16), "next": int(fields[4], 16), "previous": int(fields[5], 16),
                "value": int(fields[6]), "priority": int(fields[7]), "fill": int(fields[8], 16)}
        elif line.startswith("@frame "):
            words = stop["frames"].setdefault(line.split()[1], [])
        elif line == "@pattern":
            words = stop.setdefault("pattern", [])
        elif line.startswith("@ran "):
            stop["parked_ran"] = int(line.split()[1])
            words = None
        elif line.startswith("@filter "):
            stop["filter_rounds"], stop["filter_errors"] = map(int, line.split()[1:])
            words = None
        elif line == "@end":
            stops.append(stop)
            stop, words = None, None
        elif words is not None and ":" in line:
            words.extend(int(word, 16) for word in line.split(":", 1)[1].split())
    return stops


class Checker:
    """Judges the stops of one session against the program's ELF file; every failure names the stop."""

    def __init__(self, program, elf, label):
        self.program = program
        self.symbols = gdbsession.ElfSymbols(elf)
        self.label = label
        self.extended_frames = 0

    def fail(self, index, message):
        raise AssertionError("%s, stop %d: %s" % (self.label, index + 1, message))

    def owner(self, address):
        function = self.symbols.function_at(address)
        for task in self.program.tasks:
            if function in task.functions:
                return task
        return None

    def check(self, stops):
        if len(stops) != STOPS:
            raise AssertionError("%s: %d stops reported, expected %d" % (self.label, len(stops), STOPS))
        hits = []
        for index, stop in enumerate(stops):
            hits.append(self.check_stop(index, stop))
        self.check_turns(hits)
        if FILTER in self.program.tasks and self.extended_frames == 0:
            raise AssertionError("%s: the filter task was never seen switched out after using the FPU" % self.label)
        return hits

    def check_stop(self, index, stop):
        function = self.symbols.function_at(stop["pc"])
        if function not in self.program.breakpoints:
            self.fail(index, "stopped at 0x%x in %s, not at a breakpoint of %s"
                      % (stop["pc"], function, ", ".join(self.program.breakpoints)))
        running = self.owner(stop["pc"])
        if stop["current"] != self.symbols.address(running.tcb):
            self.fail(index, "pxCurrentTCB is 0x%x in %s, not %s at 0x%x"
                      % (stop["current"], function, running.tcb, self.symbols.address(running.tcb)))
        if stop["running"] != 1:
            self.fail(index, "xSchedulerRunning is %d" % stop["running"])
        self.check_lists(index, stop, running)
        for task in self.program.tasks:
            if task is not running:
                self.check_frame(index, stop, task)
        if "filter_errors" in stop and stop["filter_errors"] != 0:
            self.fail(index, "the filter task lost s16-s31 in %d rounds" % stop["filter_errors"])
        return running.name, stop["current"]

    def check_lists(self, index, stop, running):
        lists = stop["lists"]
        by_address = {address: name for name, (address, _, _, _) in lists.items()}
        members = collections.defaultdict(list)
        for task in self.program.tasks:
            facts = stop["tasks"][task.name]
            if facts["label"] != task.name or facts["tcb"] != self.symbols.address(task.tcb):
                self.fail(index, "%s: control block at 0x%x named %r" % (task.tcb, facts["tcb"], facts["label"]))
            if facts["fill"] != STACK_FILL:
                self.fail(index, "%s[0] is 0x%x, not the fill 0x%x" % (task.stack, facts["fill"], STACK_FILL))
            container = by_address.get(facts["container"])
            allowed = {"pxReadyTasksLists[%d]" % task.priority, "xDelayedTaskList1", "xSuspendedTaskList"}
            if container not in allowed:
                self.fail(index, "%s is on %s (0x%x)" % (task.name, container, facts["container"]))
            if task is running and container != "pxReadyTasksLists[%d]" % task.priority:
                self.fail(index, "the running task %s is on %s, not on its ready list" % (task.name, container))
            if task.name == "parked" and stop["parked_ran"] and container != "xSuspendedTaskList":
                self.fail(index, "parked ran and is on %s, not on xSuspendedTaskList" % container)
            if container == "xDelayedTaskList1" and facts["value"] <= stop["tick"]:
                self.fail(index, "%s is delayed until tick %d at tick %d" % (task.name, facts["value"], stop["tick"]))
            members[container].append(facts)
        for name, (address, count, end, first) in lists.items():
            self.walk_list(index, stop, name, count, end, first, members[name])
        top = max(p for p in range(5) if lists["pxReadyTasksLists[%d]" % p][1] > 0)
        if stop["top"] != top:
            self.fail(index, "uxTopReadyPriority is %d, the highest ready list is %d" % (stop["top"], top))

    def walk_list(self, index, stop, name, count, end, first, items):
        """Follows pxNext from the end marker through the tasks' state items; it must come back to the
        marker after exactly uxNumberOfItems items, each pointing back at the one before."""
        by_item = {facts["item"]: facts for facts in items}
        previous, current, seen = end, first, []
        while current != end:
            facts = by_item.get(current)
            if facts is None or len(seen) > len(items):
                self.fail(index, "%s links to 0x%x, which is none of its tasks' items" % (name, current))
            if facts["previous"] != previous:
                self.fail(index, "%s: item 0x%x points back at 0x%x, not 0x%x"
                          % (name, current, facts["previous"], previous))
            seen.append(facts)
            previous, current = current, facts["next"]
        if len(seen) != count or len(seen) != len(items):
            self.fail(index, "%s holds %d items by its links, counts %d, and %d tasks name it"
                      % (name, len(seen), count, len(items)))
        if name.startswith("xDelayed") and [f["value"] for f in seen] != sorted(f["value"] for f in seen):
            self.fail(index, "%s is not sorted by wake time" % name)

    def check_frame(self, index, stop, task):
        facts = stop["tasks"][task.name]
        words = stop["frames"].get(task.name, [])
        stack = self.symbols.address(task.stack)
        if not stack <= facts["top"] < stack + STACK_BYTES or len(words) != self.program.frame_words:
            self.fail(index, "%s: pxTopOfStack 0x%x outside %s or frame unread (%d words)"
                      % (task.name, facts["top"], task.stack, len(words)))
        if self.program.frame_words == 16:
            pc, xpsr = words[14], words[15]
        else:
            exc_return = words[8]
            if exc_return not in (EXC_RETURN_BASIC, EXC_RETURN_EXTENDED):
                self.fail(index, "%s: saved EXC_RETURN 0x%x" % (task.name, exc_return))
            extended = not exc_return & EXC_RETURN_NO_FP
            if task is FILTER and stop["filter_rounds"] > 0 and not extended:
                self.fail(index, "the filter task used the FPU but its frame is basic (0x%x)" % exc_return)
            if task is not FILTER and extended:
                self.fail(index, "%s never uses the FPU but its frame is extended" % task.name)
            if extended:
                if words[9:25] != stop["pattern"]:
                    self.fail(index, "s16-s31 of the filter frame %s differ from filter_pattern %s"
                              % (hexwords(words[9:25]), hexwords(stop["pattern"])))
                self.extended_frames += 1
            pc, xpsr = (words[31], words[32]) if extended else (words[15], words[16])
        owner = self.owner(pc)
        if owner is not task:
            self.fail(index, "%s's saved pc 0x%x lies in %s, not in %s"
                      % (task.name, pc, self.symbols.function_at(pc), "/".join(task.functions)))
        if not xpsr & THUMB_BIT:
            self.fail(index, "%s's saved xPSR 0x%x lacks the Thumb bit" % (task.name, xpsr))

    def check_turns(self, hits):
        names = [name for name, _ in hits]
        turns = sum(1 for before, after in zip(names, names[1:]) if before != after)
        tcbs = {tcb for _, tcb in hits}
        if set(names) != {self.owner(self.symbols.address(f)).name for f in self.program.breakpoints} or turns < 2:
            raise AssertionError("%s: the breakpoints were not hit in turn: %s" % (self.label, " ".join(names)))
        if len(tcbs) != 2:
            raise AssertionError("%s: pxCurrentTCB took %d values over the stops" % (self.label, len(tcbs)))


def hexwords(words):
    return " ".join("%08x" % word for word in words)


# GDB's thread view through tarnwick's FreeRTOS driver, printed after each stop's dump.
THREAD_VIEW = ["echo @threads\\n", "info threads", "echo @registers\\n", "thread apply all info registers",
               "echo @backtraces\\n", "thread apply all bt", "echo @view-end\\n"]
CORE_REGISTERS = ["r%d" % number for number in range(13)] + ["sp", "lr", "pc", "xpsr"]


def parse_thread_views(output):
    """One view per stop, as gdbsession.thread_view makes it."""
    views, parts, section = [], None, None
    for line in output.splitlines():
        if line == "@threads":
            parts, section = {"threads": [], "registers": [], "backtraces": []}, "threads"
        elif parts is None:
            continue
        elif line in ("@registers", "@backtraces"):
            section = line[1:]
        elif line == "@view-end":
            views.append(gdbsession.thread_view(parts["threads"], parts["registers"], parts["backtraces"]))
            parts = None
        else:
            parts[section].append(line)
    return views


def saved_registers(program, words, top):
    """The registers a switched-out task's frame holds, with sp past the frame (and past the alignment word
    that bit 9 of xPSR announces), as the FreeRTOS port driver of the core reports them."""
    if program.frame_words == 16:
        base, size = 8, 64
    elif words[8] & EXC_RETURN_NO_FP:
        base, size = 9, 68
    else:
        base, size = 25, 204
    values = dict(zip(["r%d" % number for number in range(4, 12)], words[0:8]))
    values.update(zip(["r0", "r1", "r2", "r3", "r12", "lr", "pc", "xpsr"], words[base:base + 8]))
    values["sp"] = top + size + (4 if values["xpsr"] & 0x200 else 0)
    return values


def thread_views(stops, output):
    views = parse_thread_views(output)
    if len(views) != len(stops):
        raise AssertionError("%d thread views printed for %d stops" % (len(views), len(stops)))
    return views


def check_info_threads(program, stops, output, symbols):
    """info threads lists one thread per task, its id the address of the TCB and its label the task's name;
    the current one is the task of the breakpoint, labelled RUNNING."""
    for index, (stop, view) in enumerate(zip(stops, thread_views(stops, output))):
        expected = {}
        for task in program.tasks:
            tcb = symbols.address(task.tcb)
            running = tcb == stop["current"]
            expected[tcb] = (task.name + " RUNNING" if running else task.name, running)
        shown = {tid: (label, current) for tid, (_, label, current) in view["threads"].items()}
        if shown != expected:
            raise AssertionError("stop %d: info threads shows %s, expected %s" % (index + 1, shown, expected))


def check_thread_select(program, stops, output, symbols):
    """thread N and info registers for each switched-out task give the words of its saved frame, with sp
    past the frame."""
    for index, (stop, view) in enumerate(zip(stops, thread_views(stops, output))):
        for task in program.tasks:
            tcb = symbols.address(task.tcb)
            if tcb == stop["current"]:
                continue
            expected = saved_registers(program, stop["frames"][task.name], stop["tasks"][task.name]["top"])
            shown = view["registers"].get(tcb, {})
            wrong = ["%s 0x%x, not 0x%x" % (name, shown.get(name, -1), expected[name])
                     for name in CORE_REGISTERS if shown.get(name) != expected[name]]
            if wrong:
                raise AssertionError("stop %d: the registers of %s: %s" % (index + 1, task.name, "; ".join(wrong)))


def check_backtrace(program, stops, output, symbols):
    """bt in a switched-out task shows the function of its saved pc (behind the frames of functions inlined
    there) and, from there, reaches the task's entry function."""
    for index, (stop, view) in enumerate(zip(stops, thread_views(stops, output))):
        for task in program.tasks:
            tcb = symbols.address(task.tcb)
            if tcb == stop["current"]:
                continue
            frames = view["frames"].get(tcb, [])
            saved = symbols.function_at(view["registers"][tcb]["pc"])
            entry = task.functions[0]
            if saved not in frames or entry not in frames[frames.index(saved):]:
                raise AssertionError("stop %d: bt of %s is %s; expected %s first and %s on the way"
                                     % (index + 1, task.name, frames, saved, entry))


VARIANTS = {"qemu_sched_cm3.elf": "ARM_CM3", "qemu_sched_cm4f.elf": "ARM_CM4F"}


def tarnwick_arguments(program):
    """Options of tarnwick for this program beside its file and cache."""
    return ["--rtos", "freertos", "--rtos_variant", VARIANTS[program.elf]]


def start_route(session, args, program, elf, route):
    """QEMU halted at reset, and on the route "tarnwick" tarnwick in front of it; the port GDB connects to."""
    if route != "tarnwick":
        return session.start_qemu(program.machine, elf, name="qemu_" + route)[1]
    return session.start_tarnwick_before_qemu(args.tarnwick, program.machine, elf, tarnwick_arguments(program),
                                              name="qemu_" + route)[1]


def run_gdb_checked(session, commands, name):
    result = session.run_gdb(commands, name=name, timeout=GDB_TIMEOUT)
    if result.returncode != 0 or "Error" in result.stderr:
        raise AssertionError("%s failed (status %d):\nstdout:\n%s\nstderr:\n%s" % (
            name, result.returncode, harness.indent(result.stdout), harness.indent(result.stderr)))
    return result


def program_case(args, key):
    program = PROGRAMS[key]
    elf = os.path.join(args.fixtures, program.elf)
    with harness.Session(keep_files=args.keep_files) as session:
        for route in ("direct", "tarnwick"):
            port = start_route(session, args, program, elf, route)
            label = "%s %s" % (program.elf, "through tarnwick" if route == "tarnwick" else "straight from QEMU")
            commands = session_commands(program, elf, port, thread_view=route == "tarnwick")
            result = run_gdb_checked(session, commands, "gdb_" + route)
            gdbsession.check_continues(result.stdout)
            stops = parse_stops(result.stdout)
            checker = Checker(program, elf, label)
            hits = checker.check(stops)
            print("%s: %s" % (label, " ".join(name for name, _ in hits)))
            if route == "tarnwick":
                for check in (check_info_threads, check_thread_select, check_backtrace):
                    try:
                        check(program, stops, result.stdout, checker.symbols)
                    except AssertionError as failure:
                        raise AssertionError("%s: %s" % (label, failure))
                print("%s: info threads, the saved frames and bt of every switched-out task as expected" % label)


def registers_case(args):
    """info all-registers at reset, straight from QEMU and through tarnwick."""
    for key in ("cm3", "cm4f"):
        program = PROGRAMS[key]
        elf = os.path.join(args.fixtures, program.elf)
        outputs = {}
        with harness.Session(keep_files=args.keep_files) as session:
            for route in ("direct", "tarnwick"):
                port = start_route(session, args, program, elf, route)
                commands = gdb_prelude(elf, port) + ["info all-registers", "detach"]
                lines = run_gdb_checked(session, commands, "gdb_" + route).stdout.splitlines()
                outputs[route] = [line for line in lines if not line.startswith("[Inferior 1")]
        reset = gdbsession.ElfSymbols(elf).address("Reset_Handler")
        pc_line = [line for line in outputs["direct"] if line.startswith("pc ")]
        if pc_line != ["%-15s%-20s%s" % ("pc", "0x%x" % reset, "0x%x <Reset_Handler>" % reset)]:
            raise AssertionError("%s: QEMU did not stop at reset: %s" % (program.elf, pc_line))
        if outputs["tarnwick"] != outputs["direct"]:
            raise AssertionError("%s: registers through tarnwick differ from QEMU's own:\n%s" % (
                program.elf, "\n".join(difference(outputs["direct"], outputs["tarnwick"]))))
        print("%s: %d register lines, the same straight and through tarnwick" % (program.elf, len(outputs["direct"])))


def difference(expected, actual):
    return difflib.unified_diff(expected, actual, "qemu", "relayed", lineterm="")


SENT = re.compile(r"\[remote\] Sending packet: \$([^#]*)#")
RECEIVED = re.compile(r"\[remote\] Packet received: (.*)$")


def remote_log(stderr):
    """GDB's remote debug lines in order, as ('sent', payload), ('received', payload) and ('ack', '')."""
    events = []
    for line in stderr.splitlines():
        sent, received = SENT.search(line), RECEIVED.search(line)
        if sent:
            events.append(("sent", sent.group(1)))
        elif received:
            events.append(("received", received.group(1)))
        elif line.strip() == "[remote] Received Ack":
            events.append(("ack", ""))
    return events


def monitor(name, command):
    """A monitor command whose output lands between its marker and the next: GDB writes what the target
    sends as console output to its error stream unless the command's output is captured."""
    return ["echo @%s\\n" % name, 'python gdb.write(gdb.execute("monitor %s", to_string=True))' % command]


def control_commands(elf, port):
    return gdb_prelude(elf, port, debug_remote=True) + [
        "break blinker_toggle", "continue", "echo @threads\\n", "info threads"] + \
        gdbsession.continue_commands(RAN, [
            # A switched-out task selected, and the target resumed: QEMU is asked for its own thread.
            "thread 4", "echo @continue\\n"]) + [
        "thread 4", "echo @step\\n", "step", "echo @after-step\\n", 'printf "@pc 0x%x\\n", $pc',
        "thread 5", "echo @next\\n", "next",
        "thread 3", "echo @until\\n", "until",
        # The remote log would land in the captured monitor output.
        "echo @finish\\n", "finish", "set debug remote 0"] + monitor("state", "rtos state") + monitor("state-json", "rtos -m state") + \
        monitor("state-tree", "rtos -t state") + ["echo @kill\\n", "kill"]


def control_case(args):
    """tarnwick straight in front of QEMU (which keeps acknowledgements and includes its features), plain GDB:
    thread N with continue, step, next, until and finish, the three forms of monitor rtos state, kill."""
    program = PROGRAMS["cm3"]
    elf = os.path.join(args.fixtures, program.elf)
    with harness.Session(keep_files=args.keep_files) as session:
        proxy, listen = session.start_tarnwick_before_qemu(args.tarnwick, program.machine, elf,
                                                           tarnwick_arguments(program) + ["--loglevel", "15"])
        result = run_gdb_checked(session, control_commands(elf, listen), "gdb_control")
        gdbsession.check_continues(result.stdout)
        sections = gdbsession.marked_sections(result.stdout)
        events = remote_log(result.stderr)
        sent = [payload for kind, payload in events if kind == "sent"]
        if "QStartNoAckMode" in sent or ("ack", "") not in events:
            raise AssertionError("QEMU left acknowledgement mode, or GDB saw no acknowledgement")
        refused = [line for line in result.stderr.splitlines()
                   if "Ignoring packet error" in line or "instead of Ack" in line or "Packet received: E" in line]
        if refused:
            raise AssertionError("GDB's remote log shows errors:\n%s" % harness.indent("\n".join(refused)))
        steps = [payload for payload in sent if payload.startswith("vCont;s")]
        if not steps:
            raise AssertionError("GDB stepped without vCont: %s" % sent)
        names = [task.name for task in program.tasks]
        threads = sections.get("threads", "")
        if any("(%s" % name not in threads for name in names):
            raise AssertionError("info threads does not list every task:\n%s" % threads)
        if "hit Breakpoint 1, blinker_toggle ()" not in sections.get("continue", ""):
            raise AssertionError("thread 4, continue: no stop at the breakpoint:\n%s" % sections.get("continue"))
        for name in ("step", "next", "until"):
            if "received signal SIGTRAP" not in sections.get(name, "") and "blinker_toggle" not in sections.get(name, ""):
                raise AssertionError("%s with a switched-out task selected: no stop:\n%s" % (name, sections.get(name)))
        if " in task_blinker (" not in sections.get("finish", ""):
            raise AssertionError("finish did not return to task_blinker:\n%s" % sections.get("finish"))
        state = sections.get("state", "")
        tree = sections.get("state-tree", "")
        try:
            shown = json.dumps(json.loads(sections.get("state-json", "")))
        except ValueError as error:
            raise AssertionError("monitor rtos -m state is no JSON (%s):\n%r" % (error, sections.get("state-json")[:80]))
        if any(name not in state or name not in tree or '"%s"' % name not in shown for name in names):
            raise AssertionError("monitor rtos state misses a task:\n%s\n%s\n%s" % (state, tree, shown))
        try:
            proxy.popen.wait(timeout=5)
        except subprocess.TimeoutExpired:
            raise AssertionError("tarnwick did not end after kill:\n" + proxy.describe())
        failures = [line for line in proxy.stdout().splitlines()
                    if "failure" in line.lower() or "Failed" in line or "Dropped" in line]
        if failures:
            raise AssertionError("tarnwick logged failures:\n%s" % harness.indent("\n".join(failures)))
        print("tarnwick straight to QEMU: %d tasks, thread N with continue, step, next, until and finish, "
              "three monitor forms, kill; acknowledgements throughout" % len(names))


HIT = 5


def snapshot(session, elf, machine, name):
    """Registers and RAM (.data and .bss) at the HIT-th hit of worker_step."""
    _, port = session.start_qemu(machine, elf, name="qemu_" + name)
    dump = session.path(name + ".ram")
    commands = gdb_prelude(elf, port) + [
        "break worker_step"] + gdbsession.continue_commands(RAN) * HIT + [
        "info registers", "dump binary memory %s &_sdata &_ebss" % dump, "detach"]
    result = run_gdb_checked(session, commands, "gdb_" + name)
    gdbsession.check_continues(result.stdout)
    with open(dump, "rb") as image:
        return [line for line in result.stdout.splitlines() if re.match(r"^\w+ +0x", line)], image.read()


def determinism_case(args):
    with harness.Session(keep_files=args.keep_files) as session:
        for key in ("cm3", "cm4f"):
            program = PROGRAMS[key]
            elf = os.path.join(args.fixtures, program.elf.replace(".elf", "_det.elf"))
            first = snapshot(session, elf, program.machine, key + "_first")
            second = snapshot(session, elf, program.machine, key + "_second")
            if first != second or not first[1]:
                raise AssertionError("%s: the two runs differ at the fifth hit of worker_step" % elf)
            print("%s: registers and %d bytes of RAM equal in two runs" % (os.path.basename(elf), len(first[1])))


CASES = {"cm3": lambda args: program_case(args, "cm3"), "cm4f": lambda args: program_case(args, "cm4f"),
         "registers": registers_case, "control": control_case, "determinism": determinism_case}

if __name__ == "__main__":
    gdbsession.run(__doc__, lambda args: CASES[args.case](args), session=False,
                   options=[(["--case"], {"required": True, "choices": sorted(CASES)})])
