"""End to end: the FreeRTOS session of freertos_targets.py on one target program, through tarnwick, once in
front of the target simulator in its default mode and once in front of it with --ack-mode (acknowledgements
for the whole session, as QEMU keeps them). GDB must print the same in both, port numbers aside, and in the
second run GDB must have stayed in acknowledgement mode throughout.
"""

import difflib
import re

import freertos_targets
import gdbsession

ACK_LINE = "[remote] Received Ack"
NO_ACK_REQUEST = "Sending packet: $QStartNoAckMode"
PACKET_COUNT = re.compile(r"^packets (\d+),")


def without_no_ack_request(lines):
    """The lines of a session in no-ack mode as the simulator would count them without GDB's QStartNoAckMode."""
    return [PACKET_COUNT.sub(lambda found: "packets %d," % (int(found.group(1)) - 1), line) for line in lines]


def transcript(args, session, key, ack_mode):
    suite = freertos_targets.Suite(args, session, key, freertos_targets.PROGRAMS[key])
    label = "ack" if ack_mode else "noack"
    extra = ["--ram", freertos_targets.RAM] + (["--ack-mode"] if ack_mode else [])
    _, suite.sim_port = session.start_target_sim(args.target_sim, suite.elf, extra, name="sim_" + label)
    proxy, port = suite.start_tarnwick("tarnwick_" + label)
    commands = freertos_targets.main_commands(suite.program, suite.elf, port, suite.symbols)
    # GDB's remote log up to the first monitor command, whose captured output it would otherwise join.
    first_monitor = next(index for index, line in enumerate(commands) if line.startswith("python gdb.write("))
    commands = ["set debug remote 1"] + commands[:first_monitor] + ["set debug remote 0"] + commands[first_monitor:]
    _, result = suite.run_gdb(commands, "gdb_" + label, proxy)
    lines = result.stdout.replace(str(port), "PORT").splitlines()
    return lines, result.stderr


def run(args, session):
    plain, plain_log = transcript(args, session, args.program, False)
    acknowledged, ack_log = transcript(args, session, args.program, True)
    if NO_ACK_REQUEST not in plain_log or NO_ACK_REQUEST in ack_log or ack_log.count(ACK_LINE) < 20:
        raise AssertionError("the sessions did not run in the modes asked for (%d acknowledgements)"
                             % ack_log.count(ACK_LINE))
    plain = without_no_ack_request(plain)
    if acknowledged != plain:
        raise AssertionError("GDB printed otherwise in acknowledgement mode:\n%s" % "\n".join(
            difflib.unified_diff(plain, acknowledged, "no-ack", "ack", lineterm="")))
    print("%s: %d lines of GDB output, the same with and without acknowledgements (%d in the second)"
          % (args.program, len(plain), ack_log.count(ACK_LINE)))


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "fixtures"),
                   options=[(["--program"], {"default": "cm3", "choices": sorted(freertos_targets.PROGRAMS)})])
