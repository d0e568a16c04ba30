"""A copy of run.sh and scripts/ in a folder of its own, with stubs for the tools that install and build. The
scripts are the unchanged ones; the stubs are executables that come first on PATH."""

import fcntl
import os
import pty
import shutil
import struct
import subprocess
import tempfile
import termios
import threading

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOT = os.path.dirname(TESTS)
DEADLINE_S = 300

# Every stub first adds its command line to the file of calls.
CALLED = """#!/bin/bash
echo "${0##*/} $*" >>"$TREE/calls"
"""

# Every package is installed but those of the file `missing`.
DPKG_QUERY = """
for package; do
  [[ $package == -* ]] || grep -Fqx -- "$package" "$TREE/missing" || echo "installed $package"
done
"""

# Takes the input if it gets it. Builds a program that prints its options, then its input, and ends with status 7.
CMAKE = """
cat >/dev/null
folder=$TREE/tree/build/release
if [ "$1" = --build ]; then
  echo "[1/2] Building one.cpp.o"
  echo "[2/2] Linking tarnwick"
  cp "$TREE/program" "$folder/tarnwick"
fi
"""

PROGRAM = """#!/bin/bash
echo "options: $*"
cat
exit 7
"""


class Tree:
    def __init__(self):
        self.folder = tempfile.mkdtemp()
        # Also another user can run what is in it.
        os.chmod(self.folder, 0o755)
        self.root = os.path.join(self.folder, "tree")
        self.build = os.path.join(self.root, "build", "release")
        self.bin = os.path.join(self.folder, "bin")
        for path in self.root, self.bin:
            os.mkdir(path)
        shutil.copy(os.path.join(ROOT, "run.sh"), self.root)
        shutil.copytree(os.path.join(ROOT, "scripts"), os.path.join(self.root, "scripts"))
        for name in "cli", "cmake", "collector", "proc", "sysstat", "trace":
            os.mkdir(os.path.join(self.root, name))
        for name in "CMakeLists.txt", "CMakePresets.json", "cli/main.cpp":
            self.write("tree/" + name, "")
        self.write("program", PROGRAM, 0o755)
        self.missing()
        # Whoever runs a stub can add its call.
        self.write("calls", "", 0o666)
        self.stub("dpkg-query", DPKG_QUERY)
        self.stub("cmake", CMAKE)
        self.stub("apt-get", "cat >/dev/null")
        self.stub("sudo", 'exec "$@"')

    def remove(self):
        shutil.rmtree(self.folder)

    def write(self, name, text, mode=0o644):
        path = os.path.join(self.folder, name)
        with open(path, "w") as file:
            file.write(text)
        os.chmod(path, mode)

    def stub(self, name, script):
        self.write("bin/" + name, CALLED + script, 0o755)

    def missing(self, *packages):
        self.write("missing", "".join(package + "\n" for package in packages))

    def calls(self):
        """The command lines of the stubs, in order."""
        with open(os.path.join(self.folder, "calls")) as file:
            return file.read().splitlines()

    def start(self, script, *options, prefix=(), path=None, **popen):
        """Runs a script of the copy to its end."""
        environment = {**os.environ, "PATH": path or self.bin + ":" + os.environ["PATH"], "TREE": self.folder}
        popen = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **popen}
        if "input" in popen:
            del popen["stdin"]
        return subprocess.run([*prefix, os.path.join(self.root, script), *options], text=True,
                              env=environment, timeout=DEADLINE_S, **popen)


def on_terminal(run):
    """Calls run(fd) with a terminal of 40 columns. Returns what run did and what the terminal was given."""
    master, terminal = pty.openpty()
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
    shown = []

    def collect():
        try:
            while got := os.read(master, 4096):
                shown.append(got)
        except OSError:
            # What read(2) gives when nobody has the terminal open any more.
            pass

    reader = threading.Thread(target=collect)
    reader.start()
    try:
        result = run(terminal)
    finally:
        os.close(terminal)
        reader.join()
        os.close(master)
    return result, b"".join(shown).decode()
