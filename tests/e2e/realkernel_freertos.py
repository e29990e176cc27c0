#!/usr/bin/env python3
"""The real FreeRTOS programs (tests/fixtures/realkernel/freertos) under QEMU, with gdb-multiarch through
tarnwick.

Each program stops in checkpoint_reached(), where every other task is switched out: blocked on a queue, a
binary and a counting semaphore, a mutex, a recursive mutex, an event group, delayed, suspended, or preempted
by the tick. What the checks expect comes from the kernel: the task control blocks, the queue registry and
the timers read with GDB expressions, the states the kernel itself reported (eTaskGetState, stored by the
program in app_tasks) and the saved frames read from the tasks' stacks, decoded as each port's own
context-switch code stacks them.

    realkernel_freertos.py --program cm3 --tarnwick ./tarnwick --fixtures tests/fixtures
        [--kernel-source build/kernels/FreeRTOS-Kernel-V11.1.0] [--server-host localhost]
        [--unavailable REASON] [--keep-files]

With --unavailable (the real kernels could not be unpacked) the suite prints the reason and exits with
SKIPPED, which ctest reports as a skipped test.
"""

import collections
import json
import os
import re
import struct
import subprocess

import gdbsession
import harness

# Starts the lines that divide GDB's output into the sections of the session; "@" starts the kernel's values.
SECTION = "%%"
# The sections of GDB's output that reached each stop, and those of the kernel's values there ("stop ..."), in
# the session's order.
STOPS = ("first", "stop 1", "continue", "stop 2", "threads", "threads2")
MONITOR_FORMS = {"": "table", "-t ": "tree", "-m ": "json"}
GDB_TIMEOUT = 40.0
EXC_RETURN_NO_FP = 0x10
XPSR_ALIGNED = 0x200
# tmrSTATUS_IS_ACTIVE of timers.c.
TIMER_ACTIVE = 0x1

# frame decodes a saved frame: (registers it holds, index of the processor's eight words or None, size in
# words, whether it holds a floating-point context). fpu names the tasks whose frames must hold one.
# variant is the port tarnwick must find in the program by itself.
# registry: None where tarnwick must take the registry's size from the kernel's array, or the value of the
# program's own xQueueRegistrySize, which wins.
Program = collections.namedtuple("Program", "machine elf variant frame fpu registry", defaults=(None,))
# The kernel's own tasks, whose entry functions are the kernel's (static in tasks.c and timers.c).
KERNEL_ENTRIES = {"IDLE": "prvIdleTask", "Tmr Svc": "prvTimerTask"}
# eTaskState, in the kernel's order.
TASK_STATES = ["eRunning", "eReady", "eBlocked", "eSuspended", "eDeleted", "eInvalid"]
TICK_PREEMPTED = ("Spinner1", "Spinner2")
ALL_TASKS = "all"
REGISTRY_SIZE = "sizeof(xQueueRegistry)/sizeof(xQueueRegistry[0])"
# The slots of the queue registry that the session reads (configQUEUE_REGISTRY_SIZE of the programs).
REGISTRY_SLOTS = 8
TCB = "((struct tskTaskControlBlock *)app_tasks[%d].handle)"
QUEUE = "((struct QueueDefinition *)xQueueRegistry[%d].xHandle)"
TIMER = "((struct tmrTimerControl *)app_timers[%d])"


def frame_cm3(words):
    """ARM_CM3: r4-r11 stored by PendSV, then the processor's frame."""
    return dict(zip(names("r4", "r11"), words[0:8])), 8, 16, False


def frame_cm4f(words):
    """ARM_CM4F: r4-r11 and EXC_RETURN, then s16-s31 when bit 4 of EXC_RETURN says the processor stacked an
    extended frame (s0-s15, FPSCR and a reserved word follow its eight words)."""
    saved = dict(zip(names("r4", "r11"), words[0:8]))
    if words[8] & EXC_RETURN_NO_FP:
        return saved, 9, 17, False
    return saved, 25, 51, True


def frame_cm0(words):
    """ARM_CM0 of V11 (the generation rewritten after the Armv8-M ports): EXC_RETURN, r4-r7, r8-r11, then the
    processor's frame."""
    return dict(zip(names("r4", "r11"), words[1:9])), 9, 17, False


def frame_cm33_ntz(words):
    """ARM_CM33_NTZ: PSPLIM, EXC_RETURN, r4-r11, s16-s31 for an extended frame, then the processor's frame."""
    saved = dict(zip(names("r4", "r11"), words[2:10]))
    if words[1] & EXC_RETURN_NO_FP:
        return saved, 10, 18, False
    return saved, 26, 52, True


