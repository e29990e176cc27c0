"""What every end-to-end suite does around a GDB session: its command line and outcome, the program's symbols,
the Python blocks it runs inside GDB, and the checks that more than one suite makes on GDB's output.

harness.py starts and ends the processes; this module is the GDB side. Standard library only.
"""

import argparse
import contextlib
import os
import re
import subprocess
import sys

import harness

SKIPPED = 77


class Skip(Exception):
    """Raised by a suite that cannot run here; the message says why."""


def main(description, body, paths=("tarnwick", "fixtures"), options=(), session=True):
    """A suite's command line and exit status. paths name options taken as files, made absolute (required,
    but for a name that ends in "?"); options are further (flags, keywords) pairs for add_argument. body(args,
    session) runs in a harness.Session (body(args) when session is False). A Skip it raises is printed and
    gives SKIPPED; an AssertionError, HarnessError or time-out is printed as the failure and gives 1."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    names = [name.rstrip("?") for name in paths]
    for name, path in zip(names, paths):
        parser.add_argument("--" + name.replace("_", "-"), required=not path.endswith("?"))
    for flags, keywords in options:
        parser.add_argument(*flags, **keywords)
    parser.add_argument("--keep-files", action="store_true", help="keep the scratch directory for inspection")
    args = parser.parse_args()
    for name in names:
        if getattr(args, name) is not None:
            setattr(args, name, os.path.abspath(getattr(args, name)))
    try:
        if not session:
            body(args)
            return 0
        with harness.Session(keep_files=args.keep_files) as scratch:
            try:
                body(args, scratch)
            finally:
                if args.keep_files:
                    print("scratch files in " + scratch.directory)
    except Skip as reason:
        print(reason)
        return SKIPPED
    except (AssertionError, harness.HarnessError, subprocess.TimeoutExpired) as failure:
        print("FAIL: %s" % failure)
        return 1
    return 0


def run(*arguments, **keywords):
    """main's exit status as the process's own."""
    sys.exit(main(*arguments, **keywords))


@contextlib.contextmanager
def diagnosed(details):
    """A check that fails inside says, after its own message, what details() gives: what the next reader of a
    failure that comes now and then needs (every stop's sections, not only the one that failed)."""
    try:
        yield
    except AssertionError as failure:
        raise AssertionError("%s\n%s" % (failure, details())) from None


def sections_text(sections, labels):
    """The sections of GDB's output named in labels, each under its label, for a failure message."""
    return "\n".join("%s:\n%s" % (label, harness.indent(sections.get(label, "(none)"))) for label in labels)


# GDB's output, as the suites read it.
GDB_PRELUDE = ["set pagination off", "set confirm off", "set width 0", "set tcp connect-timeout 5"]
# A row of "info threads": current marker, GDB's number, the target's thread id (decimal), its label.
THREAD_LINE = re.compile(r"^(\*)?\s+(\d+)\s+Thread (\d+) \((.*?)\)\s")
# A row of "info threads" when GDB read the thread list as a document: current marker, GDB's number, the
# target's thread id (decimal), the name in quotes, and the extra text in brackets.
XFER_THREAD_LINE = re.compile(r'^(\*)?\s+(\d+)\s+Thread (\d+) "([^"]*)"(?: \((\w+)\))?')
# A line of "info registers": name and hexadecimal value.
REGISTER_LINE = re.compile(r"^(\w+)\s+(0x[0-9a-f]+)\s")
# A line of "bt": level and function name.
FRAME_LINE = re.compile(r"^#(\d+)\s+(?:0x[0-9a-f]+ in )?(\S+) \(")
# The line before each thread's output in "thread apply all ...": GDB's number, the target's id, its label.
THREAD_HEADER = re.compile(r"^Thread (\d+) \(Thread (\d+) \((.*?)\)\):$")


def connect_commands(elf, port, prelude=GDB_PRELUDE):
    """The settings of prelude, then GDB loads the program and connects to port on this host."""
    return list(prelude) + ["file " + elf, "target remote 127.0.0.1:%d" % port]


def parse_info_threads(lines):
    """Thread id to (GDB's number, label, current) from the rows of "info threads" among lines."""
    threads = {}
    for line in lines:
        found = THREAD_LINE.match(line)
        if found:
            current, number, tid, label = found.groups()
            threads[int(tid)] = (int(number), label, current == "*")
    return threads


def marked_sections(output, marker="@"):
    """The text between lines that start with marker, keyed by the rest of each marker line: a script
    that says `echo @name\\n` before a command finds that command's output under "name"."""
    sections, name, start = {}, None, 0
    for found in re.finditer(r"^%s(.*)\n" % re.escape(marker), output, re.MULTILINE):
        if name is not None:
            sections[name] = output[start:found.start()]
        name, start = found.group(1), found.end()
    if name is not None:
        sections[name] = output[start:]
    return sections


def per_thread(lines):
    """The lines of "thread apply all <command>" under each thread's header, keyed by the target's thread id."""
    threads, current = {}, None
    for line in lines:
        header = THREAD_HEADER.match(line)
        if header:
            current = threads.setdefault(int(header.group(2)), [])
        elif current is not None:
            current.append(line)
    return threads


def thread_view(threads, registers=(), backtraces=()):
    """The lines of "info threads", "thread apply all info registers" and "thread apply all bt" as one view:
    "threads" as parse_info_threads gives them, "registers" and "frames" map a thread id to its register values
    and to the function names of its backtrace."""
    return {"threads": parse_info_threads(threads),
            "registers": {tid: {found.group(1): int(found.group(2), 16)
                                for found in map(REGISTER_LINE.match, lines) if found}
                          for tid, lines in per_thread(registers).items()},
            "frames": {tid: [found.group(2) for found in map(FRAME_LINE.match, lines) if found]
                       for tid, lines in per_thread(backtraces).items()}}


def elf_symbols(elf):
    """Symbol name to (address, size) from arm-none-eabi-nm; size 0 where nm gives none."""
    listing = subprocess.run(["arm-none-eabi-nm", "-S", elf], capture_output=True, text=True, check=True,
                             timeout=10).stdout
    table = {}
    for line in listing.splitlines():
        fields = line.split()
        if len(fields) == 4:
            table[fields[3]] = (int(fields[0], 16), int(fields[1], 16))
        elif len(fields) == 3:
            table[fields[2]] = (int(fields[0], 16), 0)
    return table


class ElfSymbols:
    """A program's symbols (elf_symbols) and the questions the suites ask of them."""

    def __init__(self, elf):
        self.table = elf_symbols(elf)

    def address(self, name):
        return self.table[name][0]

    def end(self, name):
        return self.table[name][0] + self.table[name][1]

    def function_at(self, address):
        """The symbol whose extent holds address, Thumb bit cleared; None outside every sized symbol."""
        for name, (start, size) in self.table.items():
            if start <= (address & ~1) < start + size:
                return name
        return None


def python_block(script):
    """GDB command lines that run script in GDB's own Python."""
    return ["python"] + script.strip("\n").splitlines() + ["end"]


# On a switched-out task: r5 written through GDB reads back, the task's saved frame is read from memory after the
# write, the running task's r5 stays, and flushregs then bt gives the backtrace of before. The old value is put
# back afterwards. The lines before it define running_id and task_id (the target's thread ids) and frame_start
# and frame_words (where the task's saved context lies).
REGISTER_WRITE_SCRIPT = r'''
import gdb, json, struct

def r5():
    return int(gdb.parse_and_eval("$r5")) & 0xffffffff

def thread_of(thread_id):
    return next(t for t in gdb.selected_inferior().threads() if (t.ptid[1] or t.ptid[2]) == thread_id)

running, task = thread_of(running_id), thread_of(task_id)
running.switch()
write = {"running_before": r5()}
task.switch()
write["bt_before"] = gdb.execute("bt", to_string=True)
write["before"] = r5()
gdb.execute("set var $r5 = 0x5a5a5a5a")
write["after"] = r5()
write["frame"] = list(struct.unpack("<%dI" % frame_words,
                                    gdb.selected_inferior().read_memory(frame_start, 4 * frame_words)))
gdb.execute("flushregs", to_string=True)
write["flushed"] = r5()
write["bt_after"] = gdb.execute("bt", to_string=True)
running.switch()
write["running_after"] = r5()
task.switch()
gdb.execute("set var $r5 = %d" % write["before"])
running.switch()
print("@write " + json.dumps(write))
'''
WRITTEN = 0x5a5a5a5a


def register_write_commands(setup):
    """The commands of REGISTER_WRITE_SCRIPT, after the Python lines of setup; the result is the JSON of the line
    "@write {...}" in GDB's output."""
    return python_block(setup.strip("\n") + "\n" + REGISTER_WRITE_SCRIPT)


def check_register_write(write, r5_of_frame, task):
    """r5 of the task's frame as the port stores it (r5_of_frame of the words read after the write), what GDB
    read back, before and after flushregs, and the running task's r5 and the task's backtrace unchanged."""
    wanted = {"after": WRITTEN, "word": WRITTEN, "flushed": WRITTEN,
              "running_after": write["running_before"], "bt_after": write["bt_before"]}
    shown = dict(write, word=r5_of_frame(write["frame"]))
    wrong = {key: (shown[key], value) for key, value in wanted.items() if shown[key] != value}
    if wrong or write["before"] == WRITTEN:
        raise AssertionError("set var $r5 on the switched-out %s: (shown, expected) %s\n%s" % (task, wrong, write))


# QEMU 7.2's gdbstub now and then ends the single step with which GDB steps over the breakpoint it stopped at
# without running the instruction (more often on a loaded host; GDB straight to QEMU shows it as well), and GDB
# reports the same breakpoint again. continue_commands then continues once more, and GDB prints one of these
# lines with the function of the breakpoint.
RAN_NOTHING = "QEMU ran nothing in the step over %s's breakpoint; continued once more"
RAN_NOTHING_TWICE = "QEMU ran nothing in the step over %s's breakpoint, twice"


def continue_commands(witness, between=()):
    """continue, and once more when GDB stops at the pc it continued from with witness (an expression that the
    program changes between two stops there) unchanged: nothing ran. Should the second continue run nothing
    either, GDB says so and check_continues fails. between are commands after the place is taken (with the
    thread of the stop selected) and before continue."""
    same = "$pc == $continued_from && (%s) == $witness_before" % witness
    say = 'python print("%s" %% gdb.selected_frame().name())'
    return ["set $continued_from = $pc", "set $witness_before = (%s)" % witness] + list(between) + [
        "continue", "if %s\n%s\ncontinue\nif %s\n%s\nend\nend" % (same, say % RAN_NOTHING, same,
                                                                   say % RAN_NOTHING_TWICE)]


def check_continues(output):
    """Prints the lines of continue_commands' retries in GDB's output; a retry that ran nothing either fails."""
    def lines(form):
        pattern = re.compile("^%s$" % re.escape(form).replace("%s", r"\S+"), re.MULTILINE)
        return pattern.findall(output)
    twice = lines(RAN_NOTHING_TWICE)
    if twice:
        raise AssertionError("\n".join(twice))
    for line in lines(RAN_NOTHING):
        print(line)


def watch_commands(variable, heading):
    """Every breakpoint deleted, a hardware watchpoint on variable, then continue under the line heading."""
    return ["delete", "watch " + variable, "echo %s\\n" % heading, "continue", "delete"]


def check_watch(lines, variable):
    """The stop names the hardware watchpoint on variable, with its old value and the new one, one more."""
    stop = re.compile(r"^Thread \d+ hit Hardware watchpoint \d+: %s$" % re.escape(variable))
    old = [line for line in lines if line.startswith("Old value = ")]
    new = [line for line in lines if line.startswith("New value = ")]
    if not any(stop.match(line) for line in lines) or len(old) != 1 or len(new) != 1 or \
            int(new[0].split()[-1]) != int(old[0].split()[-1]) + 1:
        raise AssertionError("the watchpoint stop does not name the watchpoint with old and new value:\n%s"
                             % harness.indent("\n".join(lines)))


FLOAT_REGISTERS = ["s%d" % n for n in range(32)] + ["fpscr"]
# A line of "info registers s0 ... fpscr" (or d0 ... fpscr): a single or a double shows its raw bits, a double
# that the target description makes a vector (QEMU's Cortex-A) its u64 member, fpscr its value first.
FLOAT_LINE = re.compile(r"^(s\d+|d\d+|fpscr)\s+(?:<unavailable>|\S+\s+\(raw (0x[0-9a-f]+)\)|(0x[0-9a-f]+)\s.*|"
                        r"\{.* u64 = (0x[0-9a-f]+),.*\})$")


def float_registers_command():
    return "info registers " + " ".join(FLOAT_REGISTERS)


def parse_float_registers(lines):
    """Register name to its 32 bits, or None where GDB says <unavailable>, from lines of float_registers_command's
    output."""
    shown = {}
    for line in lines:
        found = FLOAT_LINE.match(line)
        if found:
            raw = found.group(2) or found.group(3) or found.group(4)
            shown[found.group(1)] = int(raw, 16) if raw else None
    return shown
