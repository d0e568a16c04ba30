"""A measurement of each kind, on a device of which all that can be read is known."""

import os
import signal
import struct
import subprocess
import tempfile

from harness import interface
from inode_cache import CACHE, FEW_FILES, UNFINISHED
from deadline import wait_for, wait_for_end
from trace_device import STAY, TraceTest, sched
from tracing import TRACING

PARANOID = "/proc/sys/kernel/perf_event_paranoid"
MODES = {
    "processes": ("--freq",),
    "threads": ("--freq", "--proc=worker"),
    "counters": ("--no-proc-cpu", "--pmu"),
    "scheduler": ("--no-proc-cpu", "--systrace"),
    "page cache": ("--no-proc-cpu", "--block-dump"),
    "walk": ("--no-proc-cpu", "--block-dump"),
}
PAGE = ("             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev 8:1 ino 14 "
        "page=ffe0 pfn=262462 ofs=0\n")


class ModeTest(TraceTest):
    def setUp(self):
        super().setUp()
        # The tools have no children of their own, whom the faults would keep alive.
        self.tool("busybox", "read -r pid < /data/logcat-pid && kill -9 $pid")
        self.logcat(STAY)
        # A descriptor in place of a counter: each read of it gives 1000.
        self.counters = tempfile.TemporaryFile()
        self.addCleanup(self.counters.close)
        self.counters.write(struct.pack("=Q", 1000) * 4096)

    # What a snapshot can lack, together or one by one. The first bit of a number stands for the first file.
    FILES = [["/proc/stat"], ["/proc/net/dev"], ["/sys/devices/virtual/block/sda/stat", "/proc/vmstat"],
             ["/proc/buddyinfo"], ["/sys/class/power_supply/battery/temp"], ["/proc/3/stat"],
             ["/proc/5/task/7/stat", "/proc/5/task/7/schedstat"], ["/proc/5/stat"],
             ["/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state"]]

    def lay(self, moment, missing=0):
        """The files as they stand before the measurement, or after it."""
        m = moment
        # Without idle time, which the report takes from the clock where it is not plausible.
        self.device.stat(("", 100 + 7 * m, 20, 30 + 3 * m, 0, 0),
                         *((cpu, 50 + (3 + cpu) * m, 10, 15 + m, 0, 0) for cpu in (0, 1)))
        self.device.net_dev(interface("eth0", 4096 + 8192 * m, 4 + 8 * m, 2048, 2))
        self.device.disk("sda", *(10 * field + field * m for field in range(1, 12)))
        self.device.write("/proc/vmstat", "".join(
            f"{name} {100 * number + number * m}\n"
            for number, name in enumerate(("nr_free_pages", "nr_file_pages", "pswpin", "pswpout",
                                           "pgmajfault", "allocstall_normal", "nr_shmem"), 1)))
        self.device.write("/proc/buddyinfo", "Node 0, zone   Normal      1      2      3 \n")
        self.device.write("/sys/class/power_supply/battery/temp", "250\n")
        self.device.process(3, "init", 10 + m, 5, 7 + m, cmdline="/init\0")
        self.device.process(5, "worker", 20 + 4 * m, 6 + m, 8, 9, cmdline="/bin/worker\0")
        self.device.process(7, "thread", 20 + 4 * m, 6, 8, 9, folder="/proc/5/task/7",
                            schedstat=f"{1000000 * (5 + m)} {2000000 * (5 + m)} {5 + m}\n")
        self.device.write("/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state",
                          f"300000 {100 + m}\n1200000 {200 + 5 * m}\n")
        for group in self.FILES:
            for bit, file in enumerate(group):
                if missing & 1 << bit:
                    self.device.remove(file)

    def lay_mode(self, mode):
        self.lay(0)
        self.lay_again()
        for path in ("/data/trace.txt", "/data/logcat-pid", UNFINISHED, CACHE):
            if os.path.exists(self.device.path(path)):
                self.device.remove(path)
        if mode != "walk":
            self.device.write(CACHE, "8:1_20 /known\n")
        self.device.write(PARANOID, "2\n")
        self.task(3, 3, "worker")

    def lay_again(self):
        os.remove(self.device.path(f"{TRACING}/trace_pipe"))
        self.lay_tracing(TRACING)

    def begin(self, mode, prefix=()):
        self.lay_mode(mode)
        self.counters.seek(0)
        return self.device.start(
            "--stdout", "--sig", "--min-cpu=-1", *MODES[mode], env=self.environment, stdin=self.counters,
            prefix=[*([FEW_FILES] if mode == "walk" else []), *prefix])

    @staticmethod
    def rest(program):
        """Waits until the program waits or has ended. Whether it waits."""
        def rests():
            try:
                return program.is_waiting()
            except (AssertionError, OSError):
                return program.process.poll() is not None
        wait_for(rests, "the program rests")
        return program.process.poll() is None

    def measure_once(self, program):
        for moment in (0, 1):
            self.lay(moment)
            if not self.rest(program):
                return
            program.send(signal.SIGUSR1)
            if not self.rest(program):
                return
            if moment == 0:
                self.send(sched("wait", 3, "worker", 5), PAGE, PAGE)
        program.send(signal.SIGINT)

    def measure_to_end(self, program, strace=None):
        """One measurement, and the end of the program. A strace joins them where its command is given."""
        tracer = None
        if strace is not None and self.rest(program):
            tracer = subprocess.Popen([*strace, "-p", str(program.pid)])
            self.addCleanup(tracer.wait)
            self.addCleanup(tracer.kill)
            wait_for(lambda: all(self.traced_threads(program)), "strace has the program")
        self.measure_once(program)
        wait_for_end(program.process, "the program ends")
        if tracer is not None:
            wait_for_end(tracer, "strace ends")

    @staticmethod
    def traced_threads(program):
        """Of each thread, whether it is traced."""
        for task in os.listdir(f"/proc/{program.pid}/task"):
            with open(f"/proc/{program.pid}/task/{task}/status") as status:
                yield "\nTracerPid:\t0\n" not in status.read()