def frame_mpu(words):
    """ARM_CM3_MPU and ARM_CM4_MPU of V11: no frame on the stack; the context lies in the control block and ends where
    pxTopOfStack points (words holds the CONTEXT_WORDS before it): s16-s31, s0-s15 and FPSCR for an extended
    frame, then CONTROL, r4-r11, EXC_RETURN, the task's stack pointer and a copy of the processor's frame.
    The task's sp lies past the processor's frame on its stack."""
    saved = dict(zip(names("r4", "r11"), words[34:42]))
    extended = not words[42] & EXC_RETURN_NO_FP
    saved["sp"] = words[43] + (104 if extended else 32)
    return saved, 44, 0, extended


def frame_ca9(words):
    """ARM_CA9: the task's floating-point flag; when set D16-D31, D0-D15 and FPSCR; the critical nesting
    count, r0-r12, lr, then the return address and CPSR stored by SRS."""
    base = 67 if words[0] else 2
    saved = dict(zip(names("r0", "r12") + ["lr", "pc", "cpsr"], words[base:base + 16]))
    return saved, None, base + 16, words[0] != 0


PROGRAMS = {
    "cm3": Program("mps2-an385", "realkernel_freertos_cm3.elf", "ARM_CM3", frame_cm3, ()),
    "cm4f": Program("mps2-an386", "realkernel_freertos_cm4f.elf", "ARM_CM4F", frame_cm4f, TICK_PREEMPTED),
    "cm0": Program("microbit", "realkernel_freertos_cm0.elf", "ARM_CM0", frame_cm0, ()),
    "cm33_ntz": Program("mps2-an505", "realkernel_freertos_cm33_ntz.elf", "ARM_CM33_NTZ", frame_cm33_ntz, ()),
    "cm33_ntz_fpu": Program("mps2-an505", "realkernel_freertos_cm33_ntz_fpu.elf", "ARM_CM33_NTZ", frame_cm33_ntz,
                            TICK_PREEMPTED),
    # configUSE_TASK_FPU_SUPPORT 2: every task is created with a floating-point context.
    "ca9": Program("vexpress-a9", "realkernel_freertos_ca9.elf", "ARM_CA9", frame_ca9, ALL_TASKS),
    "cm3_mpu": Program("mps2-an385", "realkernel_freertos_cm3_mpu.elf", "ARM_CM3_MPU", frame_mpu, ()),
    "cm4_mpu": Program("mps2-an386", "realkernel_freertos_cm4_mpu.elf", "ARM_CM4_MPU", frame_mpu, TICK_PREEMPTED),
}
# The same programs built as users ship them (see tests/fixtures/realkernel/freertos/CMakeLists.txt): every
# check holds for each as for the program it is built from.
VARIANTS = {"cm0": ("o2", "os"), "cm4f": ("o2", "os"), "cm33_ntz": ("o2", "os"), "cm33_ntz_fpu": ("o2", "os"),
            "cm3": ("dwarf2", "dwarf4", "mini_list_0", "tick_wrap", "registry_3")}
for base, suffixes in VARIANTS.items():
    for suffix in suffixes:
        PROGRAMS["%s_%s" % (base, suffix)] = PROGRAMS[base]._replace(
            elf="realkernel_freertos_%s_%s.elf" % (base, suffix))
PROGRAMS["cm3_registry_3"] = PROGRAMS["cm3_registry_3"]._replace(registry=3)
FRAME_WORDS = 83
# Where an extended frame keeps the floating-point registers: the words of s16-s31, of s0-s15, and of FPSCR.
FLOAT_SLOTS = {frame_cm4f: (9, 33, 49), frame_cm33_ntz: (10, 34, 50), frame_mpu: (0, 16, 32)}
# The task that blocks with s0-s15 = -1.0 to -16.0 and s16-s31 = 16.0 to 31.0 where the core has an FPU.
FLOAT_TASK = "CountingSem"
FLOAT_PATTERN = dict([("s%d" % n, -1.0 - n) for n in range(16)] + [("s%d" % n, float(n)) for n in range(16, 32)])
# On Cortex-A9 it blocks with d0-d15 = -1.0 to -16.0, d16-d31 = 16.0 to 31.0 and FPSCR flush-to-zero, default
# NaN and rounding towards zero (the other tasks keep the port's initial FPSCR, 0).
DOUBLE_PATTERN = dict([("d%d" % n, -1.0 - n) for n in range(16)] + [("d%d" % n, float(n)) for n in range(16, 32)])
FPSCR_PATTERN = 0x03c00000
# Where a Cortex-A9 task's floating-point context lies in its frame: the words of D16-D31, of D0-D15, and of
# FPSCR (the flag word first).
DOUBLE_SLOTS = (1, 33, 65)
DOUBLE_REGISTERS = ["d%d" % n for n in range(32)] + ["fpscr"]
# The switched-out task whose r5 the session writes: blocked on the binary semaphore.
WRITTEN_TASK = "BinarySem"
WRITE_SETUP = r'''
def address(expression):
    return int(gdb.parse_and_eval("(unsigned long) (%s)" % expression))

running_id = address("pxCurrentTCB")
task_id = address("app_tasks[APP_TASK_BINARY].handle")
frame_start = address("((struct tskTaskControlBlock *) app_tasks[APP_TASK_BINARY].handle)->pxTopOfStack") - 4 * CONTEXT
frame_words = WORDS
'''
# The words of a memory protection port's context that lie before pxTopOfStack.
CONTEXT_WORDS = 52


