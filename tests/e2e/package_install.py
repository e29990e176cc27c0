"""End-to-end: tarnwick as installed, from `cmake --install`, from the .deb and from the .tar.gz.

Each case lays tarnwick out in a scratch directory and never touches the system: --case install runs
`cmake --install --prefix`, --case deb builds the package with cpack and unpacks it with `dpkg -x`, --case tgz
builds the archive with cpack and unpacks it. Then the layout must be exactly tarnwick with
drivers/drivers.csv beside it, `tarnwick -v` must print the banner, and the installed tarnwick, in front of the
target simulator, must show GDB the tasks of the FreeRTOS snapshot: so it found its driver database where it
was installed and ran the dump tool.
"""

import difflib
import filecmp
import glob
import os
import shutil
import subprocess
import tarfile

import demo_script
import gdbsession
import harness

SOURCE_DIR = demo_script.SOURCE_DIR
VERSION = "0.17.0"
BANNER = "Veltrona Tarnwick. Version %s\nCopyright (c) Veltrona. All rights reserved.\n\n" % VERSION


def run(argv, cwd=None, timeout=120):
    done = subprocess.run([str(arg) for arg in argv], capture_output=True, text=True, errors="replace", cwd=cwd,
                          stdin=subprocess.DEVNULL, timeout=timeout)
    if done.returncode != 0:
        raise AssertionError("%s: exit status %d\nstdout:\n%s\nstderr:\n%s" % (
            " ".join(map(str, argv)), done.returncode, harness.indent(done.stdout), harness.indent(done.stderr)))
    return done.stdout


def tree(root):
    """Every path below root, relative, directories with a trailing slash."""
    found = []
    for directory, folders, files in os.walk(root):
        relative = os.path.relpath(directory, root)
        found += [os.path.normpath(os.path.join(relative, name)) + "/" for name in folders]
        found += [os.path.normpath(os.path.join(relative, name)) for name in files]
    return sorted(found)


def cpack(args, generator, output):
    """Builds one package of the build tree into output; returns its path."""
    run(["cpack", "-G", generator, "-B", output, "--config", os.path.join(args.build_dir, "CPackConfig.cmake")],
        cwd=args.build_dir, timeout=300)
    pattern = {"DEB": "tarnwick_%s_*.deb", "TGZ": "tarnwick-%s-*.tar.gz"}[generator] % VERSION
    packages = glob.glob(os.path.join(output, pattern))
    if len(packages) != 1:
        raise AssertionError("cpack -G %s made %s, expected one %s" % (generator, os.listdir(output), pattern))
    return packages[0]


def install_tree(session, args):
    prefix = session.path("prefix")
    run(["cmake", "--install", args.build_dir, "--prefix", prefix])
    return prefix, "bin"


def install_deb(session, args):
    deb = cpack(args, "DEB", session.path("packages"))
    architecture = run(["dpkg", "--print-architecture"]).strip()
    if os.path.basename(deb) != "tarnwick_%s_%s.deb" % (VERSION, architecture):
        raise AssertionError("package file %s" % os.path.basename(deb))
    fields = {name: run(["dpkg-deb", "-f", deb, name]).strip()
              for name in ("Package", "Version", "Architecture", "Section", "Depends")}
    expected = {"Package": "tarnwick", "Version": VERSION, "Architecture": architecture, "Section": "devel"}
    if {name: fields[name] for name in expected} != expected or "libstdc++6" not in fields["Depends"]:
        raise AssertionError("control fields %s" % fields)
    root = session.path("root")
    run(["dpkg", "-x", deb, root])
    return root, "usr/bin"


def install_tgz(session, args):
    archive = cpack(args, "TGZ", session.path("packages"))
    root = session.path("root")
    with tarfile.open(archive) as packed:
        names = packed.getnames()
        if any(name.startswith("/") or ".." in name.split("/") for name in names):
            raise AssertionError("the archive holds paths outside its folder: %s" % names)
        packed.extractall(root)
    top = os.path.basename(archive)[:-len(".tar.gz")]
    if os.listdir(root) != [top]:
        raise AssertionError("the archive unpacks to %s, expected the one folder %s" % (os.listdir(root), top))
    return os.path.join(root, top), "bin"


