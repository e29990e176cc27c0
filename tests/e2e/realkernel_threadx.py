"""End-to-end on the real ThreadX kernel: our ThreadX programs (tests/fixtures/realkernel/threadx) under QEMU,
debugged with gdb-multiarch through tarnwick.

One case per program (--case). GDB breaks in checkpoint_reached, which the thread "checker" calls while the
others are suspended on every kind of object, asleep, suspended, or preempted by the tick in their spin loops.
At that stop a Python script inside GDB reads the kernel's own variables (_tx_thread_created_ptr, the created
lists of every object kind, the control blocks and each thread's stack) and that is the ground truth:
  - info threads lists every thread of the kernel by its control block and name, "checker" current;
  - every switched-out thread: info registers equal to the frame the port saved at tx_thread_stack_ptr, sp
    past it, pc in the kernel function that suspended the thread or in the spin loop the tick interrupted;
    bt passes the kernel call and reaches the thread's entry function; the frame of "fpu spinner" holds its
    s16-s31, while GDB shows the core's (those of "checker") for every thread;
  - monitor rtos -m state equals the state built from the ground truth, and monitor rtos state and
    monitor rtos -t state are that same state in their forms;
  - continue stops at the checkpoint again with the same threads; kill ends the session.
tarnwick is started with --rtos threadx and finds a Cortex-M port from the core's CPUID register; the
Cortex-M55 and Cortex-A7 ports are named with --rtos_variant.
When the real kernels were not unpacked, the case prints why and exits with status 77 (skipped).
"""

import dataclasses
import difflib
import json
import os
import re
import struct
import subprocess

import gdbsession
import harness

GDB_TIMEOUT = 40.0


@dataclasses.dataclass(eq=False)
class Program:
    elf: str
    machine: str
    variant: str
    fpu: bool = False
    # The Cortex-M0 port stores r8-r11 below r4-r7, since Thumb-1 can only store the low registers.
    low_first: bool = False
    a_profile: bool = False
    # tarnwick finds most Cortex-M ports by the core's CPUID register; the others are named with
    # --rtos_variant.
    named: bool = False
    qemu_options: tuple = ()

    def __post_init__(self):
        self.named = self.named or self.a_profile
        self.qemu_options = list(self.qemu_options)


PROGRAMS = {
    "cm0": Program("realkernel_threadx_cm0.elf", "microbit", "cortex_m0", low_first=True),
    "cm3": Program("realkernel_threadx_cm3.elf", "mps2-an385", "cortex_m3"),
    "cm4": Program("realkernel_threadx_cm4.elf", "mps2-an386", "cortex_m4", fpu=True),
    # The same program built with -O2, as users ship it.
    "cm4_o2": Program("realkernel_threadx_cm4_o2.elf", "mps2-an386", "cortex_m4", fpu=True),
    "cm7": Program("realkernel_threadx_cm7.elf", "mps2-an500", "cortex_m7", fpu=True),
    "cm33": Program("realkernel_threadx_cm33.elf", "mps2-an505", "cortex_m33"),
    "cm55": Program("realkernel_threadx_cm55.elf", "mps3-an547", "cortex_m55", fpu=True, named=True),
    # Without -nic none the virt machine wants a network card's boot ROM that the QEMU package may lack.
    "ca7": Program("realkernel_threadx_ca7.elf", "virt", "cortex_a7", fpu=True, a_profile=True,
                   qemu_options=["-cpu", "cortex-a7", "-nic", "none"]),
}

