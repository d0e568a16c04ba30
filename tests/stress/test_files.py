"""What the program leaves on the disk: two files, whole, that only their owner may write."""

import os
import re
import shutil
import signal
import stat

from extent import figure, some
from deadline import wait_for_end
from inode_cache import CACHE, FEW_FILES, UNFINISHED, InodeCacheTest, shell
from trace_device import STAY, TRACE, UNFINISHED_TRACE, TraceTest, sched

OURS = {CACHE, UNFINISHED, TRACE, UNFINISHED_TRACE}
# Of the scripts in place of the tools, and of the sanitizers, one of which has others in /tmp.
THEIRS = {"/data/calls", "/data/logcat-pid", "/dev/null"}


class Created(TraceTest):
    CALLS = ("open openat creat mkdir mkdirat mknod mknodat link linkat symlink symlinkat rename renameat "
             "renameat2")

    def test_nothing_but_the_two_files(self):
        log = "/data/strace"
        self.device.remove(CACHE)
        self.logcat(STAY)
        self.task(7, 7, "p")
        calls = ",".join(f"?{call}" for call in self.CALLS.split())
        created = set()
        for option, files in (("--systrace", ()), ("--block-dump", [FEW_FILES]), ("--freq", ())):
            with self.subTest(option):
                strace = [*shell("umask 0"), *files, shutil.which("strace"), "-D", "-f", "-s", "200",
                          f"--output={log}", "-e", f"trace={calls}"]
                with self.start("--enter", option, prefix=strace) as program:
                    program.wait_until_waiting()
                    self.send(sched("wait", 7, "p", 5))
                    program.type("\n")
                    program.finish()
                self.wait_until_all_have_ended()
                for call in self.device.read(log).splitlines():
                    if ("O_CREAT" in call or not re.search(r" open(at)?\(", call)) and "(" in call:
                        created.update(re.findall(r'"(.*?)"', call))
        self.assertEqual({path for path in created - THEIRS if not path.startswith("/tmp/tsan.")}, OURS)
        for path in (CACHE, TRACE):
            self.assertEqual(stat.S_IMODE(os.stat(self.device.path(path)).st_mode), 0o644, path)
        for path in (UNFINISHED, UNFINISHED_TRACE):
            self.assertFalse(os.path.lexists(self.device.path(path)))


class Killed(InodeCacheTest):
    CALLS = "openat,/fstatat,write,fsync,rename,unlink,close"

    def strace(self, log, *words):
        return [*shell(":"), FEW_FILES, shutil.which("strace"), "-D", "-qq", f"--output={log}", "-e",
                f"trace={self.CALLS}", *words]

    def paths_of_data(self):
        return {path for path in self.paths() if path.startswith("/data/")}

    def test_what_has_the_name_of_the_cache_is_whole(self):
        self.device.write("/data/strace", "")
        with self.begin(self.strace("/data/strace")) as program:
            program.finish()
        calls = len(self.device.read("/data/strace").splitlines())
        whole = self.paths_of_data()
        self.assertIn("/data/deep/er/file", whole)
        kept = 0
        positions = some(range(1, calls + 1, 3), 20)
        for position in positions:
            with self.subTest(position):
                self.device.remove(CACHE)
                with self.begin(self.strace(
                        "/data/strace", "-e", f"inject={self.CALLS}:signal=KILL:when={position}")) as program:
                    wait_for_end(program.process, "the program ends")
                    self.assertIn(program.process.returncode, (0, -signal.SIGKILL))
                if os.path.exists(self.device.path(CACHE)):
                    kept += 1
                    self.assertEqual(self.paths_of_data(), whole)
                # The next run takes it, or makes its own.
                self.walk()
                self.assertEqual((self.paths_of_data(), self.left()), (whole, [CACHE]))
        figure(f"{len(positions)} runs killed in {calls} calls; {kept} left a cache")
