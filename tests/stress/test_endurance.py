"""Very many measurements: at the end the program has the memory and the descriptors that it had early on."""

import os
import re
import signal
import subprocess

from extent import extent, figure
from harness import DeviceTest
from deadline import wait_for, wait_for_input
from program import HAS_SANITIZER
from trace_device import STAY, TraceTest, sched

TIMING_LINE = b"\nuptime="
EARLY = 10


class Endurance:
    def size(self, program):
        """Kilobytes of memory of its own that the program has touched, and what its descriptors are."""
        with open(f"/proc/{program.pid}/status") as status:
            kilobytes = int(re.search(r"^RssAnon:\s+(\d+) kB$", status.read(), re.M)[1])
        folder = f"/proc/{program.pid}/fd"
        return kilobytes, {int(fd): os.readlink(f"{folder}/{fd}") for fd in os.listdir(folder)}

    def assert_has_not_grown(self, name, count, early, late, allowed_kb=0):
        figure(f"{name}: after {EARLY} measurements {early[0]} KB and {len(early[1])} descriptors, after "
               f"{count} {late[0]} KB and {len(late[1])}")
        self.assertEqual(late[1], early[1])
        if not HAS_SANITIZER:
            self.assertLessEqual(late[0], early[0] + allowed_kb)


class Loop(Endurance, DeviceTest):
    def lay(self):
        self.device.stat(("", 1, 2, 3), (0, 1, 2, 3), (1, 1, 2, 3))
        for pid in (3, 5):
            self.device.process(pid, "name", cmdline=f"name{pid}\0")
        self.device.process(7, "thread", folder="/proc/5/task/7", schedstat="1 2 3\n")
        self.device.disk("sda", 1)
        self.device.write("/proc/vmstat", "nr_free_pages 5\npgmajfault 7\n")
        self.device.write("/proc/net/dev", "lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n")
        self.device.write("/proc/sys/kernel/perf_event_paranoid", "2\n")
        self.device.write("/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state", "300000 1\n")

    def measure(self, count, *options):
        """The size when so many reports have been read, early and late, and nobody reads more."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        sizes = []
        with self.device.start("--stdout", "--interval=0", "--min-cpu=-1", *options, stdout=writer,
                               stdin=subprocess.DEVNULL) as program:
            os.close(writer)
            reports, text = 0, b""
            for stop in (EARLY, count):
                while reports < stop:
                    wait_for_input(reader, "a report")
                    part = os.read(reader, 4096)
                    self.assertTrue(part, "the program goes on")
                    text += part
                    reports += text.count(TIMING_LINE)
                    text = text[-len(TIMING_LINE) + 1:]
                wait_for(lambda: program.is_in("write"), "the pipe is full")
                sizes.append(self.size(program))
            program.send(signal.SIGINT)
            program.finish()
        return sizes

    def test_loop(self):
        self.lay()
        count = extent(2000, 100000)
        for options in ([], ["--proc=name5", "--freq", "--pmu"]):
            with self.subTest(options):
                self.assert_has_not_grown(" ".join(["--interval=0", *options]), count,
                                          *self.measure(count, *options))


class Traced(Endurance, TraceTest):
    def test_traced_measurements(self):
        count = extent(30, 1000)
        self.logcat(STAY)
        for tid in range(10, 30):
            self.task(tid, tid, f"task{tid}")
        pages = [f"             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev 8:1 "
                 f"ino {ino:x} page=ffe0 pfn=262462 ofs=0\n" for ino in range(100)]
        lines = [sched(kind, tid, f"name{tid}", 5) for kind in ("wait", "runtime") for tid in range(10, 30)]
        for option in ("--systrace", "--block-dump"):
            with self.subTest(option), self.start("--sig", option) as program:
                for number in range(1, count + 1):
                    program.toggle()
                    self.send(*pages, *lines)
                    program.toggle()
                    if number == EARLY:
                        early = self.size(program)
                # Each worker takes whichever of the C library's arenas is free; sooner or later each of
                # these has the larger worker's buffers.
                self.assert_has_not_grown(f"--sig {option}", count, early, self.size(program), 256)
                program.interrupt()
