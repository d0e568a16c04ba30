"""Whole reports of a device whose files change between the two snapshots."""

import os
import re
import subprocess
import time
import unittest

from harness import IDLE_SYSTEM, TIMES, DeviceTest
from deadline import wait_for
from program import PROGRAM, SEPARATOR, TIMING_LINE, mask_times

# user nice system idle iowait irq softirq steal guest guest_nice
IDLE = (100, 20, 300, 5000, 60, 7, 8, 0, 0, 0)


def after(times, *, user=0, nice=0, system=0, idle=0, iowait=0, irq=0, softirq=0):
    gains = (user, nice, system, idle, iowait, irq, softirq, 9, 9, 9)
    return tuple(a + b for a, b in zip(times, gains))


def interval_ms(output):
    return int(TIMING_LINE.search(output).group(1))


class Processes(DeviceTest):
    def setUp(self):
        super().setUp()
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))

    def lines(self, output):
        """The process section alone."""
        return output.split(SEPARATOR)[1].split("cpu  :")[0]

    def test_busiest_first_with_faults(self):
        self.device.process(1, "init", 100, 50, 7, 3)
        self.device.process(20, "kworker/0:1", 0, 10)
        self.device.process(300, "RenderThread", 1000, 2000, 500, 10)
        self.device.process(4000, "asleep", 5, 5, 5, 5)

        def change():
            self.device.process(1, "init", 101, 51, 8, 4)
            self.device.process(20, "kworker/0:1", 0, 30)
            self.device.process(300, "RenderThread", 1099, 2001, 100500, 12)
        self.assertEqual(
            mask_times(self.measure(change=change)),
            SEPARATOR
            + "300   RenderThread      : total=1000 utime=990  stime=10   min_flt=100000 maj_flt=2   \n"
            + "20    kworker/0:1       : total=200  utime=0    stime=200  min_flt=0     maj_flt=0   \n"
            + "1     init              : total=20   utime=10   stime=10   min_flt=1     maj_flt=1   \n"
            + "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n"
            + IDLE_SYSTEM + TIMES)

    def test_process_that_started_counts_from_zero(self):
        def change():
            self.device.process(77, "newcomer", 3, 4, 5, 6)
        self.assertEqual(
            self.lines(self.measure(change=change)),
            "77    newcomer          : total=70   utime=30   stime=40   min_flt=5     maj_flt=6   \n")

    def test_process_that_ended_is_left_out(self):
        self.device.process(77, "goner", 3, 4)
        self.assertEqual(self.lines(self.measure(change=lambda: self.device.remove("/proc/77"))),
                         "")

    def test_process_that_vanishes_between_listing_and_reading_is_left_out(self):
        # The entry is there, its stat file is not: what a walk meets when the process just ended.
        def change():
            os.mkdir(self.device.path("/proc/77"))
            self.device.process(78, "present", 1)
        self.assertEqual(
            self.lines(self.measure(change=change)),
            "78    present           : total=10   utime=10   stime=0    min_flt=0     maj_flt=0   \n")

    def test_empty_stat_file_is_no_process(self):
        self.assertEqual(
            self.lines(self.measure(change=lambda: self.device.write("/proc/9/stat", ""))), "")

    def test_stat_that_cannot_be_read_has_a_message(self):
        os.makedirs(self.device.path("/proc/9/stat"))
        output = self.measure()
        message = "Error opening /proc/9/stat: Is a directory (21)\n"
        self.assertEqual(mask_times(output),
                         message + SEPARATOR + message
                         + "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n"
                         + IDLE_SYSTEM + TIMES)

    def test_names_with_blanks_brackets_and_all_fifteen_characters(self):
        def change():
            self.device.process(1, "my app-7 [x]", 4)
            self.device.process(2, "123456789012345", 3)
            self.device.process(3, "two\nlines", 2)
        self.assertEqual(
            self.lines(self.measure(change=change)),
            "1     my app-7 [x]      : total=40   utime=40   stime=0    min_flt=0     maj_flt=0   \n"
            "2     123456789012345   : total=30   utime=30   stime=0    min_flt=0     maj_flt=0   \n"
            "3     two\nlines         : total=20   utime=20   stime=0    min_flt=0     maj_flt=0   \n")

    def test_name_ends_at_its_first_closing_parenthesis(self):
        # What follows is read from the wrong place: "R" is taken for the state, "1" for the parent.
        self.device.process(194, "a) R 1 (b", 50)
        self.assertEqual(
            self.lines(self.measure(change=lambda: self.device.process(194, "a) R 1 (b", 90))), "")

    def test_only_numbers_are_processes(self):
        def change():
            for name in ("5x", "x5", "-5", "+5", "5.0"):
                self.device.process(5, "no process", 9, folder=f"/proc/{name}")
        self.assertEqual(self.lines(self.measure(change=change)), "")

    def test_total_at_the_threshold_is_not_printed(self):
        def change():
            self.device.process(5, "at", 2)
            self.device.process(6, "above", 3)
        self.assertEqual(
            self.lines(self.measure("--min-cpu=20", change=change)),
            "6     above             : total=30   utime=30   stime=0    min_flt=0     maj_flt=0   \n")

    def test_threshold_below_the_total_by_one_millisecond(self):
        self.assertEqual(
            self.lines(self.measure("--min-cpu=19",
                                    change=lambda: self.device.process(5, "at", 2))),
            "5     at                : total=20   utime=20   stime=0    min_flt=0     maj_flt=0   \n")

    def test_negative_threshold_lists_idle_processes(self):
        self.device.process(5, "idle", 2)
        self.assertEqual(
            self.lines(self.measure("--min-cpu=-1")),
            "5     idle              : total=0    utime=0    stime=0    min_flt=0     maj_flt=0   \n")

    def test_one_tick_is_enough(self):
        self.device.process(5, "idle", 2)
        self.device.process(6, "tick", 2)
        self.assertEqual(
            self.lines(self.measure(change=lambda: self.device.process(6, "tick", 2, 1))),
            "6     tick              : total=10   utime=0    stime=10   min_flt=0     maj_flt=0   \n")

    def test_reused_id_with_smaller_counters_is_left_out(self):
        self.device.process(5, "old", 500)
        self.assertEqual(
            self.lines(self.measure(change=lambda: self.device.process(5, "new", 20))), "")

    def test_no_proc_cpu(self):
        self.assertEqual(
            self.lines(self.measure("--no-proc-cpu",
                                    change=lambda: self.device.process(5, "busy", 20))), "")

    def test_cut_stat_leaves_the_rest_zero(self):
        # 40 ticks of user time, and the text ends before the system time.
        self.assertEqual(
            self.lines(self.measure(change=lambda: self.device.write(
                "/proc/5/stat", "5 (cut) S 1 1 1 0 -1 0 11 0 22 0 40"))),
            "5     cut               : total=400  utime=400  stime=0    min_flt=11    maj_flt=22  \n")


