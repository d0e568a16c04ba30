"""What ctest prints, taken apart."""

import unittest

import ctest_log
from ctest_log import Counts

LOG = """\
Test project /home/user/tarnwick/build/release
        Start    1: NetDev.readsTheLine
   1/6 Test    #1: NetDev.readsTheLine ......................   Passed    0.01 sec
        Start    2: device.report
   2/6 Test    #2: device.report ............................***Failed    6.42 sec
test_report (test_report.Report) ... FAIL
AssertionError: 1 != 2

        Start    3: live
   3/6 Test    #3: live .....................................***Skipped   0.10 sec
   4/6 Test    #4: slow .....................................***Timeout 600.04 sec
   5/6 Test    #5: fuzz_stat ................................***Exception: SegFault  0.02 sec
   6/6 Test    #6: odd ......................................***Not Run (Disabled)   0.00 sec

33% tests passed, 3 tests failed out of 5
"""


class CtestLog(unittest.TestCase):
    def test_counts_every_test_once(self):
        self.assertEqual(ctest_log.counts(LOG), Counts(passed=1, failed=3, skipped=2))

    def test_counts_add_up(self):
        counts = Counts(1, 2, 3)
        counts.add(Counts(10, 20, 30))
        self.assertEqual(counts, Counts(11, 22, 33))

    def test_failures_are_whole_and_what_passed_is_not_there(self):
        text = ctest_log.failures(LOG)
        for kept in ("device.report", "AssertionError: 1 != 2", "slow", "SegFault", "33% tests passed"):
            self.assertIn(kept, text)
        for left_out in ("NetDev", "live", "odd", "Start"):
            self.assertNotIn(left_out, text)

    def test_each_reason_for_a_skip_is_there_once_with_its_count(self):
        log = ("test_a (test_x.A) ... skipped 'no tracefs here'\ntest_b (test_x.A) ... ok\n"
               "test_c (test_x.A) ... skipped 'no tracefs here'\ntest_d (test_x.A) ... skipped \"needs 'sudo'\"\n"
               "tests/unit/collector/pmu_calls_test.cpp:31: Skipped\nno hardware counters\n")
        self.assertEqual(ctest_log.skip_reasons(log), {"no tracefs here": 2, "needs 'sudo'": 1, "no hardware counters": 1})


if __name__ == "__main__":
    unittest.main()
