"""The ThreadX-shaped target programs of tests/fixtures/targets/threadx, as the end-to-end suites know them.

Each program holds five threads whose saved contexts are laid out by target_frames.h. This module states the
same layouts independently, as the kernel's ports store them, and from the program's symbols works out every
register that GDB must see for each thread, the lines of its backtrace, and the registers the simulator's core
starts with (those of the running thread); and it starts the simulator for a program and reads GDB's output.
"""

import dataclasses
import os
import re
import subprocess

import gdbsession
import harness

SOURCE = "target_threads.c"
THREAD_ORDER = ["main", "sensor", "logger", "filter", "watchdog"]
RUNNING = "main"


@dataclasses.dataclass(eq=False)
class Thread:
    """One thread: its name in the kernel, the tag of its context's words, the words at the bottom of its stack
    that still hold the kernel's fill, its three functions (entry, work, inner) and where it left the
    processor: "preempted" (an interrupt took it in its inner function) or "resumed" (it called the kernel and
    continues behind that call)."""

    name: str
    tag: int
    free_words: int
    entry: str
    work: str
    inner: str
    left: str

    @property
    def pc_label(self):
        return "%s_%s" % (self.inner, self.left)


# As target_kernel.c lays them out.
THREADS = {
    "main": Thread("main", 0x4D000000, 110, "main_thread", "main_loop", "main_step", "preempted"),
    "sensor": Thread("sensor", 0x53000000, 90, "sensor_thread", "sensor_poll", "sensor_sample", "preempted"),
    "logger": Thread("logger", 0x4C000000, 64, "logger_thread", "logger_drain", "logger_write", "resumed"),
    "filter": Thread("filter", 0x46000000, 40, "filter_thread", "filter_run", "filter_step", "preempted"),
    "watchdog": Thread("watchdog", 0x57000000, 72, "watchdog_thread", "watchdog_check", "watchdog_feed",
                       "resumed"),
}


def run_of(names, first):
    """Word indices first, first + 1, ... for the registers named."""
    return {name: first + i for i, name in enumerate(names)}


LOW = ["r0", "r1", "r2", "r3"]
R4_R11 = ["r4", "r5", "r6", "r7", "r8", "r9", "r10", "r11"]
R0_R12 = ["r%d" % i for i in range(13)]

# Word index of each register in a saved context. Words of a frame that no register names (EXC_RETURN, frame
# type, floating-point registers, which the simulator's description does not have) are not listed.
CM_BASIC = dict(run_of(R4_R11, 1), **run_of(LOW, 9), r12=13, lr=14, pc=15, xpsr=16)
CM_EXTENDED = dict(run_of(R4_R11, 17), **run_of(LOW, 25), r12=29, lr=30, pc=31, xpsr=32)
CM0_BASIC = dict(run_of(["r8", "r9", "r10", "r11", "r4", "r5", "r6", "r7"], 1), **run_of(LOW, 9), r12=13, lr=14,
                 pc=15, xpsr=16)
CA7_INTERRUPTED = dict(run_of(R0_R12, 2), cpsr=1, lr=15, pc=16)
CA7_INTERRUPTED_VFP = dict(run_of(R0_R12, 67), cpsr=1, lr=80, pc=81)
CA7_SOLICITED = dict(run_of(R4_R11, 2), cpsr=1, lr=10)
CA7_SOLICITED_VFP = dict(run_of(R4_R11, 51), cpsr=1, lr=59)

XPSR_PLAIN = 0x01000000
XPSR_ALIGNED = 0x01000200  # bit 9: the core pushed one word to align the stack
CPSR_SYS_ARM = 0x6000001F


@dataclasses.dataclass(eq=False)
class Frame:
    """A kind of saved context: register positions, size in words, the alignment word behind it, and the
    status register's value."""

    layout: dict
    words: int
    pad: int = 0
    status: int = XPSR_PLAIN