def in_control_block(program):
    """The port keeps a switched-out task's context in its control block, not on its stack."""
    return program.frame is frame_mpu


def holds_floats(program):
    """The core has an FPU and the port may save an extended frame on Cortex-M."""
    return program.frame in FLOAT_SLOTS and bool(program.fpu)


def holds_doubles(program):
    """The port saves d0-d31 and FPSCR of a task with a floating-point context (Cortex-A9)."""
    return program.frame is frame_ca9


def double_registers(program, words):
    """d0-d31, each of two words (the low one first), and FPSCR as a Cortex-A9 frame in words holds them."""
    high, low, fpscr = DOUBLE_SLOTS
    registers = {"d%d" % n: words[low + 2 * n] | words[low + 2 * n + 1] << 32 for n in range(16)}
    registers.update(("d%d" % (16 + n), words[high + 2 * n] | words[high + 2 * n + 1] << 32) for n in range(16))
    registers["fpscr"] = words[fpscr]
    return registers


def float_pattern():
    """The bits of CountingSem's s0-s31."""
    return {name: struct.unpack("<I", struct.pack("<f", value))[0] for name, value in FLOAT_PATTERN.items()}


def double_pattern():
    """The bits of CountingSem's d0-d31 and its FPSCR."""
    pattern = {name: struct.unpack("<Q", struct.pack("<d", value))[0] for name, value in DOUBLE_PATTERN.items()}
    pattern["fpscr"] = FPSCR_PATTERN
    return pattern


def float_registers(program, words):
    """s0-s31 and FPSCR as the extended frame in words holds them."""
    high, low, fpscr = FLOAT_SLOTS[program.frame]
    registers = {"s%d" % n: words[low + n] for n in range(16)}
    registers.update(("s%d" % (16 + n), words[high + n]) for n in range(16))
    registers["fpscr"] = words[fpscr]
    return registers


def names(first, last):
    return ["r%d" % number for number in range(int(first[1:]), int(last[1:]) + 1)]


def expected_registers(program, words, top):
    """What tarnwick must report for a switched-out task whose saved stack pointer is top, and whether the
    frame holds a floating-point context."""
    saved, hardware, size, extended = program.frame(words)
    saved.setdefault("sp", top + 4 * size)
    if hardware is not None:
        saved.update(zip(["r0", "r1", "r2", "r3", "r12", "lr", "pc", "xpsr"], words[hardware:hardware + 8]))
        saved["sp"] += 4 if saved["xpsr"] & XPSR_ALIGNED else 0
    return saved, extended


def connect(session, args, program, elf):
    """Starts QEMU halted at reset and tarnwick straight in front of its gdbstub, which it reaches by the name
    or address of --server-host; returns tarnwick's process and the port GDB connects to. No --rtos_variant:
    tarnwick finds the port in the program's debug information."""
    return session.start_tarnwick_before_qemu(args.tarnwick, program.machine, elf, ["--rtos", "freertos"],
                                              server_host=args.server_host)


def check_console(program, proxy, registry):
    """tarnwick says which port it found, and takes the registry's size from the kernel's array unless the
    program defines xQueueRegistrySize."""
    console = proxy.stdout().splitlines()
    detected = [line for line in console if line.startswith("Detected rtos variant: ")]
    if len(detected) != 1 or not detected[0].startswith("Detected rtos variant: %s (" % program.variant):
        raise AssertionError("tarnwick did not detect %s:\n%s" % (program.variant, harness.indent("\n".join(console))))
    sizes = {line for line in console if line.startswith("Missing symbol: xQueueRegistrySize.")}
    expected = {"Missing symbol: xQueueRegistrySize. Size %d from the array length of xQueueRegistry." % registry}
    if program.registry is not None:
        expected = set()
    if sizes != expected:
        raise AssertionError("the registry's size: %s, expected %r" % (sorted(sizes), expected))
    return detected[0]


