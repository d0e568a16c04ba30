"""Scheduler traces: every time of every thread is there, as the kernel itself adds them up."""

import collections
import re
import unittest

import trace_text
from guest import CPUS, Guest
from trace_text import LONGEST_NS, STOPPED, controls, without_skipped

SUMS = re.compile(r"(before|after) tid=(\d+) name=(.*) run=(\d+) delay=(\d+) wait=(\d+) iowait=(\d+)")
TRACED = ["signal", "again", "enter", "once"]


def sums(text):
    """What the kernel counted for each thread during its work: run, delay, wait and iowait by name."""
    counted = {}
    for when, tid, name, *values in SUMS.findall(text):
        values = [int(value) for value in values]
        if when == "before":
            counted[name] = (int(tid), values)
        else:
            before = counted[name][1]
            counted[name] = (int(tid), [value - old for value, old in zip(values, before)])
    return counted


class Systrace(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("systrace.sh", steady=True).out
        cls.traces = {name: trace_text.records(cls.out[f"{name}.trace"]) for name in [*TRACED, "silent"]}
        # The clock of the trace, which is that of the kernel's messages, started before the uptime's.
        uptime, message = cls.out["clock"].splitlines()
        cls.clock = float(re.match(r"\[ *(\d+\.\d+)\]", message)[1]) - float(uptime)

    def each(self):
        for name in TRACED:
            yield name, self.traces[name], sums(self.out[f"{name}.sums"])

    def test_every_run_ends_with_status_0_and_says_what_it_does(self):
        for name in ["silent", "again", "enter", "once"]:
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)
        for name in ["silent", "signal", "enter", "once"]:
            self.assertEqual(without_skipped(self.out[f"{name}.err"]), "", name)
        self.assertIn("Received first trace message...\n", self.out["enter"])
        self.assertIn("Writing output to trace.txt...\nDone writing output to trace.txt...\n",
                      self.out["enter"])

    def test_threads_stand_under_their_names_and_their_process(self):
        for _, records, counted in self.each():
            for name, (tid, _) in counted.items():
                of_thread = [record for record in records if record.tid == tid]
                self.assertTrue(of_thread, name)
                self.assertEqual({record.tid_name for record in of_thread}, {name})
                self.assertEqual({record.tgid_name for record in of_thread}, {"load"})

    def sum_of(self, records, tid, tag, name=None):
        return sum(record.duration for record in records
                   if record.tid == tid and record.tag == tag and name in (None, record.name))

    def assert_near(self, sum_, expected, what):
        """Within five per cent, and a millisecond for what is done around the work."""
        self.assertAlmostEqual(sum_, expected, delta=expected * 0.05 + 1000000, msg=what)

    def assert_waited(self, sum_, expected, what):
        """A wait that is too long for a record is not in the sum. On 6.12 a thread that sleeps often can wait
        as long behind another one that has come to its CPU."""
        if sum_ + LONGEST_NS > expected:
            self.assert_near(sum_, expected, what)

    def test_run_times_add_up(self):
        for name, records, counted in self.each():
            for thread, (tid, (run, _, _, _)) in counted.items():
                self.assert_near(self.sum_of(records, tid, "r"), run, (name, thread))

    def test_waits_add_up(self):
        for name, records, counted in self.each():
            self.assertGreater(counted["rival one"][1][1], 100000000)
            for thread, (tid, (_, delay, wait, _)) in counted.items():
                waited = self.sum_of(records, tid, "nr", "wait")
                self.assert_waited(waited, wait, (name, thread))
                # From 6.12 on the kernel counts a thread's delay and its wait otherwise when it sleeps
                # often; the events are those of the wait.
                if thread.startswith("rival"):
                    self.assert_waited(waited, delay, (name, thread))

    def test_waits_for_the_disk_add_up(self):
        for name, records, counted in self.each():
            self.assertGreater(counted["disk.reader"][1][3], 0)
            for thread, (tid, (_, _, _, iowait)) in counted.items():
                self.assert_waited(self.sum_of(records, tid, "nr", "iowait"), iowait, (name, thread))

    def test_rivals_run_on_their_cpu(self):
        for _, records, counted in self.each():
            rivals = [counted[name][0] for name in ("rival one", "rival-2")]
            # An event that the kernel had from another CPU says so.
            cpus = collections.Counter(record.cpu for record in records
                                       if record.tid in rivals and record.tag == "r")
            self.assertEqual(cpus.most_common(1)[0][0], 1)

    def test_events_are_in_the_order_of_their_time(self):
        for name, records, _ in self.each():
            times = [record.time for record in records if record.tgid_name != "kpi"]
            self.assertGreater(len(times), 10 * CPUS)
            self.assertEqual(times, sorted(times), name)

    def test_log_lines_stand_on_the_same_axis(self):
        for name, records, _ in self.each():
            kpis = [record for record in records if record.tgid_name == "kpi"]
            self.assertEqual([record.name for record in kpis], ["KPI-R2K-AT-1", "KPI-R2K-WMS-2"])
            # All the work was done between the two lines, which have hundredths of a second.
            workers = {tid for tid, _ in sums(self.out[f"{name}.sums"]).values()}
            work = [record.time - self.clock for record in records if record.tid in workers]
            self.assertGreater(len(work), 100)
            self.assertLess(kpis[0].time, work[0] + 0.02)
            self.assertGreater(kpis[1].time, work[-1] - 0.02)

    def test_second_trace_has_nothing_of_the_first(self):
        first = {tid for tid, _ in sums(self.out["signal.sums"]).values()}
        self.assertFalse([record for record in self.traces["again"] if record.tid in first])
        self.assertGreater(self.traces["again"][0].time, self.traces["signal"][-1].time)

    def test_without_schedstats_there_is_run_time_alone(self):
        tags = {record.tag for record in self.traces["silent"] if record.tgid_name != "kpi"}
        self.assertEqual(tags, {"r"})
        for thread, (tid, (run, _, _, _)) in sums(self.out["silent.sums"]).items():
            self.assert_near(self.sum_of(self.traces["silent"], tid, "r"), run, thread)

    def test_tracing_files_after_the_stop(self):
        self.assertNotEqual(controls(self.out["controls.before"])["tracing_on"], "0")
        self.assertEqual(controls(self.out["controls.after"]), STOPPED)

    def test_log_tool_is_called_as_the_platform_wants_it(self):
        calls = self.out["logcat.arguments"].splitlines()
        self.assertEqual(calls[0], "-c")
        self.assertTrue(calls[1].startswith("-v threadtime -b main *:s KPI-R2K-ID-2 "), calls[1])
        self.assertEqual(len(calls), 2 * (len(TRACED) + 1))


