"""What a trace lacks, as standard error says it at the end of a measurement."""

import os
import re
import resource
import unittest

from trace_device import END_LOGCAT, TraceTest, kpi, sched
from deadline import wait_for
from program import HAS_SANITIZER
from tracing import CONTROLS, TRACING

LOST = "CPU:{} [LOST {} EVENTS]\n"
PREFIX = "tarnwick: trace: "


class LossTest(TraceTest):
    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")
        # A stop may come before logcat runs.
        self.tool("busybox", "exec 2>/dev/null\n" + END_LOGCAT)

    def losses(self, *lines, options=("--systrace",)):
        """What one measurement with these lines prints to standard error."""
        with self.start("--enter", *options) as program:
            program.wait_until_waiting()
            self.send(*lines)
            program.type("\n")
            self.output = program.finish()
            return program.errors()


class Losses(LossTest):
    def test_nothing_is_said_where_nothing_was_lost(self):
        self.assertEqual(self.losses(sched("wait", 7, "p", 5)), "")

    def test_events_that_the_kernel_counted(self):
        for option in ("--systrace", "--block-dump"):
            with self.subTest(option):
                self.assertEqual(
                    self.losses(LOST.format(1, 2825), sched("wait", 7, "p", 5), LOST.format(0, 10),
                                options=(option,)),
                    PREFIX + "2835 events lost: kernel buffer full\n")

    def test_events_that_the_kernel_did_not_count(self):
        self.assertEqual(self.losses("CPU:1 [LOST EVENTS]\n", "CPU:0 [LOST EVENTS]\n"),
                         PREFIX + "events lost 2 times, number unknown: kernel buffer full\n")

    def test_events_between_losses_are_recorded(self):
        self.losses(LOST.format(1, 1), sched("wait", 7, "p", 5), "CPU:1 [LOST EVENTS]\n",
                    sched("wait", 7, "p", 6))
        self.assertEqual(len(self.records().splitlines()), 2)

    def test_events_of_threads_that_are_not_there(self):
        self.device.write("/proc/10/status", "Tgid:\t11\n")
        self.assertEqual(
            self.losses(*(sched("wait", tid, "x", 5) for tid in (7, 8, 9, 10, 8))),
            PREFIX + "4 events skipped: thread ended before it was looked up\n")

    def test_events_that_leave_no_record_anyway_are_not_lost(self):
        self.assertEqual(self.losses(*(sched("wait", 8, "x", value) for value in (0, 300000001, -5))), "")

    def test_standard_output_says_nothing(self):
        self.losses(LOST.format(1, 2825), sched("wait", 8, "x", 5))
        self.assertNotIn("lost", self.output)
        self.assertNotIn("skipped", self.output)

    def test_losses_are_those_of_one_measurement(self):
        with self.start("--sig", "--systrace") as program:
            for lines in ([LOST.format(1, 3)], [sched("wait", 7, "p", 5)], [LOST.format(1, 4)]):
                program.toggle()
                self.send(*lines)
                program.toggle()
            program.interrupt()
            errors = program.errors()
        self.assertEqual(errors, "".join(PREFIX + f"{count} events lost: kernel buffer full\n"
                                         for count in (3, 4)))


