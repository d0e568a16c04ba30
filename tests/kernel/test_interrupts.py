"""SIGINT ends the program in each state."""

import unittest

from guest import Guest
from report_text import LAST_LINE
from trace_text import STOPPED, controls, without_skipped

TRACES = ["systrace", "block-dump"]


class Interrupts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("interrupts.sh").out

    def test_sigint_ends_with_status_0_in_each_state(self):
        for name in ["idle", "sampling", "looping", "entering", *TRACES,
                     *(f"{name}-enter" for name in TRACES), *(f"{name}-between" for name in TRACES)]:
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)
            self.assertEqual(without_skipped(self.out[f"{name}.err"]), "", name)

    def test_sigint_ends_a_walk_and_leaves_no_part_of_the_cache(self):
        self.assertEqual(self.out["walk.status"], "0\n")
        self.assertEqual(self.out["walk.err"], "")
        self.assertFalse(LAST_LINE.search(self.out["walk"]))
        self.assertNotIn("inode.txt", self.out["walk.files"])

    def test_sigint_ends_the_stop(self):
        self.assertEqual(self.out["drain.status"], "0\n")
        self.assertEqual(without_skipped(self.out["drain.err"]), "")
        self.assertFalse(LAST_LINE.search(self.out["drain"]))

    def test_next_trace_switches_off_what_an_interrupt_has_left(self):
        left = controls(self.out["left.controls"])
        self.assertEqual(left["tracing_on"], "1")
        self.assertEqual(left["events/sched/sched_stat_runtime/enable"], "1")
        self.assertEqual(self.out["next.status"], "0\n")
        self.assertEqual(controls(self.out["next.controls"]), STOPPED)

    def test_sigint_leaves_a_measurement_without_report(self):
        for name in ["sampling", "looping", "entering", *TRACES]:
            self.assertFalse(LAST_LINE.search(self.out[name]), name)
        self.assertEqual(self.out["sampling"], "SIGUSR1->start()\n")

    def test_nothing_is_left_running(self):
        self.assertIn("1 init\n", self.out["processes.before"])
        self.assertEqual(self.out["processes.after"], self.out["processes.before"])