FRAMES = {
    "BASIC": Frame(CM_BASIC, 17),
    "BASIC_ALIGNED": Frame(CM_BASIC, 17, pad=1, status=XPSR_ALIGNED),
    "EXTENDED": Frame(CM_EXTENDED, 51),
    "EXTENDED_ALIGNED": Frame(CM_EXTENDED, 51, pad=1, status=XPSR_ALIGNED),
    "NS_BASIC": Frame(CM_BASIC, 17),
    "NS_EXTENDED": Frame(CM_EXTENDED, 51),
    "CM0_BASIC": Frame(CM0_BASIC, 17),
    "CM0_ALIGNED": Frame(CM0_BASIC, 17, pad=1, status=XPSR_ALIGNED),
    "INTERRUPTED": Frame(CA7_INTERRUPTED, 17, status=CPSR_SYS_ARM),
    "INTERRUPTED_VFP": Frame(CA7_INTERRUPTED_VFP, 82, status=CPSR_SYS_ARM),
    "SOLICITED": Frame(CA7_SOLICITED, 11, status=CPSR_SYS_ARM),
    "SOLICITED_VFP": Frame(CA7_SOLICITED_VFP, 60, status=CPSR_SYS_ARM),
}


@dataclasses.dataclass(eq=False)
class Program:
    """A target program: its --rtos_variant, the CPUID word that names its core (None for the A profile,
    which has no such register), and the kind of saved context of each thread, in THREAD_ORDER."""

    name: str
    variant: str
    cpuid: object
    frames: object

    def __post_init__(self):
        self.frames = dict(zip(THREAD_ORDER, self.frames))

    @property
    def a_profile(self):
        return self.cpuid is None

    @property
    def elf_name(self):
        return "threadx_target_%s.elf" % self.name

    @property
    def registers(self):
        """Register names as GDB lists them for the simulator's description, in its order."""
        return ["r%d" % i for i in range(13)] + ["sp", "lr", "pc", "cpsr" if self.a_profile else "xpsr"]

    @property
    def frame_pointer(self):
        # -O0 code keeps its frame pointer in r7 (Thumb) or r11 (Arm).
        return "r11" if self.a_profile else "r7"


# As tests/fixtures/targets/threadx/CMakeLists.txt builds them.
PROGRAMS = {
    "cm0": Program("cm0", "cortex_m0", 0x410CC200, ["CM0_BASIC", "CM0_BASIC", "CM0_ALIGNED", "CM0_BASIC",
                                                    "CM0_BASIC"]),
    "cm3": Program("cm3", "cortex_m3", 0x412FC230, ["BASIC", "BASIC", "BASIC_ALIGNED", "BASIC", "BASIC"]),
    "cm4": Program("cm4", "cortex_m4", 0x410FC241, ["BASIC", "BASIC", "BASIC_ALIGNED", "EXTENDED", "BASIC"]),
    "cm7": Program("cm7", "cortex_m7", 0x411FC272, ["BASIC", "BASIC", "BASIC", "EXTENDED_ALIGNED",
                                                    "BASIC_ALIGNED"]),
    "cm33": Program("cm33", "cortex_m33", 0x410FD210, ["NS_BASIC", "NS_BASIC", "BASIC", "NS_EXTENDED",
                                                       "EXTENDED_ALIGNED"]),
    "ca7": Program("ca7", "cortex_a7", None, ["INTERRUPTED", "INTERRUPTED", "SOLICITED", "INTERRUPTED_VFP",
                                              "SOLICITED_VFP"]),
    "ca7_novfp": Program("ca7_novfp", "cortex_a7", None, ["INTERRUPTED", "INTERRUPTED", "SOLICITED", "INTERRUPTED",
                                                          "SOLICITED"]),
}

CALL_WORDS = 6  # entry, work and inner function each pushed a frame pointer and lr


