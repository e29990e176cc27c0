"""End to end on the FreeRTOS-shaped target programs: gdb-multiarch through tarnwick and the target simulator.

For one program of tests/fixtures/targets/freertos (--program), served by target_sim and debugged through
tarnwick with --rtos freertos and the port's --rtos_variant:

  - the first stop shows thread 1 only; a breakpoint in control_step gives the second stop, at which
    info threads lists every task by the address of its TCB and its name, Control current and RUNNING;
  - thread N and info registers for every switched-out task give the known words of its saved frame, pc in
    port_yield, lr behind the task's call of it, sp past the frame (and past the alignment word, and on
    the secure side for ARM_CM33's Parked); bt goes from port_yield to the task's entry function and ends;
  - monitor rtos state, -t state and -m state print the expected texts (tests/fixtures/expected/
    e2e_freertos_<program>_state.txt, _state_tree.txt, .json); monitor rtos, -m, -t and bogus print the
    catalogue, its JSON, nothing and "Failed to execute command"; other monitor commands reach the server;
  - stepi and two continues stop again with the same thread view; kill ends the session and tarnwick;
  - a new tarnwick and a new GDB connect to the same server and see the same.

--program hundred: the 100-task snapshot; its monitor rtos state reply, far larger than 20 KB in hex,
arrives whole.
"""

import collections
import os
import re
import subprocess

import gdbsession
import harness

EXPECTED_DIR = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "fixtures",
                                             "expected"))
GDB_TIMEOUT = 20.0
RAM = "0x20000000:0x10000"
CALLER_BYTES = 24
XPSR = 0x01000000
XPSR_ALIGNED = 0x200
CPSR = 0x1F

Program = collections.namedtuple("Program", "elf variant a_profile secure_task")
PROGRAMS = {
    "cm0": Program("e2e_freertos_cm0.elf", "ARM_CM0", False, None),
    "cm3": Program("e2e_freertos_cm3.elf", "ARM_CM3", False, None),
    "cm4f": Program("e2e_freertos_cm4f.elf", "ARM_CM4F", False, None),
    "cm33_ntz": Program("e2e_freertos_cm33_ntz.elf", "ARM_CM33_NTZ", False, None),
    "cm33_tz": Program("e2e_freertos_cm33_tz.elf", "ARM_CM33", False, "Parked"),
    "ca9": Program("e2e_freertos_ca9.elf", "ARM_CA9", True, None),
}
HUNDRED = Program("freertos_hundred.elf", "ARM_CM3", False, None)

# name, number in the known words, TCB, stack, entry function, label of the return address
Task = collections.namedtuple("Task", "name number tcb stack entry resume")
TASKS = [
    Task("IDLE", 1, "xIdleTCB", "xIdleStack", "task_idle", "idle_resume"),
    Task("Control", 2, "xControlTCB", "xControlStack", "task_control", "control_resume"),
    Task("Sampler", 3, "xSamplerTCB", "xSamplerStack", "task_sampler", "sampler_resume"),
    Task("Logger", 4, "xLoggerTCB", "xLoggerStack", "task_logger", "logger_resume"),
    Task("Parked", 5, "xParkedTCB", "xParkedStack", "task_parked", "parked_resume"),
    Task("Mixer", 6, "xMixerTCB", "xMixerStack", "task_mixer", "mixer_resume"),
]
RUNNING = "Control"

CATALOGUE = ("Driver: freeRTOS\n" + "%-20s%-20s\n" % ("Command", "Description") +
             "%-20s%-20s\n" % ("state", "Displays RTOS state") + "\n")
CATALOGUE_JSON = ('{\n  "rtosInfo": {\n    "rtosId":"freeRTOS",\n    "commands": [\n      {\n'
                  '        "command":"state",\n        "description":"Displays RTOS state"\n      },\n'
                  '    ]\n  }\n}\n')
SIM_STATS = re.compile(r"^packets \d+, m packets \d+, m bytes \d+\n$")


def reg_word(task, number):
    return 0xC0DE0000 | (task << 8) | number


def expected_text(name):
    with open(os.path.join(EXPECTED_DIR, name)) as text:
        return text.read()


