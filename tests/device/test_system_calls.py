"""The files that a measurement opens, reads and closes, in their order, and what PMU counters it asks for."""

import re
import subprocess
import tempfile

from harness import DeviceTest

CALL = re.compile(r'^(?:\d+ +)?(\w+)\((.*)\) += (-?\d+)')


class SystemCallTest(DeviceTest):
    def setUp(self):
        super().setUp()
        self.device.stat(("", 1, 2, 3), (0, 1, 2, 3), (1, 1, 2, 3))
        for pid in (3, 5):
            self.device.process(pid, "name", cmdline=f"name{pid}\0")
        self.device.disk("sda", 1)
        for path in ("/proc/vmstat", "/proc/net/dev", "/proc/buddyinfo",
                     "/sys/class/power_supply/battery/temp"):
            self.device.write(path, "nothing of interest\n")
        self.device.process(7, "thread", folder="/proc/5/task/7", schedstat="1 2 3\n")

    def trace(self, calls, *options):
        """The traced calls of one run as (name, arguments, result)."""
        log = tempfile.NamedTemporaryFile("r")
        self.addCleanup(log.close)
        with self.device.start("--stdout", "--iter=2", "--interval=0", *options,
                               prefix=["strace", "-f", "-o", log.name, "-s", "200", "-X", "raw",
                                       "-e", f"trace={calls}"],
                               stdin=subprocess.DEVNULL) as program:
            program.finish()
        found = [CALL.match(line) for line in log.read().splitlines()]
        return [(call[1], call[2], int(call[3])) for call in found if call]

    def kernel_files(self, *options):
        """The opens of files below /proc and /sys, and what was done with each descriptor."""
        names = {}
        files = []
        for name, arguments, result in self.trace("openat,read,write,close,getdents64", *options):
            if name == "openat":
                folder, path = re.match(r'(\S+), "(.*?)"', arguments).groups()
                # A file that is named within a folder.
                if int(folder) in names:
                    path = f"{names[int(folder)][0]}/{path}"
                if not path.startswith(("/proc", "/sys")) or "/sys/devices/system/cpu/p" in path \
                        or path.startswith("/proc/self"):
                    continue
                files.append([path])
                if result >= 0:
                    names[result] = files[-1]
            else:
                descriptor = int(re.match(r"\d+", arguments)[0])
                if descriptor in names:
                    names[descriptor].append(name)
                    if name == "close":
                        del names[descriptor]
        return [tuple(file) for file in files]


READ = ("read", "close")


def read(path):
    return (path, *READ)


CPUS = [read("/proc/stat")] * 3
FREQ = [(f"/sys/devices/system/cpu/cpu{cpu}/cpufreq/stats/time_in_state",) for cpu in (0, 1)]
BLOCK = [read("/sys/block/sda/stat")]
FIND_DISKS = [("/sys/block/", "getdents64", "getdents64", "close")]
VMSTAT = [read("/proc/vmstat")]
NET = [read("/proc/net/dev")]
AFTER_ONLY = [read("/proc/buddyinfo"), read("/sys/class/power_supply/battery/temp")]
WALK = [("/proc", "getdents64", "getdents64", "close"), read("/proc/3/stat"), read("/proc/5/stat")]


def before(processes, freq=()):
    return [*CPUS, *freq, *FIND_DISKS, *BLOCK, *VMSTAT, *NET, *processes]


def after(processes, freq=()):
    return [*processes, *NET, *BLOCK, *VMSTAT, *AFTER_ONLY, *CPUS, *freq]