class Image:
    """A built program with its symbols; answers the questions of the checks."""

    def __init__(self, program, fixtures_dir, sources_dir, elf=None):
        """elf: a copy of the built program to use in its place."""
        self.program = program
        self.elf = elf or os.path.join(fixtures_dir, program.elf_name)
        self.source = os.path.join(sources_dir, SOURCE)
        self.symbols = gdbsession.elf_symbols(self.elf)
        self.core_pc = None
        with open(self.source) as text:
            self.source_lines = text.read().splitlines()

    def address(self, name):
        if name not in self.symbols:
            raise harness.HarnessError("%s has no symbol %s" % (self.elf, name))
        return self.symbols[name][0]

    def thread_id(self, thread):
        """The id GDB sees: the address of the control block."""
        return self.address("thread_" + thread)

    def inner_sp(self, thread):
        """The stack pointer of the thread's innermost function: the top of its stack less the calls."""
        base, size = self.symbols["stack_" + thread]
        return base + size - 4 * CALL_WORDS

    def code_address(self, label):
        """A return address as the core holds it: Thumb code has bit 0 set."""
        return self.address(label) + (0 if self.program.a_profile else 1)

    def line_of(self, label):
        """The line of target_threads.c that names label: GDB shows it for a pc or return address there."""
        token = re.compile(r"\b%s\b" % re.escape(label))
        hits = [number for number, text in enumerate(self.source_lines, 1) if token.search(text)]
        if len(hits) != 1:
            raise harness.HarnessError("%s: %d lines name %s, expected one" % (self.source, len(hits), label))
        return hits[0]

    def registers(self, thread):
        """Every register of the thread as GDB must show it, in GDB's order."""
        info = THREADS[thread]
        frame = FRAMES[self.program.frames[thread]]
        sp = self.inner_sp(thread)
        values = {name: info.tag | 4 * index for name, index in frame.layout.items()}
        # The words that fit the code rather than the tag.
        values[self.program.frame_pointer] = sp + (4 if self.program.a_profile else 0)
        values["lr"] = self.code_address(info.pc_label if info.left == "resumed" else info.work + "_return")
        values["pc"] = self.pc(thread)
        values["sp"] = sp
        values["cpsr" if self.program.a_profile else "xpsr"] = frame.status
        # A solicited frame has no r0-r3 and r12: the core's values of them stand in for the running thread.
        return [(name, values.get(name, 0)) for name in self.program.registers]

    def shown_registers(self, thread):
        """info registers of the thread: a switched-out thread's registers that its frame lacks are
        unavailable (None)."""
        if thread == RUNNING:
            return self.registers(thread)
        held = set(FRAMES[self.program.frames[thread]].layout) | {"sp", "lr", "pc", self.program.frame_pointer,
                                                                   "cpsr" if self.program.a_profile else "xpsr"}
        return [(name, value if name in held else None) for name, value in self.registers(thread)]

    def instruction_size(self, address):
        """Bytes of the instruction at address, from the disassembly: its encoding's hexadecimal digits."""
        listing = subprocess.run(["arm-none-eabi-objdump", "-d", "--start-address=0x%x" % address,
                                  "--stop-address=0x%x" % (address + 4), self.elf], capture_output=True, text=True,
                                 check=True).stdout
        found = re.search(r"^\s*%x:\t([0-9a-f ]+?)\s*\t" % address, listing, re.MULTILINE)
        if not found:
            raise harness.HarnessError("no instruction at 0x%x in %s:\n%s" % (address, self.elf, listing))
        return len(found.group(1).replace(" ", "")) // 2

    def step_core(self, pc):
        """The core has stepped: the running thread goes on from pc, in the same line."""
        self.core_pc = pc

    def pc(self, thread):
        if thread == RUNNING and self.core_pc is not None:
            return self.core_pc
        return self.address(THREADS[thread].pc_label)

    def saved_sp(self, thread):
        """The thread's saved stack pointer: where its saved context starts."""
        frame = FRAMES[self.program.frames[thread]]
        return self.inner_sp(thread) - 4 * (frame.words + frame.pad)

    def backtrace(self, thread):
        """The lines of bt for the thread: inner, work and entry function, ending in the entry. A pc at a label
        that opens its line is where the line's code starts; a pc at a label behind a call, or one that a step
        moved, lies inside the line's code, and GDB shows its address."""
        info = THREADS[thread]
        pc = self.pc(thread)
        inside = info.left == "resumed" or pc != self.address(info.pc_label)
        at = "0x%08x in " % pc if inside else ""
        lines = ["#0  %s%s () at %s:%d" % (at, info.inner, self.source, self.line_of(info.pc_label))]
        for number, (function, label) in enumerate([(info.work, info.work + "_return"),
                                                    (info.entry, info.entry + "_return")], 1):
            lines.append("#%d  0x%08x in %s () at %s:%d" % (number, self.address(label), function, self.source,
                                                            self.line_of(label)))
        return lines

    def frame_text(self, thread):
        """The frame column of info threads: the innermost frame."""
        return self.backtrace(thread)[0][len("#0  "):]

    def sim_arguments(self):
        """Simulator options: the running thread's registers on the core, and the CPUID word of the core."""
        args = ["--a-profile"] if self.program.a_profile else []
        for name, value in self.registers(RUNNING):
            args += ["--reg", "%s=0x%x" % (name, value)]
        return args

    def cpuid_file(self, session):
        """A file with the CPUID word, to be loaded at its address; None for the A profile."""
        if self.program.cpuid is None:
            return None
        path = session.path("cpuid_%s.bin" % self.program.name)
        with open(path, "wb") as out:
            out.write(self.program.cpuid.to_bytes(4, "little"))
        return path


