"""Checks that clang-format has nothing to change in any C++ file of the tree."""

import os
import subprocess
import sys

from steps import ROOT

files = []
for folder, folders, names in os.walk(ROOT):
    folders[:] = [name for name in folders if not name.startswith(".") and (folder, name) != (ROOT, "build")]
    files += [os.path.join(folder, name) for name in names if name.endswith((".h", ".cpp"))]
sys.exit(subprocess.run(["clang-format", "--dry-run", "--Werror", *sorted(files)]).returncode)
