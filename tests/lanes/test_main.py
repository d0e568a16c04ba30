"""What ./test.sh makes of its words, and how it sums up."""

import io
import os
import tempfile
import unittest

import main
import runner
import screen
from steps import CPU, Step


class Words(unittest.TestCase):
    def test_without_words_it_is_the_quick_lane(self):
        self.assertEqual(main.parse([]), ("quick", [], False))
        self.assertEqual(main.parse(["--resume"]), ("quick", [], True))

    def test_lanes_and_parts(self):
        self.assertEqual(main.parse(["all", "--resume"]), ("all", [], True))
        self.assertEqual(main.parse(["coverage"]), ("coverage", [], False))
        self.assertEqual(main.parse(["asan", "tsan"]), ("all", ["asan", "tsan"], False))


class Summary(unittest.TestCase):
    def sum_up(self, *commands, interrupted=False):
        """The last lines for a lane of one step."""
        out = io.StringIO()
        with tempfile.TemporaryDirectory() as folder:
            step = Step("a", "a", "", 1, commands, CPU)
            run = runner.Runner((step,), folder, folder, screen.Screen(out),
                                runner.Memory(os.path.join(folder, "lane.json"), False))
            passed = not interrupted and run.run()
            main.summary(run.screen, run, passed, " asan")
        return out.getvalue().splitlines()

    def test_all_passed(self):
        lines = self.sum_up(("true",))
        self.assertEqual(lines[-1], "0 passed, 0 failed")
        self.assertNotIn("--resume", " ".join(lines))

    def test_a_step_that_failed_counts_as_one_failure(self):
        self.assertEqual(self.sum_up(("false",))[-3:],
                         ["FAILED: a", "./test.sh --resume asan continues there", "0 passed, 1 failed"])

    def test_an_interrupted_run_has_failed(self):
        self.assertEqual(self.sum_up(("true",), interrupted=True)[-1], "0 passed, 1 failed")


if __name__ == "__main__":
    unittest.main()
