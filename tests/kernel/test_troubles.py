"""What is missing or in the way does no harm."""

import re
import unittest

import trace_text
from guest import CPUS, Guest
from report_text import LAST_LINE

TRACES = ["systrace", "block-dump"]


class Troubles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("troubles.sh", pmu=False).out

    def test_without_counters_there_are_zeros(self):
        self.assertEqual(self.out["pmu.status"], "0\n")
        lines = re.findall(r"^cpu.*crefs=0 +hit=0.00 +br=0 +hit=0.00 *$", self.out["pmu"], re.M)
        self.assertGreaterEqual(len(lines), 2)
        self.assertEqual(len(lines), len(re.findall("^cpu", self.out["pmu"], re.M)))

    def test_data_that_takes_no_file(self):
        for where in ("readonly", "full", "missing"):
            for name in TRACES:
                self.assertEqual(self.out[f"{where}-{name}.status"], "0\n", (where, name))
                self.assertTrue(LAST_LINE.search(self.out[f"{where}-{name}"]), (where, name))
            lines = re.findall(r"^add=.* file=(.*)$", self.out[f"{where}-block-dump"], re.M)
            self.assertEqual(lines, ["unknown", "total"])
        for where in ("readonly", "missing"):
            self.assertNotIn("Writing output", self.out[f"{where}-systrace"])
        # A cache of names that is not whole would be taken for whole for ever.
        self.assertNotIn("inode.txt", self.out["full.files"])

    def test_tracing_at_its_newer_place_alone(self):
        self.assertEqual(self.out["tracefs.status"], "0\n")
        self.assertEqual(self.out["tracefs.on"], "1\n")
        records = trace_text.records(self.out["tracefs.trace"])
        self.assertIn("tarnwick", {record.tgid_name for record in records})
        self.assertLessEqual({record.cpu for record in records}, set(range(CPUS)))
        self.assertEqual(trace_text.controls(self.out["tracefs.controls"]), trace_text.STOPPED)

    def test_no_tracing_at_all(self):
        for name in TRACES:
            self.assertEqual(self.out[f"none-{name}.status"], "1\n")
            self.assertRegex(self.out[f"none-{name}"],
                             "Error opening /sys/kernel/debug/tracing/.*: No such file or directory \\(2\\)\n")
