"""End-to-end: GDB through tarnwick on a ThreadX-shaped target program served by the target simulator.

The simulator answers a continue or a step with a stop at once. tarnwick reads the kernel only from the second
stop on: the reply to GDB's first "?" is shown with the one thread 1 (the core itself). So the first session
checks exactly that, and then continues once to reach the second stop before it looks at any thread.

First session, tarnwick with --rtos threadx --rtos_variant <core>:
  - info threads at the first stop: thread 1 alone;
  - continue; info threads: the five threads by id, with their names, "main" marked as running;
  - for every thread: thread N, info registers (the words of its saved context, or the core's registers for
    the running thread), bt (three frames, ending in the thread's entry function);
  - monitor rtos state, monitor rtos -t state, monitor rtos -m state: the expected texts;
  - back on main, stepi: pc one instruction on, and the same threads; continue: the same again;
  - kill: tarnwick ends in order; its log shows the kernel first read at the second stop.
Second session, a new tarnwick and a new GDB to the same simulator: the kernel detected without --rtos and, on
the M profile, the core too (no --rtos_variant; the CPUID register is read); the same threads and registers.
"""

import difflib
import json
import os
import subprocess

import gdbsession
import harness
import threadx_programs as tx

MONITOR_FORMATS = [("monitor rtos state", "state.txt"), ("monitor rtos -t state", "state_tree.txt"),
                   ("monitor rtos -m state", "state.json")]


def fail(message, *processes):
    raise AssertionError(message + "".join("\n" + process.describe() for process in processes))


def differences(expected, actual):
    return "\n".join(difflib.unified_diff(expected, actual, "expected", "actual", lineterm=""))


def thread_commands(numbers):
    commands = []
    for number in numbers:
        commands += [tx.marked("thread %d" % number), "thread %d" % number,
                     tx.marked("registers %d" % number), "info registers",
                     tx.marked("bt %d" % number), "bt"]
    return commands


def monitor_output(session, suffix):
    return session.path("monitor_" + suffix)


def first_session_commands(session, image, port):
    numbers = range(2, 2 + len(tx.THREAD_ORDER))
    # The connection's stop is the first: tarnwick shows thread 1 alone and reads nothing of the kernel. The
    # continue brings the second stop (the simulator stops at once), from which on the kernel's threads show.
    commands = gdbsession.connect_commands(image.elf, port, tx.GDB_SETUP) + [
        tx.marked("first stop"), "info threads", tx.marked("continue"), "continue", tx.marked("threads"),
        "info threads"]
    commands += thread_commands(numbers)
    # GDB prints a monitor command's output on standard error; a log file per command keeps each apart.
    commands += ["set logging overwrite on", "set logging redirect on"]
    for command, suffix in MONITOR_FORMATS:
        commands += ["set logging file " + monitor_output(session, suffix), "set logging enabled on", command,
                     "set logging enabled off"]
    # GDB numbers the threads as it learns them: the stopped one (main) first, the others by ascending id.
    commands += [tx.marked("back to main"), "thread 2",
                 tx.marked("stepi"), "stepi",
                 tx.marked("pc after stepi"), "info registers pc",
                 tx.marked("threads after stepi"), "info threads",
                 tx.marked("continue again"), "continue",
                 tx.marked("threads after continue"), "info threads",
                 tx.marked("kill"), "kill"]
    return commands


def second_session_commands(image, port):
    numbers = range(2, 2 + len(tx.THREAD_ORDER))
    commands = gdbsession.connect_commands(image.elf, port, tx.GDB_SETUP) + [
        tx.marked("continue"), "continue", tx.marked("threads"), "info threads"]
    return commands + thread_commands(numbers) + [tx.marked("detach"), "detach"]


def run_gdb(session, commands, name, proxy):
    result = session.run_gdb(commands, name=name, timeout=20.0)
    session.write_file(name + ".out", result.stdout)
    if result.returncode != 0 or result.stderr:
        fail("%s: exit status %d\nstdout:\n%s\nstderr:\n%s" % (name, result.returncode, harness.indent(result.stdout),
                                                               harness.indent(result.stderr)), proxy)
    return tx.sections(result.stdout)


def section(parts, label, name):
    if label not in parts:
        raise AssertionError("%s: no output after the marker %r" % (name, label))
    return parts[label]


def check_rows(parts, label, expected, name):
    actual = tx.thread_rows(section(parts, label, name))
    if actual != expected:
        raise AssertionError("%s, %s: info threads differs:\n%s\noutput:\n%s" % (
            name, label, differences([repr(row) for row in expected], [repr(row) for row in actual]),
            harness.indent(parts[label])))


