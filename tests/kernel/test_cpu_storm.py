"""CPUs that go off and on all the time: every report is whole, and its figures are those of the rules."""

import re
import unittest

import trace_text
from guest import CPUS, Guest
from report_text import ALL_CPUS, CPU, INTERVAL, LAST_LINE, PROCESS, SEPARATOR
from trace_text import without_skipped

NOTICES = re.compile(r"SIGUSR1->(?:start|stop)\(\)\n|Received first trace message\.\.\.\n"
                     r"|(?:Writing|Done writing) output to trace\.txt\.\.\.\n|Killing logcat process \d+\n")
# What went away when it was about to be read, or before: the frequencies of a CPU, or a process.
AWAY = re.compile(r"Error opening (?:/sys/devices/system/cpu/cpu[123]/cpufreq/stats/time_in_state: .* \(\d+\)"
                  r"|/proc/\d+/stat: No such process \(3\))\n")
# What follows the processes and the CPUs.
REST = re.compile(r"cpu  : .*\nrw_reqs=.*\nalloc_stalls=.*\nMemFree=.*\n(?:N.*\n)+body_temp=.*\n"
                  + LAST_LINE.pattern[1:])
RUNS = {"often": 40, "seldom": 2, "traced": 8}


class CpuStorm(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("cpu_storm.sh").out

    def reports(self):
        for name, count in RUNS.items():
            before, *reports = AWAY.sub("", NOTICES.sub("", self.out[name])).split(SEPARATOR)
            self.assertEqual((before, len(reports)), ("", count), name)
            yield from reports

    def test_cpus_changed_in_the_measurements_and_between_them(self):
        self.assertGreater(self.out["changes"].count("\n"), sum(RUNS.values()))
        self.assertEqual(self.out["online"], f"0-{CPUS - 1}\n")

    def test_every_run_ends_with_status_0_and_without_complaints(self):
        for name in RUNS:
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)
            self.assertEqual(without_skipped(self.out[f"{name}.err"]), "", name)

    def test_every_report_is_whole(self):
        for report in self.reports():
            rest = CPU.sub("", PROCESS.sub("", report)).lstrip("\n")
            self.assertRegex(rest, rf"\A{REST.pattern}\Z")

    def test_totals_are_the_sums_or_the_interval(self):
        for report in self.reports():
            interval = int(INTERVAL.search(report)[1])
            cpus = CPU.findall(report)
            self.assertEqual([line[0] for line in cpus], sorted({line[0] for line in cpus}))
            for figures, longest in [*((line[1:6], interval) for line in cpus),
                                     (ALL_CPUS.search(report).groups(), len(cpus) * interval)]:
                *parts, total = map(int, figures)
                # An idle time that cannot be is made up from the interval, which can be less than the
                # work: a CPU that is away has that of all.
                self.assertIn(total, (sum(parts), longest), report)

    def test_traces_are_whole(self):
        records = trace_text.records(self.out["trace.txt"])
        self.assertTrue(records)
        self.assertLessEqual({record.cpu for record in records}, set(range(CPUS)))
        self.assertEqual(trace_text.controls(self.out["controls"]), trace_text.STOPPED)

    def test_no_descriptor_stays_open(self):
        after_one, after_all = map(int, self.out["descriptors"].split())
        # A CPU that was away has had its six counters later.
        self.assertIn(after_all - after_one, range(0, 6 * CPUS, 6))
