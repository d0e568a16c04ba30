"""Signals at random moments, in each run mode."""

import os
import random
import select
import signal
import subprocess
import time

from extent import extent, figure
from harness import IDLE_CPUS, IDLE_SYSTEM, TIMES
from deadline import Deadline, wait_for
from program import HOLDS_SIGNALS_BACK, SEPARATOR, mask_times
from inode_cache import CACHE, UNFINISHED
from trace_device import STAY, UNFINISHED_TRACE, TraceTest

PROCESSES = range(1000, 1020)
# No process has used CPU time, so a report that is measured against nothing is the same.
REST = "".join(
    f"{pid:<5} {'idler':<18}: total=0    utime=0    stime=0    min_flt=0     maj_flt=0   \n"
    for pid in PROCESSES) + IDLE_CPUS + IDLE_SYSTEM + TIMES
START = "SIGUSR1->start()\n"
STOP = "SIGUSR1->stop()\n"
WRITING = "Writing output to trace.txt...\nDone writing output to trace.txt...\n"
PAGES = "add=0 del=0 file=unknown\nadd=0 del=0 file=total\n"


class SignalTest(TraceTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(1)
        for pid in PROCESSES:
            self.device.process(pid, "idler")
        self.logcat(STAY)

    def start(self, *options, **popen):
        return self.device.start("--stdout", "--min-cpu=-1", *options, env=self.environment, **popen)

    def pause(self, longest_ms):
        """Up to so many milliseconds, and sometimes none."""
        if self.random.random() < 0.9:
            time.sleep(self.random.random() * longest_ms / 1000)


class Usr1(SignalTest):
    """However many signals come: the notices, separators and reports are whole, and matching sets."""

    def storm(self, program, count, longest_ms=2):
        program.wait_until_waiting()
        for _ in range(count):
            self.pause(longest_ms)
            program.send(signal.SIGUSR1)
        program.wait_until_waiting()
        self.assertEqual(self.children(program), [])

    def check(self, name, count, output, pattern):
        """The pattern has a letter for each whole piece."""
        sets = mask_times(output)
        for piece, letter in ((START, "s"), (STOP, "p"), (SEPARATOR, "-"), (WRITING, "w"), (PAGES, ""),
                              (REST, "r")):
            sets = sets.replace(piece, letter)
        figure(f"{name}: {count} SIGUSR1, {sets.count('s')} starts, {sets.count('p')} stops, "
               f"{sets.count('r')} reports")
        self.assertRegex(sets, rf"\A{pattern}\Z")

    def test_signal_mode(self):
        count = extent(500, 10000)
        with self.start("--sig") as program:
            self.storm(program, count)
            self.check("--sig", count, program.interrupt(), "(sp-r)*s?")

    def test_enter_mode(self):
        count = extent(500, 10000)
        with self.start("--enter") as program:
            self.storm(program, count)
            program.type("\n")
            # The line prints a report, be there a measurement or not.
            self.check("--enter", count, program.finish(), "(p-rs)*(p-r)?-r")

    def test_loop(self):
        # Each sleep that a signal ends has a report of its own.
        count = extent(500, 10000)
        with self.start("--interval=3600") as program:
            self.storm(program, count)
            self.check("--interval=3600", count, program.interrupt(), "(p-r(sp-r)*s?-r)*")

    def test_loop_without_pause(self):
        count = extent(500, 10000)
        with self.start("--interval=0") as program:
            program.wait_for_thread_name("interrupt")
            for _ in range(count):
                self.pause(2)
                program.send(signal.SIGUSR1)
            whole, end, rest = mask_times(program.interrupt()).rpartition(TIMES)
        self.check("--interval=0", count, whole + end, "((p-r(sp-r)*s?)?-r)*(p-r(sp-r)*)?")
        report = SEPARATOR + REST
        self.assertTrue(any(more.startswith(rest) for more in
                            (report, STOP + report, START + STOP + report, START + report)), rest)

    def test_traced(self):
        count = extent(20, 10000)
        for option, pattern in (("--systrace", "(sp-wr)*s?"), ("--block-dump", "(sp-r)*s?")):
            with self.subTest(option), self.start("--sig", option) as program:
                program.wait_until_waiting()
                for _ in range(count):
                    self.pause(40)
                    program.send(signal.SIGUSR1)
                program.wait_until_waiting()
                if self.children(program):
                    program.toggle()
                self.assertEqual(self.children(program), [])
                self.check(f"--sig {option}", count, program.interrupt(), pattern)
                self.wait_until_all_have_ended()


class Interrupt(SignalTest):
    # The options, and what the output repeats.
    REPORT = SEPARATOR + REST
    PAGES_REPORT = SEPARATOR + REST.replace("alloc_", PAGES + "alloc_")
    MODES = [
        (["--interval=0"], REPORT),
        (["--interval=1"], REPORT),
        (["--enter"], REPORT),
        (["--sig"], START + STOP + REPORT),
        (["--sig", "--systrace"], START + STOP + SEPARATOR + WRITING + REST),
        (["--sig", "--block-dump"], START + STOP + PAGES_REPORT),
        (["--iter=1", "--interval=0", "--systrace"], SEPARATOR + WRITING + REST),
        (["--iter=1", "--interval=0", "--block-dump"], PAGES_REPORT),
    ]

    @staticmethod
    def handles(program):
        try:
            return program.has_thread("interrupt")
        except (FileNotFoundError, ProcessLookupError):
            return False  # a thread that has ended in the meantime

    @staticmethod
    def ms_to_end(pid, signo):
        """Sends the signal. Returns how many milliseconds the process lived on."""
        ended = os.pidfd_open(pid)
        begin = time.monotonic()
        try:
            os.kill(pid, signo)
            deadline = Deadline()
            while not select.select([ended], [], [], 1)[0]:
                if HOLDS_SIGNALS_BACK or deadline.has_passed():
                    break
            return 1000 * (time.monotonic() - begin)
        finally:
            os.close(ended)

    def ms_of_sleep(self):
        """The same for a process that leaves its end to the kernel: what the machine needs for one."""
        with subprocess.Popen(["sleep", "1000"]) as sleep:
            # SIGINT is ignored by what a shell starts in the background.
            return self.ms_to_end(sleep.pid, signal.SIGTERM)

    @staticmethod
    def figure(name, times):
        times = sorted(times)
        figure(f"{len(times)} signals to {name}: the end came after {times[len(times) // 2]:.1f} ms in the "
               f"middle, {times[-1]:.1f} ms at most, {sum(ms > 100 for ms in times)} times after more "
               "than 100 ms")

    def test_at_random_moments(self):
        count = extent(40, 1000)
        times, sleeps = [], []
        # Some end by themselves before.
        for number in range(2 * count):
            if len(times) == count:
                break
            options, cycle = self.MODES[number % len(self.MODES)]
            walks = "--iter=1" in options and "--block-dump" in options
            with self.subTest(number=number, options=options):
                for path in (CACHE, "/data/trace.txt", "/data/logcat-pid"):
                    if os.path.exists(self.device.path(path)):
                        self.device.remove(path)
                if not walks:
                    self.device.write(CACHE, "")
                with self.start(*options) as program:
                    wait_for(lambda: program.process.poll() is not None or self.handles(program),
                             "the program handles SIGINT")
                    while "--sig" in options and self.random.random() < 0.8:
                        self.pause(10)
                        program.send(signal.SIGUSR1)
                    self.pause(50)
                    if program.process.poll() is not None:
                        self.assertIn("--iter=1", options)
                        continue
                    times.append(self.ms_to_end(program.pid, signal.SIGINT))
                    output = mask_times(program.interrupt())
                self.assertEqual(output, (cycle * (1 + len(output) // len(cycle)))[:len(output)])
                self.wait_until_all_have_ended()
                for path in (UNFINISHED, UNFINISHED_TRACE):
                    self.assertFalse(os.path.lexists(self.device.path(path)))
                sleeps.append(self.ms_of_sleep())
        self.figure("the program (SIGINT)", times)
        self.figure("sleep(1) (SIGTERM), for comparison", sleeps)
