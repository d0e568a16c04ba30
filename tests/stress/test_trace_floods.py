"""A trace that is faster than its reader, and what it needs dying at any moment: the measurement ends."""

import os
import random
import re
import select
import signal
import subprocess
import threading
import time

from extent import extent, figure
from harness import IDLE_SYSTEM, TIMES
from deadline import wait_for
from program import HAS_SANITIZER, SEPARATOR, mask_times
from trace_device import TraceTest, kpi, sched
from tracing import TRACING

LOST = "CPU:1 [LOST {} EVENTS]\n"
RECORD = re.compile(r"time=35\.993756 tag=nr duration=(\d+) cpu=1 tgid=7 tgid_name=p tid=7 tid_name=p name=wait\n")
KPI_RECORD = re.compile(r"time=0\.001000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi "
                        r"name=KPI-R2K-AT-1\n")
# What the program needs at most, and for each record.
BASE_KB = 8192
RECORD_BYTES = 32
# Bytes of the trace: far more than a pipe holds and than a thousand events have.
ENOUGH = 1 << 20


class Writer:
    """Keeps the trace pipe full, from a thread of its own."""

    def __init__(self, path, text):
        self.fd = os.open(path, os.O_RDWR | os.O_NONBLOCK)
        self.text = text
        self.written = 0
        self.stop = threading.Event()
        self.thread = threading.Thread(target=self.run)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.stop.set()
        self.thread.join()
        os.close(self.fd)

    def run(self):
        while not self.stop.is_set():
            try:
                self.written += os.write(self.fd, self.text)
            except BlockingIOError:
                select.select([], [self.fd], [], 0.1)


class Flood(TraceTest):
    def flood(self, option, text, seconds):
        """A measurement of a pipe that is always full. Returns the output and the memory at its end."""
        with self.start("--sig", option) as program:
            program.toggle()
            self.wait_until_reading(program)
            with Writer(self.device.path(f"{TRACING}/trace_pipe"), text) as writer:
                time.sleep(seconds)
                wait_for(lambda: writer.written > ENOUGH, "the pipe is read")
                # Before the stop the list is complete but for what two seconds bring.
                program.toggle()
            with open(f"/proc/{program.pid}/status") as status:
                peak_kb = int(re.search(r"^VmHWM:\s+(\d+) kB$", status.read(), re.M)[1])
            return program.interrupt(), peak_kb

    def assert_whole(self, output, notices):
        self.assertRegex(mask_times(output), rf"\ASIGUSR1->start\(\)\n(Received.*\n)?SIGUSR1->stop\(\)\n{SEPARATOR}"
                         rf"{notices}cpu  : .*\nrw_reqs=.*\n(add=.*\n)*alloc_stalls=.*\nMemFree=.*\nbody_temp=0\n{TIMES}\Z")

    def test_scheduler_events_with_losses(self):
        self.task(7, 7, "p")
        events = [sched("wait", 7, "p", number) for number in range(1, 30)]
        text = "".join([LOST.format(2825), *events, LOST.format(1), LOST.format(10 ** 30)]).encode()
        self.assertLessEqual(len(text), select.PIPE_BUF)
        output, peak_kb = self.flood("--systrace", text, extent(2, 30))
        self.assert_whole(output, "Writing output.*\nDone writing.*\n")
        records = self.records().splitlines(keepends=True)
        for number, record in enumerate(records):
            found = RECORD.fullmatch(record)
            # One after another: a lost-events line has not taken its neighbour with it.
            self.assertTrue(found and int(found[1]) == number % len(events) + 1, record)
        figure(f"{len(records)} records from a full pipe, {peak_kb} KB at most")
        if not HAS_SANITIZER:
            self.assertLessEqual(peak_kb, BASE_KB + len(records) * RECORD_BYTES / 1024)

    def test_page_cache_events_with_losses(self):
        event = ("             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev 8:1 "
                 "ino 14 page=ffe0 pfn=262462 ofs=0\n")
        self.device.write("/data/inode.txt", "8:1_20 /known\n")
        output, peak_kb = self.flood("--block-dump", (LOST.format(7) + 20 * event).encode(), extent(1, 30))
        self.assert_whole(output, "")
        counts = re.search(r"^add=(\d+) del=0 file=/known\nadd=0 del=0 file=unknown\nadd=\1 del=0 file=total$",
                           output, re.M)
        figure(f"{counts[1]} pages from a full pipe, {peak_kb} KB at most")
        self.assertGreater(int(counts[1]), 1000)