# Where each thread is when checker stops: a thread that a kernel call suspended has its pc in
# _tx_thread_system_suspend, where the port's inlined _tx_thread_system_return pends PendSV, and that call on its
# way to the entry function; a thread the tick preempted has its pc in its own loop.
SUSPEND = "_tx_thread_system_suspend"
SWITCHED_OUT_IN = {
    "System Timer Thread": (SUSPEND, "_tx_timer_thread_entry"),
    "sleeper": (SUSPEND, "_tx_thread_sleep"),
    "mutex waiter": (SUSPEND, "_tx_mutex_get"),
    "queue waiter": (SUSPEND, "_tx_queue_receive"),
    "semaphore waiter": (SUSPEND, "_tx_semaphore_get"),
    "event waiter": (SUSPEND, "_tx_event_flags_get"),
    "block waiter": (SUSPEND, "_tx_block_allocate"),
    "byte waiter": (SUSPEND, "_tx_byte_allocate"),
    "self suspended": (SUSPEND, "_tx_thread_suspend"),
    "spinner": ("spinner_entry", "spinner_entry"),
    "fpu spinner": ("fpu_spinner_entry", "fpu_spinner_entry"),
}
# The Cortex-A7 port's _tx_thread_system_return is a function of its own, which a suspending kernel call enters
# with interrupts enabled: a tick taken before its CPSID switches the thread out right there, in an interrupt
# frame whose pc lies between the function's start and that CPSID. Whether a tick falls there depends on the
# host's load.
SYSTEM_RETURN = "_tx_thread_system_return"
INTERRUPT_FRAME = 1
RUNNING = "checker"
# s16-s31 of "fpu spinner" in its saved frame, and of "checker" in the core.
FPU_PATTERN = [float(value) for value in range(16, 32)]
CHECKER_PATTERN = [-value for value in FPU_PATTERN]

# Read inside GDB at the stop: the kernel's own variables, as JSON after the line "@truth".
TRUTH_SCRIPT = r'''
import gdb, json

def value(expression):
    return gdb.parse_and_eval(expression)

def word(v):
    return int(v) & 0xffffffff

def text(pointer):
    return pointer.string() if word(pointer) else ""

def symbol(address):
    found = gdb.execute("info symbol 0x%x" % address, to_string=True)
    return found.split()[0] if " in section " in found else ""

def created(kind, next_member):
    items, item = [], value("_tx_%s_created_ptr" % kind)
    for _ in range(int(value("_tx_%s_created_count" % kind))):
        items.append(item.dereference())
        item = item.dereference()[next_member]
    return items

def suspended(head):
    names, item = [], head
    while word(item):
        names.append(text(item.dereference()["tx_thread_name"]))
        item = item.dereference()["tx_thread_suspended_next"]
        if word(item) == word(head):
            break
    return names

memory = gdb.selected_inferior()
threads = []
for thread in created("thread", "tx_thread_created_next"):
    start, size = word(thread["tx_thread_stack_start"]), int(thread["tx_thread_stack_size"])
    stack = bytes(memory.read_memory(start, size))
    sp = word(thread["tx_thread_stack_ptr"])
    frame = bytes(memory.read_memory(sp, min(336, start + size - sp)))
    try:
        vfp = int(thread["tx_thread_vfp_enable"])
    except gdb.error:
        vfp = 0
    threads.append({"id": word(thread.address), "name": text(thread["tx_thread_name"]),
                    "priority": int(thread["tx_thread_priority"]), "state": int(thread["tx_thread_state"]),
                    "run_count": int(thread["tx_thread_run_count"]), "stack_start": start,
                    "stack_end": word(thread["tx_thread_stack_end"]), "stack_size": size, "stack_ptr": sp,
                    "free": len(stack) - len(stack.lstrip(b"\xef")),
                    "entry": symbol(word(thread["tx_thread_entry"])), "vfp": vfp,
                    "frame": [int.from_bytes(frame[i:i + 4], "little") for i in range(0, len(frame) - 3, 4)]})
truth = {"current": word(value("_tx_thread_current_ptr")), "threads": threads}
truth["semaphores"] = [{"name": text(s["tx_semaphore_name"]), "count": int(s["tx_semaphore_count"]),
                        "suspended": suspended(s["tx_semaphore_suspension_list"])}
                       for s in created("semaphore", "tx_semaphore_created_next")]
def owner(mutex):
    return text(mutex["tx_mutex_owner"].dereference()["tx_thread_name"]) if word(mutex["tx_mutex_owner"]) else ""

truth["mutexes"] = [{"name": text(m["tx_mutex_name"]), "owner": owner(m), "count": int(m["tx_mutex_ownership_count"]),
                     "suspended": suspended(m["tx_mutex_suspension_list"])}
                    for m in created("mutex", "tx_mutex_created_next")]
# The ticks left as the kernel's tx_timer_info_get gave them just before the stop, in the order of creation.
ticks_left = value("checkpoint_ticks_left")
truth["timers"] = [{"name": text(t["tx_timer_name"]),
                    "remaining": int(ticks_left[index]),
                    "reinit": int(t["tx_timer_internal"]["tx_timer_internal_re_initialize_ticks"]),
                    "function": word(t["tx_timer_internal"]["tx_timer_internal_timeout_function"])}
                   for index, t in enumerate(created("timer", "tx_timer_created_next"))]
truth["queues"] = [{"name": text(q["tx_queue_name"]), "message_size": int(q["tx_queue_message_size"]),
                    "capacity": int(q["tx_queue_capacity"]), "used": int(q["tx_queue_enqueued"]),
                    "suspended": suspended(q["tx_queue_suspension_list"])}
                   for q in created("queue", "tx_queue_created_next")]
truth["event_flags"] = [{"name": text(e["tx_event_flags_group_name"]), "flags": word(e["tx_event_flags_group_current"]),
                         "suspended": suspended(e["tx_event_flags_group_suspension_list"])}
                        for e in created("event_flags", "tx_event_flags_group_created_next")]
truth["block_pools"] = [{"name": text(b["tx_block_pool_name"]), "start": word(b["tx_block_pool_start"]),
                         "available": int(b["tx_block_pool_available"]), "total": int(b["tx_block_pool_total"]),
                         "size": int(b["tx_block_pool_size"]), "block_size": int(b["tx_block_pool_block_size"]),
                         "suspended": suspended(b["tx_block_pool_suspension_list"])}
                        for b in created("block_pool", "tx_block_pool_created_next")]
truth["byte_pools"] = [{"name": text(b["tx_byte_pool_name"]), "start": word(b["tx_byte_pool_start"]),
                        "available": int(b["tx_byte_pool_available"]), "size": int(b["tx_byte_pool_size"]),
                        "fragments": int(b["tx_byte_pool_fragments"]),
                        "suspended": suspended(b["tx_byte_pool_suspension_list"])}
                       for b in created("byte_pool", "tx_byte_pool_created_next")]
print("@truth " + json.dumps(truth))
'''

