"""What the compiler and the linker did to the program against its own memory errors."""

import os
import subprocess
import sys
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))

import elf  # noqa: E402
import hardening  # noqa: E402

PROGRAM = elf.Elf(os.environ["TARNWICK"])
BUILD = os.path.dirname(os.path.realpath(os.environ["TARNWICK"]))
FORTIFIED = os.environ.get("FORTIFIED") == "ON"
ALL_FEATURES = set(elf.FEATURES[PROGRAM.machine][1])


def objects(*folders):
    for folder in folders:
        for parent, _, names in os.walk(os.path.join(BUILD, folder, "CMakeFiles")):
            for name in names:
                if name.endswith(".o"):
                    yield os.path.join(parent, name)


class Hardening(unittest.TestCase):
    def test_program_lacks_nothing(self):
        self.assertEqual(hardening.missing(PROGRAM, FORTIFIED), [])

    def test_branches_are_protected_in_each_object_file(self):
        found = 0
        for path in objects("cli", "collector", "proc", "sysstat", "trace", "packaging"):
            found += 1
            self.assertEqual(elf.Elf(path).features(), ALL_FEATURES, path)
        self.assertGreater(found, 0)

    # The linker marks a program only if each of its object files is marked. In Debian 12 those of the C library are
    # not. A program that is marked regardless is killed by an AArch64 processor that has BTI.
    def test_program_is_marked_if_the_c_runtime_is(self):
        features = set(ALL_FEATURES)
        for name in ("Scrt1.o", "crti.o", "crtbeginS.o", "crtendS.o", "crtn.o"):
            path = subprocess.run([os.environ.get("COMPILER", "c++"), f"-print-file-name={name}"], check=True, text=True,
                                  stdout=subprocess.PIPE).stdout.strip()
            features &= elf.Elf(path).features()
        self.assertEqual(PROGRAM.features(), features)

    def test_launcher_checks_its_stack_and_calls(self):
        launcher = list(objects("packaging"))
        if not launcher:
            self.skipTest("this preset builds no launcher")
        imports = elf.Elf(launcher[0]).undefined()
        self.assertIn("__stack_chk_fail", imports)
        if FORTIFIED:
            self.assertIn("__fprintf_chk", imports)


if __name__ == "__main__":
    unittest.main()