def check_each_thread(parts, image, name):
    """thread N, info registers and bt of every thread, whichever thread GDB numbered N."""
    by_id = {image.thread_id(thread): thread for thread in tx.THREAD_ORDER}
    seen = []
    for number in range(2, 2 + len(tx.THREAD_ORDER)):
        switched = section(parts, "thread %d" % number, name).splitlines()
        thread = None
        for thread_id, candidate in by_id.items():
            if switched[:1] == ["[Switching to thread %d (Thread %d)]" % (number, thread_id)]:
                thread = candidate
        if thread is None:
            raise AssertionError("%s: thread %d is no thread of the program:\n%s" % (
                name, number, harness.indent("\n".join(switched))))
        seen.append(thread)
        frame_line = "#0  " + image.frame_text(thread)
        if switched[1:2] != [frame_line]:
            raise AssertionError("%s: thread %d (%s) shows %r, expected %r" % (name, number, thread, switched[1:2],
                                                                              frame_line))
        expected = image.shown_registers(thread)
        actual = tx.register_values(section(parts, "registers %d" % number, name))
        if actual != expected:
            shown = lambda rows: ["%s %s" % (register, "<unavailable>" if value is None else "0x%x" % value)
                                  for register, value in rows]
            raise AssertionError("%s: registers of thread %d (%s) differ:\n%s" % (
                name, number, thread, differences(shown(expected), shown(actual))))
        trace = section(parts, "bt %d" % number, name).splitlines()
        expected_trace = image.backtrace(thread)
        if trace != expected_trace:
            raise AssertionError("%s: bt of thread %d (%s) differs:\n%s" % (name, number, thread,
                                                                           differences(expected_trace, trace)))
    if sorted(seen) != sorted(tx.THREAD_ORDER):
        raise AssertionError("%s: threads 2 to 6 are %s" % (name, seen))


def check_monitor(session, expected_dir, program, name):
    for command, suffix in MONITOR_FORMATS:
        path = os.path.join(expected_dir, "e2e_threadx_%s_%s" % (program.name, suffix))
        with open(path) as expected_file:
            expected = expected_file.read()
        with open(monitor_output(session, suffix)) as output:
            actual = output.read()
        if actual != expected:
            raise AssertionError("%s: %s differs from %s:\n%s" % (name, command, path, differences(
                expected.splitlines(), actual.splitlines())))


def check_thread_table(session, image, name):
    """The threads of the JSON state, worked out from the program's symbols and the layout of its stacks: so
    the expected texts agree with the snapshot, not only with an earlier run."""
    with open(monitor_output(session, "state.json")) as output:
        state = json.load(output)
    sections = {node["label"]: node["value"] for node in state["value"]}
    actual = [{item["label"]: item["value"] for item in node["value"]} for node in sections["Thread List"]]
    expected = []
    for thread in sorted(tx.THREAD_ORDER, key=image.thread_id):
        base, size = image.symbols["stack_" + thread]
        free = 4 * tx.THREADS[thread].free_words
        expected.append({"Thread Id": "0x%08x" % image.thread_id(thread), "Active": "1" if thread == tx.RUNNING
                         else "0", "Name": thread, "Stack Ptr": "0x%08x" % image.saved_sp(thread),
                         "Stack start": "0x%08x" % base, "Stack end": "0x%08x" % (base + size - 1),
                         "Stack usage": "%dB/%dB (%.1f%%)" % (size - free, size, (size - free) * 100.0 / size)})
    trimmed = [{label: row.get(label) for label in expected[0]} for row in actual]
    if trimmed != expected:
        raise AssertionError("%s: the thread list of monitor rtos -m state differs:\n%s" % (
            name, differences([repr(row) for row in expected], [repr(row) for row in trimmed])))


def check_stepping(parts, image, name):
    """stepi moves main's pc over one instruction; the threads stay, main's frame now shows its address. The
    simulator keeps that pc for the second session."""
    main_label = tx.THREADS[tx.RUNNING].pc_label
    start = image.address(main_label)
    switched = section(parts, "back to main", name).splitlines()[:1]
    if switched != ["[Switching to thread 2 (Thread %d)]" % image.thread_id(tx.RUNNING)]:
        raise AssertionError("%s: thread 2 is not main: %s" % (name, switched))
    stepped = start + image.instruction_size(start)
    pcs = tx.register_values(section(parts, "pc after stepi", name))
    if pcs != [("pc", stepped)]:
        raise AssertionError("%s: after stepi from 0x%x pc is %s, expected 0x%x" % (name, start, pcs, stepped))
    image.step_core(stepped)
    expected = tx.expected_rows(image)
    check_rows(parts, "threads after stepi", expected, name)
    check_rows(parts, "threads after continue", expected, name)


