"""The unchanged program on this machine's kernel: what it reports is what really happened."""

import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

SUPPORT = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support")
sys.path.insert(0, SUPPORT)

from program import SEPARATOR, TIMING_LINE, Program  # noqa: E402

PRIVATE_MOUNTS = os.path.join(SUPPORT, "private_mounts.sh")

# Waits for a line, burns the CPU time that it names (hundredths of a second), prints what it has
# really used, and waits for another line.
BURNER = """
import os, sys
def used():
    times = os.times()
    return times.user + times.system
while line := sys.stdin.readline():
    before = used()
    while used() - before < int(line) / 100:
        pass
    print(round((used() - before) * 100), flush=True)
"""

PROCESS_LINE = re.compile(
    r"^(\d+) +(.*?) *: total=(-?\d+) +utime=(-?\d+) +stime=(-?\d+) +min_flt=(-?\d+) +maj_flt=(-?\d+) "
    r"*(?:rt=(\d+) +wt=(\d+) +switches=(\d+) *)?$", re.M)
CPU_LINE = re.compile(r"^cpu( \d|  |\d{2,}) *: user=(-?\d+) +kernel=(-?\d+) +idle=(-?\d+) +iowait=(-?\d+) "
                      r"+total=(-?\d+) +perc=(-?\d+)", re.M)