def check_layout(root, bin_dir):
    parents = [bin_dir[:end] + "/" for end in range(len(bin_dir)) if bin_dir[end] == "/"]
    expected = sorted(parents + [bin_dir + "/", bin_dir + "/drivers/", bin_dir + "/drivers/drivers.csv",
                                 bin_dir + "/tarnwick"])
    if tree(root) != expected:
        raise AssertionError("installed files:\n%s" % "\n".join(difflib.unified_diff(
            expected, tree(root), "expected", "installed", lineterm="")))
    if not filecmp.cmp(os.path.join(root, bin_dir, "drivers", "drivers.csv"),
                       os.path.join(SOURCE_DIR, "drivers", "drivers.csv"), shallow=False):
        raise AssertionError("the installed drivers.csv differs from drivers/drivers.csv")
    if not os.access(os.path.join(root, bin_dir, "tarnwick"), os.X_OK):
        raise AssertionError("the installed tarnwick is not executable")


def check_banner(tarnwick):
    done = subprocess.run([tarnwick, "-v"], capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=10)
    if (done.returncode, done.stdout, done.stderr) != (0, BANNER, ""):
        raise AssertionError("%s -v: status %d\nstdout:\n%s\nstderr:\n%s" % (
            tarnwick, done.returncode, harness.indent(done.stdout), harness.indent(done.stderr)))


def check_session(session, args, tarnwick):
    """The installed tarnwick in front of the simulator: GDB sees the tasks of the demo's FreeRTOS program."""
    demo = demo_script.KERNELS["freertos"]
    # A copy of the program in the scratch directory, so that the debug-info cache is made beside it.
    elf = session.path(demo["program"] + ".elf")
    shutil.copyfile(os.path.join(args.build_dir, "tests", "fixtures", demo["program"] + ".elf"), elf)
    _, sim_port = session.start_target_sim(args.target_sim, elf, ["--ram", "0x20000000:0x10000"])
    port = harness.free_port()
    proxy = session.start_tarnwick(tarnwick, sim_port, port,
                                   ["--file", elf, "--rtos", "freertos", "--rtos_variant", "ARM_CM4F"])
    result = session.run_gdb(["set pagination off", "set confirm off", "set width 0",
                              "set filename-display basename", "set tcp connect-timeout 5", "file " + elf,
                              "target remote 127.0.0.1:%d" % port] + demo["stop"] + [
                              "echo ==info threads==\\n", "info threads", "echo ==end==\\n", "detach"])
    output = result.stdout.split("\n")
    if "==info threads==" not in output or "==end==" not in output:
        raise AssertionError("GDB's session through the installed tarnwick:\n%s\n%s\n%s" % (
            harness.indent(result.stdout), harness.indent(result.stderr), proxy.describe()))
    threads = output[output.index("==info threads==") + 1:output.index("==end==")]
    expected = demo_script.expected_info_threads("freertos", elf)
    if threads != expected:
        raise AssertionError("info threads through the installed tarnwick:\n%s\n%s" % (
            demo_script.differences(expected, threads), proxy.describe()))
    if not os.path.getsize(elf + ".proxy_cache"):
        raise AssertionError("the installed tarnwick left an empty debug-info cache")


def check_install(args, session):
    root, bin_dir = INSTALLERS[args.case](session, args)
    check_layout(root, bin_dir)
    tarnwick = os.path.join(root, bin_dir, "tarnwick")
    check_banner(tarnwick)
    check_session(session, args, tarnwick)
    print("%s: %s/tarnwick with drivers/drivers.csv beside it; banner and session as expected"
          % (args.case, bin_dir))


INSTALLERS = {"install": install_tree, "deb": install_deb, "tgz": install_tgz}

if __name__ == "__main__":
    gdbsession.run(__doc__, check_install, paths=("build_dir", "target_sim"),
                   options=[(["--case"], {"required": True, "choices": sorted(INSTALLERS)})])
