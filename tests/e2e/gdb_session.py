"""End-to-end: one GDB session against the target simulator, once directly and once through tarnwick.

GDB loads sim_cm3.elf, connects, reads flash and initialised RAM, lists the registers, sets a breakpoint,
continues to it and detaches. The direct run must print exactly the lines this test derives from the ELF
file and the sources; the run through the proxy must print the same, port numbers aside.
"""

import difflib
import os
import re
import subprocess

import gdbsession
import harness

SOURCE_DIR = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "fixtures", "sim"))

# The data words of main.c, which the program never changes.
FLASH_WORDS = [0x11223344, 0x55667788, 0x99aabbcc, 0xddeeff00, 0xcafef00d, 0x0badc0de, 0x12345678, 0x87654321]
RAM_WORDS = [0xdeadbeef, 0x01020304, 0xa5a5a5a5, 0x5a5a5a5a]

# Registers the simulator is started with: r0..r12 from a file, lr by option; sp and pc stay at their defaults.
FILE_REGISTERS = {"r%d" % i: 0x01010101 * i for i in range(13)}
LR_VALUE = 0xfffffff9
RAM = "0x20000000:0x10000"
BREAKPOINT = re.compile(r"^Breakpoint 1 at 0x([0-9a-f]+): file ", re.MULTILINE)


def source_line(name, marker, whole=False):
    """Path, 1-based number and text of the one line of a fixture source that contains marker (or is it)."""
    path = os.path.join(SOURCE_DIR, name)
    with open(path) as source:
        lines = [(number, text.rstrip("\n")) for number, text in enumerate(source, 1)]
    hits = [(number, text) for number, text in lines if (text == marker if whole else marker in text)]
    if len(hits) != 1:
        raise harness.HarnessError("%s: %d lines contain %r, expected one" % (path, len(hits), marker))
    return path, hits[0][0], hits[0][1]


def register_line(name, value, natural):
    # GDB's info registers: name to column 15, hexadecimal value to column 35, then the natural form.
    return "%-15s%-20s%s" % (name, "0x%x" % value, natural)


def memory_lines(symbol, address, words):
    lines = []
    for row in range(0, len(words), 4):
        label = symbol if row == 0 else "%s+%d" % (symbol, row * 4)
        values = "\t".join("0x%08x" % word for word in words[row:row + 4])
        lines.append("0x%x <%s>:\t%s" % (address + row * 4, label, values))
    return lines


def gdb_commands(elf, port, break_spec):
    return [
        "set pagination off",
        "set confirm off",
        "set width 0",
        "set tcp connect-timeout 5",
        "file " + elf,
        "target remote 127.0.0.1:%d" % port,
        "x/8xw &flash_words",
        "x/4xw &ram_words",
        "info registers",
        "break " + break_spec,
        "continue",
        "info registers pc",
        "detach",
    ]


def expected_lines(elf, breakpoint_address):
    table = gdbsession.elf_symbols(elf)
    entry_path, entry_line, entry_text = source_line("startup.c", "void Reset_Handler(void)", whole=True)
    with open(entry_path) as source:
        brace = source.read().splitlines()[entry_line]
    break_path, break_line, break_text = source_line("main.c", "e2e: breakpoint line")
    reset = table["Reset_Handler"][0]
    tick = table["tick"][0]
    stack_top = table["_estack"][0]
    lines = ["Reset_Handler () at %s:%d" % (entry_path, entry_line + 1), "%d\t%s" % (entry_line + 1, brace)]
    lines += memory_lines("flash_words", table["flash_words"][0], FLASH_WORDS)
    lines += memory_lines("ram_words", table["ram_words"][0], RAM_WORDS)
    lines += [register_line("r%d" % i, FILE_REGISTERS["r%d" % i], str(FILE_REGISTERS["r%d" % i])) for i in range(13)]
    lines += [
        register_line("sp", stack_top, "0x%x" % stack_top),
        register_line("lr", LR_VALUE, str(LR_VALUE - (1 << 32))),
        register_line("pc", reset, "0x%x <Reset_Handler>" % reset),
        register_line("xpsr", 0x01000000, str(0x01000000)),
        "Breakpoint 1 at 0x%x: file %s, line %d." % (breakpoint_address, break_path, break_line),
        "",
        "Breakpoint 1, tick () at %s:%d" % (break_path, break_line),
        "%d\t%s" % (break_line, break_text),
        register_line("pc", breakpoint_address, "0x%x <tick+%d>" % (breakpoint_address, breakpoint_address - tick)),
        "[Inferior 1 (Remote target) detached]",
    ]
    return lines, table["tick"]


