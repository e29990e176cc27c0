#!/usr/bin/env python3
"""monitor rtos state of the complete kernel snapshots, through the real gdb-multiarch and tarnwick.

The driver tests compare the three forms of the "state" tree of these programs with the texts in
tests/fixtures/expected/ over fake peers; here the same texts must reach GDB whole, as the output of
`monitor rtos state`, `monitor rtos -t state` and `monitor rtos -m state`, one line end added by the reply.
The first stop shows the core alone (thread 1), so the commands run after the second.
"""

import os

import gdbsession

EXPECTED_DIR = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "fixtures",
                                             "expected"))

# kernel: program, tarnwick's options, where the second stop is made, expected texts' prefix
SNAPSHOTS = {
    "freertos": ("freertos_snapshot.elf", ["--rtos", "freertos", "--rtos_variant", "ARM_CM4F"],
                 ["break main", "continue"], "freertos_state"),
    "threadx": ("threadx_state.elf", ["--rtos", "threadx", "--rtos_variant", "cortex_m4"],
                ["stepi"], "threadx_state"),
}
FORMS = (("state", "rtos state", ".txt"), ("tree", "rtos -t state", "_tree.txt"), ("json", "rtos -m state", ".json"))


def monitor(name, command):
    """GDB writes the target's output through a stream of its own; taken as a string, it lands between the
    markers."""
    return ["echo @%s\\n" % name, 'python gdb.write(gdb.execute("monitor %s", to_string=True))' % command]


def expected_text(name):
    with open(os.path.join(EXPECTED_DIR, name)) as text:
        return text.read()


def check(args, session):
    elf_name, options, second_stop, prefix = SNAPSHOTS[args.kernel]
    elf = os.path.join(args.fixtures, elf_name)
    _, sim_port = session.start_target_sim(args.target_sim, elf, ["--ram", "0x20000000:0x10000"])
    proxy, listen = session.start_tarnwick_for(args.tarnwick, sim_port, elf, options)
    commands = gdbsession.connect_commands(elf, listen) + second_stop
    for name, command, _ in FORMS:
        commands += monitor(name, command)
    commands += ["echo @detach\\n", "detach"]
    result = session.run_gdb(commands, name="gdb")
    sections = gdbsession.marked_sections(result.stdout)
    for name, _, suffix in FORMS:
        expected = expected_text(prefix + suffix) + "\n"
        if sections.get(name) != expected:
            raise AssertionError("%s: monitor output %s is\n%r\nexpected\n%r\n%s" % (
                elf_name, name, sections.get(name), expected, proxy.describe()))
    print("%s: the three forms of monitor rtos state arrived as expected" % elf_name)


if __name__ == "__main__":
    gdbsession.run(__doc__, check, paths=("tarnwick", "target_sim", "fixtures"),
                   options=[(["--kernel"], {"required": True, "choices": sorted(SNAPSHOTS)})])
