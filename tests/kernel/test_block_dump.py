"""Page-cache traffic by file: as many events as the kernel made."""

import collections
import os
import re
import unittest

from guest import Guest
from report_text import SEPARATOR
from trace_text import STOPPED, controls

EVENT = re.compile(r": mm_filemap_(add_to|delete_from)_page_cache: dev (\d+):(\d+) ino ([0-9a-f]+) ")
PAGES = {"/mnt/vda/thirty": 30, "/mnt/sda/forty": 40, "/mnt/mmcblk0/fifty": 50}
WHOLE = "/mnt/mmcblk0/whole"


def files(report):
    """The additions and removals of each line."""
    return {name: (int(adds), int(deletes))
            for adds, deletes, name in re.findall(r"^add=(\d+) del=(\d+) file=(.*)$", report, re.M)}


class BlockDump(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = Guest("block_dump.sh", steady=True).out
        cls.read, cls.removed = (files(part) for part in cls.out["report"].split(SEPARATOR)[1:])
        names = {}
        for line in cls.out["files"].splitlines():
            name, device, inode = line.split()
            names[os.major(int(device)), os.minor(int(device)), int(inode)] = name
        cls.adds, cls.deletes = collections.Counter(), collections.Counter()
        for kind, major, minor, inode in EVENT.findall(cls.out["second"]):
            name = names.get((int(major), int(minor), int(inode, 16)))
            (cls.adds if kind == "add_to" else cls.deletes)[name] += 1

    def test_every_run_ends_with_status_0_and_without_complaints(self):
        for name in ("report", "enter", "once"):
            self.assertEqual(self.out[f"{name}.status"], "0\n", name)
            self.assertEqual(self.out[f"{name}.err"], "", name)

    def test_files_that_are_read_have_the_events_that_the_kernel_made(self):
        for name in [*PAGES, WHOLE]:
            self.assertEqual(self.read[name], (self.adds[name], 0), name)

    def test_file_that_is_read_page_by_page_has_an_event_for_each(self):
        for name, pages in PAGES.items():
            self.assertEqual(self.read[name], (pages, 0), name)

    def test_removals_are_counted_beside_what_came_before(self):
        for name in [*PAGES, WHOLE]:
            self.assertEqual(self.removed[name], (self.adds[name], self.deletes[name]), name)
            self.assertGreater(self.deletes[name], 0)

    def test_total_is_the_sum_of_all(self):
        for report in (self.read, self.removed):
            for column in (0, 1):
                self.assertEqual(report["total"][column],
                                 sum(counts[column] for name, counts in report.items()
                                     if name != "total"))

    def test_enter_and_one_iteration(self):
        for name in ("enter", "once"):
            self.assertEqual(files(self.out[name])["/mnt/sda/forty"], (40, 0), name)

    def test_files_of_the_kernel_are_not_in_the_cache_of_names(self):
        paths = [line.split(" ", 1)[1] for line in self.out["inode.txt"].splitlines()]
        self.assertIn(WHOLE, paths)
        self.assertIn("/data/inode.txt", paths)
        self.assertFalse([path for path in paths if path.startswith(("/proc/", "/sys/"))])

    def test_tracing_files_after_the_stop(self):
        self.assertEqual(controls(self.out["controls"]), STOPPED)
