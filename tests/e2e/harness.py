"""Process harness of the end-to-end tests: free ports, the target simulator, QEMU, tarnwick and gdb-multiarch.

Every process is started inside a Session and ended when the session closes, whatever happened; every wait
has a time limit, so that a test fails instead of hanging. Standard library only.
"""

import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

SIM_READY = re.compile(r"^target_sim: listening on port (\d+)$", re.MULTILINE)
GDB = "gdb-multiarch"
QEMU = "qemu-system-arm"
TCP_LISTEN = "0A"


class HarnessError(Exception):
    """A process did not start, ended too early or ran out of time; the message says which and shows why."""


def free_port():
    """A TCP port on 127.0.0.1 that was free a moment ago (the kernel's choice for port 0)."""
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def is_listening(port):
    """True if some socket listens on the TCP port, learnt from /proc so that no connection is spent."""
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        try:
            with open(table) as rows:
                next(rows)
                for row in rows:
                    fields = row.split()
                    if int(fields[1].rsplit(":", 1)[1], 16) == port and fields[3] == TCP_LISTEN:
                        return True
        except OSError:
            continue
    return False


class Process:
    """One child process whose standard output and error go to files of the session."""

    def __init__(self, name, argv, directory):
        self.name = name
        self.argv = [str(arg) for arg in argv]
        self.stdout_path = os.path.join(directory, name + ".stdout")
        self.stderr_path = os.path.join(directory, name + ".stderr")
        with open(self.stdout_path, "wb") as out, open(self.stderr_path, "wb") as err:
            self.popen = subprocess.Popen(self.argv, stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                          cwd=directory)

    def stdout(self):
        with open(self.stdout_path, errors="replace") as out:
            return out.read()

    def stderr(self):
        with open(self.stderr_path, errors="replace") as err:
            return err.read()

    def exited(self):
        return self.popen.poll() is not None

    def describe(self):
        """Command, status and output, for failure messages."""
        status = self.popen.poll()
        state = "still running" if status is None else "exit status %d" % status
        return "%s (%s)\n  command: %s\n  stdout:\n%s\n  stderr:\n%s" % (
            self.name, state, " ".join(self.argv), indent(self.stdout()), indent(self.stderr()))

    def stop(self, grace=2.0):
        """SIGTERM, then SIGKILL after grace seconds; only this child, by its own pid."""
        if self.exited():
            return
        self.popen.send_signal(signal.SIGTERM)
        try:
            self.popen.wait(timeout=grace)
        except subprocess.TimeoutExpired:
            self.popen.kill()
            self.popen.wait(timeout=grace)


def wait_for_port_line(process, pattern, label, timeout):
    """The port of the first line of the process's output that matches pattern, within timeout seconds."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        found = pattern.search(process.stdout())
        if found:
            return int(found.group(1))
        if process.exited():
            raise HarnessError("%s ended before listening:\n%s" % (label, process.describe()))
        time.sleep(0.02)
    raise HarnessError("%s did not listen within %.0f s:\n%s" % (label, timeout, process.describe()))


def wait_for_listening(process, port, timeout):
    """Returns once some socket listens on port; fails if the process ends first or time runs out."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        if process.exited():
            raise HarnessError("%s ended before it listened on port %d:\n%s" % (process.name, port,
                                                                              process.describe()))
        if is_listening(port):
            return
        time.sleep(0.02)
    raise HarnessError("%s did not listen on port %d within %.0f s:\n%s" % (process.name, port, timeout,
                                                                          process.describe()))


def indent(text):
    return "\n".join("    | " + line for line in text.splitlines()) or "    | (empty)"


TIMING_FIGURE = re.compile(r", [0-9]+ ms\n")


def timings_masked(log):
    """The log with the figure of each line that times work ("..., <digits> ms") written as "<n>"."""
    return TIMING_FIGURE.sub(", <n> ms\n", log)


class GdbResult:
    def __init__(self, returncode, stdout, stderr, commands):
        self.returncode = returncode
        self.stdout = stdout
        self.stderr = stderr
        self.commands = commands