class Threads(DeviceTest):
    def setUp(self):
        super().setUp()
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))
        self.device.process(50, "other", 0, cmdline="/bin/other\0")
        self.device.process(60, "e.com.app", 0, cmdline="com.example.app\0")
        self.thread(60, "e.com.app", 1, 1, "1000000 2000000 3\n")
        self.thread(61, "worker", 1, 1, "5000000000 6000000000 700\n")
        self.thread(62, "ends", 1, 1, "1 1 1\n")

    def thread(self, tid, name, utime=0, stime=0, schedstat=None, pid=60):
        self.device.process(tid, name, utime, stime, folder=f"/proc/{pid}/task/{tid}",
                            schedstat=schedstat)

    def change(self):
        self.device.process(50, "other", 90, cmdline="/bin/other\0")
        self.thread(60, "e.com.app", 2, 1, "2999999 3999999 4\n")
        self.thread(61, "worker", 5, 11, "5140000000 6250000000 790\n")
        self.device.remove("/proc/60/task/62")
        self.thread(63, "starts", 1, 0, "10000000 20000000 30\n")

    def lines(self, output):
        return output.split(SEPARATOR)[1].split("cpu  :")[0]

    def test_threads_with_scheduler_figures(self):
        self.assertEqual(
            self.lines(self.measure("--proc=com.example.app", change=self.change)),
            "61    worker            : total=140  utime=40   stime=100  min_flt=0     maj_flt=0    "
            "rt=140  wt=250  switches=90  \n"
            "60    e.com.app         : total=10   utime=10   stime=0    min_flt=0     maj_flt=0    "
            "rt=1    wt=1    switches=1   \n"
            "63    starts            : total=10   utime=10   stime=0    min_flt=0     maj_flt=0    "
            "rt=10   wt=20   switches=30  \n")

    def test_ids_of_ten_digits(self):
        pid, tid = 2147483646, 2147483647
        self.device.process(pid, "wide", 0, cmdline="wide\0")
        self.thread(tid, "thread", 0, 0, "1 1 1\n", pid)
        output = self.measure("--proc=wide", change=lambda: self.thread(
            tid, "thread", 1, 0, "5000001 6000001 7\n", pid))
        self.assertEqual(
            self.lines(output),
            f"{tid} thread            : total=10   utime=10   stime=0    min_flt=0     maj_flt=0    "
            "rt=5    wt=6    switches=6   \n")

    def test_unreadable_schedstat_leaves_zeros(self):
        def change():
            self.thread(64, "bare", 3)
        self.assertEqual(
            self.lines(self.measure("--proc=com.example.app", change=change)),
            "64    bare              : total=30   utime=30   stime=0    min_flt=0     maj_flt=0    "
            "rt=0    wt=0    switches=0   \n")

    def test_unknown_name_measures_all_processes(self):
        self.assertEqual(
            self.lines(self.measure("--proc=com.example", change=self.change)),
            "50    other             : total=900  utime=900  stime=0    min_flt=0     maj_flt=0   \n")

    def test_entries_that_are_no_numbers_are_not_looked_at(self):
        # The name of the program itself, which /proc/self has.
        self.assertEqual(
            self.lines(self.measure(f"--proc={os.path.basename(PROGRAM)}", change=self.change)),
            "50    other             : total=900  utime=900  stime=0    min_flt=0     maj_flt=0   \n")

    def test_leading_zeros_of_an_entry(self):
        # The entry gives the number, which is decimal, and the command line.
        self.device.write("/proc/0070/cmdline", "padded\0")
        self.thread(70, "thread", 0, 0, "1 1 1\n", pid=70)

        def change():
            self.thread(70, "thread", 1, 0, "3000001 4000001 6\n", pid=70)
        self.assertEqual(
            self.lines(self.measure("--proc=padded", change=change)),
            "70    thread            : total=10   utime=10   stime=0    min_flt=0     maj_flt=0    "
            "rt=3    wt=4    switches=5   \n")

    def test_empty_name_does_not_match_kernel_threads(self):
        self.device.process(2, "kthreadd", 0, cmdline="")
        self.assertEqual(
            self.lines(self.measure("--proc=", change=self.change)),
            "50    other             : total=900  utime=900  stime=0    min_flt=0     maj_flt=0   \n")

    def test_name_is_the_base_name_of_the_first_argument(self):
        self.thread(50, "other", 0, pid=50)

        def change():
            self.thread(50, "other", 1, pid=50)
        self.device.write("/proc/50/cmdline", "/system/bin/other\0--flag\0")
        found = self.lines(self.measure("--proc=other", change=change))
        self.assertIn("switches=", found)
        self.assertNotIn("switches=", self.lines(self.measure("--proc=/system/bin/other")))
        self.assertNotIn("switches=", self.lines(self.measure("--proc=other--flag")))

    def test_process_that_ended_leaves_no_lines(self):
        output = self.measure("--proc=com.example.app",
                              change=lambda: self.device.remove("/proc/60"))
        self.assertEqual(self.lines(output), "")

    def test_process_is_looked_up_at_every_start(self):
        with self.device.start("--stdout", "--sig", "--proc=com.example.app") as program:
            program.toggle()
            program.toggle()
            self.device.remove("/proc/60")
            self.device.process(70, "e.com.app", 0, cmdline="com.example.app\0")
            self.thread(70, "reborn", 1, 0, "1 1 1\n", pid=70)
            program.toggle()
            self.thread(70, "reborn", 3, 0, "40000001 1 1\n", pid=70)
            program.toggle()
            second = program.interrupt().split("SIGUSR1->stop()\n")[2]
        # Its id was not sampled before, so it counts from the start of its life.
        self.assertEqual(
            self.lines(second),
            "70    reborn            : total=30   utime=30   stime=0    min_flt=0     maj_flt=0    "
            "rt=40   wt=0    switches=1   \n")


