"""The command line, seen from outside."""

import subprocess
import unittest

from harness import DeviceTest
from deadline import run, wait_for
from program import PROGRAM

USAGE = """\
Usage: {name} [OPTION]...
  --interval=n  Computation interval in normal loop mode
  --iter=n      Run only this number of iterations
  --stdout      Use stdout even for Android
  --sig         Start/stop trace via SIGUSR1 signals
  --block-dump  Include per-thread block IO stats
  --systrace    Include per-thread context switch stats
  --no-proc-cpu Exclude per-process CPU stats
  --min-cpu=n   Require n ms of processing to print process
  --freq        Include CPU frequency time in state
  --pmu         Include PMU HW counters like cache, etc.
  --proc=name   Show CPU stats per-thread for this proc
  --enter       Run until you hit enter
  --help        Show this message

Notes:
  - interval and iter will be ignored if sig enabled
  - systrace and block-dump cannot be used together
  - systrace/block-dump require sig, enter, or iter=1
"""


class Usage(unittest.TestCase):
    def assert_usage(self, *options):
        result = run([PROGRAM, *options])
        self.assertEqual(result.stderr, USAGE.format(name=PROGRAM))
        self.assertEqual(result.stdout, "")
        self.assertEqual(result.returncode, 0)

    def test_help_is_an_unknown_option(self):
        self.assert_usage("--help")

    def test_unknown_option(self):
        self.assert_usage("--stdout", "--unheard-of")

    def test_positional_argument(self):
        self.assert_usage("5")

    def test_empty_argument(self):
        self.assert_usage("")

    def test_valued_option_without_equals_sign(self):
        self.assert_usage("--interval", "5")

    def test_flag_with_value(self):
        self.assert_usage("--stdout=1")

    def test_both_kinds_of_tracing_in_one_iteration(self):
        self.assert_usage("--systrace", "--block-dump", "--iter=1")

    def test_both_kinds_of_tracing_in_signal_mode(self):
        self.assert_usage("--systrace", "--block-dump", "--sig")

    def test_both_kinds_of_tracing_in_enter_mode(self):
        self.assert_usage("--systrace", "--block-dump", "--enter")

    def test_name_is_that_of_the_call(self):
        result = run(["other name", "--help"], executable=PROGRAM)
        self.assertEqual(result.stderr.splitlines()[0], "Usage: other name [OPTION]...")

    def test_standard_error_closed(self):
        result = run(["sh", "-c", f"exec '{PROGRAM}' --help 2>&-"])
        self.assertEqual((result.returncode, result.stdout), (0, ""))


class Effects(DeviceTest):
    def run_to_end(self, *options):
        with self.device.start("--stdout", *options, stdin=subprocess.DEVNULL) as program:
            return program.finish()

    def separators(self, output):
        return output.count("-" * 113 + "\n")

    def test_no_iterations_print_nothing(self):
        self.assertEqual(self.run_to_end("--iter=0"), "")

    def test_nonsense_iterations_are_none(self):
        self.assertEqual(self.run_to_end("--iter=many"), "")

    def test_empty_interval_is_no_pause(self):
        self.assertEqual(self.separators(self.run_to_end("--iter=3", "--interval=")), 3)

    def test_nonsense_interval_is_no_pause(self):
        self.assertEqual(self.separators(self.run_to_end("--iter=2", "--interval=soon")), 2)

    def test_last_iteration_count_holds(self):
        self.assertEqual(
            self.separators(self.run_to_end("--iter=7", "--interval=0", "--iter=2")), 2)

    def test_both_kinds_of_tracing_are_dropped_in_a_loop(self):
        output = self.run_to_end("--systrace", "--block-dump", "--iter=2", "--interval=0")
        self.assertEqual(self.separators(output), 2)

    def test_enter_behind_sig_is_enter_mode(self):
        output = self.run_to_end("--sig", "--enter")
        self.assertEqual(self.separators(output), 1)

    def test_sig_behind_enter_is_signal_mode(self):
        with self.device.start("--stdout", "--enter", "--sig",
                               stdin=subprocess.DEVNULL) as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_log_is_the_default_and_stdout_stays_empty(self):
        with self.device.start("--iter=1", "--interval=0", stdin=subprocess.DEVNULL) as program:
            self.assertEqual(program.finish(), "")
            self.assertIn("Tarnwick E ", program.errors())

    def test_negative_interval_is_a_very_long_one(self):
        with self.device.start("--stdout", "--interval=-1") as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_no_arguments_loop_and_log(self):
        with self.device.start() as program:
            wait_for(lambda: program.errors().count("uptime=") >= 2, "two reports in the log")
            self.assertEqual(program.interrupt(), "")

    def test_interval_is_two_seconds_by_default(self):
        with self.device.start("--stdout", "--iter=1", stdin=subprocess.DEVNULL) as program:
            output = program.finish()
        uptime = int(output.split("uptime=")[1].split(",")[0])
        self.assertGreaterEqual(uptime, 2000)
