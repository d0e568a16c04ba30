"""A device whose kernel has binary ring buffers: the program takes its events from there."""

import os
import re
import shutil
import tempfile
import unittest

from trace_device import TraceTest, sched
from tracing import TRACING, link_ring

CAPTURES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "fixtures", "ring")
KERNELS = sorted(os.listdir(CAPTURES))
KERNEL = "linux-6.18-x86_64"
HEADER_BYTES = 16


class TraceRing(TraceTest):
    def capture(self, kernel, *path):
        return os.path.join(CAPTURES, kernel, *path)

    def lay_ring(self, kernel=KERNEL):
        """The ring buffers of a capture, and the threads that they name."""
        folder = self.device.path(TRACING)
        link_ring(folder, self.capture(kernel))
        for path, _, files in os.walk(folder):
            for file in files + ["per_cpu"]:
                link = os.path.join(path, file)
                if os.path.islink(link):
                    target = os.path.realpath(link)
                    os.unlink(link)
                    (shutil.copytree if os.path.isdir(target) else shutil.copy)(target, link)
        for tid in set(re.findall(r" pid=(\d+) ", self.text(kernel))):
            self.task(tid, tid, f"process {tid}")

    def text(self, kernel=KERNEL):
        with open(self.capture(kernel, "trace"), encoding="utf-8", errors="surrogateescape") as text:
            return text.read()

    def pages(self, kernel=KERNEL):
        """Where the pages of CPU 0 are."""
        return self.device.path(f"{TRACING}/per_cpu/cpu0/trace_pipe_raw")

    def trace_by_text(self, kernel, options):
        """The same, without ring buffers."""
        os.rename(self.device.path(f"{TRACING}/per_cpu"), self.device.path(f"{TRACING}/no_per_cpu"))
        with self.start("--enter", *options) as program:
            program.wait_until_waiting()
            for line in self.text(kernel).splitlines(keepends=True):
                os.write(self.pipe, line.encode(errors="surrogateescape"))
            program.type("\n")
            return program.finish()

    def assert_by_text(self):
        """A line in trace_pipe makes a record."""
        self.task(4711, 4711, "by text")
        self.trace(sched("runtime", 4711, "by text", 1000))
        self.assertIn(" tid=4711 tid_name=by text ", self.records())

    def test_records_are_those_of_the_text(self):
        for kernel in KERNELS:
            with self.subTest(kernel):
                self.tearDown()
                self.doCleanups()
                self.setUp()
                self.lay_ring(kernel)
                self.trace()
                by_ring = self.records()
                self.trace_by_text(kernel, ["--systrace"])
                self.assertGreater(by_ring.count("\n"), 50)
                self.assertEqual(by_ring, self.records())

    def test_page_cache_counts_are_those_of_the_text(self):
        self.lay_ring()

        def counts(output):
            return re.findall(r"^add=.*$", output, re.M)
        by_ring = counts(self.trace(options=["--block-dump"]))
        self.assertGreater(len(by_ring), 1)
        self.assertEqual(by_ring, counts(self.trace_by_text(KERNEL, ["--block-dump"])))

    def test_trace_pipe_is_opened_and_not_read(self):
        self.lay_ring()
        self.task(4711, 4711, "by text")
        line = sched("runtime", 4711, "by text", 1000)
        self.trace(line)
        self.assertNotIn("by text", self.records())
        self.assertEqual(self.unread(), len(line))

    def test_files_are_opened_before_the_first_write(self):
        self.lay_ring()
        with tempfile.NamedTemporaryFile("r") as log:
            # Threads that begin late.
            late = ["strace", "-f", "-o", log.name, "-e", "trace=prctl,openat", "-e", "inject=prctl:delay_enter=300000"]
            with self.start("--iter=1", "--interval=0", "--block-dump", prefix=late) as program:
                program.finish()
            self.wait_until_all_have_ended()
            opened = [(path, flags.startswith("O_RDONLY")) for path, flags
                      in re.findall(rf'openat\(AT_FDCWD, "{TRACING}/(.*?)", (\S+)', log.read())]
        first_write = next(place for place, (_, reads) in enumerate(opened) if not reads)
        before = [path for path, _ in opened[:first_write]]
        self.assertIn("trace_pipe", before)
        self.assertEqual([path for path in before if path.startswith("per_cpu/")],
                         [f"per_cpu/{cpu}/trace_pipe_raw"
                          for cpu in sorted(os.listdir(self.device.path(f"{TRACING}/per_cpu")))])

    def test_missing_trace_pipe_ends_the_program(self):
        self.lay_ring()
        os.unlink(self.device.path(f"{TRACING}/trace_pipe"))
        with self.start("--enter", "--systrace") as program:
            self.assertIn("fopen(trace_pipe) failed!\n", program.finish(1))

    def test_without_one_of_the_files_the_text_is_read(self):
        for file in ["events/header_page", "events/sched/sched_stat_iowait/format", "per_cpu/cpu1/trace_pipe_raw"]:
            with self.subTest(file):
                self.tearDown()
                self.doCleanups()
                self.setUp()
                self.lay_ring()
                os.unlink(self.device.path(f"{TRACING}/{file}"))
                self.assert_by_text()

    def test_format_that_does_not_parse_leaves_the_text(self):
        self.lay_ring()
        self.device.write(f"{TRACING}/events/sched/sched_stat_runtime/format", "ID: 363\nformat:\n")
        self.assert_by_text()

    def test_first_page_that_makes_no_sense_leaves_the_text(self):
        self.lay_ring()
        with open(self.pages(), "r+b") as pages:
            # A record that is longer than its page.
            pages.seek(HEADER_BYTES)
            pages.write((0).to_bytes(4, "little") + (9999).to_bytes(4, "little"))
        self.assert_by_text()

    def test_first_page_that_makes_no_sense_is_a_loss(self):
        self.lay_ring()
        with open(self.pages(), "r+b") as pages:
            pages.seek(HEADER_BYTES)
            pages.write((0).to_bytes(4, "little") + (9999).to_bytes(4, "little"))
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            program.type("\n")
            program.finish()
            self.assertIn("events lost 1 time, number unknown", program.errors())

    def test_later_page_that_makes_no_sense_is_a_loss(self):
        self.lay_ring()
        size = os.path.getsize(self.pages())
        self.assertGreater(size, 4096)
        with open(self.pages(), "r+b") as pages:
            pages.seek(4096 + HEADER_BYTES)
            pages.write((0).to_bytes(4, "little") + (9999).to_bytes(4, "little"))
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            program.type("\n")
            program.finish()
            self.assertIn("events lost 1 time, number unknown", program.errors())
        self.assertGreater(self.records().count("\n"), 50)

    def test_pages_that_are_not_read_in_time_are_a_loss(self):
        self.lay_ring()
        os.unlink(self.pages())
        os.symlink("/dev/zero", self.pages())  # pages without events, and no end of them
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            program.type("\n")
            program.finish()
            self.assertEqual(program.errors(), "tarnwick: trace: last events lost, number unknown: "
                             "not read within 2 seconds\n")

    def test_events_that_the_kernel_dropped_are_counted(self):
        self.lay_ring()
        with open(self.pages(), "r+b") as file:
            pages = bytearray(file.read())
            for page in range(0, len(pages), 4096):
                size = int.from_bytes(pages[page + 8:page + 12], "little") & 0xFFFFF
                if size < 4000:
                    break
            else:
                self.fail("no page has room")
            pages[page + 8:page + 16] = (size | 3 << 30).to_bytes(8, "little")
            count = page + HEADER_BYTES + size
            pages[count:count + 8] = (1234).to_bytes(8, "little")
            file.seek(0)
            file.write(pages)
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            program.type("\n")
            program.finish()
            self.assertIn("1234 events lost", program.errors())


if __name__ == "__main__":
    unittest.main()
