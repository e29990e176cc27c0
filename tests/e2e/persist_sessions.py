"""One tarnwick with --persist true serving one GDB after another, in front of the target simulator.

On the FreeRTOS Cortex-M4F program of tests/fixtures/targets/freertos, with neither --rtos nor --rtos_variant
(the kernel and its port are found from the ELF file):

  - three GDB sessions, one after another, through the same tarnwick process: each sees thread 1 alone at
    its first stop (the stops of the session before are forgotten), then every task at its second stop
    and the same monitor rtos state (the symbols are asked anew);
  - the server then goes away: the next GDB is sent away ("Connecting to GDB server ... Failed") and
    tarnwick waits again; with the server back on its port, a fourth session sees the tasks again;
  - Ctrl-C (SIGINT) while tarnwick waits ends it with status 0;
  - tarnwick's console is checked line by line.

--case qemu: the same three sessions on the Cortex-M4F scheduler program of tests/fixtures/qemu, running
under QEMU, tarnwick connecting to QEMU's gdbstub anew for each session (GDB disconnects without detaching,
leaving QEMU stopped): thread 1 alone at each session's first stop, every task at a breakpoint in a task; then
Ctrl-C.
"""

import os
import re
import signal
import subprocess

import freertos_targets
import gdbsession
import harness
import qemu_tasks

PROGRAM = "cm4f"
CONNECT_TIMEOUT = "1"
# The stop of one session is where the next one starts: the breakpoints take turns, so that none lies
# under the pc that GDB would have to step over first.
BREAKPOINTS = ["control_step", "port_yield", "control_step", "port_yield"]
LOST = r"Lost connection to GDB (Client|Server)\n"
DETECTED = "Detected rtos variant: ARM_CM4F (no port file; architecture v7E-M with floating point)\n"


def session_commands(elf, port, breakpoint):
    return gdbsession.connect_commands(elf, port) + [
        "echo @first\\n", "info threads", "break " + breakpoint, "echo @second\\n", "continue", "info threads"
    ] + freertos_targets.monitor("state", "rtos state") + ["echo @detach\\n", "detach", "echo @end\\n"]


def expected_console(listen, sim_port):
    """tarnwick's standard output, as a regular expression, up to and including its end."""
    listening = re.escape("Listen for GDB connection on port: %d ... " % listen)
    connecting = re.escape("Connecting to GDB server 127.0.0.1 on port %d ... " % sim_port)
    # Each session's symbol negotiation detects the port anew, from the program's architecture.
    detected = re.escape(DETECTED)
    served = detected + LOST + "Closed connection to GDB server\n" + listening
    lines = [
        re.escape("Veltrona Tarnwick. Version 0.17.0\nCopyright (c) Veltrona. All rights reserved.\n\n"),
        re.escape("Loading RTOS driver (Auto)... FreeRTOS\n"),
        connecting + "Connected\n",
        listening + "Connected\n" + served,
        "Connected\n" + connecting + "Connected\n" + served,
        "Connected\n" + connecting + "Connected\n" + served,
        "Connected\n" + connecting + "Failed\n" + listening,
        "Connected\n" + connecting + "Connected\n" + served,
        "Stopped\nProxy stopped\\.\n",
    ]
    return "".join(lines)


class PersistSuite(freertos_targets.Suite):
    def start_persistent_tarnwick(self):
        return self.session.start_tarnwick_for(self.args.tarnwick, self.sim_port, self.elf,
                                               ["--gdbserver_connect_timeout", CONNECT_TIMEOUT, "--persist", "true"])

    def check_session(self, proxy, port, number):
        breakpoint = BREAKPOINTS[number - 1]
        label = "session %d" % number
        sections, _ = self.run_gdb(session_commands(self.elf, port, breakpoint), "gdb_%d" % number, proxy)
        self.check_first_stop(sections, label)
        if not re.search(r"^Thread 2 hit Breakpoint 1, %s \(" % breakpoint, sections["second"], re.MULTILINE):
            raise AssertionError("%s: the second stop is not at %s:\n%s" % (label, breakpoint, sections["second"]))
        self.check_view(sections["second"], label)
        expected = freertos_targets.expected_text("e2e_freertos_%s_state.txt" % self.key) + "\n"
        if sections["state"] != expected:
            raise AssertionError("%s: monitor rtos state is\n%r" % (label, sections["state"]))
        if proxy.exited():
            raise AssertionError("%s: tarnwick ended after GDB left:\n%s" % (label, proxy.describe()))
        harness.wait_for_listening(proxy, port, 5.0)

    def check_server_gone(self, proxy, port):
        self.sim.stop()
        result = self.session.run_gdb(gdbsession.connect_commands(self.elf, port), name="gdb_no_server",
                                      timeout=freertos_targets.GDB_TIMEOUT)
        if "Remote communication error.  Target disconnected." not in result.stderr:
            raise AssertionError("GDB without a server: %s\n%s" % (result.stdout, result.stderr))
        if proxy.exited():
            raise AssertionError("tarnwick ended with its server gone:\n%s" % proxy.describe())
        harness.wait_for_listening(proxy, port, 5.0)
        # The server comes back on its old port.
        self.sim = self.session.start("target_sim_back", [
            self.args.target_sim, "--port", str(self.sim_port), "--ram", freertos_targets.RAM, self.elf])
        harness.wait_for_port_line(self.sim, harness.SIM_READY, "the target simulator, back", 5.0)

    def check_interrupt(self, proxy, port):
        harness.wait_for_listening(proxy, port, 5.0)
        proxy.popen.send_signal(signal.SIGINT)
        try:
            proxy.popen.wait(timeout=5)
        except subprocess.TimeoutExpired:
            raise AssertionError("Ctrl-C did not end a waiting tarnwick:\n%s" % proxy.describe())
        if proxy.popen.returncode != 0:
            raise AssertionError("tarnwick ended with status %d:\n%s" % (proxy.popen.returncode, proxy.describe()))
        if not re.fullmatch(expected_console(port, self.sim_port), proxy.stdout()):
            raise AssertionError("tarnwick's console is\n%s\nexpected (a pattern)\n%s" % (
                proxy.stdout(), expected_console(port, self.sim_port)))

    def run(self):
        self.start_sim()
        proxy, port = self.start_persistent_tarnwick()
        for number in (1, 2, 3):
            self.check_session(proxy, port, number)
        print("three GDB sessions through one tarnwick, each from its first stop")
        self.check_server_gone(proxy, port)
        self.check_session(proxy, port, 4)
        print("a GDB without a server is sent away; the next one, with the server back, sees the tasks")
        self.check_interrupt(proxy, port)
        print("Ctrl-C ends the waiting tarnwick with status 0")