def truth_commands(in_control_block):
    """GDB commands printing, in '@' lines, what the kernel holds at the stop."""
    lines = ['printf "@count %u\\n", app_checkpoints', 'printf "@current 0x%x\\n", pxCurrentTCB']
    for index in range(13):
        tcb = TCB % index
        lines.append('printf "@task %d|%%s|0x%%x|%%u|%%u|%%u|%%d|0x%%x|0x%%x|0x%%x|%%d\\n", %s->pcTaskName, '
                     'app_tasks[%d].handle, %s->uxPriority, %s->uxBasePriority, app_tasks[%d].stack_depth, '
                     'app_tasks[%d].state, %s->pxStack, %s->pxTopOfStack, %s->pxEndOfStack, '
                     '%s->xEventListItem.pvContainer != 0'
                     % (index, tcb, index, tcb, tcb, index, index, tcb, tcb, tcb, tcb))
        lines.append('printf "@entry %d|0x%%x\\n", app_tasks[%d].entry' % (index, index))
        lines += ["echo @frame %d\\n" % index,
                  "x/%dxw %s->pxTopOfStack - %d" % (FRAME_WORDS, tcb, CONTEXT_WORDS if in_control_block else 0)]
    lines.append('printf "@registry %%d\\n", %s' % REGISTRY_SIZE)
    for index in range(REGISTRY_SLOTS):
        queue = QUEUE % index
        lines.append('printf "@queue %d|0x%%x\\n", xQueueRegistry[%d].xHandle' % (index, index))
        lines.append('if xQueueRegistry[%d].xHandle != 0\nprintf "@queuedata %d|%%s|%%u|%%u|%%u|%%d\\n", '
                     'xQueueRegistry[%d].pcQueueName, %s->uxLength, %s->uxItemSize, %s->uxMessagesWaiting, '
                     '%s->ucQueueType\nend' % (index, index, index, queue, queue, queue, queue))
    for index in range(2):
        timer = TIMER % index
        lines.append('printf "@timer %d|%%s|%%u|%%u|0x%%x|0x%%x\\n", %s->pcTimerName, %s->xTimerPeriodInTicks, '
                     '%s->ucStatus, %s->pvTimerID, %s->pxCallbackFunction'
                     % (index, timer, timer, timer, timer, timer))
    return lines




def session_commands(program, elf, port):
    in_control_block = program.frame is frame_mpu
    lines = gdbsession.connect_commands(elf, port) + [
        "break HardFault_Handler" if "ca9" not in elf else "break Undefined_Handler",
        "break app_assert_failed", "break checkpoint_reached", "echo %%first\\n", "continue"]
    lines += ["echo %%stop 1\\n"] + truth_commands(in_control_block)
    lines += ["echo %%threads\\n", "info threads", "echo %%registers\\n", "thread apply all info registers",
              "echo %%backtraces\\n", "thread apply all bt"]
    for form, label in MONITOR_FORMS.items():
        # GDB writes what the target says through a stream of its own, buffered apart from the echo lines.
        lines += ["echo %s%s\\n" % (SECTION, label),
                  'python gdb.write(gdb.execute("monitor rtos %sstate", to_string=True))' % form]
    if holds_floats(program):
        lines += ["echo %%floats\\n", "thread apply all " + gdbsession.float_registers_command()]
    if holds_doubles(program):
        lines += ["echo %%floats\\n", "thread apply all info registers " + " ".join(DOUBLE_REGISTERS)]
    lines += ["echo %%write\\n"] + gdbsession.register_write_commands(WRITE_SETUP.replace(
        "CONTEXT", str(CONTEXT_WORDS if in_control_block else 0)).replace("WORDS", str(FRAME_WORDS)))
    lines += ["echo %%continue\\n"] + gdbsession.continue_commands("app_checkpoints")
    lines += ["echo %%stop 2\\n"] + truth_commands(in_control_block)
    lines += ["echo %%threads2\\n", "info threads"]
    lines += gdbsession.watch_commands("app_checkpoints", SECTION + "watch")
    lines += ["echo %%kill\\n", "kill", "echo %%end\\n"]
    return lines