def expected_registers(program, symbols, task):
    """What info registers must show for a switched-out task: its frame's known words; pc at the yield
    point; lr behind its call of port_yield; sp where its entry function's frame begins."""
    values = {"r%d" % number: reg_word(task.number, number) for number in range(13)}
    thumb = 0 if program.a_profile else 1
    values["lr"] = symbols.address(task.resume) + thumb
    values["pc"] = symbols.address("port_yield_point")
    stack = "xParkedSecureStack" if task.name == program.secure_task else task.stack
    values["sp"] = symbols.end(stack) - CALLER_BYTES
    if program.a_profile:
        values["cpsr"] = CPSR
    else:
        values["xpsr"] = XPSR | (XPSR_ALIGNED if task.name == "Parked" else 0)
    return values


def gdb_numbers(symbols):
    """GDB's numbers at the second stop: 1 went with the first stop, the stopped thread is 2, the others
    follow in the order of tarnwick's thread list, ascending ids."""
    running = [task for task in TASKS if task.name == RUNNING]
    others = sorted((task for task in TASKS if task.name != RUNNING), key=lambda task: symbols.address(task.tcb))
    return {task.name: number for number, task in enumerate(running + others, 2)}


def expected_view(symbols):
    """info threads at the second and later stops, as parse_info_threads gives it."""
    numbers = gdb_numbers(symbols)
    return {symbols.address(task.tcb): (numbers[task.name], task.name + (" RUNNING" if task.name == RUNNING else ""),
                                        task.name == RUNNING) for task in TASKS}


def monitor(name, command):
    """A monitor command whose output lands between its marker and the next: GDB writes what the target
    says through a stream of its own, buffered apart from the echo lines, so the output is taken as a
    string and written out again."""
    return ["echo @%s\\n" % name, 'python gdb.write(gdb.execute("monitor %s", to_string=True))' % command]


def main_commands(program, elf, port, symbols):
    numbers = gdb_numbers(symbols)
    lines = gdbsession.connect_commands(elf, port) + ["echo @first\\n", "info threads", "break control_step",
                                                      "echo @second\\n", "continue", "info threads"]
    for task in TASKS:
        if task.name != RUNNING:
            lines += ["echo @task %s\\n" % task.name, "thread %d" % numbers[task.name], "info registers",
                      "echo @bt %s\\n" % task.name, "bt"]
    lines += monitor("state", "rtos state") + monitor("state-tree", "rtos -t state")
    lines += monitor("state-json", "rtos -m state") + monitor("catalogue", "rtos")
    lines += monitor("catalogue-json", "rtos -m") + monitor("catalogue-tree", "rtos -t")
    lines += monitor("bogus", "rtos bogus") + monitor("server-stats", "sim stats")
    lines += monitor("server-reset", "reset halt")
    lines += ["echo @stepi\\n", "thread %d" % numbers[RUNNING], 'printf "pc 0x%x\\n", $pc', "stepi",
              'printf "pc 0x%x\\n", $pc', "info threads"]
    lines += ["break port_yield"]
    for stop in ("third", "fourth"):
        lines += ["echo @%s\\n" % stop, "continue", 'printf "pc 0x%x\\n", $pc', "info threads"]
    return lines + ["echo @kill\\n", "kill", "echo @end\\n"]


def reconnect_commands(elf, port):
    """The core still stands at control_step, where the first session left it. The breakpoint goes
    elsewhere: GDB 13 would step the thread of the first stop (thread 1) over a breakpoint at the pc, and
    the step's stop, reported for Control, fails its assertion in finish_step_over."""
    return gdbsession.connect_commands(elf, port) + [
        "echo @first\\n", "info threads", "break port_yield", "echo @second\\n", "continue", "info threads"] + monitor(
        "state", "rtos state") + ["echo @detach\\n", "detach", "echo @end\\n"]