class Cpus(DeviceTest):
    def cpu_lines(self, output):
        return [line for line in output.splitlines() if re.match(r"cpu|    freq", line)]

    def test_user_kernel_and_iowait(self):
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))

        def change():
            busy = after(IDLE, user=1, nice=2, system=3, iowait=6, irq=4, softirq=5)
            self.device.stat(("", *busy), (0, *busy), (1, *IDLE))
        self.assertEqual(
            self.cpu_lines(self.measure(change=change)),
            ["cpu 0: user=30    kernel=120   idle=0     iowait=60    total=210    perc=71 ",
             "cpu  : user=30    kernel=120   idle=0     iowait=60    total=210    perc=71 "])

    def test_idle_beyond_the_interval_is_the_rest_of_the_interval(self):
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))

        def change():
            busy = after(IDLE, system=1, idle=1000000)
            self.device.stat(("", *busy), (0, *busy), (1, *IDLE))
        output = self.measure(change=change)
        e = interval_ms(output)
        perc = int(10 / e * 100) if e else 2147483647
        self.assertEqual(
            self.cpu_lines(output),
            [f"cpu {{}}: user=0     kernel=10    idle={e - 10:<5} iowait=0     total={e:<6} "
             f"perc={perc:<3}".format(0),
             f"cpu  : user=0     kernel=10    idle={e - 10:<5} iowait=0     total={e:<6} "
             f"perc={perc:<3}"])

    def test_iowait_that_went_backwards_is_zero_and_the_total_the_interval(self):
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))

        def change():
            busy = after(IDLE, user=2, iowait=-5)
            self.device.stat(("", *busy), (0, *busy), (1, *IDLE))
        output = self.measure(change=change)
        e = interval_ms(output)
        perc = int(20 / e * 100) if e else 2147483647
        self.assertEqual(
            self.cpu_lines(output)[0],
            f"cpu 0: user=20    kernel=0     idle=0     iowait=0     total={e:<6} perc={perc:<3}")

    def test_offline_cpu_carries_the_sum(self):
        device = self.device = self.new_device(cpus=4)
        device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE), (3, *IDLE))

        def change():
            device.stat(("", *after(IDLE, user=7)), (0, *IDLE), (1, *after(IDLE, user=5)),
                        (3, *after(IDLE, user=2)))
        self.assertEqual(
            self.cpu_lines(self.measure(change=change)),
            ["cpu 1: user=50    kernel=0     idle=0     iowait=0     total=50     perc=100",
             "cpu 2: user=70    kernel=0     idle=0     iowait=0     total=70     perc=100",
             "cpu 3: user=20    kernel=0     idle=0     iowait=0     total=20     perc=100",
             "cpu  : user=70    kernel=0     idle=0     iowait=0     total=70     perc=100"])

    def test_two_digit_cpus_keep_their_lines(self):
        device = self.device = self.new_device(cpus=12)
        device.stat(("", *IDLE), *((cpu, *IDLE) for cpu in range(12)))

        def change():
            device.stat(("", *after(IDLE, user=66)),
                        *((cpu, *after(IDLE, user=cpu)) for cpu in range(12)))
        self.assertEqual(
            self.cpu_lines(self.measure(change=change)),
            [f"cpu{cpu:2}: user={cpu * 10:<5} kernel=0     idle=0     iowait=0     "
             f"total={cpu * 10:<6} perc=100" for cpu in range(1, 12)]
            + ["cpu  : user=660   kernel=0     idle=0     iowait=0     total=660    perc=100"])

    def test_128_cpus_and_a_stat_file_of_many_pages(self):
        device = self.device = self.new_device(cpus=128)
        wide = tuple(count + 10**15 for count in IDLE)
        device.stat(("", *wide), *((cpu, *wide) for cpu in range(128)))
        self.assertGreater(len(device.read("/proc/stat")), 4 * 4096)

        def change():
            device.stat(("", *after(wide, user=128)),
                        *((cpu, *after(wide, user=1)) for cpu in range(128)))
        self.assertEqual(
            self.cpu_lines(self.measure(change=change)),
            [f"cpu{cpu:2}: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100"
             for cpu in range(128)]
            + ["cpu  : user=1280  kernel=0     idle=0     iowait=0     total=1280   perc=100"])

    def test_stat_longer_than_any_buffer_that_was_made_for_it(self):
        # The line of CPU 1 stands behind half a megabyte of interrupt counters.
        # A CPU whose line is not seen has the figures of the sum, which are others.
        def write(user):
            filler = "intr" + " 0" * 250000 + "\n"
            total, line = (" ".join(map(str, after(IDLE, user=count))) for count in (2 * user, user))
            self.device.write("/proc/stat", f"cpu  {total}\ncpu0 {line}\n{filler}cpu1 {line}\n")
        write(0)
        self.assertEqual(
            self.cpu_lines(self.measure(change=lambda: write(3)))[1],
            "cpu 1: user=30    kernel=0     idle=0     iowait=0     total=30     perc=100")

    def test_missing_stat_leaves_zeros(self):
        self.assertEqual(
            self.cpu_lines(self.measure()),
            ["cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  "])

    def test_stat_that_vanishes_keeps_the_counters_of_the_last_reading(self):
        # The after side was never filled, so the difference is the before side with a minus sign.
        self.device.stat(("", 4), (0, 4), (1, 4))
        output = self.measure(change=lambda: self.device.remove("/proc/stat"))
        self.assertEqual(
            self.cpu_lines(output),
            ["cpu  : user=-40   kernel=0     idle=0     iowait=0     total=-40    perc=100"])

    def test_short_line_keeps_what_was_there(self):
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))
        with self.device.start("--stdout", "--sig") as program:
            program.toggle()
            program.toggle()
            program.toggle()
            # Only user and nice are there: the other counters stay those of the last reading.
            self.device.stat(("", 101, 20), (0, 101, 20), (1, *IDLE))
            program.toggle()
            second = program.interrupt().split("SIGUSR1->stop()\n")[2]
        self.assertEqual(
            self.cpu_lines(second),
            ["cpu 0: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100",
             "cpu  : user=10    kernel=0     idle=0     iowait=0     total=10     perc=100"])

    def test_counters_at_the_ends_of_their_range(self):
        low, high = -2**63, 2**63 - 1
        self.device.stat(("", *[low] * 7), (0, *[high] * 7), (1, *IDLE))
        output = self.measure(
            change=lambda: self.device.stat(("", *[high] * 7), (0, *[low] * 7), (1, *IDLE)))
        self.assertEqual(len(TIMING_LINE.findall(output)), 1)