class ShortTraces(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("short_traces.sh", steady=True).out

    def test_all_of_them_are_written(self):
        self.assertEqual(self.out["often.status"], "0\n")
        self.assertEqual(without_skipped(self.out["often.err"]), "")
        self.assertEqual(self.out["often"].count("SIGUSR1->start()\n"), 21)
        self.assertEqual(self.out["often"].count("\nDone writing output to trace.txt...\n"), 21)
        self.assertEqual(len(self.out["logcat.arguments"].splitlines()), 2 * (21 + 1))

    def test_log_tool_is_ended_by_its_id_or_by_its_name(self):
        by_name = self.out.get("often.killed", "").splitlines()
        self.assertEqual(set(by_name) | {"logcat"}, {"logcat"})
        self.assertEqual(self.out["often"].count("Killing logcat process ") + len(by_name), 21)

    def test_log_tool_that_is_not_in_the_trace_is_ended_by_its_name(self):
        self.assertEqual(self.out["quiet.status"], "0\n")
        self.assertEqual(without_skipped(self.out["quiet.err"]), "")
        self.assertNotIn("Killing", self.out["quiet"])
        self.assertEqual(self.out["quiet.killed"], "logcat\n")

    def test_nothing_stays(self):
        self.assertEqual(self.out["counts.after"], self.out["counts.before"])
        self.assertIn("children 0\n", self.out["counts.after"])
        self.assertEqual(self.out["processes.after"], self.out["processes.before"])
        self.assertEqual(controls(self.out["controls"]), STOPPED)