def parse_truth(text):
    truth = {"tasks": {}, "entries": {}, "frames": {}, "queues": {}, "timers": {}}
    frame = None
    for line in text.splitlines():
        if line.startswith("@frame "):
            frame = int(line.split()[1])
            truth["frames"][frame] = []
        elif line.startswith("@"):
            frame = None
            key, _, rest = line[1:].partition(" ")
            fields = rest.split("|")
            if key == "count":
                truth["count"] = int(rest)
            elif key == "current":
                truth["current"] = int(rest, 16)
            elif key == "task":
                index = int(fields[0])
                truth["tasks"][index] = {
                    "name": fields[1], "tcb": int(fields[2], 16), "priority": int(fields[3]),
                    "base": int(fields[4]), "depth": int(fields[5]), "state": TASK_STATES[int(fields[6])],
                    "stack": int(fields[7], 16), "top": int(fields[8], 16), "end": int(fields[9], 16),
                    "waiting": fields[10] == "1"}
            elif key == "entry":
                truth["entries"][int(fields[0])] = int(fields[1], 16)
            elif key == "registry":
                truth["registry"] = int(rest)
            elif key == "queuedata":
                truth["queues"][int(fields[0])].update({
                    "name": fields[1], "length": int(fields[2]), "item": int(fields[3]),
                    "waiting": int(fields[4]), "type": int(fields[5])})
            elif key == "queue":
                if int(fields[1], 16) != 0:
                    truth["queues"][int(fields[0])] = {"handle": int(fields[1], 16)}
            elif key == "timer":
                truth["timers"][int(fields[0])] = {
                    "name": fields[1], "period": int(fields[2]), "status": int(fields[3]), "id": int(fields[4], 16),
                    "callback": int(fields[5], 16)}
        elif frame is not None:
            _, _, words = line.partition(":")
            truth["frames"][frame] += [int(word, 16) for word in words.split()]
    return truth


class Symbols:
    """Function names and source files of addresses, from arm-none-eabi-nm and arm-none-eabi-addr2line."""

    def __init__(self, elf):
        self.elf = elf
        listing = subprocess.run(["arm-none-eabi-nm", elf], capture_output=True, text=True, check=True,
                                 timeout=10).stdout
        self.by_address = {}
        for line in listing.splitlines():
            fields = line.split()
            if len(fields) == 3 and fields[1] in "tT":
                self.by_address[int(fields[0], 16) & ~1] = fields[2]

    def function(self, address):
        return self.by_address.get(address & ~1)

    def locate(self, addresses):
        """Address to (function, source file) for each address."""
        text = subprocess.run(["arm-none-eabi-addr2line", "-f", "-e", self.elf] + ["0x%x" % a for a in addresses],
                              capture_output=True, text=True, check=True, timeout=10).stdout.splitlines()
        return {address: (text[2 * i], text[2 * i + 1].rsplit(":", 1)[0]) for i, address in enumerate(addresses)}


def parse_floats(text):
    """Thread id to its floating-point registers, from "thread apply all info registers s0 ... fpscr"."""
    return {tid: gdbsession.parse_float_registers(lines)
            for tid, lines in gdbsession.per_thread(text.splitlines()).items()}


def parse_tree(text):
    """The lines of `monitor rtos -t state` as nested (label, value, children) tuples."""
    root = ("", "", [])
    stack = [(-1, root)]
    for line in text.splitlines():
        if ":" not in line:
            continue
        depth = len(line) - len(line.lstrip(" "))
        label, _, value = line.strip(" ").partition(":")
        node = (label, value, [])
        while stack[-1][0] >= depth:
            stack.pop()
        stack[-1][1][2].append(node)
        stack.append((depth, node))
    return root[2][0] if root[2] else root


def json_tree(node):
    if isinstance(node["value"], list):
        return (node["label"], "", [json_tree(child) for child in node["value"]])
    return (node["label"], node["value"], [])


def section(tree, label):
    for child in tree[2]:
        if child[0] == label:
            return child
    raise AssertionError("monitor rtos -t state has no section %s" % label)


def fields(node):
    return {child[0]: child[1] for child in node[2]}