class Order(SystemCallTest):
    def assert_files(self, files, expected):
        # The directory's order is the file system's, so processes are compared as a set.
        self.assertEqual(self.sorted_walk(files), self.sorted_walk(expected))

    @staticmethod
    def sorted_walk(files):
        files = list(files)
        begin = 0
        while begin < len(files):
            end = begin
            while end < len(files) and re.match(r"/proc/\d+/stat$", files[end][0]):
                end += 1
            files[begin:end] = sorted(files[begin:end])
            begin = end + 1
        return files

    def test_one_open_read_and_close_a_file_and_nothing_at_a_later_before_snapshot(self):
        self.assert_files(self.kernel_files("--freq"),
                          before(WALK, FREQ) + after(WALK, FREQ) + after(WALK, FREQ))

    def test_processes_are_not_read_without_need(self):
        self.assert_files(self.kernel_files("--no-proc-cpu"), before([]) + after([]) + after([]))

    def test_threads_cost_two_files_each(self):
        files = [file for file in self.kernel_files("--proc=name5")
                 if not file[0].endswith("cmdline") and file[0] != "/proc"]
        threads = [("/proc/5/task", "getdents64", "getdents64", "close"),
                   read("/proc/5/task/7/stat"), read("/proc/5/task/7/schedstat")]
        self.assert_files(files, before(threads) + after(threads) + after(threads))

    def test_disks_are_looked_for_until_there_are_some(self):
        self.device.remove("/sys/block/sda")
        files = self.kernel_files("--no-proc-cpu")
        self.assertEqual(files.count(FIND_DISKS[0]), 3)


class Pmu(SystemCallTest):
    # PERF_FLAG_FD_CLOEXEC
    CLOEXEC = 8
    PARANOID = "/proc/sys/kernel/perf_event_paranoid"

    def test_setting_is_written_first(self):
        self.device.write(self.PARANOID, "2\n")
        self.assertEqual(self.kernel_files("--pmu")[0], (self.PARANOID, "write", "close"))
        # The file is not cut first, as a real setting cannot be.
        self.assertEqual(self.device.read(self.PARANOID), "-1")

    def test_missing_setting_ends_the_program(self):
        with self.device.start("--stdout", "--pmu", "--iter=1") as program:
            self.assertEqual(
                program.finish(status=1),
                f"Error opening {self.PARANOID}: No such file or directory (2)\n")

    def test_message_goes_to_the_log_without_stdout(self):
        with self.device.start("--pmu", "--iter=1") as program:
            self.assertEqual(program.finish(status=1), "")
            self.assertIn(f"Error opening {self.PARANOID}: No such file or directory (2)\n",
                          program.errors())

    def test_nothing_is_written_or_opened_without_the_option(self):
        self.device.write(self.PARANOID, "2\n")
        calls = self.trace("perf_event_open,ioctl")
        # TCGETS: whether standard output is a terminal.
        self.assertEqual([call for call in calls if not call[1].startswith("1, 0x5401")], [])
        self.assertEqual(self.device.read(self.PARANOID), "2\n")

    def opens(self):
        calls = []
        for name, arguments, result in self.trace("perf_event_open", "--pmu"):
            self.assertEqual(name, "perf_event_open")
            config = re.search(r"config=(0x[0-9a-f]+)", arguments)[1]
            # The structure, then: pid, cpu, group, flags.
            pid, cpu, group, flags = arguments[arguments.rindex("}") + 3:].split(", ")
            calls.append((int(config, 16), int(pid), int(cpu), int(group), int(flags, 0), result))
        return calls

    def test_counters_of_each_cpu_are_tried_at_start_and_at_every_snapshot_while_closed(self):
        self.device.write(self.PARANOID, "2\n")
        calls = self.opens()
        if any(result >= 0 for *_, result in calls):
            self.skipTest("this machine has the counters")
        # At the start, and at two before and two after snapshots: the first event of each CPU.
        self.assertEqual([(config, pid, cpu, group, flags)
                          for config, pid, cpu, group, flags, _ in calls],
                         [(0x04, -1, cpu, -1, self.CLOEXEC) for _ in range(5) for cpu in (0, 1)])

    def test_zeros_without_counters(self):
        self.device.write(self.PARANOID, "2\n")
        if any(result >= 0 for *_, result in self.opens()):
            self.skipTest("this machine has the counters")

        def change():
            self.device.stat(("", 2, 2, 3), (0, 2, 2, 3), (1, 1, 2, 3))
        self.assertIn(
            "cpu 0: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100"
            "   crefs=0            hit=0.00    br=0            hit=0.00 \n"
            "cpu  : user=10    kernel=0     idle=0     iowait=0     total=10     perc=100"
            "   crefs=0            hit=0.00    br=0            hit=0.00 \n",
            self.measure("--pmu", change=change))