class MemoryLimit(LossTest):
    """Records are 24 bytes. The limit is a quarter of what is available."""

    def test_newest_records_are_dropped(self):
        self.device.write("/proc/meminfo", "MemTotal: 9 kB\nMemAvailable:          1 kB\n")
        self.assertEqual(self.losses(*(sched("wait", 7, "p", number + 1) for number in range(25))),
                         PREFIX + "15 records dropped: memory limit of 0 KB\n")
        self.assertEqual([line.split("duration=")[1].split()[0] for line in self.records().splitlines()],
                         [str(number + 1) for number in range(10)])
        self.assertIn("body_temp=", self.output)

    def test_names_are_followed_beyond_the_limit(self):
        self.device.write("/proc/meminfo", "MemAvailable: 1 kB\n")
        self.losses(*(sched("wait", 7, "p", number + 1) for number in range(10)), sched("wait", 7, "late", 5))
        self.assertEqual(self.records().count("tid_name=late"), 10)

    def test_log_lines_count(self):
        self.device.write("/proc/meminfo", "MemAvailable: 0 kB\n")
        self.log(kpi("AT-1", 5000), kpi("AT-5", 6000))
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.wait_until_logged()
            program.type("\n")
            program.finish()
            self.assertEqual(program.errors(), PREFIX + "2 records dropped: memory limit of 0 KB\n")

    def test_limit_is_that_of_the_start_of_the_measurement(self):
        with self.start("--sig", "--systrace") as program:
            for available, records in ((1, 10), (2, 21), (1, 10)):
                self.device.write("/proc/meminfo", f"MemAvailable: {available} kB\n")
                program.toggle()
                self.device.write("/proc/meminfo", "MemAvailable: 9 kB\n")
                self.send(*(sched("wait", 7, "p", number + 1) for number in range(30)))
                program.toggle()
                self.assertEqual(len(self.records().splitlines()), records)
            program.interrupt()

    def test_default_without_the_file_or_its_line(self):
        for text in (None, "MemTotal: 1 kB\n"):
            with self.subTest(text):
                if text is not None:
                    self.device.write("/proc/meminfo", text)
                self.assertEqual(self.losses(sched("wait", 7, "p", 5)), "")
                self.assertEqual(len(self.records().splitlines()), 1)


@unittest.skipIf(HAS_SANITIZER, "their allocators end the program")
class OutOfMemory(LossTest):
    """The program may have little more than it has when the measurement begins."""

    EVENTS = 60000
    MORE_BYTES = 4 << 20

    def setUp(self):
        super().setUp()
        # Otherwise a thread has 64 MB of addresses from the start.
        self.environment["MALLOC_ARENA_MAX"] = "1"

    def send_to(self, program, text):
        """Sends the text, as long as the program is there to read it."""
        left = text.encode()

        def is_sent():
            nonlocal left
            self.assertIsNone(program.process.poll(), program.errors())
            try:
                left = left[os.write(self.pipe, left):]
            except BlockingIOError:
                pass  # the pipe is full
            return not left
        os.set_blocking(self.pipe, False)
        wait_for(is_sent, "the events are read")

    def trace_without_memory(self, option, line):
        """One measurement of so many events that take memory. Returns the number of those dropped."""
        with self.start("--sig", option) as program:
            program.toggle()
            with open(f"/proc/{program.pid}/status") as status:
                size_kb = int(re.search(r"^VmSize:\s+(\d+) kB$", status.read(), re.M)[1])
            limit = size_kb * 1024 + self.MORE_BYTES
            resource.prlimit(program.pid, resource.RLIMIT_AS, (limit, resource.RLIM_INFINITY))
            for begin in range(0, self.EVENTS, 100):
                self.send_to(program, "".join(line(number) for number in range(begin, begin + 100)))
            program.toggle()
            self.output = program.interrupt()
            errors = program.errors()
        self.assertEqual({control: self.device.read(f"{TRACING}/{control}")[0] for control in CONTROLS},
                         {**dict.fromkeys(CONTROLS, "0"), "trace_clock": "l", "buffer_size_kb": "1"})
        self.assertIn("body_temp=0\nuptime=", self.output)
        found = re.fullmatch(PREFIX + r"(\d+) events dropped: out of memory\n", errors)
        self.assertTrue(found, errors)
        return int(found[1])

    def test_scheduler_events(self):
        dropped = self.trace_without_memory(
            "--systrace", lambda number: sched("runtime", 7, f"{number:079}", number % 1000 + 1))
        self.assertGreater(dropped, 0)
        records = self.records().splitlines()
        self.assertGreater(len(records), 0)
        self.assertEqual(len(records) + dropped, self.EVENTS)
        self.assertRegex(records[-1], r"\Atime=.* name=p\Z")

    def test_page_cache_events(self):
        dropped = self.trace_without_memory(
            "--block-dump", lambda number: "cat-204 [000] .... 40.794419: mm_filemap_add_to_page_cache: "
                                           f"dev 8:1 ino {number:x} page=ffe0 pfn=262462 ofs=0\n")
        self.assertGreater(dropped, 0)
        self.assertIn(f"add={self.EVENTS - dropped} del=0 file=total\n", self.output)
