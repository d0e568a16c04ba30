"""The order in which steps run, and what is said of them."""

import io
import os
import signal
import sys
import tempfile
import unittest
from unittest import mock

import runner
import screen
from runner import Memory, Runner
from steps import BACKGROUND, CPU, ROOT, WAIT, Step

sys.path.insert(0, os.path.join(ROOT, "tests", "support"))

from deadline import wait_for  # noqa: E402

TICKS = "echo begin $0 >>order; sleep 0.5; echo end $0 >>order"


def step(name, *commands, kind=CPU, needs=(), folders=(), **fields):
    return Step(name, name, "", 1, commands or (("sh", "-c", TICKS, name),), kind, needs, folders, **fields)


class Terminal(io.StringIO):
    def isatty(self):
        return True


class Interrupted(screen.Screen):
    """Interrupts the run as soon as the file is there."""

    def __init__(self, out, file):
        super().__init__(out)
        self.file = file

    def status(self, running):
        if os.path.exists(self.file):
            raise KeyboardInterrupt


def is_alive(pid):
    """Whether a process is there that has not ended. See proc_pid_stat(5)."""
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().rpartition(")")[2].split()[0] not in "ZX"
    except FileNotFoundError:
        return False


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.out = io.StringIO()

    def run_steps(self, *steps, resume=False, show=None):
        self.memory = Memory(os.path.join(self.folder, "logs", "lane.json"), resume)
        self.runner = Runner(steps, self.folder, os.path.join(self.folder, "logs"), show or screen.Screen(self.out),
                             self.memory)
        return self.runner.run()

    def interrupt_steps(self, *steps):
        """When the file `begun` is there."""
        with self.assertRaises(KeyboardInterrupt):
            self.run_steps(*steps, show=Interrupted(self.out, os.path.join(self.folder, "begun")))

    def order(self):
        path = os.path.join(self.folder, "order")
        if not os.path.exists(path):
            return []
        with open(path) as file:
            return file.read().splitlines()

    def test_steps_of_one_kind_run_one_after_the_other(self):
        self.assertTrue(self.run_steps(step("a"), step("b")))
        self.assertEqual(self.order(), ["begin a", "end a", "begin b", "end b"])

    def test_steps_of_different_kinds_run_side_by_side(self):
        # Each waits for the other to begin.
        meet = "touch $0; while [ ! -e $1 ]; do sleep 0.01; done"
        self.assertTrue(self.run_steps(step("a", ("sh", "-c", meet, "a", "b")),
                                       step("b", ("sh", "-c", meet, "b", "a"), kind=WAIT)))

    def test_a_step_waits_for_what_it_needs(self):
        self.assertTrue(self.run_steps(step("a"), step("b", kind=WAIT, needs=("a",))))
        self.assertEqual(self.order(), ["begin a", "end a", "begin b", "end b"])

    def test_one_step_at_a_time_writes_a_folder(self):
        self.assertTrue(self.run_steps(step("a", folders=("release",)),
                                       step("b", kind=WAIT, folders=("release",)),
                                       step("c", kind=BACKGROUND, folders=("release",))))
        self.assertEqual(self.order(), [f"{what} {name}" for name in "abc" for what in ("begin", "end")])

    def test_a_step_ends_at_the_first_command_that_fails(self):
        self.assertFalse(self.run_steps(step("a", ("true",), ("sh", "-c", "echo the reason; exit 3"), ("touch", "after"))))
        self.assertIn("a: FAILED", self.out.getvalue())
        self.assertIn("the reason\n", self.out.getvalue())
        self.assertFalse(os.path.exists(os.path.join(self.folder, "after")))

    def test_a_command_that_is_not_there_is_a_failure(self):
        self.assertFalse(self.run_steps(step("a", ("no-such-command",))))
        self.assertIn("no-such-command: No such file", self.out.getvalue())

    def test_after_a_failure_no_step_begins_but_what_runs_is_waited_for(self):
        self.assertFalse(self.run_steps(step("a", ("false",)), step("b", kind=WAIT), step("c")))
        self.assertEqual(self.order(), ["begin b", "end b"])
        self.assertEqual([one.name for one in self.runner.failed], ["a"])

    def test_a_resumed_run_goes_on_at_the_step_that_failed(self):
        steps = step("a"), step("b", ("sh", "-c", "test -e fixed")), step("c", needs=("b",))
        self.assertFalse(self.run_steps(*steps))
        open(os.path.join(self.folder, "fixed"), "w").close()
        self.assertTrue(self.run_steps(*steps, resume=True))
        self.assertEqual(self.order(), ["begin a", "end a", "begin c", "end c"])

    def test_a_resumed_run_repeats_the_builds_that_it_needs(self):
        tests = step("tests", ("sh", "-c", "test -e fixed"), kind=WAIT, needs=("build",))
        steps = step("sysroot"), step("build", needs=("sysroot",)), step("checks", kind=BACKGROUND), tests
        self.assertFalse(self.run_steps(*steps))
        os.remove(os.path.join(self.folder, "order"))
        open(os.path.join(self.folder, "fixed"), "w").close()
        self.assertTrue(self.run_steps(*steps, resume=True))
        self.assertEqual(self.order(), ["begin sysroot", "end sysroot", "begin build", "end build"])

    def test_a_resumed_run_counts_what_passed_before(self):
        steps = (step("a", ("echo", "1/1 Test #1: one ... Passed 0.10 sec"), folders=("a",), ctest=True),
                 step("b", ("test", "-e", "fixed"), folders=("b",)))
        self.assertFalse(self.run_steps(*steps))
        open(os.path.join(self.folder, "fixed"), "w").close()
        self.assertTrue(self.run_steps(*steps, resume=True))
        self.assertEqual(self.runner.counts.passed, 1)

    def test_a_step_that_can_never_start_is_a_failure(self):
        self.assertFalse(self.run_steps(step("a", needs=("nothing",))))

    def test_a_run_that_does_not_resume_runs_all(self):
        self.assertTrue(self.run_steps(step("a")))
        self.assertTrue(self.run_steps(step("a")))
        self.assertEqual(self.order().count("begin a"), 2)

    def test_an_interrupted_step_can_clean_up(self):
        script = "trap 'sleep 0.5; touch cleaned; exit 1' INT; touch begun; while :; do sleep 0.1; done"
        self.interrupt_steps(step("a", ("sh", "-c", script)))
        self.assertTrue(os.path.exists(os.path.join(self.folder, "cleaned")))

    def test_an_interrupted_run_leaves_no_process(self):
        # A shell's background process ignores SIGINT.
        script = "sleep 1000 & echo $! >pid; touch begun; wait"
        with mock.patch.object(runner, "STOP_S", 0.5):
            self.interrupt_steps(step("a", ("sh", "-c", script)))
        with open(os.path.join(self.folder, "pid")) as file:
            pid = int(file.read())
        wait_for(lambda: not is_alive(pid), "the process ends", 10)

    def test_sigterm_and_sighup_interrupt_a_run(self):
        for signo in (signal.SIGTERM, signal.SIGHUP):
            self.addCleanup(signal.signal, signo, signal.getsignal(signo))
        signal.signal(signal.SIGHUP, signal.SIG_DFL)
        runner.interrupt_on_signals()
        for signo in (signal.SIGTERM, signal.SIGHUP):
            self.assertRaises(KeyboardInterrupt, signal.raise_signal, signo)

    def test_nohup_is_respected(self):
        for signo in (signal.SIGTERM, signal.SIGHUP):
            self.addCleanup(signal.signal, signo, signal.getsignal(signo))
        signal.signal(signal.SIGHUP, signal.SIG_IGN)
        runner.interrupt_on_signals()
        signal.raise_signal(signal.SIGHUP)

    def test_tests_are_counted_and_those_that_passed_not_shown(self):
        with open(os.path.join(self.folder, "ctest.log"), "w") as log:
            log.write("1/2 Test #1: one ... Passed 0.10 sec\n2/2 Test #2: two ...***Failed 0.10 sec\nwhy\n")
        self.assertFalse(self.run_steps(step("a", ("sh", "-c", "cat ctest.log; exit 8"), folders=("release",), ctest=True)))
        self.assertEqual((self.runner.counts.passed, self.runner.counts.failed), (1, 1))
        self.assertIn("2/2 Test #2: two ...***Failed 0.10 sec\nwhy\n", self.out.getvalue())
        self.assertNotIn("Test #1", self.out.getvalue())

    def test_a_step_can_say_that_it_was_skipped(self):
        self.assertTrue(self.run_steps(step("a", ("echo", "skipped: no checkout"))))
        self.assertEqual(self.runner.reasons, {"no checkout": 1})

    def test_nothing_is_written_over_unless_to_a_terminal(self):
        self.run_steps(step("a"))
        self.assertNotIn("\r", self.out.getvalue())
        self.out = Terminal()
        self.run_steps(step("a"))
        self.assertIn("\r", self.out.getvalue())


class Words(unittest.TestCase):
    def test_durations(self):
        self.assertEqual([runner.duration(seconds) for seconds in (0.4, 59.6, 65, 600)],
                         ["0 s", "1 min 0 s", "1 min 5 s", "10 min 0 s"])

    def test_progress_is_that_of_the_last_line_that_has_one(self):
        self.assertEqual(runner.progress("[3/310] Building a\n[4/310] Building b\nwarning\n"), "4 of 310")
        self.assertEqual(runner.progress("        Start    7: x\n  12/1206 Test    #7: x ... Passed 1 sec\n"), "12 of 1206")
        self.assertEqual(runner.progress("$ ninja\n"), "")

    def test_a_log_is_shown_without_its_progress(self):
        self.assertEqual(runner.without_progress("[1/2] Building a\na.cpp:1: error\n"), "a.cpp:1: error")

    def test_a_status_line_fits_the_terminal(self):
        out = Terminal()
        with mock.patch.dict(os.environ, COLUMNS="40"):
            screen.Screen(out).status([(step("a step with a long name"), 61, "1 of 2")] * 20)
        # A full last column would move the cursor to the next line.
        self.assertEqual(len(out.getvalue()), 39)


if __name__ == "__main__":
    unittest.main()
