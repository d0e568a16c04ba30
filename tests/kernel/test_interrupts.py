"""SIGINT ends the program in each state."""

import re
import unittest

from guest import Guest

LAST_LINE = re.compile(r"^uptime=\d+, realtime=\d+, proctimebefore=\d+, proctimeafter=\d+\n", re.M)
TRACES = ["systrace", "block-dump"]


class Interrupts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("interrupts.sh").out

    def test_sigint_ends_with_status_0_in_each_state(self):
        for name in ["idle", "sampling", "looping", "entering", *TRACES,
                     *(f"{name}-enter" for name in TRACES), *(f"{name}-between" for name in TRACES)]:
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)

    def test_sigint_leaves_a_measurement_without_report(self):
        for name in ["sampling", "looping", "entering", *TRACES]:
            self.assertFalse(LAST_LINE.search(self.out[name]), name)
        self.assertEqual(self.out["sampling"], "SIGUSR1->start()\n")

    def test_nothing_is_left_running(self):
        processes = self.out["processes"].split()
        self.assertIn("init", processes)
        self.assertFalse({"tarnwick", "logcat", "load"} & set(processes))