class Suite:
    def __init__(self, args, session, key, program):
        self.args = args
        self.session = session
        self.key = key
        self.program = program
        self.elf = os.path.join(args.fixtures, program.elf)
        self.symbols = gdbsession.ElfSymbols(self.elf)
        self.sim = None
        self.sim_port = None

    def start_sim(self, options=()):
        extra = ["--ram", RAM] + (["--a-profile"] if self.program.a_profile else []) + list(options)
        self.sim, self.sim_port = self.session.start_target_sim_serving(self.args.target_sim, self.elf, extra)

    def start_tarnwick(self, name):
        return self.session.start_tarnwick_for(self.args.tarnwick, self.sim_port, self.elf,
                                               ["--rtos", "freertos", "--rtos_variant", self.program.variant],
                                               name=name)

    def run_gdb(self, commands, name, proxy):
        result = self.session.run_gdb(commands, name=name, timeout=GDB_TIMEOUT)
        if result.returncode != 0:
            raise AssertionError("%s exited with status %d:\n%s\n%s\n%s" % (
                name, result.returncode, harness.indent(result.stdout), harness.indent(result.stderr),
                proxy.describe()))
        return gdbsession.marked_sections(result.stdout), result

    def check_first_stop(self, sections, label):
        threads = gdbsession.parse_info_threads(sections["first"].splitlines())
        if threads != {1: (1, "1 RUNNING", True)}:
            raise AssertionError("%s: at the first stop info threads shows %s, not thread 1 alone:\n%s"
                                 % (label, threads, sections["first"]))

    def check_view(self, text, label):
        threads = gdbsession.parse_info_threads(text.splitlines())
        if threads != expected_view(self.symbols):
            raise AssertionError("%s: info threads shows\n%s\nexpected %s" % (label, text, expected_view(self.symbols)))

    def check_task(self, task, text, backtrace):
        number = gdb_numbers(self.symbols)[task.name]
        switched = "[Switching to thread %d (Thread %d)]" % (number, self.symbols.address(task.tcb))
        if switched not in text.splitlines():
            raise AssertionError("thread %d is not %s:\n%s" % (number, task.name, text))
        shown = {}
        for line in text.splitlines():
            found = gdbsession.REGISTER_LINE.match(line)
            if found:
                shown[found.group(1)] = int(found.group(2), 16)
        expected = expected_registers(self.program, self.symbols, task)
        wrong = ["%s 0x%x, not 0x%x" % (name, shown.get(name, -1), value) for name, value in expected.items()
                 if shown.get(name) != value]
        if wrong or len(shown) != len(expected):
            raise AssertionError("%s: info registers: %s\n%s" % (task.name, "; ".join(wrong) or "other registers",
                                                                  text))
        frames = [found.group(2) for found in map(gdbsession.FRAME_LINE.match, backtrace.splitlines()) if found]
        if frames != ["port_yield", task.entry] or len(backtrace.splitlines()) != 2:
            raise AssertionError("%s: bt shows %s, expected port_yield and %s:\n%s" % (task.name, frames,
                                                                                         task.entry, backtrace))

    def check_monitor(self, sections):
        prefix = "e2e_freertos_%s_state" % self.key
        expected = {"state": expected_text(prefix + ".txt") + "\n",
                    "state-tree": expected_text(prefix + "_tree.txt") + "\n",
                    "state-json": expected_text(prefix + ".json") + "\n",
                    "catalogue": CATALOGUE + "\n", "catalogue-json": CATALOGUE_JSON + "\n", "catalogue-tree": "",
                    "bogus": "Failed to execute command\n",
                    "server-reset": "target_sim: unknown monitor command: reset halt\n"}
        for name, text in expected.items():
            if sections.get(name) != text:
                raise AssertionError("monitor output %s is\n%r\nexpected\n%r" % (name, sections.get(name), text))
        if not SIM_STATS.match(sections.get("server-stats", "")):
            raise AssertionError("monitor sim stats did not reach the server: %r" % sections.get("server-stats"))

    def check_steps(self, sections):
        pcs = [int(value, 16) for value in re.findall(r"^pc 0x([0-9a-f]+)$", sections["stepi"], re.MULTILINE)]
        control_step = self.symbols.address("control_step") & ~1
        if len(pcs) != 2 or not control_step <= pcs[0] < pcs[1] <= pcs[0] + 4:
            raise AssertionError("stepi from the breakpoint in control_step: pc %s" % ["0x%x" % pc for pc in pcs])
        self.check_view(sections["stepi"], "after stepi")
        stops = {"third": "port_yield", "fourth": "control_step"}
        for stop, function in stops.items():
            text = sections[stop]
            if not re.search(r"^Thread 2 hit Breakpoint \d+, (0x[0-9a-f]+ in )?%s \(" % function, text, re.MULTILINE):
                raise AssertionError("the %s stop is not in %s:\n%s" % (stop, function, text))
            self.check_view(text, "the %s stop" % stop)

    def check_ended(self, proxy, label):
        try:
            proxy.popen.wait(timeout=5)
        except subprocess.TimeoutExpired:
            raise AssertionError("%s: tarnwick did not end:\n%s" % (label, proxy.describe()))
        if proxy.popen.returncode != 0 or not proxy.stdout().endswith("Proxy stopped.\n"):
            raise AssertionError("%s: tarnwick ended badly:\n%s" % (label, proxy.describe()))

    def run(self):
        self.start_sim()
        proxy, port = self.start_tarnwick("tarnwick")
        sections, result = self.run_gdb(main_commands(self.program, self.elf, port, self.symbols), "gdb", proxy)
        self.check_first_stop(sections, "first session")
        if not re.search(r"^Thread 2 hit Breakpoint 1, control_step \(", sections["second"], re.MULTILINE):
            raise AssertionError("the second stop is not at control_step:\n%s" % sections["second"])
        self.check_view(sections["second"], "the second stop")
        for task in TASKS:
            if task.name != RUNNING:
                self.check_task(task, sections["task " + task.name], sections["bt " + task.name])
        self.check_monitor(sections)
        self.check_steps(sections)
        if "[Inferior 1 (Remote target) killed]" not in sections["kill"]:
            raise AssertionError("kill: %r" % sections["kill"])
        self.check_ended(proxy, "after kill")
        print("%s: threads, %d saved frames, bt, monitor commands, stepping and kill as expected"
              % (self.program.elf, len(TASKS) - 1))

        proxy, port = self.start_tarnwick("tarnwick_again")
        sections, _ = self.run_gdb(reconnect_commands(self.elf, port), "gdb_again", proxy)
        self.check_first_stop(sections, "second session")
        if not re.search(r"^Thread 2 hit Breakpoint 1, port_yield \(", sections["second"], re.MULTILINE):
            raise AssertionError("second session: the second stop is not at port_yield:\n%s" % sections["second"])
        self.check_view(sections["second"], "second session")
        expected = expected_text("e2e_freertos_%s_state.txt" % self.key) + "\n"
        if sections["state"] != expected:
            raise AssertionError("second session: monitor rtos state is\n%r" % sections["state"])
        self.check_ended(proxy, "after detach")
        print("%s: a new tarnwick and a new GDB see the same" % self.program.elf)


