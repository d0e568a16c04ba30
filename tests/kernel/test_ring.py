"""The kernel's binary ring buffers hold what its text says, event by event."""

import re
import unittest

from guest import KERNEL, Guest


class Ring(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("ring.sh", steady=True).out

    def assert_same(self, name, least_sched, least_pages):
        found = re.fullmatch(r"sched=(\d+) page_cache=(\d+) missed=(\d+) unknown=(\d+)\n", self.out[name])
        self.assertTrue(found, self.out[name])
        sched, pages, missed, unknown = map(int, found.groups())
        self.assertGreater(sched, least_sched)
        self.assertGreater(pages, least_pages)
        # A page that is full has no room for the number.
        lost = sum(map(int, self.out[f"{name}.overruns"].split()))
        if unknown:
            self.assertLess(missed, lost)
        else:
            self.assertEqual(missed, lost)
        return lost

    def test_many_events_while_a_cpu_goes_off_and_on(self):
        self.assertEqual(self.assert_same("many", 10000, 2000), 0)

    def test_events_that_the_kernel_dropped_are_counted(self):
        self.assertGreater(self.assert_same("small", 50, 20), 0)

    def test_larger_sub_buffers(self):
        if KERNEL in ("5.10", "6.1"):
            self.skipTest("this kernel has pages alone")
        self.assertEqual(self.assert_same("large", 1000, 200), 0)
