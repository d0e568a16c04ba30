"""Usage: tidy.py [--changed]

Runs clang-tidy over the files of the clang preset's compile commands, one for each CPU. With --changed only over those
that differ from the main branch, or include a header that does.
"""

import concurrent.futures
import json
import os
import re
import subprocess
import sys

from steps import JOBS, ROOT

BUILD = os.path.join(ROOT, "build", "clang")


def git(*arguments):
    """The output of a git command; None where it fails, as it does outside of a checkout."""
    try:
        ran = subprocess.run(["git", "-C", ROOT, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    except FileNotFoundError:
        return None
    return ran.stdout if ran.returncode == 0 else None


def changed_files():
    """What differs from the main branch, that of the origin where there is one; untracked files too. Paths from the
    root. None without git."""
    for main in ("origin/main", "main"):
        if (base := git("merge-base", "HEAD", main)) is not None:
            break
    else:
        return None
    names = git("diff", "--name-only", base.strip()) + git("ls-files", "--others", "--exclude-standard")
    return set(names.splitlines())


def includes(path):
    """The files of the tree that a source includes itself."""
    with open(path) as source:
        return set(re.findall(r'^#include "(.*)"$', source.read(), re.M))


def tidy(path):
    """What clang-tidy finds in one file. Of a clean file it would only tell the number of warnings in foreign headers."""
    ran = subprocess.run(["clang-tidy", "-p", BUILD, "--quiet", "--warnings-as-errors=*", path],
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return ran.stdout if ran.returncode != 0 else ""


def main():
    with open(os.path.join(BUILD, "compile_commands.json")) as file:
        files = sorted({entry["file"] for entry in json.load(file)})
    if "--changed" in sys.argv[1:]:
        changed = changed_files()
        if changed is None:
            print("no git checkout: it is unknown which files have changed")
            return 0
        files = [path for path in files
                 if os.path.relpath(path, ROOT) in changed or includes(path) & changed]
    findings = 0
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        for number, (path, found) in enumerate(zip(files, pool.map(tidy, files)), 1):
            print(f"{number}/{len(files)} {os.path.relpath(path, ROOT)}", flush=True)
            if found:
                findings += 1
                print(found, flush=True)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