class Frequencies(DeviceTest):
    def setUp(self):
        super().setUp()
        self.device.stat(("", *IDLE), (0, *IDLE), (1, *IDLE))

    def residency(self, cpu, text):
        self.device.write(f"/sys/devices/system/cpu/cpu{cpu}/cpufreq/stats/time_in_state", text)

    def busy(self):
        busy = after(IDLE, user=1)
        self.device.stat(("", *after(IDLE, user=2)), (0, *busy), (1, *busy))

    def section(self, output):
        return output.split(SEPARATOR)[1].split("rw_reqs=")[0]

    def test_residency_of_the_interval_in_milliseconds(self):
        self.residency(0, "300000 100\n1497600 7\n576000 20\n")
        self.residency(1, "300000 100\n")

        def change():
            self.busy()
            self.residency(0, "300000 100\n1497600 8\n576000 45\n")
            self.residency(1, "300000 101\n2803200 1234\n")
        self.assertEqual(
            self.section(self.measure("--freq", change=change)),
            "cpu 0: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100\n"
            "    freq: 576000  250\n"
            "    freq: 1497600 10\n"
            "cpu 1: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100\n"
            "    freq: 300000  10\n"
            "    freq: 2803200 12340\n"
            "cpu  : user=20    kernel=0     idle=0     iowait=0     total=20     perc=100\n")

    def test_not_read_without_the_option(self):
        self.residency(0, "300000 100\n")

        def change():
            self.busy()
            self.residency(0, "300000 900\n")
        self.assertNotIn("freq", self.measure(change=change))

    def test_idle_cpu_has_no_frequencies(self):
        self.residency(0, "300000 100\n")
        self.assertNotIn("freq:", self.measure(
            "--freq", change=lambda: self.residency(0, "300000 900\n")))

    def test_missing_file_has_no_lines_and_no_message(self):
        self.assertEqual(
            self.section(self.measure("--freq", change=self.busy)),
            "cpu 0: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100\n"
            "cpu 1: user=10    kernel=0     idle=0     iowait=0     total=10     perc=100\n"
            "cpu  : user=20    kernel=0     idle=0     iowait=0     total=20     perc=100\n")

    def test_lines_without_two_numbers_are_passed_over(self):
        def change():
            self.busy()
            self.residency(0, "\n\nnonsense\n300000\n576000 x\n768000 4")
        self.assertIn("perc=100\n    freq: 768000  40\ncpu 1:",
                      self.measure("--freq", change=change))


