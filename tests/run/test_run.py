"""run.sh: what it builds and runs, and what it says meanwhile."""

import os
import unittest

from script_tree import Tree, on_terminal

AS_NOBODY = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups")
needs_root = unittest.skipUnless(os.geteuid() == 0, "needs root, to become another user")


def without_warnings(errors):
    """The warnings depend on the machine: see test_advice.py."""
    lines = errors.splitlines(keepends=True)
    return "".join(line for line in lines if not line.startswith("run.sh: no disk is counted"))


class Run(unittest.TestCase):
    def setUp(self):
        self.tree = Tree()
        self.addCleanup(self.tree.remove)

    def builds(self):
        return [call for call in self.tree.calls() if call.startswith("cmake --build")]

    def build_once(self):
        self.assertEqual(self.tree.start("run.sh").returncode, 7)
        self.tree.write("calls", "", 0o666)


class Program(Run):
    def test_it_is_built_and_gets_the_options_and_the_input(self):
        self.tree.missing("g++")
        result = self.tree.start("run.sh", "--stdout", "--iter=2", input="line\n")
        self.assertEqual(result.stdout, "options: --stdout --iter=2\nline\n")
        self.assertEqual(without_warnings(result.stderr), "Installing g++\n")
        self.assertEqual(len(self.builds()), 1)

    def test_without_options_it_gives_one_report(self):
        self.assertEqual(self.tree.start("run.sh").stdout, "options: --stdout --iter=1\n")

    def test_its_status_is_that_of_run_sh(self):
        self.assertEqual(self.tree.start("run.sh").returncode, 7)

    def test_a_build_that_fails_prints_all_its_output(self):
        self.tree.stub("cmake", "echo output; echo error >&2; exit 1")
        result = self.tree.start("run.sh")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (1, "", "output\nerror\nrun.sh: the build failed\n"))


class Progress(Run):
    def test_on_a_terminal_the_build_shows_its_latest_line(self):
        result, shown = on_terminal(lambda terminal: self.tree.start("run.sh", stderr=terminal))
        first, second = "[1/2] Building one.cpp.o", "[2/2] Linking tarnwick"
        # 40 columns, of which the last one stays free.
        self.assertEqual(without_warnings(shown.replace("\r\n", "\n").split("\r" + " " * 39 + "\r")[0]),
                         f"\r{first:39}\r{second:39}")
        self.assertEqual(result.stdout, "options: --stdout --iter=1\n")

    def test_the_line_is_blank_before_the_program_starts(self):
        _, shown = on_terminal(lambda terminal: self.tree.start("run.sh", stderr=terminal))
        self.assertIn("\r" + " " * 39 + "\r", shown)

    def test_a_line_is_cut_where_the_terminal_ends(self):
        self.tree.stub("cmake", 'printf "%0100d\\tx\\n" 0; cp "$TREE/program" "$TREE/tree/build/release/tarnwick"')
        _, shown = on_terminal(lambda terminal: self.tree.start("run.sh", stderr=terminal))
        self.assertIn("\r" + "0" * 39 + "\r", shown)

    def test_a_build_that_fails_prints_all_its_output_on_a_terminal(self):
        self.tree.stub("cmake", "echo output; echo error >&2; exit 1")
        result, shown = on_terminal(lambda terminal: self.tree.start("run.sh", stderr=terminal))
        self.assertEqual(result.returncode, 1)
        self.assertTrue(shown.endswith("\routput\r\nerror\r\nrun.sh: the build failed\r\n"), repr(shown))


class Configure(Run):
    def test_a_new_folder_is_without_tests_and_has_the_options(self):
        self.assertEqual(self.tree.start("scripts/configure.sh", "release", "-DOPTION=ON").returncode, 0)
        self.assertEqual(self.tree.calls(), [
            f"cmake -S {self.tree.root} --preset release --fresh -DOPTION=ON -DTARNWICK_TESTS=OFF"])


class Help(Run):
    def test_before_the_first_build_it_is_that_of_run_sh(self):
        self.tree.missing("cmake")
        result = self.tree.start("run.sh", "--help")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        self.assertIn("Usage: ./run.sh [OPTION]...\n", result.stderr)
        self.assertIn("README.md", result.stderr)
        self.assertEqual(self.tree.calls(), [])
        self.assertFalse(os.path.exists(os.path.join(self.tree.root, "build")))

    def test_later_it_is_that_of_the_program(self):
        self.build_once()
        self.tree.write("tree/build/release/tarnwick", '#!/bin/sh\necho "usage $*" >&2\n', 0o755)
        result = self.tree.start("run.sh", "--iter=1", "--help")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", "usage --iter=1 --help\n"))
        self.assertEqual(self.tree.calls(), [])

    def test_a_program_that_cannot_start_gives_none(self):
        self.build_once()
        self.tree.write("tree/build/release/tarnwick", "#!/bin/sh\nexit 127\n", 0o755)
        result = self.tree.start("run.sh", "--help")
        self.assertEqual(result.returncode, 0)
        self.assertIn("Usage: ./run.sh", result.stderr)


@needs_root
class OtherUser(Run):
    """Root has built, and nobody runs it."""

    def test_what_is_up_to_date_runs_without_a_build(self):
        self.build_once()
        result = self.tree.start("run.sh", prefix=AS_NOBODY)
        self.assertEqual((result.returncode, result.stdout), (7, "options: --stdout --iter=1\n"))
        self.assertEqual(without_warnings(result.stderr), "")
        self.assertEqual(self.builds(), [])

    def assert_message(self, path):
        result = self.tree.start("run.sh", prefix=AS_NOBODY)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(
            result.stderr,
            f"run.sh: cannot build: no permission to write {path}, which belongs to root; run as root, copy "
            f"the tree, or as root: chown -R nobody {self.tree.root}\n")

    def test_what_is_not_up_to_date_is_a_message(self):
        self.build_once()
        program = os.path.join(self.tree.build, "tarnwick")
        os.utime(program, (0, 0))
        self.assert_message(self.tree.build)

    def test_what_cannot_be_read_is_a_message(self):
        self.build_once()
        os.chmod(os.path.join(self.tree.build, "tarnwick"), 0o700)
        self.assert_message(self.tree.build)

    def test_a_tree_without_a_build_is_a_message(self):
        self.assert_message(self.tree.root)

    def test_one_file_of_root_is_a_message(self):
        self.build_once()
        for path in (self.tree.root, *[os.path.join(folder, name) for folder, folders, names in
                                       os.walk(self.tree.root) for name in folders + names]):
            os.chown(path, 65534, 65534)
        foreign = os.path.join(self.tree.build, "foreign")
        self.tree.write(foreign, "")
        os.utime(os.path.join(self.tree.build, "tarnwick"), (0, 0))
        self.assert_message(foreign)
        os.remove(foreign)
        self.assertEqual(self.tree.start("run.sh", prefix=AS_NOBODY).returncode, 7)