# Each thread as GDB shows it: thread N, info registers, bt, and s16-s31 where the core has them (None where
# a switched-out thread's frame holds none). The thread of the stop is selected again afterwards, for the
# continue that follows.
VIEW_SCRIPT = r'''
import gdb, json

stopped = gdb.selected_thread()
views = []
for thread in sorted(gdb.selected_inferior().threads(), key=lambda t: t.num):
    gdb.execute("thread %d" % thread.num, to_string=True)
    view = {"number": thread.num, "id": thread.ptid[1] or thread.ptid[2],
            "registers": gdb.execute("info registers", to_string=True), "bt": gdb.execute("bt", to_string=True)}
    if FPU:
        frame = gdb.selected_frame()
        def single(n):
            try:
                return float(frame.read_register("s%d" % n))
            except gdb.error:
                return None
        view["s16_s31"] = [single(n) for n in range(16, 32)]
    views.append(view)
stopped.switch()
print("@views " + json.dumps(views))
'''

# The switched-out thread whose registers the session writes, and where its saved context lies.
WRITE_SETUP = r'''
saved = next(t for t in truth["threads"] if t["name"] == "sleeper")
running_id, task_id = truth["current"], saved["id"]
frame_start, frame_words = saved["stack_ptr"], len(saved["frame"])
'''

# GDB's output around the stops, and the words of each saved frame, that a failure prints.
STOP_SECTIONS = ("first stop", "threads", "continue", "threads again")
FRAME_WORDS_SHOWN = 20
MONITOR_FORMATS = [("monitor rtos state", "state.txt"), ("monitor rtos -t state", "state_tree.txt"),
                   ("monitor rtos -m state", "state.json")]
THREAD_STATES = ["READY", "COMPLETED", "TERMINATED", "SUSPENDED", "SLEEP", "SUSPENDED (QUEUE)",
                 "SUSPENDED (SEMAPHORE)", "SUSPENDED (EVENT FLAG)", "SUSPENDED (BLOCK MEMORY)",
                 "SUSPENDED (BYTE MEMORY)", "SUSPENDED (IO DRIVER)", "SUSPENDED (TX FILE)", "SUSPENDED (TCP/IP)",
                 "SUSPENDED (MUTEX)"]