class Sections(DeviceTest):
    HEADS = ["7 ", "cpu  :", "rw_reqs=", "alloc_stalls=", "MemFree=", "free lists", "body_temp=",
             "    lo:", "uptime="]

    def test_order_is_the_same_whatever_the_options(self):
        self.device.write("/proc/sys/kernel/perf_event_paranoid", "2\n")
        self.device.write("/proc/buddyinfo", "free lists\n")
        for options in ([], ["--freq"], ["--pmu"], ["--min-cpu=1"], ["--proc=name"]):
            with self.subTest(options=options):
                self.state(1)
                self.assertEqual(self.heads(self.measure(*options, change=lambda: self.state(2))),
                                 self.HEADS)

    def test_no_proc_cpu_leaves_out_the_first(self):
        self.device.write("/proc/buddyinfo", "free lists\n")
        self.state(1)
        self.assertEqual(self.heads(self.measure("--no-proc-cpu", change=lambda: self.state(2))),
                         self.HEADS[1:])

    def state(self, count):
        self.device.process(7, "name", count, cmdline="name\0")
        self.device.process(7, "name", count, folder="/proc/7/task/7")
        self.device.write("/proc/net/dev", f"\n\nhead\nhead\n    lo: 0 {count} 0 0 0 0 0 0 0 0\n")

    def heads(self, output):
        """Which of the heads stand where a line of the report begins, in their order."""
        return [head for line in output.split(SEPARATOR)[1].splitlines()
                for head in self.HEADS if line.startswith(head)]