class DeathTest(TraceTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(1)
        self.task(7, 7, "p")
        self.log(*[kpi("AT-1", 1)] * 20)
        self.tool("busybox", "kill -9 $(cat /data/logcat-pid)")

    def measure_dying(self, program, die):
        """A measurement in which something dies at a random moment, be it that of the stop."""
        program.toggle()
        self.send(*(sched("wait", 7, "p", number) for number in range(1, 50)))
        reaper = threading.Timer(self.random.random() * 0.08, die, [program])
        reaper.start()
        time.sleep(self.random.random() * 0.08)
        program.toggle()
        reaper.join()
        self.assertEqual(self.children(program), [])

    def assert_measured(self, program, count):
        output = mask_times(program.interrupt())
        self.wait_until_all_have_ended()
        self.assertEqual((output.count("SIGUSR1->stop()\n" + SEPARATOR), output.count(IDLE_SYSTEM + TIMES)),
                         (count, count))

    def assert_whole_records(self, text):
        for record in text.splitlines(keepends=True):
            self.assertTrue(RECORD.fullmatch(record) or KPI_RECORD.fullmatch(record), record)


class Tools(DeathTest):
    def measure(self, die):
        count = extent(15, 300)
        with self.start("--sig", "--systrace") as program:
            for _ in range(count):
                self.measure_dying(program, die)
                self.assert_whole_records(self.records())
            self.assert_measured(program, count)
        figure(f"{count} measurements, {die.__name__}")

    def test_killed(self):
        def killed(program):
            for pid in self.children(program):
                try:
                    os.kill(int(pid), signal.SIGKILL)
                except ProcessLookupError:
                    pass  # ended in the meantime
        self.measure(killed)

    def test_log_closed(self):
        self.logcat("cat /data/log\nwhile [ ! -e /data/close ]; do sleep 0.01; done\nrm /data/close\n"
                    "exec sleep 1000 >&-")

        def log_closed(_):
            self.device.write("/data/close", "")
        self.measure(log_closed)

    def test_trace_closed(self):
        def trace_closed(_):
            self.close_pipe()
            self.pipe = os.open(self.device.path(f"{TRACING}/trace_pipe"), os.O_RDWR)
        self.measure(trace_closed)


class Disk(DeathTest):
    """/data is a disk of its own, of 256 KB."""

    DISK = ["sh", "-c", "mount -t tmpfs -o size=256k disk /mnt && cp -a /data/. /mnt && "
            'mount --move /mnt /data && exec "$@"', "sh"]

    def test_full_for_a_while(self):
        def full(program):
            fill = f"/proc/{program.pid}/root/data/fill"
            with open(fill, "wb", buffering=0) as out:
                try:
                    while out.write(bytes(4096)):
                        pass
                except OSError:
                    pass
            time.sleep(self.random.random() * 0.03)
            os.remove(fill)
        count = extent(15, 300)
        with self.start("--sig", "--systrace", prefix=self.DISK) as program:
            for _ in range(count):
                self.measure_dying(program, full)
            self.assert_measured(program, count)
        figure(f"{count} measurements, the disk full for a while")

    def test_gone(self):
        def gone(program):
            enter = ["nsenter", f"--target={program.pid}", "--mount", "--root"]
            if os.geteuid() != 0:
                enter += ["--user", "--preserve-credentials"]
            subprocess.run([*enter, "umount", "--lazy", "/data"], check=True)
        count = extent(5, 100)
        for _ in range(count):
            with self.start("--sig", "--systrace", prefix=self.DISK) as program:
                self.measure_dying(program, gone)
                self.assert_measured(program, 1)
        figure(f"{count} measurements, the disk gone")