class Burner:
    """A child that uses CPU time on demand. Its program is called `name`."""

    def __init__(self, test, name="burner"):
        self.child = subprocess.Popen([name, "-c", BURNER], executable=sys.executable, text=True,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        test.addCleanup(self._end)
        self.pid = self.child.pid
        self.burn(1)

    def _end(self):
        self.child.stdin.close()
        self.child.wait()
        self.child.stdout.close()

    def burn(self, ticks):
        """Uses at least so many ticks of CPU time, and returns how many it was."""
        self.child.stdin.write(f"{ticks}\n")
        self.child.stdin.flush()
        return int(self.child.stdout.readline())


class RealKernel(unittest.TestCase):
    def measure(self, *options, meanwhile):
        with Program("--stdout", "--enter", *options) as program:
            program.wait_until_waiting()
            result = meanwhile()
            program.type("\n")
            return result, program.finish()

    def test_busy_child_appears_with_the_time_that_it_used(self):
        burner = Burner(self)
        burned, output = self.measure(meanwhile=lambda: burner.burn(70))
        lines = {int(line[0]): line for line in PROCESS_LINE.findall(output)}
        self.assertAlmostEqual(int(lines[burner.pid][2]), burned * 10, delta=20)

    def test_lines_are_sorted_by_total(self):
        burners = [Burner(self) for _ in range(3)]

        def burn_all():
            for ticks, burner in zip((10, 40, 20), burners):
                burner.burn(ticks)
        output = self.measure(meanwhile=burn_all)[1]
        totals = [int(line[2]) for line in PROCESS_LINE.findall(output)]
        self.assertGreaterEqual(len(totals), 3)
        self.assertEqual(totals, sorted(totals, reverse=True))

    def test_total_is_user_and_system_time(self):
        burner = Burner(self)
        output = self.measure(meanwhile=lambda: burner.burn(20))[1]
        for line in PROCESS_LINE.findall(output):
            self.assertEqual(int(line[2]), int(line[3]) + int(line[4]), line)

    def test_cpus_were_as_busy_as_the_child_at_least(self):
        burner = Burner(self)
        burned, output = self.measure(meanwhile=lambda: burner.burn(70))
        total = [line for line in CPU_LINE.findall(output) if line[0].isspace()]
        self.assertEqual(len(total), 1)
        busy = int(total[0][1]) + int(total[0][2])
        self.assertGreaterEqual(busy, burned * 10 - 50)

    def test_threads_of_a_process_with_scheduler_figures(self):
        burner = Burner(self, "tarnwick_test_burner")
        burned, output = self.measure("--proc=tarnwick_test_burner",
                                      meanwhile=lambda: burner.burn(70))
        lines = PROCESS_LINE.findall(output)
        self.assertEqual([int(line[0]) for line in lines], [burner.pid])
        self.assertAlmostEqual(int(lines[0][7]), burned * 10, delta=30)

    def test_child_that_started_in_the_interval_counts_from_its_start(self):
        burners = []

        def start():
            burners.append(Burner(self))
            return burners[0].burn(30)
        burned, output = self.measure(meanwhile=start)
        lines = {int(line[0]): line for line in PROCESS_LINE.findall(output)}
        self.assertGreaterEqual(int(lines[burners[0].pid][2]), burned * 10 - 20)

    def test_loop_prints_one_report_an_iteration(self):
        with Program("--stdout", "--iter=5", "--interval=0") as program:
            output = program.finish()
        self.assertEqual((output.count(SEPARATOR), len(TIMING_LINE.findall(output))), (5, 5))

    def test_processes_that_come_and_go(self):
        storm = subprocess.Popen(["sh", "-c", "while :; do /bin/true; done"])
        try:
            with Program("--stdout", "--iter=200", "--interval=0") as program:
                output = program.finish()
        finally:
            storm.kill()
            storm.wait()
        self.assertEqual(len(TIMING_LINE.findall(output)), 200)

    @staticmethod
    def counter_kb(name):
        """A page counter of the kernel, in KB."""
        with open("/proc/vmstat") as counters:
            return 4 * int(re.search(rf"^{name} (\d+)", counters.read(), re.M)[1])

    def assert_near_zero_once(self, difference_kb, delta):
        """Other processes come and go between the kernel's figures and the program's: a measurement can
        be disturbed by them, a wrong figure is wrong in all."""
        for _ in range(5):
            difference = difference_kb()
            if abs(difference) <= delta:
                return
        self.assertAlmostEqual(difference, 0, delta=delta)

    def test_allocation_shows_in_anonymous_pages(self):
        def allocated():
            kept = []

            def allocate():
                before = self.counter_kb("nr_anon_pages")
                kept.append(bytearray(os.urandom(1 << 20)) * 64)
                return self.counter_kb("nr_anon_pages") - before
            expected, output = self.measure(meanwhile=allocate)
            return int(re.search(r"AnonPages=\d+\(([+-]\d+)\)", output)[1]) - expected
        self.assert_near_zero_once(allocated, 48 << 10)

    def test_free_memory_is_what_the_kernel_says(self):
        def free():
            expected, output = self.measure(meanwhile=lambda: self.counter_kb("nr_free_pages"))
            return int(re.search(r"MemFree=(\d+)", output)[1]) - expected
        self.assert_near_zero_once(free, 128 << 10)

    def test_packets_over_loopback(self):
        def send():
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver, \
                    socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
                receiver.bind(("127.0.0.1", 0))
                receiver.settimeout(60)
                for _ in range(1000):
                    sender.sendto(b"x" * 1000, receiver.getsockname())
                    receiver.recv(2000)
        output = self.measure(meanwhile=send)[1]
        line = re.search(r"^    lo: rx_kb=(\d+) +rx_packets=(\d+) +tx_kb=(\d+) +tx_packets=(\d+)",
                         output, re.M)
        # With their heads the datagrams have 1028 bytes each.
        self.assertGreaterEqual(int(line[1]), 1003)
        self.assertGreaterEqual(int(line[2]), 1000)
        self.assertEqual((line[1], line[2]), (line[3], line[4]))


class RealDisk(unittest.TestCase):
    KB = 8 << 10

    def setUp(self):
        self.folder = tempfile.mkdtemp(dir="/var/tmp")
        self.addCleanup(shutil.rmtree, self.folder)
        device = os.stat(self.folder).st_dev
        node = os.path.realpath(f"/sys/dev/block/{os.major(device)}:{os.minor(device)}")
        self.disk = os.path.dirname(node) if os.path.exists(node + "/partition") else node
        if not os.path.exists(self.disk + "/stat"):
            self.skipTest("the file system is on no disk")

    def prefix(self):
        """What shows the program a disk of this machine under a name that it samples."""
        name = os.path.basename(self.disk)
        if name.startswith("sd") or name == "mmcblk0":
            return []
        links = os.path.join(self.folder, "block")
        os.mkdir(links)
        os.symlink(self.disk, os.path.join(links, "sda"))
        prefix = [PRIVATE_MOUNTS, "sh", "-c", 'mount --bind "$0" /sys/block && exec "$@"', links]
        if subprocess.run([*prefix, "true"], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no mount namespace can be made here")
        return prefix

    def rw_kb(self, meanwhile):
        with Program("--stdout", "--enter", prefix=self.prefix()) as program:
            program.wait_until_waiting()
            meanwhile()
            program.type("\n")
            found = re.search(r" rw_kb=(\d+)/(\d+) ", program.finish())
            return int(found[1]), int(found[2])

    def write(self):
        with open(os.path.join(self.folder, "file"), "wb") as out:
            out.write(os.urandom(self.KB << 10))
            out.flush()
            os.fsync(out.fileno())
            os.posix_fadvise(out.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)

    def read(self):
        with open(os.path.join(self.folder, "file"), "rb") as text:
            text.read()

    def test_file_that_is_written(self):
        self.assertGreaterEqual(self.rw_kb(self.write)[1], self.KB)

    def test_file_that_is_read(self):
        self.write()
        self.assertGreaterEqual(self.rw_kb(self.read)[0], self.KB)


@unittest.skipUnless(os.geteuid() == 0, "changes a kernel setting: needs root")
class RealPmu(unittest.TestCase):
    PARANOID = "/proc/sys/kernel/perf_event_paranoid"

    def setUp(self):
        if not os.access(self.PARANOID, os.W_OK):
            self.skipTest("the setting cannot be written here")
        with open(self.PARANOID) as setting:
            self.addCleanup(self.restore, setting.read())

    def restore(self, value):
        with open(self.PARANOID, "w") as setting:
            setting.write(value)

    def test_each_cpu_line_ends_in_counters(self):
        burner = Burner(self)
        with Program("--stdout", "--enter", "--pmu") as program:
            program.wait_until_waiting()
            burner.burn(20)
            program.type("\n")
            output = program.finish()
        lines = [line for line in output.splitlines() if line.startswith("cpu")]
        self.assertGreaterEqual(len(lines), 2)
        for line in lines:
            self.assertRegex(line, r"perc=-?\d+ *   crefs=\d+ +hit=\d+\.\d\d +br=\d+ +hit=\d+\.\d\d *$")

    def test_setting_allows_system_wide_counting_afterwards(self):
        self.restore("2")
        with Program("--stdout", "--iter=1", "--interval=0", "--pmu") as program:
            program.finish()
        with open(self.PARANOID) as setting:
            self.assertEqual(setting.read(), "-1\n")