def differences(expected, actual):
    return "\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm=""))


def connect(session, args, program):
    """QEMU halted at reset, tarnwick in front of its gdbstub; returns tarnwick's process and the port GDB
    connects to. The one place that says how tarnwick reaches QEMU."""
    elf = os.path.join(args.fixtures, program.elf)
    options = ["--rtos", "threadx", "--loglevel", "15"]
    if program.named:
        options += ["--rtos_variant", program.variant]
    return session.start_tarnwick_before_qemu(args.tarnwick, program.machine, elf, options,
                                              qemu_options=program.qemu_options)


def monitor_path(session, suffix):
    return session.path("monitor_" + suffix)


def session_commands(session, program, elf, port):
    commands = gdbsession.connect_commands(elf, port) + [
        "break checkpoint_reached", "break fault_handler",
        "echo @first stop\\n", "continue", "echo @threads\\n", "info threads"]
    commands += gdbsession.python_block(TRUTH_SCRIPT)
    commands += gdbsession.python_block(VIEW_SCRIPT.replace("FPU", str(program.fpu)))
    # GDB prints a monitor command's output on standard error; a log file per command keeps each apart.
    commands += ["set logging overwrite on", "set logging redirect on"]
    for command, suffix in MONITOR_FORMATS:
        commands += ["set logging file " + monitor_path(session, suffix), "set logging enabled on", command,
                     "set logging enabled off"]
    if not program.a_profile:
        commands += gdbsession.register_write_commands(WRITE_SETUP)
    commands += ["echo @continue\\n"] + gdbsession.continue_commands("checkpoint_count")
    commands += ["echo @threads again\\n", "info threads"]
    # A hardware watchpoint on a variable the checker writes: GDB names it and shows old and new value.
    commands += gdbsession.watch_commands("checkpoint_count", "@watch") + ["echo @kill\\n", "kill"]
    return commands


def marked(output):
    """The output after each line "@label" (up to the next), and the JSON of the lines "@truth {...}"."""
    sections, label, lines = {}, None, []
    for line in output.splitlines():
        found = re.match(r"^@(truth|views|write) (.*)$", line)
        if found:
            sections[found.group(1)] = json.loads(found.group(2))
        elif line.startswith("@"):
            if label is not None:
                sections[label] = lines
            label, lines = line[1:], []
        else:
            lines.append(line)
    if label is not None:
        sections[label] = lines
    return sections


def info_threads(lines):
    """Thread id to (current, label) from the rows of info threads."""
    return {tid: (current, label) for tid, (_, label, current) in gdbsession.parse_info_threads(lines).items()}


def check_thread_list(truth, lines, what):
    expected = {thread["id"]: (thread["id"] == truth["current"],
                               thread["name"] + (" RUNNING" if thread["id"] == truth["current"] else ""))
                for thread in truth["threads"]}
    actual = info_threads(lines)
    if actual != expected:
        raise AssertionError("%s: info threads differs from the kernel's threads:\n%s\noutput:\n%s" % (
            what, differences(sorted("0x%x %r" % row for row in expected.items()),
                              sorted("0x%x %r" % row for row in actual.items())),
            harness.indent("\n".join(lines))))
    running = [thread["name"] for thread in truth["threads"] if thread["id"] == truth["current"]]
    if running != [RUNNING]:
        raise AssertionError("%s: _tx_thread_current_ptr is %s, not %s" % (what, running, RUNNING))


def saved_registers(program, thread):
    """The registers the port's context switch left at the thread's stack pointer, and s16-s31 as it saved
    them (None when it saved no floating-point registers)."""
    if program.a_profile:
        return cortex_a_registers(thread)
    return cortex_m_registers(program, thread)