def normalise(text, ports):
    for port in ports:
        text = re.sub(r"\b%d\b" % port, "<port>", text)
    return text


def differences(expected, actual, label_expected, label_actual):
    return "\n".join(difflib.unified_diff(expected, actual, label_expected, label_actual, lineterm=""))


def run_session(session, args, name, connect_port):
    _, break_line, _ = source_line("main.c", "e2e: breakpoint line")
    result = session.run_gdb(gdb_commands(args.elf, connect_port, "main.c:%d" % break_line), name=name)
    if result.returncode != 0:
        raise harness.HarnessError("%s exited with status %d\nstdout:\n%s\nstderr:\n%s" % (
            name, result.returncode, harness.indent(result.stdout), harness.indent(result.stderr)))
    return result


def start_sim(session, args, name):
    registers = session.write_file(name + ".regs", "# r0..r12 for the e2e session\n" + "".join(
        "%s=0x%x\n" % (reg, value) for reg, value in FILE_REGISTERS.items()))
    return session.start_target_sim(args.target_sim, args.elf, name=name, args=[
        "--ram", RAM, "--regs-file", registers, "--reg", "lr=0x%x" % LR_VALUE])


def check_direct(session, args):
    """The session straight against the simulator; returns its result after checking every line."""
    sim, port = start_sim(session, args, "sim_direct")
    result = run_session(session, args, "gdb_direct", port)
    found = BREAKPOINT.search(result.stdout)
    if not found:
        raise AssertionError("direct session: no breakpoint line in GDB's output:\n" + result.stdout)
    address = int(found.group(1), 16)
    expected, (tick, tick_size) = expected_lines(args.elf, address)
    if not tick <= address < tick + tick_size:
        raise AssertionError("breakpoint 0x%x lies outside tick [0x%x, 0x%x)" % (address, tick, tick + tick_size))
    actual = result.stdout.splitlines()
    if actual != expected or result.stderr:
        raise AssertionError("direct session differs from the expected output:\n%s\nstderr:\n%s" % (
            differences(expected, actual, "expected", "gdb_direct"), harness.indent(result.stderr)))
    try:
        sim.popen.wait(timeout=5)
    except subprocess.TimeoutExpired:
        raise AssertionError("the simulator did not end its --once session after GDB detached")
    return result, port


def check_proxied(session, args, direct, direct_port):
    sim, sim_port = start_sim(session, args, "sim_proxied")
    try:
        # A program without a kernel: the driver finds nothing, and tarnwick must be invisible to GDB.
        proxy, listen_port = session.start_tarnwick_for(args.tarnwick, sim_port, args.elf,
                                                        ["--rtos", "freertos", "--rtos_variant", "ARM_CM3"])
    except harness.HarnessError as error:
        raise AssertionError("the proxied half cannot run:\n%s" % error)
    result = run_session(session, args, "gdb_proxied", listen_port)
    expected = normalise(direct.stdout, [direct_port]).splitlines()
    actual = normalise(result.stdout, [listen_port, sim_port]).splitlines()
    if actual != expected or result.stderr != direct.stderr:
        raise AssertionError("the session through tarnwick differs from the direct one:\n%s\nstderr:\n%s\n%s" % (
            differences(expected, actual, "gdb_direct", "gdb_proxied"), harness.indent(result.stderr),
            proxy.describe()))


def run(args, session):
    direct, direct_port = check_direct(session, args)
    print("direct session: %d lines as expected" % len(direct.stdout.splitlines()))
    check_proxied(session, args, direct, direct_port)
    print("session through tarnwick: identical to the direct one")


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "elf"))
