"""End-to-end: tarnwick started twice with all its options from a file (-f), in front of the target simulator
serving the ThreadX-shaped Cortex-M4 program; GDB must see the kernel's threads both times.

First start: comments, an indented comment and blank lines; NAME=VALUE aliases with blanks around the '='
(PROXY_RSPSERVER_PORT before PROXY_RSPSERVER_HOST, PROXY_PORT, PROXY_RTOS, PROXY_RTOS_PORT, PROXY_ELF_OBJECT,
LOGGER_LOGLEVEL); a "--server_connection" to a dead port, which the alias pair overrides as it is put last;
an option and its value on one line, which is an option of that whole name that nothing reads. The program
lies in a directory whose name has a blank. No cache exists: the real arm-none-eabi-readelf makes it beside
the program, and it must hold exactly what readelf -wi prints.

Second start: PROXY_RSPSERVER_HOST before PROXY_RSPSERVER_PORT, options and values on lines of their own, no
--rtos and no --rtos_variant: the kernel is detected from the cache and the core from its CPUID register.
The cache is used as it is (its modification time unchanged), and the log at --loglevel 15 says so.

Third start, as the second, after the program's modification time was set to the cache's: a cache that is
not newer by whole seconds is stale, and readelf makes it anew.
"""

import os
import shutil
import subprocess
import time

import gdbsession
import harness
import threadx_programs as tx

PROGRAM = "cm4"
# Older than the cache by whole seconds, so that the cache that the first start makes counts as newer:
# modification times are compared in whole seconds, and equal ones mean a stale cache.
ELF_AGE_SECONDS = 10
RESOLVED = "SymbolTable::resolveDataStructures(), <n> ms\n"


def fail(message, *processes):
    raise AssertionError(message + "".join("\n" + process.describe() for process in processes))


def first_options(elf, sim_port, listen_port, dead_port):
    return "\n".join([
        "# Options of the first start: the kernel named, the cache made.",
        "\t  # an indented comment",
        "",
        "PROXY_RSPSERVER_PORT = %d" % sim_port,
        "--server_connection",
        "127.0.0.1:%d" % dead_port,
        "PROXY_RSPSERVER_HOST=127.0.0.1",
        "   PROXY_PORT=%d" % listen_port,
        "--server_connection 127.0.0.1:%d" % dead_port,
        "PROXY_RTOS=threadx",
        "PROXY_RTOS_PORT = cortex_m4",
        "PROXY_ELF_OBJECT=" + elf,
        "",
        "LOGGER_LOGLEVEL=15",
        "# the end",
    ]) + "\n"


def second_options(elf, sim_port, listen_port):
    return "\n".join([
        "# Second start: kernel and core detected, the cache reused.",
        "PROXY_RSPSERVER_HOST=127.0.0.1",
        "PROXY_RSPSERVER_PORT=%d" % sim_port,
        "--port",
        str(listen_port),
        "--file",
        elf,
        "--loglevel",
        "15",
    ]) + "\n"


def gdb_commands(image, port):
    # The first stop shows thread 1 alone; the kernel's threads show from the second stop on.
    return tx.GDB_SETUP + ["file \"%s\"" % image.elf, "target remote 127.0.0.1:%d" % port, "continue",
                           tx.marked("threads"), "info threads", tx.marked("detach"), "detach"]


def run_start(session, args, image, options_text, name):
    """One start of tarnwick from an options file and one GDB session through it; returns tarnwick's log."""
    listen_port = harness.free_port()
    options = session.write_file(name + ".options", options_text(listen_port))
    proxy = session.start_tarnwick_options(args.tarnwick, options, listen_port, name="tarnwick_" + name)
    result = session.run_gdb(gdb_commands(image, listen_port), name="gdb_" + name, timeout=15.0)
    parts = tx.sections(result.stdout)
    rows = tx.thread_rows(parts.get("threads", ""))
    if result.returncode != 0 or result.stderr or rows != tx.expected_rows(image):
        fail("%s: GDB did not see the kernel's threads:\n%s\nexpected rows:\n%s\nstderr:\n%s" % (
            name, harness.indent(result.stdout), harness.indent("\n".join(map(repr, tx.expected_rows(image)))),
            harness.indent(result.stderr)), proxy)
    try:
        proxy.popen.wait(timeout=5)
    except subprocess.TimeoutExpired:
        fail("%s: tarnwick still runs 5 s after GDB detached" % name, proxy)
    log = harness.timings_masked(proxy.stdout())
    if proxy.popen.returncode != 0 or not log.endswith("Proxy stopped.\n"):
        fail("%s: tarnwick did not end in order" % name, proxy)
    return log, proxy


