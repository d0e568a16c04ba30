"""Scheduler events of this machine's kernel, by way of its binary ring buffers.

An instance of the kernel's tracing is used, of which the program sees links: its controls are plain files,
for the test switches the tracing. /proc is the kernel's, /data is ours.
"""

import ctypes
import os
import platform
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))
sys.path.insert(0, os.path.join(TESTS, "device"))

from harness import Device  # noqa: E402
from tracing import CONTROLS, FILEMAP, KERNEL_WITH_LINKS, link_ring  # noqa: E402

RUNTIME = "events/sched/sched_stat_runtime/enable"
ODD_NAMES = ["a=b", "pid=1", " pid=1 delay=5", "comm=x", "a\nb", "x[1", " ", "end ", "pid=7 runtime=9"]
WORK = """
import os, sys
for name in sys.argv[1:]:
    with open("/proc/self/comm", "w") as comm:
        comm.write(name)
    for _ in range(3000):
        os.sched_yield()
"""


def has_fork_records():
    """Whether perf events of all tasks can be had; a container may not allow it."""
    number = {"x86_64": 298, "aarch64": 241}[platform.machine()]
    software, size, dummy, task = 1, 64, 9, 1 << 13
    attr = struct.pack("=IIQQQQ", software, size, dummy, 0, 0, 0) + struct.pack("=Q", task) + bytes(16)
    fd = ctypes.CDLL(None, use_errno=True).syscall(number, attr, -1, 0, -1, 0)
    if fd >= 0:
        os.close(fd)
    return fd >= 0


@unittest.skipUnless(os.geteuid() == 0, "tracing needs root")
class RealRing(unittest.TestCase):
    def setUp(self):
        self.tracefs = tempfile.mkdtemp()
        self.addCleanup(os.rmdir, self.tracefs)
        if subprocess.run(["mount", "-t", "tracefs", "tracefs", self.tracefs],
                          stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no tracefs here")
        self.addCleanup(subprocess.run, ["umount", self.tracefs], check=True)
        if not os.path.exists(f"{self.tracefs}/{RUNTIME}"):
            self.skipTest("this kernel has no scheduler statistics events")
        # A trace of our own: others may be tracing on this machine.
        self.instance = tempfile.mkdtemp(dir=f"{self.tracefs}/instances")
        self.addCleanup(os.rmdir, self.instance)
        self.control("trace_clock", "global")
        self.control("buffer_size_kb", "8192")

    def control(self, file, value):
        with open(f"{self.instance}/{file}", "w") as control:
            control.write(value)

    def overruns(self):
        """How many events the kernel dropped."""
        total = 0
        for cpu in os.listdir(f"{self.instance}/per_cpu"):
            with open(f"{self.instance}/per_cpu/{cpu}/stats") as stats:
                total += int(re.search(r"^overrun: (\d+)$", stats.read(), re.M)[1])
        return total

    def work(self):
        subprocess.run([sys.executable, "-c", WORK, *ODD_NAMES], check=True)
        for event in FILEMAP:
            if os.path.exists(f"{self.instance}/{event}"):
                self.control(event, "1")
        with tempfile.TemporaryFile(dir="/var/tmp") as file:
            # Page by page: else one event stands for many.
            for _ in range(300):
                os.write(file.fileno(), bytes(4096))

    def compare(self):
        """The events in the ring, their number, and how many were dropped, when the ring has what the text has."""
        self.control(RUNTIME, "1")
        self.control("tracing_on", "1")
        self.work()
        self.control("tracing_on", "0")
        overruns = self.overruns()
        run = subprocess.run([os.environ["TARNWICK_RING_COMPARE"], self.instance], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stdout)
        sched, pages, missed, unknown = map(
            int, re.fullmatch(r"sched=(\d+) page_cache=(\d+) missed=(\d+) unknown=(\d+)\n", run.stdout).groups())
        if unknown == 0:
            self.assertEqual(missed, overruns)
        return sched, pages, overruns

    def test_ring_has_what_the_text_has(self):
        sched, pages, overruns = self.compare()
        self.assertGreater(sched, 10000)
        self.assertGreater(pages, 100)
        self.assertEqual(overruns, 0)

    def test_dropped_events_are_counted(self):
        self.control("buffer_size_kb", "16")
        # What is left are the newest events, which can be of either kind.
        sched, pages, overruns = self.compare()
        self.assertGreater(sched + pages, 10)
        self.assertGreater(overruns, 0)

    def test_larger_sub_buffers(self):
        if not os.path.exists(f"{self.instance}/buffer_subbuf_size_kb"):
            self.skipTest("this kernel has pages alone")
        self.control("buffer_subbuf_size_kb", "32")
        self.assertGreater(self.compare()[0], 10000)

    def test_most_short_lived_processes_are_in_the_trace(self):
        device = Device()
        self.addCleanup(device.close)
        links = tempfile.TemporaryDirectory()
        self.addCleanup(links.cleanup)
        for control in CONTROLS:
            path = os.path.join(links.name, control)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            open(path, "w").close()
        os.symlink(f"{self.instance}/trace_pipe", f"{links.name}/trace_pipe")
        link_ring(links.name, self.instance)
        for name in ("logcat", "busybox"):
            device.write(f"/data/bin/{name}", "#!/bin/sh\n")
            os.chmod(device.path(f"/data/bin/{name}"), 0o755)
        nap, nothing = f"{links.name}/shortnap", f"{links.name}/shortlived"
        shutil.copy(shutil.which("sleep"), nap)
        shutil.copy(shutil.which("true"), nothing)
        environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")
        with device.start("--stdout", "--enter", "--systrace", "--no-proc-cpu", env=environment,
                          prefix=["sh", "-c", KERNEL_WITH_LINKS, links.name]) as program:
            program.wait_until_waiting()
            self.control(RUNTIME, "1")
            self.control("tracing_on", "1")
            subprocess.run(["sh", "-c", f"for i in $(seq 150); do {nothing}; {nap} 0.005; done"], check=True)
            self.control("tracing_on", "0")
            program.type("\n")
            program.finish()
        for name, least in ("shortnap", 120), ("shortlived", 140 if has_fork_records() else 0):
            found = set(re.findall(rf" tgid_name={name} tid=(\d+) tid_name={name} ", device.read("/data/trace.txt")))
            self.assertGreaterEqual(len(found), least, name)


if __name__ == "__main__":
    unittest.main()
