#!/usr/bin/env python3
"""Task names with the bytes that frames, XML and JSON give a meaning to, through the real gdb-multiarch.

freertos_hostile_names.elf holds four tasks named a#b<c>"d, $}*&', back\\slash and {"k":[1]}. Served by the
target simulator behind tarnwick, `info threads` must show each name whole, and `monitor rtos state` in its
three forms (table, tree, JSON) must name each task whole; the JSON form must be valid JSON whose task names
are the names. The first stop shows the core alone, so everything is asked after the second.
"""

import json
import os
import re

import gdbsession

ELF = "freertos_hostile_names.elf"
NAMES = ['a#b<c>"d', "$}*&'", "back\\slash", '{"k":[1]}']
FORMS = (("table", "rtos state"), ("tree", "rtos -t state"), ("json", "rtos -m state"))
# Columns of the task table are set apart by at least two blanks; no name here holds two in a row.
COLUMNS = re.compile(r"\s{2,}")


def monitor(name, command):
    """GDB writes the target's output through a stream of its own; taken as a string, it lands between the
    markers."""
    return ["echo @%s\\n" % name, 'python gdb.write(gdb.execute("monitor %s", to_string=True))' % command]


def expect(what, found, expected, proxy):
    if found != expected:
        raise AssertionError("%s: %r, expected %r\n%s" % (what, found, expected, proxy.describe()))


def table_names(text):
    """The Name cells of the rows under the "Tasks" table's heading line."""
    lines = text.splitlines()
    heading = next(i for i, line in enumerate(lines) if line.startswith("Active "))
    names = []
    for line in lines[heading + 1:]:
        if not line.strip():
            break
        names.append(COLUMNS.split(line)[2])
    return names


def tree_names(text):
    return [line[len("   Name:"):] for line in text.splitlines() if line.startswith("   Name:")]


def json_names(text):
    document = json.loads(text)
    tasks = next(section for section in document["value"] if section["label"] == "Tasks")
    names = []
    for task in tasks["value"]:
        names += [cell["value"] for cell in task["value"] if cell["label"] == "Name"]
    usage = next(section for section in document["value"] if section["label"] == "Stack usage")
    return names, [row["label"] for row in usage["value"]]


def check(args, session):
    elf = os.path.join(args.fixtures, ELF)
    _, sim_port = session.start_target_sim(args.target_sim, elf, ["--ram", "0x20000000:0x10000"])
    proxy, listen = session.start_tarnwick_for(args.tarnwick, sim_port, elf,
                                               ["--rtos", "freertos", "--rtos_variant", "ARM_CM3"])
    commands = gdbsession.connect_commands(elf, listen) + ["break main", "continue", "echo @threads\\n",
                                                           "info threads"]
    for name, command in FORMS:
        commands += monitor(name, command)
    commands += ["echo @detach\\n", "detach"]
    result = session.run_gdb(commands, name="gdb")
    sections = gdbsession.marked_sections(result.stdout)
    if "detach" not in sections:
        raise AssertionError("GDB did not get to the end:\n%s\n%s\n%s" % (
            result.stdout, result.stderr, proxy.describe()))

    threads = gdbsession.parse_info_threads(sections["threads"].splitlines())
    rows = [threads[tid] for tid in sorted(threads)]
    expect("info threads", [label for _, label, _ in rows], [NAMES[0] + " RUNNING"] + NAMES[1:], proxy)
    expect("the current thread", [current for _, _, current in rows], [True, False, False, False], proxy)

    expect("monitor rtos state", table_names(sections["table"]), NAMES, proxy)
    expect("monitor rtos -t state", tree_names(sections["tree"]), NAMES, proxy)
    try:
        names, usage = json_names(sections["json"])
    except ValueError as error:
        raise AssertionError("monitor rtos -m state is no JSON (%s):\n%s" % (error, sections["json"]))
    expect("monitor rtos -m state, task names", names, NAMES, proxy)
    expect("monitor rtos -m state, stack usage labels", usage, NAMES, proxy)
    print("%s: every name whole in info threads and in the three forms of monitor rtos state" % ELF)


if __name__ == "__main__":
    gdbsession.run(__doc__, check, paths=("tarnwick", "target_sim", "fixtures"))
