"""The programs that a build leaves: none looks for its libraries in a folder that somebody else chooses, and the
one that is shipped has its hardening."""

import os
import subprocess
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))

import elf  # noqa: E402

BUILD = os.path.dirname(os.path.realpath(os.environ["TARNWICK"]))


class RunPath(unittest.TestCase):
    def test_all_elements_are_absolute(self):
        found = 0
        for path, program in elf.programs_below(BUILD):
            found += 1
            with self.subTest(path):
                self.assertEqual(program.relative_run_path(), [])
        self.assertGreater(found, 0)

    def test_reader_finds_empty_and_relative_elements(self):
        with tempfile.TemporaryDirectory() as folder:
            library = os.path.join(folder, "library.so")
            for path, relative in (("/a:", [""]), (":/a", [""]), ("/a::/b", [""]), ("lib:/a:./b", ["lib", "./b"]),
                                   ("$ORIGINAL", ["$ORIGINAL"]), ("/a:$ORIGIN/b:${ORIGIN}:$ORIGIN", [])):
                for tags in ("--enable-new-dtags", "--disable-new-dtags"):
                    subprocess.run(["c++", "-shared", "-nostdlib", f"-Wl,{tags}", f"-Wl,-rpath,{path}", "-x", "c++",
                                    os.devnull, "-o", library], check=True)
                    self.assertEqual(elf.Elf(library).relative_run_path(), relative, path)


if __name__ == "__main__":
    unittest.main()