class Checker:
    def __init__(self, program, elf, kernel_source):
        self.program = program
        self.symbols = Symbols(elf)
        self.kernel_source = os.path.realpath(kernel_source) if kernel_source else None

    def state_name(self, task, running):
        if running:
            return "RUNNING"
        if task["state"] == "eReady":
            return "READY"
        if task["state"] == "eSuspended":
            return "SUSPENDED"
        return "BLOCKED" if task["waiting"] else "DELAYED"

    def check_threads(self, truth, view, stop):
        expected = {}
        for task in truth["tasks"].values():
            running = task["tcb"] == truth["current"]
            expected[task["tcb"]] = (task["name"] + " RUNNING" if running else task["name"], running)
        shown = {tid: (label, current) for tid, (_, label, current) in view["threads"].items()}
        if shown != expected:
            raise AssertionError("stop %d: info threads shows %s, expected %s" % (stop, shown, expected))

    def entry_name(self, truth, index):
        task = truth["tasks"][index]
        if task["name"] in KERNEL_ENTRIES:
            return KERNEL_ENTRIES[task["name"]]
        return self.symbols.function(truth["entries"][index])

    def check_switched_out(self, truth, view):
        """Registers from each switched-out task's saved frame, bt down to its entry function, and the saved
        pc inside the kernel (or, for a task the tick preempted, inside the task's own code)."""
        pcs = {}
        for index, task in truth["tasks"].items():
            if task["tcb"] == truth["current"]:
                continue
            expected, extended = expected_registers(self.program, truth["frames"][index], task["top"])
            if not extended and (self.program.fpu == ALL_TASKS or task["name"] in self.program.fpu):
                raise AssertionError("%s saved no floating-point context" % task["name"])
            shown = view["registers"].get(task["tcb"], {})
            wrong = ["%s 0x%x, not 0x%x" % (name, shown.get(name, -1), value)
                     for name, value in sorted(expected.items()) if shown.get(name) != value]
            if wrong:
                raise AssertionError("the registers of %s: %s" % (task["name"], "; ".join(wrong)))
            if not in_control_block(self.program) and expected["sp"] <= task["top"]:
                raise AssertionError("sp of %s is not past its saved frame" % task["name"])
            pcs[index] = expected["pc"]
            entry = self.entry_name(truth, index)
            frames = view["frames"].get(task["tcb"], [])
            if entry not in frames:
                raise AssertionError("bt of %s is %s; it does not reach %s" % (task["name"], frames, entry))
        places = self.symbols.locate(sorted(set(pcs.values())))
        for index, pc in pcs.items():
            task = truth["tasks"][index]
            function, source = places[pc]
            in_kernel = self.kernel_source is not None and os.path.realpath(source).startswith(self.kernel_source)
            if task["name"] in TICK_PREEMPTED:
                if in_kernel:
                    raise AssertionError("%s, preempted by the tick, saved pc 0x%x in %s (%s)"
                                         % (task["name"], pc, function, source))
            elif self.kernel_source is not None and not in_kernel:
                raise AssertionError("%s, switched out by a kernel call, saved pc 0x%x in %s (%s), not in %s"
                                     % (task["name"], pc, function, source, self.kernel_source))
        return len(pcs)

    def check_floats(self, truth, shown, registers_of, pattern):
        """Every switched-out task with a floating-point context in its frame shows the registers of that context
        (registers_of(program, words)); CountingSem's hold its pattern (their bits by name)."""
        checked = []
        for index, task in truth["tasks"].items():
            words = truth["frames"][index]
            if task["tcb"] == truth["current"] or not expected_registers(self.program, words, task["top"])[1]:
                continue
            expected = registers_of(self.program, words)
            actual = shown.get(task["tcb"], {})
            wrong = ["%s %s, not 0x%x" % (name, "-" if actual.get(name) is None else "0x%x" % actual[name], value)
                     for name, value in sorted(expected.items()) if actual.get(name) != value]
            if wrong:
                raise AssertionError("the floating-point registers of %s (frame at 0x%x): %s"
                                     % (task["name"], task["top"], "; ".join(wrong)))
            checked.append(task["name"])
            if task["name"] == FLOAT_TASK:
                held = {name: expected[name] for name in pattern}
                if held != pattern:
                    raise AssertionError("the frame of %s does not hold its pattern: %s" % (task["name"], held))
        if FLOAT_TASK not in checked:
            raise AssertionError("%s, blocked after loading its pattern, saved no floating-point context (checked: %s)"
                                 % (FLOAT_TASK, checked))

    def check_write(self, truth, write):
        """r5 written on the task blocked on the binary semaphore lands in its frame; its backtrace stays its own."""
        task = next(task for task in truth["tasks"].values() if task["name"] == WRITTEN_TASK)
        gdbsession.check_register_write(write, lambda words: self.program.frame(words)[0]["r5"], WRITTEN_TASK)
        frames = [found.group(2) for found in map(gdbsession.FRAME_LINE.match, write["bt_after"].splitlines()) if found]
        if "task_binary" not in frames or "checkpoint_reached" in frames:
            raise AssertionError("bt of %s after flushregs is not its own:\n%s" % (task["name"], write["bt_after"]))

    def check_state(self, truth, monitor):
        """The three forms of monitor rtos state agree, and the tree holds the kernel's values."""
        tree = parse_tree(monitor["-t"])
        as_json = json_tree(json.loads(monitor["-m"].strip()))
        if as_json != tree:
            raise AssertionError("monitor rtos -m state and monitor rtos -t state differ:\n%s\n%s"
                                 % (as_json, tree))
        table = monitor[""]
        rows = {}
        for node in section(tree, "Tasks")[2]:
            row = fields(node)
            rows[int(row["Task id"], 16)] = row
        for task in truth["tasks"].values():
            row = rows.get(task["tcb"])
            if row is None:
                raise AssertionError("monitor rtos state lists no task 0x%x (%s)" % (task["tcb"], task["name"]))
            running = task["tcb"] == truth["current"]
            expected = {"Name": task["name"], "Active": "1" if running else "0",
                        "Priority (Base/Actual)": "%d/%d" % (task["base"], task["priority"]),
                        "Start of stack": "0x%08x" % task["stack"], "End of stack": "0x%08x" % task["end"],
                        "Top of stack": "0x%08x" % task["top"], "State": self.state_name(task, running)}
            wrong = ["%s %r, not %r" % (key, row.get(key), value) for key, value in expected.items()
                     if row.get(key) != value]
            if wrong:
                raise AssertionError("monitor rtos state, task %s: %s" % (task["name"], "; ".join(wrong)))
            usage = row["Stack usage"]
            if not re.match(r"^\d+B/%dB \(\d+\.\d%%\)$" % (task["depth"] * 4), usage):
                raise AssertionError("%s: stack usage %r, not of %d bytes" % (task["name"], usage, task["depth"] * 4))
            if task["name"] not in table or "0x%08x" % task["tcb"] not in table:
                raise AssertionError("the table form lacks task %s" % task["name"])
        if len(rows) != len(truth["tasks"]):
            raise AssertionError("monitor rtos state lists %d tasks, the kernel %d" % (len(rows), len(truth["tasks"])))
        self.check_objects(truth, tree, table)

    def check_objects(self, truth, tree, table):
        queues = {int(fields(node)["Address"], 16): fields(node) for node in section(tree, "Queues")[2]}
        semaphores = {int(fields(node)["Address"], 16): fields(node) for node in section(tree, "Semaphores")[2]}
        for queue in truth["queues"].values():
            handle = queue["handle"]
            if queue["type"] == 0:
                row = queues.get(handle)
                expected = {"Name": queue["name"], "Length": str(queue["length"]), "Item size": str(queue["item"]),
                            "Current length": str(queue["waiting"])}
            else:
                row = semaphores.get(handle)
                expected = {"Name": queue["name"], "Size": str(queue["length"]), "Free": str(queue["waiting"])}
            if row is None:
                raise AssertionError("monitor rtos state lists no object 0x%x (%s)" % (handle, queue["name"]))
            wrong = ["%s %r, not %r" % (key, row.get(key), value) for key, value in expected.items()
                     if row.get(key) != value]
            if wrong:
                raise AssertionError("monitor rtos state, %s: %s" % (queue["name"], "; ".join(wrong)))
            if queue["name"] not in table:
                raise AssertionError("the table form lacks %s" % queue["name"])
        if len(queues) + len(semaphores) != len(truth["queues"]):
            raise AssertionError("monitor rtos state lists %d queues and semaphores, the registry %d"
                                 % (len(queues) + len(semaphores), len(truth["queues"])))
        # A timer that is not running is on none of the kernel's timer lists, so nothing finds it.
        timers = {fields(node)["Name"]: fields(node) for node in section(tree, "Software timers")[2]}
        for timer in truth["timers"].values():
            row = timers.get(timer["name"])
            if not timer["status"] & TIMER_ACTIVE:
                if row is not None:
                    raise AssertionError("monitor rtos state lists the dormant timer %s" % timer["name"])
                continue
            expected = {"Period": str(timer["period"]), "Active": "True", "Id": "0x%08x" % timer["id"],
                        "Callback": "0x%08x" % timer["callback"]}
            if row is None:
                raise AssertionError("monitor rtos state lists no timer %s" % timer["name"])
            wrong = ["%s %r, not %r" % (key, row.get(key), value) for key, value in expected.items()
                     if row.get(key) != value]
            if wrong:
                raise AssertionError("monitor rtos state, timer %s: %s" % (timer["name"], "; ".join(wrong)))