class Session:
    """Owns a scratch directory and every process started through it; use it in a with statement.

    Processes run inside the scratch directory: pass them absolute paths."""

    def __init__(self, keep_files=False):
        self.directory = tempfile.mkdtemp(prefix="tarnwick-e2e-")
        self.keep_files = keep_files
        self.processes = []

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False

    def close(self):
        for process in reversed(self.processes):
            process.stop()
        self.processes = []
        if not self.keep_files:
            shutil.rmtree(self.directory, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.directory, name)

    def write_file(self, name, text):
        with open(self.path(name), "w") as out:
            out.write(text)
        return self.path(name)

    def start(self, name, argv):
        process = Process(name, argv, self.directory)
        self.processes.append(process)
        return process

    def start_target_sim(self, sim_binary, elf, args=(), name="target_sim", timeout=5.0):
        """Starts the simulator on an ephemeral port; returns (process, port) once it listens."""
        process = self.start(name, [sim_binary, "--port", "0", "--once"] + list(args) + [elf])
        return process, wait_for_port_line(process, SIM_READY, "the target simulator", timeout)

    def start_target_sim_serving(self, sim_binary, elf, args=(), name="target_sim", timeout=5.0):
        """Like start_target_sim, but the simulator serves one connection after another until the session
        closes, so that a new client can reconnect to the same target."""
        process = self.start(name, [sim_binary, "--port", "0"] + list(args) + [elf])
        return process, wait_for_port_line(process, SIM_READY, "the target simulator", timeout)

    def start_qemu(self, machine, elf, name="qemu", timeout=5.0, attempts=3, options=()):
        """Starts qemu-system-arm halted at reset (-S) with its gdbstub on a free port of 127.0.0.1, and the
        machine's own options (a -cpu, say); returns (process, port) once the stub listens. A port taken
        meanwhile costs one more attempt."""
        for attempt in range(attempts):
            port = free_port()
            label = name if attempt == 0 else "%s_%d" % (name, attempt + 1)
            process = self.start(label, [QEMU, "-M", machine] + list(options) + ["-kernel", elf, "-nographic", "-S",
                                         "-gdb", "tcp:127.0.0.1:%d" % port, "-monitor", "none", "-serial", "none"])
            deadline = time.monotonic() + timeout
            while time.monotonic() < deadline and not process.exited():
                if is_listening(port):
                    return process, port
                time.sleep(0.02)
            if not process.exited():
                raise HarnessError("QEMU did not listen on port %d within %.0f s:\n%s"
                                   % (port, timeout, process.describe()))
            if "Address already in use" not in process.stderr():
                break
        raise HarnessError("QEMU ended before its gdbstub listened:\n" + process.describe())

    def start_tarnwick(self, tarnwick_binary, server_port, listen_port, args=(), timeout=5.0, name="tarnwick",
                       server_host="127.0.0.1"):
        """Starts the proxy in front of a server, which it reaches by server_host (an address or a host name);
        returns the process once its GDB port listens."""
        process = self.start(name, [tarnwick_binary, "--server_connection", "%s:%d" % (server_host, server_port),
                                          "--port", str(listen_port)] + list(args))
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if process.exited():
                raise HarnessError("tarnwick ended before it listened for GDB on port %d:\n%s"
                                   % (listen_port, process.describe()))
            if is_listening(listen_port):
                return process
            time.sleep(0.02)
        raise HarnessError("tarnwick did not listen for GDB on port %d within %.0f s:\n%s"
                           % (listen_port, timeout, process.describe()))

    def start_tarnwick_for(self, tarnwick_binary, server_port, elf, args=(), name="tarnwick", server_host="127.0.0.1"):
        """tarnwick in front of the server on server_port of server_host, with the program elf and a debug-info
        cache in the scratch directory, then args; returns its process and the port GDB connects to."""
        listen = free_port()
        cache = self.path(os.path.basename(elf) + ".proxy_cache")
        process = self.start_tarnwick(tarnwick_binary, server_port, listen,
                                      ["--file", elf, "--debug_info_cache", cache] + list(args), name=name,
                                      server_host=server_host)
        return process, listen

    def start_tarnwick_before_qemu(self, tarnwick_binary, machine, elf, args=(), qemu_options=(), name="qemu",
                                   server_host="127.0.0.1"):
        """QEMU halted at reset, and tarnwick straight in front of its gdbstub (reached by server_host) as
        start_tarnwick_for starts it; returns tarnwick's process and the port GDB connects to."""
        _, qemu_port = self.start_qemu(machine, elf, name=name, options=qemu_options)
        return self.start_tarnwick_for(tarnwick_binary, qemu_port, elf, args, server_host=server_host)

    def start_tarnwick_options(self, tarnwick_binary, options_file, listen_port, timeout=5.0, name="tarnwick"):
        """Starts the proxy with all its options from a file (-f); returns the process once it listens for GDB
        on listen_port, which the file must name."""
        process = self.start(name, [tarnwick_binary, "-f", options_file])
        wait_for_listening(process, listen_port, timeout)
        return process

    def run_gdb(self, commands, name="gdb", timeout=10.0):
        """Runs gdb-multiarch in batch mode on the command lines; the caller judges the result."""
        script = self.write_file(name + ".gdb", "\n".join(commands) + "\n")
        argv = [GDB, "-nx", "-batch", "-x", script]
        try:
            # In the scratch directory, so that whatever GDB leaves behind (a core file) goes with it.
            done = subprocess.run(argv, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                  errors="replace", timeout=timeout, cwd=self.directory)
        except FileNotFoundError:
            raise HarnessError(GDB + " is not installed")
        except subprocess.TimeoutExpired as expired:
            raise HarnessError("%s did not finish within %.0f s; output so far:\n%s" % (
                GDB, timeout, indent(decode(expired.stdout) + decode(expired.stderr))))
        return GdbResult(done.returncode, done.stdout, done.stderr, commands)


def decode(data):
    if data is None:
        return ""
    return data if isinstance(data, str) else data.decode(errors="replace")