CPUID_ADDRESS = 0xE000ED00


def start_target(session, image, sim_binary, name="target_sim"):
    """The simulator serving the program, the running thread's registers on its core and, on the M profile,
    the core's CPUID word, connection after connection; returns (process, port)."""
    args = image.sim_arguments()
    cpuid = image.cpuid_file(session)
    if cpuid:
        args += ["--load", "0x%x:%s" % (CPUID_ADDRESS, cpuid)]
    return session.start_target_sim_serving(sim_binary, image.elf, args=args, name=name)


GDB_SETUP = ["set pagination off", "set confirm off", "set width 0", "set height 0", "set tcp connect-timeout 5"]
MARK = "@@"


def marked(label):
    """A GDB command that prints a marker line, by which the output is cut into sections."""
    return "echo %s%s\\n" % (MARK, label)


def sections(output):
    """GDB's output cut at the marker lines: label to the text up to the next marker (the text before the
    first marker under the empty label)."""
    parts = {}
    label = ""
    lines = []
    for line in output.splitlines(True):
        if line.startswith(MARK):
            parts[label] = "".join(lines)
            label = line[len(MARK):].rstrip("\n")
            lines = []
        else:
            lines.append(line)
    parts[label] = "".join(lines)
    return parts


INFO_THREADS_ROW = re.compile(r"^([* ]) (\d+)\s+Thread (\d+) \(([^)]*)\)\s+(\S.*)$")


def thread_rows(text):
    """The rows of info threads as (current, number, id, extra info, frame); the heading is dropped."""
    rows = []
    for line in text.splitlines():
        found = INFO_THREADS_ROW.match(line)
        if found:
            rows.append((found.group(1) == "*", int(found.group(2)), int(found.group(3)), found.group(4),
                         found.group(5)))
    return rows


REGISTER_ROW = re.compile(r"^(\w+)\s+(?:0x([0-9a-f]+)\s|<unavailable>)")


def register_values(text):
    """The rows of info registers as (name, value), None for an unavailable one."""
    return [(found.group(1), int(found.group(2), 16) if found.group(2) else None)
            for found in map(REGISTER_ROW.match, text.splitlines()) if found]


def expected_rows(image):
    """info threads after the second stop: every thread by ascending id, numbered from 2 on (1 was the
    core's thread of the first stop), the running one marked."""
    rows = []
    for number, thread in enumerate(sorted(THREAD_ORDER, key=image.thread_id), 2):
        extra = thread + (" RUNNING" if thread == RUNNING else "")
        rows.append((thread == RUNNING, number, image.thread_id(thread), extra, image.frame_text(thread)))
    return rows