def cortex_m_registers(program, thread):
    """As the Cortex-M ports' tx_thread_schedule.S stores them: EXC_RETURN, s16-s31 when bit 4 of EXC_RETURN is
    clear, r4-r11 (the Cortex-M0: r8-r11, r4-r7), then the frame the core stacked (with s0-s15 and FPSCR when
    extended); sp is past all that, and one word more when xPSR bit 9 says the core aligned the stack."""
    frame, sp = thread["frame"], thread["stack_ptr"]
    extended = program.fpu and not frame[0] & 0x10
    at = 17 if extended else 1
    high = frame[at:at + 8]
    r4_r11 = high[4:] + high[:4] if program.low_first else high
    hardware = frame[at + 8:at + 16]
    registers = dict(("r%d" % (4 + n), r4_r11[n]) for n in range(8))
    registers.update(dict(("r%d" % n, hardware[n]) for n in range(4)))
    registers.update({"r12": hardware[4], "lr": hardware[5], "pc": hardware[6], "xpsr": hardware[7]})
    end = sp + 4 * (at + 8 + 8 + (18 if extended else 0))
    registers["sp"] = end + (4 if hardware[7] & 0x200 else 0)
    return registers, frame[1:17] if extended else None


def cortex_a_registers(thread):
    """As the Cortex-A7 port stores them: the frame type, CPSR, then for a preempted thread (type 1,
    tx_thread_context_restore.S) d0-d31 and FPSCR if the thread enabled the VFP, r0-r12, lr, pc; for a thread
    that made a kernel call (type 0, tx_thread_system_return.S) d8-d31 and FPSCR if enabled, r4-r11 and lr,
    where it resumes. r0-r3 and r12, which a kernel call does not keep, are unavailable (None)."""
    frame, sp = thread["frame"], thread["stack_ptr"]
    vfp = thread["vfp"] == 1
    if frame[0] == INTERRUPT_FRAME:
        at = 2 + (65 if vfp else 0)
        registers = dict(("r%d" % n, frame[at + n]) for n in range(13))
        registers.update({"lr": frame[at + 13], "pc": frame[at + 14]})
        end, saved = at + 15, frame[18:34] if vfp else None
    else:
        at = 2 + (49 if vfp else 0)
        registers = dict(("r%d" % n, None) for n in (0, 1, 2, 3, 12))
        registers.update(dict(("r%d" % (4 + n), frame[at + n]) for n in range(8)))
        registers.update({"lr": frame[at + 8], "pc": frame[at + 8]})
        end, saved = at + 9, frame[2:18] if vfp else None
    registers.update({"cpsr": frame[1], "sp": sp + 4 * end})
    return registers, saved


def function_of(symbols, address):
    best = None
    for name, (start, size) in symbols.items():
        if start <= address < start + max(size, 2) and (best is None or symbols[best][0] < start):
            best = name
    return best


def read_function_symbols(elf):
    """Function name to (start, size), Thumb bit cleared, from the program's symbol table."""
    listing = subprocess.run(["arm-none-eabi-readelf", "-sW", elf], capture_output=True, text=True,
                             check=True).stdout
    symbols = {}
    for line in listing.splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[3] == "FUNC":
            symbols[fields[7]] = (int(fields[1], 16) & ~1, int(fields[2], 0))
    return symbols


def interrupts_locked_at(elf, symbols):
    """The address of the first CPSID in _tx_thread_system_return, from the program's disassembly."""
    start = symbols[SYSTEM_RETURN][0]
    # An assembly function has no size in the symbol table: it ends where the next function starts.
    end = min(first for first, _ in symbols.values() if first > start)
    listing = subprocess.run(["arm-none-eabi-objdump", "-d", "--start-address=0x%x" % start,
                              "--stop-address=0x%x" % end, elf],
                             capture_output=True, text=True, check=True).stdout
    for line in listing.splitlines():
        found = re.match(r"^\s*([0-9a-f]+):\s.*\scpsid\s", line)
        if found:
            return int(found.group(1), 16)
    raise AssertionError("%s of %s has no CPSID" % (SYSTEM_RETURN, elf))


def switched_out_places(program, thread, pc_in, symbols, locked_at):
    """The ranges of pcs (name, first, last) a switched-out thread's saved pc may lie in: anywhere in pc_in; on
    the Cortex-A7, for a thread that a kernel call was suspending and an interrupt frame, also from the start of
    _tx_thread_system_return to its CPSID (local labels of the port lie between)."""
    start, size = symbols[pc_in]
    places = [(pc_in, start, start + max(size, 2) - 1)]
    if program.a_profile and pc_in == SUSPEND and thread["frame"][0] == INTERRUPT_FRAME:
        places.append((SYSTEM_RETURN, symbols[SYSTEM_RETURN][0], locked_at))
    return places


