"""install-packages.sh: what it asks apt for, and what it says when apt fails."""

import os
import unittest

from script_tree import Tree, on_terminal

SCRIPT = "scripts/install-packages.sh"
# As apt-get words it, where no name can be resolved.
NO_NETWORK = "Failed to fetch http://mirror.example/debian/InRelease  Could not resolve 'mirror.example'"
FAILS = f"""
echo "Err:1 http://mirror.example/debian InRelease"
for i in {{1..70}}; do echo "E: {NO_NETWORK}" >&2; done
exit 100
"""


class Packages(unittest.TestCase):
    def setUp(self):
        self.tree = Tree()
        self.addCleanup(self.tree.remove)
        self.log = os.path.join(self.tree.root, "build", "install-packages.log")

    def apt_calls(self):
        """The command and the packages of each."""
        found = [call.split() for call in self.tree.calls() if call.startswith("apt-get")]
        return [[word for word in call[1:] if not word.startswith("-") and "::" not in word] for call in found]

    def test_nothing_is_done_where_all_is_installed(self):
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual(self.apt_calls(), [])

    def test_what_is_missing_is_installed(self):
        self.tree.missing("ninja-build", "cmake")
        self.tree.stub("apt-get", "echo much; echo more >&2")
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (0, "", "Installing cmake ninja-build\n"))
        self.assertEqual(self.apt_calls(), [["update"], ["install", "cmake", "ninja-build"]])

    def test_a_package_of_several_groups_is_named_once(self):
        self.tree.missing("cmake")
        self.assertEqual(self.tree.start(SCRIPT, "build", "package").stderr, "Installing cmake\n")

    def test_on_a_terminal_apt_shows_its_latest_line(self):
        self.tree.missing("cmake")
        self.tree.stub("apt-get", "echo much; echo more")
        _, shown = on_terminal(lambda terminal: self.tree.start(SCRIPT, "build", stderr=terminal))
        self.assertTrue(shown.startswith(f"Installing cmake\r\n\r{'much':39}\r{'more':39}"), repr(shown))

    def test_no_network_is_one_line(self):
        self.tree.missing("cmake")
        self.tree.stub("apt-get", FAILS)
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual(
            (result.returncode, result.stdout, result.stderr),
            (1, "", f"Installing cmake\ninstall-packages.sh: cannot update the package lists: {NO_NETWORK}; "
             f"check the network, then try again (log: {self.log})\n"))
        self.assertEqual(self.apt_calls(), [["update"]])
        with open(self.log) as log:
            self.assertEqual(log.read().count(NO_NETWORK), 70)

    def test_one_mirror_of_several_can_fail(self):
        self.tree.missing("cmake")
        self.tree.stub("apt-get", 'echo "Hit:1 http://other.example/debian"; [[ $* != *update* ]] || exit 100')
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(self.apt_calls(), [["update"], ["install", "cmake"]])

    def test_another_failure_is_one_line(self):
        self.tree.missing("cmake")
        self.tree.stub("apt-get", '[[ $* == *update* ]] && exit; echo "E: disk full"; echo "E: more"; exit 100')
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual(
            (result.returncode, result.stderr),
            (1, "Installing cmake\ninstall-packages.sh: cannot install packages: disk full; fix that, then try "
             f"again (log: {self.log})\n"))

    def test_what_sudo_says_is_the_reason_where_apt_says_nothing(self):
        self.tree.missing("cmake")
        self.tree.stub("apt-get", 'echo "sudo: a password is required" >&2; exit 1')
        result = self.tree.start(SCRIPT, "build")
        self.assertIn("the package lists: sudo: a password is required; fix that", result.stderr)

    def test_the_log_is_elsewhere_where_the_build_folder_cannot_be_written(self):
        self.tree.missing("cmake")
        self.tree.write("tree/build", "no folder")
        self.tree.stub("apt-get", FAILS)
        result = self.tree.start(SCRIPT, "build")
        self.assertEqual(len(result.stderr.splitlines()), 2, result.stderr)
        log = result.stderr.rpartition("(log: ")[2].removesuffix(")\n")
        self.addCleanup(os.remove, log)
        with open(log) as file:
            self.assertEqual(file.read().count(NO_NETWORK), 70)

    def test_a_user_without_sudo_is_told_the_command(self):
        self.tree.missing("cmake")
        self.tree.stub("id", "echo 1000")
        os.remove(os.path.join(self.tree.bin, "sudo"))
        for name in "bash", "dirname", "readlink", "grep":
            os.symlink(f"/usr/bin/{name}", os.path.join(self.tree.bin, name))
        result = self.tree.start(SCRIPT, "build", path=self.tree.bin)
        self.assertEqual(
            (result.returncode, result.stderr),
            (1, "install-packages.sh: installing packages needs root or sudo; as root: apt-get install cmake\n"))

    def test_a_user_with_sudo_installs_by_it(self):
        self.tree.missing("cmake")
        self.tree.stub("id", "echo 1000")
        self.assertEqual(self.tree.start(SCRIPT, "build").returncode, 0)
        by_sudo = [call for call in self.tree.calls() if call.startswith("sudo env ")]
        self.assertEqual(len(by_sudo), 2)
