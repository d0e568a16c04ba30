"""The program that `cmake --install` installs."""

import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "support"))

import elf  # noqa: E402
from program import PROGRAM  # noqa: E402


class Installed(unittest.TestCase):
    def test_looks_for_libraries_in_absolute_places_alone(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--install", os.path.dirname(PROGRAM), "--prefix", folder], check=True,
                           stdout=subprocess.DEVNULL)
            program = elf.Elf(os.path.join(folder, "bin", "tarnwick"))
        self.assertEqual(program.relative_run_path(), [])
        self.assertIn("libutils.so.0", program.needed())