def check_views(program, truth, views, symbols, locked_at):
    by_id = {view["id"]: view for view in views}
    for thread in truth["threads"]:
        name = thread["name"]
        view = by_id.get(thread["id"])
        if view is None:
            raise AssertionError("GDB has no thread for %s (0x%x)" % (name, thread["id"]))
        trace = [found.group(2) for found in map(gdbsession.FRAME_LINE.match, view["bt"].splitlines()) if found]
        if thread["entry"] not in trace:
            raise AssertionError("bt of %s does not reach its entry function %s:\n%s" % (
                name, thread["entry"], harness.indent(view["bt"])))
        if thread["id"] == truth["current"]:
            if program.fpu and view["s16_s31"] != CHECKER_PATTERN:
                raise AssertionError("s16-s31 of the running %s are %s, expected %s" % (
                    name, view["s16_s31"], CHECKER_PATTERN))
            continue
        pc_in, call = SWITCHED_OUT_IN.get(name, (None, None))
        if call not in trace[:trace.index(thread["entry"]) + 1]:
            raise AssertionError("bt of %s does not pass %s before its entry function:\n%s" % (
                name, call, harness.indent(view["bt"])))
        shown = {}
        for line in view["registers"].splitlines():
            found = gdbsession.REGISTER_LINE.match(line)
            if found:
                shown[found.group(1)] = int(found.group(2), 16)
        expected, saved_s16_s31 = saved_registers(program, thread)
        actual = {register: shown.get(register) for register in expected}
        if actual != expected:
            raise AssertionError("info registers of %s differs from the frame at 0x%x:\n%s" % (
                name, thread["stack_ptr"], differences(sorted("%s %r" % row for row in expected.items()),
                                                       sorted("%s %r" % row for row in actual.items()))))
        where = function_of(symbols, expected["pc"])
        places = switched_out_places(program, thread, pc_in, symbols, locked_at)
        if not any(first <= expected["pc"] <= last for _, first, last in places):
            raise AssertionError("%s was switched out in %s (pc 0x%x, frame type %d), expected %s" % (
                name, where, expected["pc"], thread["frame"][0],
                " or ".join("%s 0x%x-0x%x" % place for place in places)))
        if name == "fpu spinner":
            saved = saved_s16_s31 and list(struct.unpack("<16f", struct.pack("<16I", *saved_s16_s31)))
            if saved != FPU_PATTERN:
                raise AssertionError("fpu spinner's frame does not hold s16-s31 = %s: frame starts 0x%x, saved %s"
                                     % (FPU_PATTERN, thread["frame"][0], saved))
            # The switched-out thread's own words, never the running checker's (on the Cortex-A7 GDB makes
            # them of d8-d15).
            if view["s16_s31"] != FPU_PATTERN:
                raise AssertionError("s16-s31 shown for fpu spinner are %s, expected %s" % (
                    view["s16_s31"], FPU_PATTERN))
    names = sorted(thread["name"] for thread in truth["threads"])
    expected_names = sorted(n for n in list(SWITCHED_OUT_IN) + [RUNNING] if program.fpu or n != "fpu spinner")
    if names != expected_names:
        raise AssertionError("the kernel's threads are %s, expected %s" % (names, expected_names))


def hex8(value):
    return "0x%08x" % value


def stack_usage(thread):
    size, free = thread["stack_size"], thread["free"]
    if free == 0:
        return "Overflow!"
    # The share as tarnwick computes it, used / size first and then times 100: 276 of 960 bytes is 28.7%, not the
    # 28.8% of 27600 / 960. How deep interrupts reached into a thread's stack varies from run to run, and with it
    # whether the share falls on such a half.
    return "%dB/%dB (%.1f%%)" % (size - free, size, (size - free) / size * 100)


def node(label, value):
    return {"label": label, "value": value}


def record(label, fields):
    return node(label, [node(name, value) for name, value in fields])


