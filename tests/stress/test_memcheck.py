"""The program under valgrind, with kernel files that are whole, cut anywhere, or refused by the kernel.

Memcheck tells of memory that is used without a value, beyond its bounds or behind its end: where a number of
the report does not come from anywhere, that is the first. It also tells of memory that nothing leads to any more.
"""

import os
import random
import re
import shutil
import unittest

from extent import extent, figure, some
from modes import MODES, ModeTest
from program import HAS_SANITIZER

FINDING = 99
LOG = "/data/valgrind"


@unittest.skipIf(HAS_SANITIZER, "a sanitizer finds the same, and does not run under valgrind")
class Memcheck(ModeTest):
    PREFIX = [shutil.which("valgrind") or "valgrind", "-q", "--vgdb=no", f"--error-exitcode={FINDING}",
              f"--log-file={LOG}", "--leak-check=full", "--show-leak-kinds=definite",
              "--errors-for-leak-kinds=definite"]
    # The walk would be one of this whole machine.
    MODES = [mode for mode in MODES if mode != "walk"]

    def check(self, mode, refused=None):
        """A measurement. Given a path and a system call, strace fails that call on that path.

        Returns strace's log.
        """
        strace = None
        with self.begin(mode, self.PREFIX) as program:
            if refused:
                path, call = refused
                # The files of a process or thread are opened relative to its folder.
                relative = re.sub(r"^/proc/(5/task/)?(?=\d+/\w+$)", "", path)
                strace = ["strace", "-f", "--quiet=all", "-o", self.device.path("/data/strace"),
                          "-P", path, "-P", relative, "-P", self.path_of_descriptors(program, path),
                          "-e", f"trace={call}", "-e", f"inject={call}:error=EIO"]
            self.measure_to_end(program, strace)
        findings = self.device.read(LOG)
        self.assertEqual((program.process.returncode, findings), (0, ""))
        self.wait_until_all_have_ended()
        return self.device.read("/data/strace") if refused else ""

    def path_of_descriptors(self, program, path):
        """What /proc/PID/fd shows for the path, without links.

        If this test runs in a chroot, the program's mount namespace shows paths from outside of it.
        """
        self.rest(program)
        inside = os.path.realpath(self.device.path(path)).removeprefix(os.path.realpath(self.device.folder))
        return os.readlink(f"/proc/{program.pid}/root") + inside

    def test_whole_files(self):
        for mode in self.MODES:
            with self.subTest(mode):
                self.check(mode)

    def test_files_cut_anywhere(self):
        self.random = random.Random(1)
        count = extent(3, 60)
        self.cuts = True
        for number in range(count):
            with self.subTest(number):
                self.check(self.MODES[number % len(self.MODES)])
        figure(f"{count} measurements of cut files under memcheck")

    cuts = False

    def lay(self, moment, missing=0):
        super().lay(moment, missing)
        if self.cuts:
            for file in [*sum(self.FILES, []), "/proc/5/cmdline", "/proc/3/comm", "/proc/3/status"]:
                if os.path.exists(self.device.path(file)) and self.random.random() < 0.7:
                    text = self.device.read(file)
                    self.device.write(file, text[:self.random.randrange(len(text) + 1)])
            self.counters.truncate(self.random.randrange(200))

    def test_refused_files(self):
        folders = ["/proc", "/sys/block/"]
        files = ["/sys/block/sda/stat" if "/sda/" in file else file for file in sum(self.FILES, [])]
        cases = some([(path, call) for paths, calls in ((folders, ("openat", "getdents64")),
                                                        (files, ("openat", "read")))
                      for path in paths for call in calls], 4)
        for path, call in cases:
            with self.subTest(path=path, call=call):
                calls = self.check("threads" if "task" in path else "processes", (path, call))
                self.assertIn("(INJECTED)", calls)
        figure(f"{len(cases)} measurements with refused files under memcheck")