# The breakpoint of each QEMU session and the task that hits it. GDB leaves QEMU stopped where the session
# ended: the next session's breakpoint lies elsewhere, so that GDB need not step over one at the pc.
QEMU_BREAKPOINTS = [("blinker_toggle", "blinker"), ("filter_update", "filter"), ("blinker_toggle", "blinker")]


class QemuSuite:
    """Three sessions through one tarnwick in front of QEMU; QEMU runs on between them."""

    def __init__(self, args, session):
        self.args = args
        self.session = session
        self.program = qemu_tasks.PROGRAMS["cm4f"]
        self.elf = os.path.join(args.fixtures, self.program.elf)
        self.symbols = gdbsession.ElfSymbols(self.elf)

    def expected_view(self, running):
        """info threads at a breakpoint of the running task, as parse_info_threads gives it without GDB's
        numbers."""
        return {self.symbols.address(task.tcb): task.name + (" RUNNING" if task.name == running else "")
                for task in self.program.tasks}

    def check_session(self, proxy, port, number):
        label = "QEMU session %d" % number
        breakpoint, running = QEMU_BREAKPOINTS[number - 1]
        commands = qemu_tasks.gdb_prelude(self.elf, port) + [
            "echo @first\\n", "info threads", "break " + breakpoint, "echo @second\\n", "continue",
            "info threads", "echo @disconnect\\n", "disconnect"]
        result = self.session.run_gdb(commands, name="gdb_qemu_%d" % number, timeout=qemu_tasks.GDB_TIMEOUT)
        sections = gdbsession.marked_sections(result.stdout)
        first = gdbsession.parse_info_threads(sections.get("first", "").splitlines())
        if first != {1: (1, "1 RUNNING", True)}:
            raise AssertionError("%s: at the first stop info threads shows %s:\n%s\n%s" % (
                label, first, result.stdout, result.stderr))
        second = gdbsession.parse_info_threads(sections.get("second", "").splitlines())
        shown = {tid: shown_label for tid, (_, shown_label, _) in second.items()}
        if shown != self.expected_view(running):
            raise AssertionError("%s: at %s info threads shows %s, expected %s:\n%s\n%s" % (
                label, breakpoint, shown, self.expected_view(running), result.stdout, proxy.describe()))
        if proxy.exited():
            raise AssertionError("%s: tarnwick ended after GDB left:\n%s" % (label, proxy.describe()))
        harness.wait_for_listening(proxy, port, 5.0)

    def run(self):
        proxy, listen = self.session.start_tarnwick_before_qemu(
            self.args.tarnwick, self.program.machine, self.elf,
            ["--gdbserver_connect_timeout", CONNECT_TIMEOUT, "--persist", "true"])
        for number in (1, 2, 3):
            self.check_session(proxy, listen, number)
        print("three GDB sessions through one tarnwick in front of QEMU, each from its first stop")
        proxy.popen.send_signal(signal.SIGINT)
        try:
            proxy.popen.wait(timeout=5)
        except subprocess.TimeoutExpired:
            raise AssertionError("Ctrl-C did not end a waiting tarnwick:\n%s" % proxy.describe())
        console = proxy.stdout()
        if (proxy.popen.returncode != 0 or console.count(DETECTED) != 3 or
                not console.endswith("Stopped\nProxy stopped.\n")):
            raise AssertionError("tarnwick ended badly:\n%s" % proxy.describe())
        print("the port detected in each session; Ctrl-C ends the waiting tarnwick with status 0")


def run(args, session):
    if args.case == "qemu":
        QemuSuite(args, session).run()
    elif args.target_sim is None:
        raise harness.HarnessError("--case sim needs --target-sim")
    else:
        PersistSuite(args, session, PROGRAM, freertos_targets.PROGRAMS[PROGRAM]).run()


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim?", "fixtures"),
                   options=[(["--case"], {"choices": ["sim", "qemu"], "default": "sim"})])
