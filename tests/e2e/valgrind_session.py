"""End-to-end under valgrind memcheck: tarnwick in front of the target simulator serving one of our
kernel-shaped programs, driven by gdb-multiarch through its threads, their registers and backtraces, and the
monitor commands in all three forms. Memcheck must find no error and no definite leak, and the session must
have done its work: every task a thread, the state command answered.
"""

import re
import time

import gdbsession
import harness

# Program, breakpoint for the second stop, driver options, tasks the kernel holds, a line the monitor
# commands must print (the catalogue's first line, and for ThreadX a section of its state).
CASES = {
    "freertos": ("freertos_snapshot.elf", "main", ["--rtos", "freertos", "--rtos_variant", "ARM_CM4F"], 12,
                 "Driver: freeRTOS"),
    "threadx": ("threadx_state.elf", "heartbeat_expired", ["--rtos", "threadx", "--rtos_variant", "cortex_m4"],
                13, "Memory Byte Pools"),
}
MEMCHECK = ["valgrind", "--tool=memcheck", "--leak-check=full", "--show-leak-kinds=definite",
            "--errors-for-leak-kinds=definite", "--error-exitcode=99"]
# A line of "info threads" for a kernel thread (GDB shows the ids in decimal); thread 1 is the core alone.
THREAD_LINE = re.compile(r"^[* ] +\d+ +Thread (?!1 )\d+ \(", re.MULTILINE)


def start_under_memcheck(session, tarnwick, sim_port, listen_port, elf, driver_args, timeout=60.0):
    argv = MEMCHECK + ["--log-file=" + session.path("memcheck.log"), tarnwick,
                       "--server_connection", "127.0.0.1:%d" % sim_port, "--port", str(listen_port),
                       "--file", elf, "--debug_info_cache", session.path("program.proxy_cache")] + driver_args
    process = session.start("tarnwick", argv)
    harness.wait_for_listening(process, listen_port, timeout)
    return process


def gdb_commands(elf, port, breakpoint):
    return [
        "set pagination off",
        "set confirm off",
        "set width 0",
        # Memcheck slows the proxy down some twenty times; the walks still take well under these limits.
        "set remotetimeout 60",
        "set tcp connect-timeout 30",
        "file " + elf,
        "target remote 127.0.0.1:%d" % port,
        "info threads",
        "break " + breakpoint,
        "continue",
        "info threads",
        "thread apply all info registers",
        "thread apply all bt 3",
        "monitor rtos",
        "monitor rtos -m",
        "monitor rtos state",
        "monitor rtos -t state",
        "monitor rtos -m state",
        "monitor rtos nothing",
        "monitor rtos  state",
        "info threads",
        "detach",
    ]


def run_case(case, args):
    program, breakpoint, driver_args, tasks, state_line = CASES[case]
    elf = "%s/%s" % (args.fixtures, program)
    with harness.Session(keep_files=args.keep_files) as session:
        _, sim_port = session.start_target_sim(args.target_sim, elf, ["--ram", "0x20000000:0x40000"])
        listen_port = harness.free_port()
        tarnwick = start_under_memcheck(session, args.tarnwick, sim_port, listen_port, elf, driver_args)
        result = session.run_gdb(gdb_commands(elf, listen_port, breakpoint), timeout=240.0)
        deadline = time.monotonic() + 120.0
        while not tarnwick.exited() and time.monotonic() < deadline:
            time.sleep(0.1)
        with open(session.path("memcheck.log"), errors="replace") as log:
            memcheck = log.read()
        where = "\n  gdb stdout:\n%s\n  gdb stderr:\n%s\n  memcheck:\n%s\n%s" % (
            harness.indent(result.stdout), harness.indent(result.stderr), harness.indent(memcheck),
            tarnwick.describe())
        if not tarnwick.exited():
            raise AssertionError("%s: tarnwick did not end after GDB detached%s" % (case, where))
        status = tarnwick.popen.returncode
        if status != 0:
            raise AssertionError("%s: tarnwick under memcheck ended with status %d%s" % (case, status, where))
        if "ERROR SUMMARY: 0 errors from 0 contexts" not in memcheck:
            raise AssertionError("%s: memcheck reports errors%s" % (case, where))
        if "definitely lost: 0 bytes" not in memcheck and "no leaks are possible" not in memcheck:
            raise AssertionError("%s: memcheck reports a definite leak%s" % (case, where))
        if not tarnwick.stdout().endswith("Proxy stopped.\n"):
            raise AssertionError("%s: tarnwick did not end in order%s" % (case, where))
        threads = THREAD_LINE.findall(result.stdout)
        # The first stop shows the core alone (not a kernel thread line), the second and last the tasks.
        if len(threads) != 2 * tasks:
            raise AssertionError("%s: %d thread lines, expected the %d tasks twice%s" % (case, len(threads), tasks, where))
        # GDB in batch mode writes what monitor commands print to its standard error.
        output = result.stdout + result.stderr
        # "nothing" and the empty word are no commands; the state command fails too where a driver lacks it.
        if state_line not in output or output.count("Failed to execute command") < 2:
            raise AssertionError("%s: the monitor commands were not answered%s" % (case, where))
        summary = re.search(r"ERROR SUMMARY: .*", memcheck).group(0)
        print("%s: %d threads, monitor answered; memcheck: %s" % (case, tasks, summary))


def run(args):
    for case in args.case or sorted(CASES):
        run_case(case, args)


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "fixtures"), session=False,
                   options=[(["--case"], {"choices": sorted(CASES), "action": "append"})])
