"""Reports of a real kernel: what they say is what was done, and what the kernel says itself."""

import re
import unittest

from guest import BIG_KHZ, CPUS, LITTLE_KHZ, Guest
from report_text import ALL_CPUS, CPU, INTERVAL, PROCESS, SEPARATOR

FREQ = re.compile(r"    freq: (\d+) +(\d+)\n")
THREAD_SUMS = re.compile(r"(before|after) tid=(\d+) name=.* run=(\d+) delay=(\d+) ")


class Report(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("report.sh", steady=True).out
        cls.first, cls.second = cls.out["report"].split(SEPARATOR)[1:]

    def both(self, pattern):
        """The sums of the groups of a pattern over the two reports."""
        found = [re.search(pattern, report, re.M) for report in (self.first, self.second)]
        values = [[int(value) for value in match.groups()] for match in found if match]
        return [sum(group) for group in zip(*values)]

    def test_every_run_ends_with_status_0_and_without_complaints(self):
        for name in ("report", "threads", "dying", "storm", "back", "away", "goes"):
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)
            self.assertEqual(self.out[f"{name}.err"], "", name)

    def test_busy_child_appears_with_the_time_that_it_used(self):
        pid, ticks = (int(line) for line in self.out["burned"].splitlines()[:2])
        total = sum(int(line[2]) for line in PROCESS.findall(self.first) + PROCESS.findall(self.second)
                    if int(line[0]) == pid)
        self.assertGreaterEqual(ticks, 45)
        self.assertAlmostEqual(total, ticks * 10, delta=30)

    def test_cpu_of_the_child_was_busy_and_fast(self):
        cpus = {int(line[0]): line for line in CPU.findall(self.first)}
        self.assertEqual(list(cpus), list(range(CPUS)))
        self.assertGreaterEqual(int(cpus[3][1]) + int(cpus[3][2]), 450)
        shown = {int(khz): int(ms) for khz, ms in FREQ.findall(cpus[3][11])}
        before, after = ({int(khz): int(ticks) * 10 for khz, ticks in map(str.split, told.splitlines())}
                         for told in (self.out["frequencies.before"], self.out["frequencies.after"]))
        self.assertEqual(list(before), BIG_KHZ)
        told = {khz: after[khz] - before[khz] for khz in BIG_KHZ}
        # The guest has looked within the interval: what is left of it can be at any frequency.
        rest = int(INTERVAL.search(self.first)[1]) - sum(told.values())
        self.assertGreater(sum(told.values()), rest)
        for khz in BIG_KHZ:
            self.assertGreaterEqual(shown.get(khz, 0), told[khz] - 20)
            self.assertLessEqual(shown.get(khz, 0), told[khz] + rest + 20)

    def test_cpus_of_a_policy_have_its_frequencies(self):
        for report in (self.first, self.second):
            for line in CPU.findall(report):
                khz = [int(khz) for khz, _ in FREQ.findall(line[11])]
                self.assertTrue(khz)
                self.assertEqual(khz, sorted(khz))
                self.assertLessEqual(set(khz), set(LITTLE_KHZ if int(line[0]) < 2 else BIG_KHZ))

    def test_six_counters_of_each_cpu_are_open_and_the_cycles_count(self):
        counts = [int(line) for line in self.out["counters"].splitlines()]
        self.assertEqual(len(counts), 6 * CPUS)
        for cpu in range(CPUS):
            # This machine has no other event; the cycles are opened last.
            self.assertEqual(counts[6 * cpu:6 * cpu + 5], [0] * 5)
            self.assertGreater(counts[6 * cpu + 5], 1000000)
        self.assertEqual(self.out["paranoid"], "-1\n")

    def test_counters_are_read_in_each_measurement(self):
        self.assertEqual(self.out["calls"].count("sys_read -> 0x8\n"), 2 * 6 * CPUS)

    def test_disks_of_the_report(self):
        sectors = {}
        for when in ("before", "after"):
            for line in self.out[f"disks.{when}"].splitlines():
                disk, *fields = line.split()
                sectors.setdefault(disk, []).append([int(fields[2]), int(fields[6])])
        kb = {disk: [(after - before) // 2 for before, after in zip(*values)]
              for disk, values in sectors.items()}
        # All have had traffic of their own, and two of them are reported.
        for disk, (read, written) in kb.items():
            self.assertGreaterEqual(min(read, written), 3000, disk)
        read, written = self.both(r"rw_kb=(\d+)/(\d+)")
        self.assertEqual(read, kb["sda"][0] + kb["mmcblk0"][0])
        self.assertAlmostEqual(written, kb["sda"][1] + kb["mmcblk0"][1], delta=256)
        self.assertGreaterEqual(read, 2 * 3072)

    def test_swap_traffic_and_major_faults(self):
        went_in, went_out, faults = self.both(r"swap_inout_kb=(\d+)/(\d+) maj_flt=(\d+)")

        def change(name):
            values = [int(re.search(rf"^{name} (\d+)", self.out[f"vmstat.{when}"], re.M)[1])
                      for when in ("before", "after")]
            return values[1] - values[0]
        self.assertEqual((went_in, went_out), (change("pswpin"), change("pswpout")))
        self.assertGreaterEqual(min(went_in, went_out), 1000)
        self.assertAlmostEqual(faults, change("pgmajfault"), delta=20)

    def test_pings(self):
        # Each is two packets, there and back, of 1028 bytes.
        rx_kb, rx, tx_kb, tx = self.both(
            r"^    lo: rx_kb=(\d+) +rx_packets=(\d+) +tx_kb=(\d+) +tx_packets=(\d+)")
        self.assertEqual((rx, tx), (20, 20))
        self.assertEqual(rx_kb, tx_kb)
        self.assertIn(rx_kb, (20, 21))

    def test_memory_is_what_the_kernel_says(self):
        told = {name: int(kb) for name, kb in re.findall(r"^(\w+): +(\d+) kB", self.out["meminfo"], re.M)}
        line = re.search(r"^MemFree=.*", self.first, re.M)[0]
        shown = {name: int(kb) for name, kb in re.findall(r"(\w+)=(\d+)", line)}
        # The kernel's file pages are those of three lines.
        told["Cached"] += told["Buffers"] + told["SwapCached"]
        for name in ("Cached", "AnonPages", "Mapped", "Slab", "Shmem"):
            self.assertAlmostEqual(shown[name], told[name], delta=1024, msg=name)
        # Each CPU keeps some free pages to itself, counted or not; on newer kernels that is many MB.
        self.assertAlmostEqual(shown["MemFree"], told["MemFree"], delta=65536)
        self.assertGreater(shown["Mapped"], 4096)
        self.assertGreaterEqual(shown["AnonPages"], 8192 * 4)

    def test_threads_of_a_process(self):
        lines = {int(line[0]): line for line in PROCESS.findall(self.out["threads"])}
        work = {}
        for when, tid, run, delay in THREAD_SUMS.findall(self.out["threads.sums"]):
            sign = 1 if when == "after" else -1
            run_ms, delay_ms = work.get(int(tid), (0, 0))
            work[int(tid)] = (run_ms + sign * int(run) / 1e6, delay_ms + sign * int(delay) / 1e6)
        self.assertEqual(len(work), 4)
        for tid, (run, delay) in work.items():
            self.assertAlmostEqual(int(lines[tid][7]), run, delta=run * 0.05 + 5)
            self.assertAlmostEqual(int(lines[tid][8]), delay, delta=delay * 0.05 + 5)
        self.assertEqual({lines[tid][1] for tid in work}, {"rival one", "rival-2", "pieces", "disk.reader"})
        # And nobody else's.
        self.assertLessEqual(len(lines), 5)

    def test_process_that_died_is_gone(self):
        pids = [line[0] for line in PROCESS.findall(self.out["dying"])]
        self.assertTrue(pids)
        self.assertNotIn(self.out["burner"].strip(), pids)

    def test_processes_that_come_and_go(self):
        self.assertEqual(self.out["storm"].count(SEPARATOR), 10)
        self.assertEqual(len(re.findall(r"^uptime=\d+, realtime=\d+,", self.out["storm"], re.M)), 10)

    def check_cpus_that_stayed(self, report, stayed):
        """Each of them has had the whole interval, in which the first was busy for a second."""
        cpus = {int(line[0]): line for line in CPU.findall(report)}
        interval = int(INTERVAL.search(report)[1])
        self.assertLessEqual(set(cpus), set(range(CPUS)))
        self.assertGreaterEqual(interval, 1000)
        # A CPU on which no tick found any work has no line.
        self.assertIn(0, cpus)
        for cpu in set(stayed) & set(cpus):
            user, kernel, idle, iowait, total = (int(figure) for figure in cpus[cpu][1:6])
            self.assertGreaterEqual(min(user, kernel, idle, iowait), 0, report)
            self.assertEqual(total, user + kernel + idle + iowait)
            # The kernel counts work by its ticks, and an emulated CPU that works can miss some of them.
            self.assertGreater(total, interval * 0.3, report)
            # After another CPU went off, 5.10 has counted up to 1.43 times the interval for one that idled.
            self.assertLess(total, interval * 1.5 + 200, report)
        self.assertGreater(int(cpus[0][1]) + int(cpus[0][2]), 300)
        self.assertTrue(ALL_CPUS.search(report))

    def test_cpu_that_was_away_for_a_moment(self):
        self.check_cpus_that_stayed(self.out["back"], (0, 1, 2))

    def test_cpus_that_are_away_have_the_sum_of_all(self):
        cpus = {int(line[0]): line for line in CPU.findall(self.out["away"])}
        all_cpus = ALL_CPUS.search(self.out["away"])
        interval = int(INTERVAL.search(self.out["away"])[1])
        self.check_cpus_that_stayed(self.out["away"], (0, 1))
        for cpu in (2, 3):
            user, kernel, idle, iowait, total = map(int, cpus[cpu][1:6])
            # The file is read once for each CPU, so the figures can differ.
            self.assertAlmostEqual(user, int(all_cpus[1]), delta=200)
            if total == interval:
                # The idle time of the CPU that idled was a bit longer than the interval.
                self.assertGreater(int(all_cpus[3]) + 200, interval)
                self.assertEqual(idle, interval - user - kernel - iowait)
            else:
                self.assertAlmostEqual(idle, int(all_cpus[3]), delta=200)
                self.assertAlmostEqual(total, int(all_cpus[5]), delta=200)
            self.assertEqual(cpus[cpu][7:11], ("0", "0.00", "0", "0.00"))

    def test_frequencies_of_a_policy_without_a_cpu(self):
        errors = re.findall(r"^Error \S+ /sys/devices/system/cpu/cpu(\d)/cpufreq/stats/time_in_state: "
                            r"Device or resource busy \(16\)$", self.out["away"], re.M)
        away = [line[11] for line in CPU.findall(self.out["away"]) if int(line[0]) >= 2]
        # The oldest kernel still has them; the others say at both snapshots that they have not.
        if errors:
            self.assertEqual((errors, away), (["2", "3", "2", "3"], ["", ""]))
        else:
            self.assertEqual([khz for khz, _ in FREQ.findall("".join(away))], [str(min(BIG_KHZ))] * 2)

    def test_cpu_that_comes_and_goes_between_the_snapshots(self):
        reports = self.out["goes"].split(SEPARATOR)[1:]
        self.assertEqual(len(reports), 2)
        for report in reports:
            self.check_cpus_that_stayed(report, (0, 1, 2))
