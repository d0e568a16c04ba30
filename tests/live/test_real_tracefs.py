"""Page-cache tracing on this machine's kernel.

The kernel's own tracing files are used, through links. /proc and /sys are the kernel's otherwise, /data is
ours. A kernel without CONFIG_SCHEDSTATS lacks some of the events that a stop switches off.
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))
sys.path.insert(0, os.path.join(TESTS, "device"))

from deadline import wait_for  # noqa: E402
from harness import Device  # noqa: E402
from tracing import CONTROLS, FILEMAP, KERNEL_WITH_LINKS, SCHED, link_ring  # noqa: E402

PAGES = 300


@unittest.skipUnless(os.geteuid() == 0, "tracing needs root")
class RealTracefs(unittest.TestCase):
    def setUp(self):
        self.tracefs = tempfile.mkdtemp()
        self.addCleanup(os.rmdir, self.tracefs)
        if subprocess.run(["mount", "-t", "tracefs", "tracefs", self.tracefs],
                          stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no tracefs here")
        self.addCleanup(subprocess.run, ["umount", self.tracefs], check=True)
        if not all(os.path.exists(f"{self.tracefs}/{event}") for event in FILEMAP):
            self.skipTest("this kernel has no page-cache events")
        # A trace of our own: others may be tracing on this machine.
        self.instance = tempfile.mkdtemp(dir=f"{self.tracefs}/instances")
        self.addCleanup(os.rmdir, self.instance)
        self.device = Device()
        self.addCleanup(self.device.close)
        self.links = tempfile.TemporaryDirectory()
        self.addCleanup(self.links.cleanup)
        for control in [*CONTROLS, "trace_pipe"]:
            if self.kernel_has(control):
                path = os.path.join(self.links.name, control)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                os.symlink(os.path.join(self.instance, control), path)

    def kernel_has(self, control):
        return os.path.exists(os.path.join(self.instance, control))

    def new_file(self):
        """A file of so many pages whose path the program knows."""
        file = tempfile.NamedTemporaryFile(dir="/var/tmp")
        self.addCleanup(file.close)
        file.write(os.urandom(PAGES * 4096))
        file.flush()
        os.fsync(file.fileno())
        # Page by page: else the kernel would read several at once, which is one event.
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_RANDOM)
        status = os.fstat(file.fileno())
        self.device.write("/data/inode.txt",
                          f"{os.major(status.st_dev)}:{os.minor(status.st_dev)}_{status.st_ino} "
                          f"{file.name}\n")
        return file

    def drop(self, file):
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)

    def read_pages(self, file):
        for page in range(PAGES):
            os.pread(file.fileno(), 1, page * 4096)

    def start(self, *options, prefix=()):
        return self.device.start("--stdout", "--block-dump", "--no-proc-cpu", *options,
                                 prefix=["sh", "-c", KERNEL_WITH_LINKS, self.links.name, *prefix])

    def test_file_that_is_read_shows_by_name_with_its_pages(self):
        file = self.new_file()
        self.drop(file)
        with self.start("--enter") as program:
            program.wait_until_waiting()
            self.read_pages(file)
            self.drop(file)
            program.type("\n")
            output = program.finish()
        # The kernel may have taken pages back itself.
        counts = re.search(rf"^add=(\d+) del=(\d+) file={file.name}$", output, re.M)
        self.assertGreaterEqual(int(counts[1]), PAGES)
        self.assertGreaterEqual(int(counts[2]), PAGES)

    def assert_no_page_is_lost(self, prefix=()):
        file = self.new_file()
        rounds = 20
        with self.start("--sig", prefix=prefix) as program:
            for _ in range(rounds):
                self.drop(file)
                program.toggle()
                self.read_pages(file)
                program.toggle()
            output = program.interrupt()
        counts = re.findall(rf"^add=(\d+) del=\d+ file={file.name}$", output, re.M)
        self.assertEqual(counts, [str((round_ + 1) * PAGES) for round_ in range(rounds)])

    def test_no_page_of_many_measurements_is_lost(self):
        self.assert_no_page_is_lost()

    def test_no_page_is_lost_by_a_reader_that_waits_for_long(self):
        # The pages are read in less time than that: they are taken when the stop asks for them, or never.
        self.assert_no_page_is_lost(["strace", "-D", "-f", "-o", "/dev/null", "-e", "trace=ppoll",
                                     "-e", "inject=ppoll:delay_exit=100000"])

    def test_events_that_the_kernel_drops_are_counted(self):
        file = self.new_file()
        rounds = 40
        # The program's own size would take more than a test should read.
        control = os.path.join(self.links.name, "buffer_size_kb")
        os.remove(control)
        open(control, "w").close()
        with open(f"{self.instance}/buffer_size_kb", "w") as size:
            size.write("64")
        with self.start("--enter") as program:
            program.wait_until_waiting()
            program.send(signal.SIGSTOP)
            for _ in range(rounds):
                self.drop(file)
                self.read_pages(file)
            program.send(signal.SIGCONT)
            program.type("\n")
            output = program.finish()
            lost = re.search(r"(?m)^tarnwick: trace: (\d+) events lost: kernel buffer full$", program.errors())
        total = re.search(r"(?m)^add=(\d+) del=(\d+) file=total$", output)
        # Others have pages that come and go, too.
        self.assertGreaterEqual(sum(map(int, (lost[1], *total.groups()))), (2 * rounds - 1) * PAGES)


    def set(self, control, value):
        with open(os.path.join(self.instance, control), "w") as file:
            file.write(value)

    def settings(self):
        def text(control):
            with open(os.path.join(self.instance, control)) as file:
                return file.read()
        return {control: text(control) for control in CONTROLS if self.kernel_has(control)}

    def settings_of_another_tracer(self):
        for control, value in (("buffer_size_kb", "64"), ("trace_clock", "mono"), ("options/overwrite", "1"),
                               (FILEMAP[0], "1"), ("tracing_on", "0")):
            self.set(control, value)
        return self.settings()

    @staticmethod
    def end_of(program):
        """The output of a program that ends by itself with status 1."""
        wait_for(lambda: program.process.poll() is not None, "the program ends")
        return program.finish(status=1)

    def assert_refused(self):
        """The start fails at trace_pipe, however late that is, and changes nothing."""
        before = self.settings_of_another_tracer()
        late = ["strace", "-f", "-o", "/dev/null", "-P", "/sys/kernel/debug/tracing/trace_pipe", "-e", "trace=openat",
                "-e", "inject=openat:delay_enter=300000"]
        with self.start("--enter", prefix=["env", "ASAN_OPTIONS=detect_leaks=0", *late]) as program:
            self.assertEqual(self.end_of(program), "fopen(trace_pipe) failed!\n")
        self.assertEqual(self.settings(), before)

    def test_trace_with_another_reader_stays_as_it_is(self):
        pipe = f"{self.instance}/trace_pipe"
        with open(pipe, "rb"):
            try:
                open(pipe, "rb").close()
            except OSError:
                self.assert_refused()
            else:
                self.skipTest("this kernel has no limit of readers")

    def test_trace_without_trace_pipe_stays_as_it_is(self):
        os.remove(f"{self.links.name}/trace_pipe")
        self.assert_refused()

    def test_start_that_fails_late_leaves_what_a_stop_leaves(self):
        with self.start("--enter") as program:
            program.wait_until_waiting()
            program.type("\n")
            program.finish()
        stopped = self.settings()
        self.settings_of_another_tracer()
        self.set(FILEMAP[0], "0")
        for control in SCHED:
            if not self.kernel_has(control):
                path = os.path.join(self.links.name, control)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                open(path, "w").close()
        # The log is cleared until the trace is on. Then logcat cannot be started.
        self.device.write("/data/bin/logcat", """#!/bin/sh
            until read -r on </sys/kernel/debug/tracing/tracing_on && [ "$on" = 1 ]; do :; done
            read -r size </sys/kernel/debug/tracing/buffer_size_kb && echo "$size" >/data/size""")
        os.chmod(self.device.path("/data/bin/logcat"), 0o755)
        fault = ["strace", "-f", "-o", "/dev/null", "-e", "trace=clone,?fork,?vfork",
                 "-e", "inject=clone,?fork,?vfork:error=EAGAIN:when=2+"]
        with self.device.start("--stdout", "--systrace", "--no-proc-cpu", "--enter",
                               env=dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}",
                                        ASAN_OPTIONS="detect_leaks=0"),
                               prefix=["sh", "-c", KERNEL_WITH_LINKS, self.links.name, *fault]) as program:
            output = self.end_of(program)
        self.assertEqual(output.replace("Received first trace message...\n", ""), "popen() failed!\n")
        self.assertGreaterEqual(int(self.device.read("/data/size")), 8192)
        self.assertEqual(self.settings(), stopped)


class RealRing(RealTracefs):
    """The same by way of the kernel's binary ring buffers."""

    def setUp(self):
        super().setUp()
        link_ring(self.links.name, self.instance)
        for control in SCHED:
            if not self.kernel_has(control):
                shutil.rmtree(os.path.dirname(os.path.join(self.links.name, control)))

    def test_trace_pipe_is_not_read(self):
        file = self.new_file()
        self.drop(file)
        # The leak checker does not work under strace.
        with self.start("--enter", prefix=["env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-D", "-f", "-y", "-o",
                                           f"{self.links.name}/log", "-e", "trace=read"]) as program:
            program.wait_until_waiting()
            self.read_pages(file)
            program.type("\n")
            program.finish()
        with open(f"{self.links.name}/log") as log:
            reads = log.read()
        self.assertIn("/trace_pipe_raw>, ", reads)
        self.assertNotIn("/trace_pipe>, ", reads)