def expected_state(truth):
    """The state of monitor rtos -m state, built from the kernel's own variables."""
    threads = truth["threads"]
    state = [node("Driver", "ThreadX"), node("Kernel state", "Started"),
             node("Stack usage", [node(t["name"], stack_usage(t)) for t in threads])]
    state.append(node("Thread List", [record("Thread", [
        ("Thread Id", hex8(t["id"])), ("Active", "1" if t["id"] == truth["current"] else "0"), ("Name", t["name"]),
        ("Stack Ptr", hex8(t["stack_ptr"])), ("Priority", str(t["priority"])), ("State", THREAD_STATES[t["state"]]),
        ("Run count", str(t["run_count"])), ("Stack start", hex8(t["stack_start"])),
        ("Stack end", hex8(t["stack_end"])), ("Stack usage", stack_usage(t))]) for t in threads]))

    def names(items):
        return ", ".join(items)

    sections = [
        ("Semaphores", "Semaphore", "semaphores",
         lambda s: [("Name", s["name"]), ("Count", str(s["count"])), ("Suspended", names(s["suspended"]))]),
        ("Mutexes", "Mutex", "mutexes",
         lambda m: [("Name", m["name"]), ("Owner", m["owner"]), ("Owner count", str(m["count"])),
                    ("Suspended", names(m["suspended"]))]),
        ("Timers", "Timer", "timers",
         lambda t: [("Name", t["name"]), ("Remaining", str(t["remaining"])), ("Re init", str(t["reinit"])),
                    ("Function", hex(t["function"]))]),
        ("Message Queues", "Queue", "queues",
         lambda q: [("Name", q["name"]), ("Message size", str(q["message_size"])), ("Capacity", str(q["capacity"])),
                    ("Used", str(q["used"])), ("Suspended", names(q["suspended"]))]),
        ("Event Flags", "EventFlag", "event_flags",
         lambda e: [("Name", e["name"]), ("Flags", hex8(e["flags"])), ("Suspended", names(e["suspended"]))]),
        ("Memory Block Pools", "Memory block pool", "block_pools",
         lambda b: [("Name", b["name"]), ("Address", hex8(b["start"])), ("Available", str(b["available"])),
                    ("Total", str(b["total"])), ("Pool size", str(b["size"])), ("Block size", str(b["block_size"])),
                    ("Suspended", names(b["suspended"]))]),
        ("Memory Byte Pools", "Memory byte pool", "byte_pools",
         lambda b: [("Name", b["name"]), ("Address", hex8(b["start"])), ("Available", str(b["available"])),
                    ("Size", str(b["size"])), ("Fragments", str(b["fragments"])),
                    ("Suspended", names(b["suspended"]))]),
    ]
    for title, label, key, fields in sections:
        state.append(node(title, [record(label, fields(item)) for item in truth[key]]))
    return node("", state)


def render_json(state):
    return json.dumps(state, separators=(",", ":")) + "\n"


def render_tree(state):
    def lines(item, depth):
        if isinstance(item["value"], str):
            return " " * depth + item["label"] + ":" + item["value"] + "\n"
        return " " * depth + item["label"] + ":\n" + "".join(lines(child, depth + 1) for child in item["value"])
    return lines(state, 0) + "\n"


def render_table(state):
    """The plain form: a value per line, then every list as a table of its records' fields, each column as
    wide as its widest cell and five spaces."""
    out = []
    for section in state["value"]:
        if isinstance(section["value"], str):
            out += ["%s : %s" % (section["label"], section["value"]), ""]
            continue
        out.append(section["label"])
        records = [item["value"] for item in section["value"] if isinstance(item["value"], list)]
        if records:
            headers = [field["label"] for field in records[0]]
            rows = [[field["value"] for field in fields] for fields in records]
            widths = [max(len(cell) for cell in column) + 5 for column in zip(headers, *rows)]
            for cells in [headers] + rows:
                out.append("".join(cell.ljust(width) for cell, width in zip(cells, widths)))
        out.append("")
    return "\n".join(out) + "\n\n"


def check_monitor(session, state):
    for (command, suffix), render in zip(MONITOR_FORMATS, (render_table, render_tree, render_json)):
        with open(monitor_path(session, suffix)) as output:
            actual = output.read()
        expected = render(state)
        if actual != expected:
            raise AssertionError("%s differs from the kernel's state:\n%s" % (
                command, differences(expected.splitlines(), actual.splitlines())))