class Times(DeviceTest):
    @unittest.skipUnless(os.path.exists("/proc/self/ns/time"), "this kernel has no time namespaces")
    def test_both_times_of_a_clock_come_from_that_clock(self):
        # The clock that goes on during suspend is ten years ahead of the other one.
        ahead_s = 10 * 365 * 86400
        with self.device.start("--stdout", "--iter=1", "--interval=0", stdin=subprocess.DEVNULL,
                               prefix=["unshare", "--time", f"--boottime={ahead_s}", "--fork"]) as program:
            times = TIMING_LINE.search(program.finish()).groups()
        for time_ms in map(int, times):
            self.assertLess(time_ms, ahead_s * 1000)
            self.assertGreaterEqual(time_ms, 0)

    def test_time_of_the_after_snapshot_includes_the_report(self):
        # More output than a pipe holds, whose reader waits longer than everything before has taken.
        for pid in range(1000, 3000):
            self.device.process(pid, "busy", 9)
        reader, writer = os.pipe()
        begin = time.monotonic()
        with self.device.start("--stdout", "--iter=1", "--interval=0", "--min-cpu=-1", stdout=writer,
                               stdin=subprocess.DEVNULL) as program:
            os.close(writer)
            wait_for(lambda: program.is_in("write"), "the pipe is full")
            full = time.monotonic()
            wait_for(lambda: time.monotonic() - full > full - begin + 0.1, "the reader has waited")
            waited_ms = int((time.monotonic() - full) * 1000)
            with open(reader, "rb") as pipe:
                output = pipe.read().decode()
            program.finish()
        # Each of the two clock readings is cut to a millisecond.
        self.assertGreaterEqual(int(TIMING_LINE.search(output)[4]), waited_ms - 1)


class NothingAtAll(DeviceTest):
    def test_device_without_files(self):
        self.device.remove("/sys/devices")
        with self.device.start("--stdout", "--iter=1", "--interval=0", "--freq",
                               stdin=subprocess.DEVNULL) as program:
            output = program.finish()
        self.assertEqual(
            mask_times(output),
            SEPARATOR
            + "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n"
            + IDLE_SYSTEM + TIMES)
