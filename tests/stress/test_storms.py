"""Processes, interfaces, disks and CPUs that come and go all the time."""

import fcntl
import os
import random
import re
import subprocess
import unittest

from extent import extent, figure
from deadline import DEADLINE_S, Deadline, communicate, wait_for_end, wait_for_input
from harness import DeviceTest, interface
from program import SEPARATOR, TIMING_LINE, Program

# Up to the first parenthesis.
HARD_NAMES = {"a b", "line break", "\x1b[2J\x1b[31m", "%s%n%s%n", "\udcff" * 15}
STORM = os.environ["TARNWICK_STORM"]
PAGE = 4096
NUMBER = r"(-?\d+)"
# The lines of a report, each with its figures.
PROCESS = re.compile(rf"(\d+) +(.*?) *: total={NUMBER} +utime={NUMBER} +stime={NUMBER} +min_flt={NUMBER} "
                     rf"+maj_flt={NUMBER} *(?:rt={NUMBER} +wt={NUMBER} +switches={NUMBER} *)?", re.S)
CPU = re.compile(rf"cpu(?: \d|\d\d|  ): user={NUMBER} +kernel={NUMBER} +idle={NUMBER} +iowait={NUMBER} "
                 rf"+total={NUMBER} +perc={NUMBER} *")
DISKS = re.compile(rf"rw_reqs={NUMBER}/{NUMBER} rw_merges={NUMBER}/{NUMBER} rw_kb={NUMBER}/{NUMBER} "
                   rf"rw_ms={NUMBER}/{NUMBER} total_ms={NUMBER} total_queue_ms={NUMBER} "
                   rf"swap_inout_kb={NUMBER}/{NUMBER} maj_flt={NUMBER}")
MEMORY = re.compile(r"alloc_stalls=.*|MemFree=.*|Node \d+, zone .*|body_temp=-?\d+")
NETWORK = re.compile(rf" *([^ :]+): rx_kb={NUMBER} +rx_packets={NUMBER} +tx_kb={NUMBER} +tx_packets={NUMBER} *")
# A process that ended between the open and the read of its file.
ENDED = re.compile(r"Error opening /proc/\d+/stat: No such process \(3\)")
REST = re.compile(f"{SEPARATOR[:-1]}|{ENDED.pattern}|{MEMORY.pattern}|{TIMING_LINE.pattern[1:-2]}")


class StormTest(unittest.TestCase):
    def figures(self, output):
        """The figures of each kind of line; a line of no kind fails the test."""
        found = {kind: [] for kind in (PROCESS, CPU, DISKS, NETWORK)}
        for line in output.split("\n")[:-1]:
            for kind, lines in found.items():
                if match := kind.fullmatch(line):
                    lines.append(match.groups())
                    break
            else:
                self.assertRegex(line, rf"\A(?:{REST.pattern})\Z")
        return found


class Processes(StormTest):
    """On the kernel of this machine."""

    def measure(self, count):
        """The process lines of so many measurements of a second each, and their milliseconds."""
        with Program("--stdout", "--min-cpu=-1", f"--iter={count}", "--interval=1") as program:
            wait_for_end(program.process, "the measurements end", DEADLINE_S + count)
            output = program.finish()
        times = [int(times[0]) for times in TIMING_LINE.findall(output)]
        self.assertEqual((len(times), output.count(SEPARATOR)), (count, count))
        # A newline in a name stands in the report as it is.
        return self.figures(output.replace("line\nbreak", "line break"))[PROCESS], sum(times)

    def test_names_that_are_hard_to_read(self):
        count, lines, milliseconds = 0, [], 0
        with subprocess.Popen([STORM, "5000"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True) as storm:
            # On a busy machine the storm gets little CPU time: measure until it had enough.
            deadline = Deadline()
            while not HARD_NAMES <= {name for _, name, *_ in lines}:
                deadline.check("a line of each name")
                more, ms = self.measure(extent(3, 50))
                count, lines, milliseconds = count + extent(3, 50), lines + more, milliseconds + ms
            started = int(communicate(storm, "the storm ends")[0])
        figure(f"{count} measurements, {1000 * started // milliseconds} processes a second, "
               f"{len(lines)} lines of processes")


class Device(DeviceTest, StormTest):
    """A made-up device whose files change all the time: what is there counts up, the rest is missing."""

    def lay(self, step):
        there = self.random.choice
        self.device.stat(("", 10 * step, 0, 0), *((cpu, 10 * step, 0, 0) for cpu in range(4)
                                                  if cpu == 0 or there((True, False))))
        self.device.net_dev(*(interface(f"eth{number}", 1024 * number * step, number * step, 0, 0)
                              for number in range(1, 6) if there((True, False))))
        for disk in ("sda", "sdb", "mmcblk0"):
            path = f"/sys/devices/virtual/block/{disk}/stat"
            if there((True, False)):
                self.device.write(path, " 7 0 0 0 0 0 0 0 0 0 0\n")
            elif os.path.exists(self.device.path(path)):
                self.device.remove(path)

    def measure_in_step(self, count):
        """The output of so many measurements. The files change at least once for every page of it.

        The program waits for a reader when the pipe is full, so that it cannot run ahead of the changes.
        """
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, PAGE)
        parts = []
        with self.device.start("--stdout", f"--iter={count}", "--interval=0", stdin=subprocess.DEVNULL,
                               stdout=writer) as program:
            os.close(writer)
            while not parts or parts[-1]:
                self.lay(2 + len(parts))
                wait_for_input(reader, "a report")
                parts.append(os.read(reader, PAGE))
            program.finish()
        output = b"".join(parts).decode()
        self.assertEqual(len(TIMING_LINE.findall(output)), count)
        return output

    def test_interfaces_disks_and_cpus(self):
        self.random = random.Random(1)
        for disk in ("sda", "sdb", "mmcblk0"):
            self.device.disk(disk, 7)
        self.lay(1)
        count = extent(2000, 50000)
        output = self.measure_in_step(count)
        found = self.figures(output)
        for name, rx_kb, rx_packets, tx_kb, tx_packets in found[NETWORK]:
            steps, rest = divmod(int(rx_packets), int(name.removeprefix("eth")))
            self.assertTrue(steps >= 1 and rest == 0)
            self.assertEqual((int(rx_kb), tx_kb, tx_packets), (int(rx_packets), "0", "0"))
        for reads, *rest in found[DISKS]:
            self.assertIn(int(reads), {7 * change for change in range(-3, 4)})
            self.assertEqual(set(rest), {"0"})
        for user, kernel, *_ in found[CPU]:
            # A CPU that is away has the figures of all, which are the same here.
            self.assertEqual((int(user) % 100, kernel), (0, "0"))
        disk_changes = sum(reads != "0" for reads, *_ in found[DISKS])
        figure(f"{count} measurements, {len(found[NETWORK])} lines of interfaces, {len(found[CPU])} of CPUs, "
               f"{disk_changes} changes of disks")
        self.assertGreater(min(len(found[NETWORK]), len(found[CPU]), disk_changes), 0)