def expect_log(proxy, lines):
    log = proxy.stdout()
    for line in lines:
        if line not in log:
            raise AssertionError("tarnwick's log lacks %r:\n%s" % (line, proxy.describe()))


def r5_of_frame(program, words):
    """r5 in the frame the port saved: EXC_RETURN, s16-s31 when it is extended, then r4-r11 (the Cortex-M0
    storing r8-r11 first)."""
    return words[(17 if program.fpu and not words[0] & 0x10 else 1) + (5 if program.low_first else 1)]


def run_case(args, session):
    if args.skip_reason:
        raise gdbsession.Skip(args.skip_reason)
    program = PROGRAMS[args.case]
    elf = os.path.join(args.fixtures, program.elf)
    proxy, port = connect(session, args, program)
    result = session.run_gdb(session_commands(session, program, elf, port), timeout=GDB_TIMEOUT)
    session.write_file("gdb.out", result.stdout)
    session.write_file("gdb.err", result.stderr)
    if result.returncode != 0 or "Error" in result.stderr or "Traceback" in result.stderr:
        raise AssertionError("GDB failed (status %d):\nstdout:\n%s\nstderr:\n%s\n%s" % (
            result.returncode, harness.indent(result.stdout), harness.indent(result.stderr), proxy.describe()))
    gdbsession.check_continues(result.stdout)
    parts = marked(result.stdout)
    for label in ("first stop", "threads", "truth", "views", "continue", "threads again", "watch", "kill"):
        if label not in parts:
            raise AssertionError("no output for %r:\n%s" % (label, harness.indent(result.stdout)))
        if label in ("first stop", "continue") and not any(
                "Breakpoint 1, checkpoint_reached ()" in line for line in parts[label]):
            raise AssertionError("%s: no stop at the checkpoint:\n%s"
                                 % (label, harness.indent("\n".join(parts[label]))))
    truth = parts["truth"]
    session.write_file("truth.json", json.dumps(truth, indent=1))
    with gdbsession.diagnosed(lambda: stops_text(parts)):
        check_stops(session, program, elf, proxy, parts)
    print("%s: every thread and object as the kernel holds them" % program.elf)


def stops_text(parts):
    """What a failure needs to be understood: GDB's output at both stops and each thread's saved frame as the
    kernel held it at the first."""
    stops = gdbsession.sections_text({label: "\n".join(parts.get(label, [])) for label in STOP_SECTIONS},
                                     STOP_SECTIONS)
    frames = ["%s: %s, stack_ptr 0x%x, %d of %d stack bytes used, run count %d, frame %s" % (
        thread["name"], THREAD_STATES[thread["state"]], thread["stack_ptr"], thread["stack_size"] - thread["free"],
        thread["stack_size"], thread["run_count"],
        " ".join("%08x" % word for word in thread["frame"][:FRAME_WORDS_SHOWN]))
        for thread in parts["truth"]["threads"]]
    return stops + "\nthe kernel's threads at the first stop:\n" + harness.indent("\n".join(frames))


def check_stops(session, program, elf, proxy, parts):
    truth = parts["truth"]
    check_thread_list(truth, parts["threads"], "at the checkpoint")
    symbols = read_function_symbols(elf)
    check_views(program, truth, parts["views"], symbols,
                interrupts_locked_at(elf, symbols) if program.a_profile else None)
    check_monitor(session, expected_state(truth))
    check_thread_list(truth, parts["threads again"], "after continue")
    if not program.a_profile:
        gdbsession.check_register_write(parts["write"], lambda words: r5_of_frame(program, words), "sleeper")
    gdbsession.check_watch(parts["watch"], "checkpoint_count")
    if parts["kill"] != ["[Inferior 1 (Remote target) killed]"]:
        raise AssertionError("kill printed %r" % parts["kill"])
    expect_log(proxy, ["ThreadX, port driver created: %s\n" % program.variant])


if __name__ == "__main__":
    gdbsession.run(__doc__, run_case,
                   options=[(["--case"], {"required": True, "choices": sorted(PROGRAMS)}),
                            (["--skip-reason"], {"default": "", "help": "why the real kernels are not there; "
                                                                          "the case then skips with this line"})])