def expect_in_log(log, lines, name, proxy):
    for line in lines:
        if line not in log:
            fail("%s: the log lacks %r" % (name, line), proxy)


def readelf_dump(elf):
    return subprocess.run(["arm-none-eabi-readelf", "-wi", elf], capture_output=True, check=True).stdout


def run(args, session):
    program = tx.PROGRAMS[PROGRAM]
    directory = session.path("target with blank")
    os.mkdir(directory)
    elf = os.path.join(directory, program.elf_name)
    shutil.copyfile(os.path.join(args.fixtures, program.elf_name), elf)
    past = time.time() - ELF_AGE_SECONDS
    os.utime(elf, (past, past))
    image = tx.Image(program, args.fixtures, args.sources, elf=elf)
    cache = elf + ".proxy_cache"
    _, sim_port = tx.start_target(session, image, args.target_sim)

    log, proxy = run_start(session, args, image,
                           lambda port: first_options(elf, sim_port, port, harness.free_port()), "first")
    expect_in_log(log, ["Loading RTOS driver... ThreadX\n", "SymbolTable::generateDebugInfo(), Cache: %s\n"
                        % cache, "Port driver loaded: cortex_m4\n"], "first", proxy)
    # Each symbol negotiation looks at the cache again, but only once it has been made.
    if "SymbolTable::validDebugInfo()" in log.split("SymbolTable::generateDebugInfo(), Cache:")[0]:
        fail("first: a cache was looked at before there was one", proxy)
    if not os.path.isfile(cache):
        fail("first: no cache at " + cache, proxy)
    with open(cache, "rb") as made:
        dump = made.read()
    if not dump or dump != readelf_dump(elf):
        fail("first: the cache (%d bytes) is not what arm-none-eabi-readelf -wi prints" % len(dump), proxy)
    made_at = os.stat(cache).st_mtime_ns
    print("first start: threads seen, cache made by readelf")

    log, proxy = run_start(session, args, image, lambda port: second_options(elf, sim_port, port), "second")
    expect_in_log(log, ["SymbolTable::validDebugInfo(), True\n",
                        "Loading RTOS driver (Auto)... " + RESOLVED + RESOLVED + "ThreadX\n",
                        "Port driver loaded (auto)\n"], "second", proxy)
    if "generateDebugInfo" in log:
        fail("second: the cache was made again", proxy)
    if os.stat(cache).st_mtime_ns != made_at:
        fail("second: the cache's modification time changed", proxy)
    with open(cache, "rb") as kept:
        if kept.read() != dump:
            fail("second: the cache's content changed", proxy)
    print("second start: kernel and core detected, cache reused")

    # The program as old as the cache, to the second: the cache counts as stale and is made anew.
    os.utime(elf, ns=(made_at, made_at))
    log, proxy = run_start(session, args, image, lambda port: second_options(elf, sim_port, port), "third")
    expect_in_log(log, ["SymbolTable::validDebugInfo(), False\n",
                        "SymbolTable::generateDebugInfo(), Cache: %s\n" % cache], "third", proxy)
    if os.stat(cache).st_mtime_ns == made_at:
        fail("third: the stale cache was not made anew", proxy)
    with open(cache, "rb") as remade:
        if remade.read() != dump:
            fail("third: the cache made anew differs from readelf's dump", proxy)
    print("third start: a cache of the program's second counts as stale and is made anew")


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "fixtures", "sources"))