def wait_ended(process, what):
    try:
        process.popen.wait(timeout=5)
    except subprocess.TimeoutExpired:
        fail("%s: tarnwick still runs 5 s after GDB left" % what, process)
    if process.popen.returncode != 0 or not process.stdout().endswith("Proxy stopped.\n"):
        fail("%s: tarnwick did not end in order" % what, process)


def expect_log(process, lines, what):
    log = harness.timings_masked(process.stdout())
    for line in lines:
        if line not in log:
            fail("%s: the log lacks %r" % (what, line), process)


def check_driver_waits(proxy, name):
    """The kernel is first read at the second stop: the reply to "?" and the one to the continue come before."""
    log = proxy.stdout()
    stop = "Reply: T Signal: 5\n"
    first_read = log.find("Kernel is running: true\n")
    if first_read < 0 or log.count(stop, 0, first_read) != 2:
        fail("%s: the kernel was not first read at the second stop" % name, proxy)


def first_session(session, args, image, sim_port):
    listen_port = harness.free_port()
    proxy = session.start_tarnwick(args.tarnwick, sim_port, listen_port, [
        "--file", image.elf, "--debug_info_cache", session.path("target.proxy_cache"), "--rtos", "threadx",
        "--rtos_variant", image.program.variant, "--loglevel", "15"], name="tarnwick_first")
    name = "first session"
    parts = run_gdb(session, first_session_commands(session, image, listen_port), "gdb_first", proxy)
    check_rows(parts, "first stop", [(True, 1, 1, "1 RUNNING", image.frame_text(tx.RUNNING))], name)
    check_rows(parts, "threads", tx.expected_rows(image), name)
    check_each_thread(parts, image, name)
    check_monitor(session, args.expected, image.program, name)
    check_thread_table(session, image, name)
    check_stepping(parts, image, name)
    if section(parts, "kill", name) != "[Inferior 1 (Remote target) killed]\n":
        raise AssertionError("%s: kill printed %r" % (name, parts["kill"]))
    wait_ended(proxy, name)
    expect_log(proxy, ["Loading RTOS driver... ThreadX\n", "Port driver loaded: %s\n" % image.program.variant], name)
    check_driver_waits(proxy, name)


def second_session(session, args, image, sim_port):
    listen_port = harness.free_port()
    options = ["--file", image.elf, "--debug_info_cache", session.path("target.proxy_cache"), "--loglevel", "15"]
    if image.program.a_profile:
        options += ["--rtos_variant", image.program.variant]
    proxy = session.start_tarnwick(args.tarnwick, sim_port, listen_port, options, name="tarnwick_second")
    name = "second session"
    parts = run_gdb(session, second_session_commands(image, listen_port), "gdb_second", proxy)
    check_rows(parts, "threads", tx.expected_rows(image), name)
    check_each_thread(parts, image, name)
    if section(parts, "detach", name) != "[Inferior 1 (Remote target) detached]\n":
        raise AssertionError("%s: detach printed %r" % (name, parts["detach"]))
    wait_ended(proxy, name)
    # Detection tries the rows of the driver database in order, FreeRTOS first, and resolving each row's
    # structure logs its own line in the middle of the start-up line.
    resolved = "SymbolTable::resolveDataStructures(), <n> ms\n"
    expected_log = ["Loading RTOS driver (Auto)... " + resolved + resolved + "ThreadX\n"]
    if not image.program.a_profile:
        part = (image.program.cpuid >> 4) & 0xFFF
        expected_log += ["SCB->CPUID->PART_NO: 0x%x\n" % part,
                         "ThreadX, port driver created: %s\n" % image.program.variant, "Port driver loaded (auto)\n"]
    expect_log(proxy, expected_log, name)


def run(args, session):
    image = tx.Image(tx.PROGRAMS[args.case], args.fixtures, args.sources)
    _, sim_port = tx.start_target(session, image, args.target_sim)
    first_session(session, args, image, sim_port)
    print("%s: first session as expected" % args.case)
    second_session(session, args, image, sim_port)
    print("%s: second session, kernel detected, as expected" % args.case)


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "fixtures", "sources", "expected"),
                   options=[(["--case"], {"required": True, "choices": sorted(tx.PROGRAMS)})])
