"""Deadlines move by how slow the machine is, and still end what hangs."""

import subprocess
import unittest
from unittest import mock

import deadline


class Clock:
    """Stands for the module `time`. Each look at it takes a tenth of a second."""

    def __init__(self):
        self.now = 0

    def monotonic(self):
        self.now += 0.1
        return self.now

    def sleep(self, seconds):
        self.now += seconds


class DeadlineTest(unittest.TestCase):
    def setUp(self):
        self.clock = Clock()
        self.replace("time", self.clock)

    def replace(self, name, value):
        patch = mock.patch.object(deadline, name, value)
        patch.start()
        self.addCleanup(patch.stop)

    def seconds_until_passed(self, seconds):
        under_test = deadline.Deadline(seconds)
        while not under_test.has_passed():
            pass
        return self.clock.now

    def test_quiet_machine(self):
        self.replace("slowness", lambda: 1)
        self.assertAlmostEqual(self.seconds_until_passed(60), 60, delta=5)

    def test_machine_that_is_slow(self):
        self.replace("slowness", lambda: 4)
        self.assertAlmostEqual(self.seconds_until_passed(60), 240, delta=20)

    def test_machine_that_is_slow_for_a_while(self):
        self.replace("slowness", lambda: 4 if self.clock.now < 120 else 1)
        self.assertAlmostEqual(self.seconds_until_passed(60), 150, delta=10)

    def test_limit(self):
        self.replace("slowness", lambda: 1000)
        self.assertAlmostEqual(self.seconds_until_passed(60), deadline.MAX_S, delta=10)

    def test_slowness_is_measured(self):
        self.replace("WORK", 1)
        self.replace("WORK_S", 0.01)
        self.assertAlmostEqual(deadline.slowness(), 10)

    def test_fast_machine_does_not_shorten_a_deadline(self):
        self.replace("WORK_S", 100)
        self.assertEqual(deadline.slowness(), 1)

    def test_condition_that_never_holds(self):
        self.replace("slowness", lambda: 1)
        with self.assertRaisesRegex(AssertionError, "not in 60 s of a quiet machine: the end"):
            deadline.wait_for(lambda: False, "the end")

    def test_process_that_hangs(self):
        self.replace("slowness", lambda: 1)
        with self.assertRaises(AssertionError):
            deadline.run(["sleep", "1000"], 0.01)
        with subprocess.Popen(["sleep", "1000"]) as process:
            self.addCleanup(process.kill)
            with self.assertRaises(AssertionError):
                deadline.wait_for_end(process, "it ends", 0.01)
            process.kill()
