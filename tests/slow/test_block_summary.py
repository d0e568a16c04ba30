"""The block summary of /proc/pagetypeinfo, which the report has at most once in a minute.

The program's clock cannot be turned, so this takes the minute.
"""

import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "device"))

from harness import DeviceTest  # noqa: E402

HEAD = "Page block order: 9\nPages per block:  512\n\nFree pages count per migrate type\n\n"
SUMMARY = ("Number of blocks type     Unmovable      Movable  Reclaimable   HighAtomic \n"
           "Node 0, zone      DMA           17          201            6            0 \n")


class BlockSummary(DeviceTest):
    def test_once_in_a_minute(self):
        self.device.write("/proc/pagetypeinfo", HEAD + SUMMARY)
        with self.device.start("--stdout", "--sig") as program:
            def report():
                program.toggle()
                program.toggle()
                return program.output().rpartition("SIGUSR1->stop()\n")[2]

            program.wait_until_waiting()
            due = time.monotonic() + 60.1
            self.assertNotIn("Number of blocks", report())
            while time.monotonic() < due:
                time.sleep(0.01)

            # Each of these needs the stamp that the one before has left.
            with self.subTest("a summary that is not there stays due"):
                self.device.write("/proc/pagetypeinfo", HEAD)
                self.assertNotIn("Number of blocks", report())
            with self.subTest("what lies beyond 4096 bytes is not seen"):
                self.device.write("/proc/pagetypeinfo", "x" * (4096 - len(SUMMARY) + 5) + SUMMARY)
                self.assertIn("Shmem=0(+0)\n" + SUMMARY[:-5] + "body_temp=", report())
            with self.subTest("the next one is a minute away"):
                self.device.write("/proc/pagetypeinfo", HEAD + SUMMARY)
                self.assertNotIn("Number of blocks", report())
            program.interrupt()