def run(args, session):
    if args.unavailable is not None:
        raise gdbsession.Skip(args.unavailable)
    program = PROGRAMS[args.program]
    elf = os.path.join(args.fixtures, program.elf)
    proxy, port = connect(session, args, program, elf)
    result = session.run_gdb(session_commands(program, elf, port), timeout=GDB_TIMEOUT)
    session.write_file("gdb.output", result.stdout + "\n--- standard error\n" + result.stderr)
    sections = gdbsession.marked_sections(result.stdout, SECTION)
    if "end" not in sections:
        raise AssertionError("the GDB session did not finish (status %d):\nstdout:\n%s\nstderr:\n%s" % (
            result.returncode, harness.indent(result.stdout), harness.indent(result.stderr)))
    with gdbsession.diagnosed(lambda: stops_text(sections)):
        check_session(args, program, elf, proxy, sections)


def stops_text(sections):
    """What a failure needs to be understood: how GDB reached each stop and what the kernel held there (its
    tasks' saved frames left out)."""
    shown = {}
    for label in STOPS:
        text = sections.get(label, "(none)")
        if label.startswith("stop "):
            text = "\n".join(line for line in text.splitlines()
                              if line.startswith("@") and not line.startswith("@frame "))
        shown[label] = text
    return gdbsession.sections_text(shown, STOPS)