def run_hundred(args, session):
    """The 100-task snapshot: one monitor reply of some 40 KB hex digits, whole in GDB's output; behind a
    server that offers qXfer:threads:read, so GDB reads the thread list in pieces of its default size."""
    elf = os.path.join(args.fixtures, HUNDRED.elf)
    suite = Suite(args, session, "hundred", HUNDRED)
    suite.start_sim(["--threads-xfer"])
    proxy, port = suite.start_tarnwick("tarnwick")
    commands = gdbsession.connect_commands(elf, port) + ["break main", "continue", "echo @threads\\n", "info threads"]
    commands += monitor("state", "rtos state") + monitor("json", "rtos -m state") + ["echo @detach\\n", "detach"]
    sections, _ = suite.run_gdb(commands, "gdb", proxy)
    # From the thread document GDB shows each name in quotes and the extra text in brackets.
    rows = [gdbsession.XFER_THREAD_LINE.match(line) for line in sections["threads"].splitlines()]
    threads = {int(row.group(3)): (row.group(4), row.group(1) == "*", row.group(5)) for row in rows if row}
    tasks = suite.symbols.address("xTasks")
    running = [tid for tid, (_, current, _) in threads.items() if current]
    names = sorted(name for name, _, _ in threads.values())
    if len(threads) != 100 or running != [tasks + 70 * (suite.symbols.table["xTasks"][1] // 100)] or \
            names != sorted("Task%02d" % n for n in range(100)) or threads[running[0]][2] != "RUNNING":
        raise AssertionError("info threads shows %d threads, current %s:\n%s" % (
            len(threads), running, sections["threads"]))
    for name, section in (("e2e_freertos_hundred_state.txt", "state"), ("e2e_freertos_hundred_state.json", "json")):
        text = expected_text(name)
        if len(text.encode().hex()) <= 20 * 1024:
            raise AssertionError("%s is not larger than 20 KB in hex" % name)
        if sections[section] != text + "\n":
            raise AssertionError("monitor output %s: %d characters arrived, expected %d" % (
                section, len(sections[section]), len(text) + 1))
    suite.check_ended(proxy, "after detach")
    print("%s: 100 threads; monitor replies of %d and %d hex digits arrived whole" % (
        HUNDRED.elf, 2 * len(sections["state"]), 2 * len(sections["json"])))


def run(args, session):
    if args.program == "hundred":
        run_hundred(args, session)
    else:
        Suite(args, session, args.program, PROGRAMS[args.program]).run()


if __name__ == "__main__":
    gdbsession.run(__doc__, run, paths=("tarnwick", "target_sim", "fixtures"),
                   options=[(["--program"], {"required": True, "choices": sorted(PROGRAMS) + ["hundred"]})])
