"""The table of steps."""

import os
import re
import subprocess
import unittest

import steps
from steps import Step, select

LANES = {"quick": steps.quick_steps(), "all": steps.all_steps(), "coverage": steps.coverage_steps()}


def step(name, label, *needs):
    return Step(name, label, "", 1, (("true",),), needs=needs)


class Table(unittest.TestCase):
    def test_names_are_unique_and_needed_steps_stand_before(self):
        for lane, table in LANES.items():
            seen = set()
            for one in table:
                self.assertNotIn(one.name, seen, lane)
                self.assertLessEqual(set(one.needs), seen, one.name)
                seen.add(one.name)

    def test_the_full_lane_has_what_the_quick_one_has(self):
        self.assertLessEqual({one.label for one in LANES["quick"]}, {one.label for one in LANES["all"]})

    def test_the_usage_of_test_sh_names_every_part(self):
        with open(f"{steps.ROOT}/test.sh") as script:
            usage = next(line for line in script if "parts of `all`" in line)
        self.assertEqual(set(usage.split("`all`: ")[1].split()), {one.label for one in LANES["all"]})

    def test_the_release_runs_all_its_tests(self):
        # The sanitizers leave some to it.
        [release] = (one for one in LANES["all"] if one.name == "test release")
        [command] = release.commands
        self.assertEqual([word for word in command if word.endswith(("-exclude", "-regex"))], [])

    def test_sanitizers_leave_out_two_labels_alone(self):
        for name in "test asan", "test tsan":
            [one] = (one for one in LANES["all"] if one.name == name)
            [command] = one.commands
            self.assertEqual([word for word in command if word.endswith("-regex")], [], name)
            self.assertEqual(command.count("--label-exclude"), 1, name)
            self.assertEqual(command[command.index("--label-exclude") + 1], "^(slow|tree)$", name)

    def test_threads_are_only_where_the_thread_sanitizer_looks(self):
        # Its build has the unit tests of collector/ alone, and no fuzz target (TARNWICK_ONLY_THREADS).
        found = set()
        for folder in "unit", "fuzz":
            for path, _, files in os.walk(os.path.join(steps.ROOT, "tests", folder)):
                for name in files:
                    if name.endswith((".cpp", ".h")):
                        with open(os.path.join(path, name)) as source:
                            if re.search(r"std::(j?thread|async)\b|pthread_create", source.read()):
                                found.add(os.path.relpath(path, steps.ROOT))
        self.assertEqual(found, {"tests/unit/collector"})

    def test_coverage_deletes_counts_before_it_builds(self):
        configure, forget, compile_ = LANES["coverage"][0].commands
        self.assertIn("--preset", configure)
        self.assertEqual((forget[0], forget[-1]), ("find", "-delete"))
        self.assertIn("--build", compile_)

    def test_an_unknown_part_ends_test_sh_before_it_installs_anything(self):
        ran = subprocess.run((f"{steps.ROOT}/test.sh", "asan", "no-part"), env={"PATH": "/usr/bin:/bin"}, text=True,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual((ran.returncode, ran.stdout), (2, ""))
        self.assertIn("there is no part 'no-part'; the parts are format release", ran.stderr)

    def test_a_step_that_runs_ctest_writes_one_folder(self):
        for table in LANES.values():
            for one in table:
                if one.ctest:
                    self.assertEqual(len(one.folders), 1, one.name)


class Select(unittest.TestCase):
    TABLE = (step("a", "x"), step("b", "y", "a"), step("c", "z", "b"), step("d", "x"))

    def names(self, *labels):
        return [one.name for one in select(self.TABLE, labels)]

    def test_a_part_has_all_steps_of_its_label_in_the_order_of_the_table(self):
        self.assertEqual(self.names("x"), ["a", "d"])

    def test_a_part_has_what_it_needs_and_what_that_needs(self):
        self.assertEqual(self.names("z"), ["a", "b", "c"])

    def test_an_unknown_part_is_an_error(self):
        self.assertRaises(KeyError, select, self.TABLE, ["x", "w"])


if __name__ == "__main__":
    unittest.main()
