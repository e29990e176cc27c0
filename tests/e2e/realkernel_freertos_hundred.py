#!/usr/bin/env python3
"""A real FreeRTOS program with 100 tasks (tests/fixtures/realkernel/freertos, the Cortex-A9 program with 87
sleeping tasks more) under QEMU, with gdb-multiarch through tarnwick, behind a server that offers
qXfer:threads:read: QEMU's gdbstub behind a relay (feature_relay.py) that adds the feature to its qSupported
reply, as OpenOCD-class servers announce it.

GDB then reads the thread list as a document, in pieces of its default size: every task is listed under its
own name, the running one marked, and the document took more than one request, as a second relay between GDB
and tarnwick counts them (it adds nothing). tarnwick answers them itself, so none reaches the server.

    realkernel_freertos_hundred.py --tarnwick ./tarnwick --fixtures tests/fixtures [--unavailable REASON]
        [--keep-files]
"""

import contextlib
import os

import feature_relay
import gdbsession
import harness

ELF = "realkernel_freertos_ca9_hundred.elf"
MACHINE = "vexpress-a9"
TASKS = 100
# The program's own tasks (app_tasks) and the extra ones (app_extra_tasks).
OWN_TASKS = 13
EXTRA_TASKS = TASKS - OWN_TASKS
FEATURE = b";qXfer:threads:read+"
SECTION = "%%"
GDB_TIMEOUT = 40.0
XFER_REQUEST = b"qXfer:threads:read::"
TCB = "((struct tskTaskControlBlock *) %s)"


def truth_commands():
    """GDB commands printing, in '@' lines, the control block and name of every task, and the running one."""
    handles = ["app_tasks[%d].handle" % index for index in range(OWN_TASKS)]
    handles += ["app_extra_tasks[%d]" % index for index in range(EXTRA_TASKS)]
    lines = ['printf "@current %u\\n", pxCurrentTCB']
    lines += ['printf "@task %%u %%s\\n", %s, %s->pcTaskName' % (handle, TCB % handle) for handle in handles]
    return lines


def session_commands(elf, port):
    return gdbsession.connect_commands(elf, port) + [
        "break Undefined_Handler", "break app_assert_failed", "break checkpoint_reached", "continue",
        "echo %%truth\\n"] + truth_commands() + ["echo %%threads\\n", "info threads", "echo %%kill\\n", "kill",
                                                 "echo %%end\\n"]


def parse_truth(text):
    tasks = {}
    current = None
    for line in text.splitlines():
        key, _, rest = line.partition(" ")
        if key == "@current":
            current = int(rest)
        elif key == "@task":
            tcb, _, name = rest.partition(" ")
            tasks[int(tcb)] = name
    return tasks, current


def check_threads(text, tasks, current):
    """Every task under its own name, and only the running one marked as GDB's current thread."""
    rows = [gdbsession.XFER_THREAD_LINE.match(line) for line in text.splitlines()]
    shown = {int(row.group(3)): row.group(4) for row in rows if row}
    marked = [int(row.group(3)) for row in rows if row and row.group(1) == "*"]
    if shown != tasks:
        missing = sorted(name for tcb, name in tasks.items() if shown.get(tcb) != name)
        raise AssertionError("info threads shows %d threads, the kernel has %d; not shown as the kernel names "
                             "them: %s\n%s" % (len(shown), len(tasks), missing, text))
    if marked != [current]:
        raise AssertionError("info threads marks %s, the kernel runs %d (%s)" % (marked, current, tasks.get(current)))


def check_pieces(requests):
    """The offsets of GDB's last reading of the thread document, which took more than one request, each
    starting where the piece before it (of the length asked for) ended."""
    offsets = []
    for request in requests:
        offset, length = (int(field, 16) for field in request[len(XFER_REQUEST):].decode().split(","))
        if offset == 0:
            offsets = []
        offsets.append((offset, length))
    following = all(offset == before + length for (before, length), (offset, _) in zip(offsets, offsets[1:]))
    if len(offsets) < 2 or not following:
        raise AssertionError("GDB did not read the thread document in pieces: %s" % requests)
    return [offset for offset, _ in offsets]


def run(args, session):
    if args.unavailable is not None:
        raise gdbsession.Skip(args.unavailable)
    elf = os.path.join(args.fixtures, ELF)
    _, qemu_port = session.start_qemu(MACHINE, elf)
    with contextlib.closing(feature_relay.FeatureRelay(qemu_port, FEATURE, XFER_REQUEST)) as relay:
        proxy, port = session.start_tarnwick_for(args.tarnwick, relay.port, elf, ["--rtos", "freertos"])
        with contextlib.closing(feature_relay.FeatureRelay(port, b"", XFER_REQUEST)) as counter:
            result = session.run_gdb(session_commands(elf, counter.port), timeout=GDB_TIMEOUT)
    session.write_file("gdb.output", result.stdout + "\n--- standard error\n" + result.stderr)
    sections = gdbsession.marked_sections(result.stdout, SECTION)
    if "end" not in sections:
        raise AssertionError("the GDB session did not finish (status %d):\nstdout:\n%s\nstderr:\n%s\n%s" % (
            result.returncode, harness.indent(result.stdout), harness.indent(result.stderr), proxy.describe()))
    if relay.announced != 1:
        raise AssertionError("the relay extended %d qSupported replies, not one" % relay.announced)
    if relay.requests:
        raise AssertionError("qXfer:threads:read requests reached the server: %s" % relay.requests)
    tasks, current = parse_truth(sections["truth"])
    if len(set(tasks.values())) != TASKS:
        raise AssertionError("the program has %d tasks of distinct names, not %d" % (len(set(tasks.values())), TASKS))
    check_threads(sections["threads"], tasks, current)
    pieces = check_pieces(counter.requests)
    if "[Inferior 1 (Remote target) killed]" not in sections["kill"]:
        raise AssertionError("kill: %r" % sections["kill"])
    print("%s: %d tasks listed by name, %s running, the thread document read at offsets %s" % (
        ELF, len(tasks), tasks[current], ", ".join("%x" % offset for offset in pieces)))


if __name__ == "__main__":
    gdbsession.run(__doc__, run, options=[
        (["--unavailable"], {"help": "why the real kernels are missing: print it and skip"})])