def check_session(args, program, elf, proxy, sections):
    checker = Checker(program, elf, args.kernel_source)
    first = parse_truth(sections["stop 1"])
    if first.get("count") != 0 or len(first["tasks"]) != 13:
        raise AssertionError("the first stop is not the first checkpoint:\n" + sections["stop 1"])
    if first["registry"] != REGISTRY_SLOTS:
        raise AssertionError("the queue registry has %d slots, the session reads %d"
                             % (first["registry"], REGISTRY_SLOTS))
    if program.registry is not None:
        # Only the slots that the program's own xQueueRegistrySize names are read.
        first["queues"] = {slot: queue for slot, queue in first["queues"].items() if slot < program.registry}
    view = gdbsession.thread_view(sections["threads"].splitlines(), sections["registers"].splitlines(),
                                  sections["backtraces"].splitlines())
    checker.check_threads(first, view, 1)
    switched = checker.check_switched_out(first, view)
    monitor = {form.strip(): sections[label] for form, label in MONITOR_FORMS.items()}
    checker.check_state(first, monitor)
    if holds_floats(program):
        checker.check_floats(first, parse_floats(sections["floats"]), float_registers, float_pattern())
    if holds_doubles(program):
        checker.check_floats(first, parse_floats(sections["floats"]), double_registers, double_pattern())
    write_lines = sections["write"].splitlines()
    write = [json.loads(line[len("@write "):]) for line in write_lines if line.startswith("@write ")]
    if len(write) != 1:
        raise AssertionError("no register write on %s:\n%s" % (WRITTEN_TASK, sections["write"]))
    checker.check_write(first, write[0])
    second = parse_truth(sections["stop 2"])
    gdbsession.check_continues(sections["continue"])
    if second.get("count") != 1:
        raise AssertionError("continue did not reach the next checkpoint:\n" + sections["continue"])
    checker.check_threads(second, gdbsession.thread_view(sections["threads2"].splitlines()), 2)
    gdbsession.check_watch(sections["watch"].splitlines(), "app_checkpoints")
    if "[Inferior 1 (Remote target) killed]" not in sections["kill"]:
        raise AssertionError("kill: %r" % sections["kill"])
    print(check_console(program, proxy, first["registry"]))
    print("%s: %d tasks listed, %d switched-out frames and backtraces, monitor rtos state in three forms "
          "with %d registry objects and %d timers, r5 of %s written, continued to the next checkpoint, "
          "stopped by a watchpoint, killed"
          % (program.elf, len(first["tasks"]), switched, len(first["queues"]), len(first["timers"]),
             WRITTEN_TASK))


if __name__ == "__main__":
    gdbsession.run(__doc__, run, options=[
        (["--program"], {"required": True, "choices": sorted(PROGRAMS)}),
        (["--kernel-source"], {"help": "the unpacked FreeRTOS-Kernel tree the programs were built from"}),
        (["--server-host"], {"default": "127.0.0.1",
                             "help": "how tarnwick names QEMU's host in --server_connection (QEMU listens on "
                                     "127.0.0.1)"}),
        (["--unavailable"], {"help": "why the real kernels are missing: print it and skip"})])
