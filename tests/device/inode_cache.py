"""A device whose files are walked for their names, and the cache of these."""

import os
import re
import shutil
import stat
import subprocess

from harness import TESTS
from trace_device import TraceTest

FEW_FILES = os.path.join(TESTS, "support", "few_files.sh")
CACHE = "/data/inode.txt"
UNFINISHED = "/data/inode.txt.new"
REPORT = ["add=0 del=0 file=unknown", "add=0 del=0 file=total"]


def shell(commands):
    """A prefix that runs shell commands on the device first."""
    return ["sh", "-c", f'{commands}; exec "$@"', "sh"]


class InodeCacheTest(TraceTest):
    def setUp(self):
        super().setUp()
        self.device.remove(CACHE)
        for path in ("/data/deep/er/file", f"/data/{'n' * 255}/{'f' * 255}", "/data/sys/file",
                     "/proc/1/stat", "/sys/file"):
            self.touch(path)

    def touch(self, path):
        full = self.device.path(path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        with open(full, "w"):
            pass

    def begin(self, prefix=()):
        return self.start("--iter=1", "--interval=0", "--block-dump", prefix=prefix,
                          stdin=subprocess.DEVNULL)

    def walk(self, setup=":", strace=(), status=0):
        """One run on a device of few files. Returns its standard error; the report is always whole."""
        tracer = [shutil.which("strace"), "-D", "-f", "-qq", "-s", "4096", *strace] if strace else []
        with self.begin([*shell(setup), FEW_FILES, *tracer]) as program:
            output = program.finish(status)
            self.assertEqual([line for line in output.splitlines() if line.startswith("add=")], REPORT)
            self.assertIn("\nuptime=", output)
            return program.errors()

    def lines(self):
        return self.device.read(CACHE).splitlines()

    def paths(self):
        return [line.split(" ", 1)[1] for line in self.lines()]

    def left(self):
        return [path for path in (CACHE, UNFINISHED) if os.path.lexists(self.device.path(path))]

    def regular_files(self):
        """The lines for what is in /data, as this machine sees it."""
        for folder, _, files in os.walk(self.device.path("/data")):
            for file in files:
                full = os.path.join(folder, file)
                status = os.lstat(full)
                if stat.S_ISREG(status.st_mode):
                    yield (f"{os.major(status.st_dev)}:{os.minor(status.st_dev)}_{status.st_ino} "
                           f"{full.removeprefix(self.device.folder)}")

    def opened_directories(self, log):
        """The directories that were opened to be walked, in their order."""
        paths, opened = {}, []
        for call, parent, name, flags, result in re.findall(
                r'(openat|close)\((AT_FDCWD|\d+)(?:, "(.*?)", (.*?))?\) = (-?\d+)', log):
            if call == "close":
                paths.pop(parent, None)
            elif "O_NOFOLLOW" in flags and "O_DIRECTORY" in flags:
                paths[result] = name if parent == "AT_FDCWD" else f"{paths[parent].rstrip('/')}/{name}"
                opened.append(paths[result])
        return opened
