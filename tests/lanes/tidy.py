"""Usage: tidy.py [--changed]

Runs clang-tidy over the files of the clang preset's compile commands, as many at a time as there are CPUs. With
--changed only over those that differ from the main branch, or include a header that does.

Of a unit test most of the time goes into the headers of GoogleTest and the standard library. So clang-tidy gets the tests
of a folder together, as one source that includes them, unless they declare a name twice. The program's own sources it
gets one by one: the static analyzer looks into no file that is included.
"""

import concurrent.futures
import json
import os
import re
import shlex
import shutil
import subprocess
import sys

from steps import JOBS, ROOT

BUILD = os.path.join(ROOT, "build", "clang")
GROUPS = os.path.join(BUILD, "tidy")
UNIT_TESTS = os.path.join(ROOT, "tests", "unit")
# More take longer than the last CPU should work alone.
MAX_GROUP = 12
# A declaration at the start of a line, up to its name and what follows that.
DECLARED = re.compile(r"^(?!namespace )(?:[A-Za-z_][\w:<>,*&\[\] ]*[ *&])?([A-Za-z_]\w*)(?:\[\w*\])* ?[({=;]", re.M)
BASES = re.compile(r"^((?:class|enum|struct) .*?)(?: final| :) .*$", re.M)


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


def includes(text):
    """The files of the tree that a source includes itself."""
    return set(re.findall(r'^#include "(.*)"$', text, re.M))


def declared(text):
    """The names that a source declares outside of classes and functions, which stand at the start of a line. Names in
    capitals are macros, such as TEST."""
    found = set(DECLARED.findall(BASES.sub(r"\1 {", text)))
    return {name for name in found if not name.isupper()} | set(re.findall(r"^#define (\w+)", text, re.M))


def grouped(sources):
    """Groups of sources: unit tests that can be compiled as one, all others alone. `sources` has (path, command without
    the file's own part, text) for each; only those of one folder with the same command get together."""
    groups = []
    for path, command, text in sources:
        names = declared(text)
        kind = os.path.dirname(path), command
        for group in groups if path.startswith(UNIT_TESTS) else ():
            if group["kind"] == kind and len(group["paths"]) < MAX_GROUP and not group["names"] & names:
                break
        else:
            group = {"kind": kind, "paths": [], "names": set()}
            groups.append(group)
        group["paths"].append(path)
        group["names"] |= names
    return [group["paths"] for group in groups]


def shared_command(entry):
    """What the commands of a target's sources have in common: all but input, output and dependencies."""
    words = shlex.split(entry["command"])
    keep, skip = [], False
    for word in words:
        if skip or word == entry["file"] or word == "-c":
            skip = False
        elif word in ("-o", "-MF", "-MT"):
            skip = True
        else:
            keep.append(word)
    return tuple(keep)


def check(path, *options):
    """Runs clang-tidy on one source. Returns what it finds. Of a clean source it would only tell the number of warnings
    in foreign headers."""
    ran = subprocess.run(["clang-tidy", "--quiet", "--warnings-as-errors=*", path, *options],
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if ran.returncode == 0:
        return ""
    # A crash may print nothing.
    return ran.stdout or f"{path}: clang-tidy ended with status {ran.returncode}\n"


def check_group(number, paths, command):
    """Checks sources together. Where they find fault with each other, or anything else is found, one by one."""
    if len(paths) > 1:
        together = os.path.join(GROUPS, f"group{number}.cpp")
        with open(together, "w") as file:
            file.writelines(f'#include "{path}"  // NOLINT(bugprone-suspicious-include)\n' for path in paths)
        # A name of one source may hide one of another.
        if not check(together, "--", *command[1:], "-Wno-shadow"):
            return ""
    return "".join(check(path, "-p", BUILD) for path in paths)


def main():
    with open(os.path.join(BUILD, "compile_commands.json")) as file:
        entries = {entry["file"]: entry for entry in json.load(file)}
    texts = {}
    for path in entries:
        with open(path) as source:
            texts[path] = source.read()
    files = sorted(entries)
    if "--changed" in sys.argv[1:]:
        changed = changed_files()
        if changed is None:
            print("skipped: tidy: no git checkout with a main branch, or one of another user")
            return 0
        files = [path for path in files if os.path.relpath(path, ROOT) in changed or includes(texts[path]) & changed]
    os.makedirs(GROUPS, exist_ok=True)
    # clang-tidy looks for the checks of a source above it.
    shutil.copy(os.path.join(ROOT, "tests", ".clang-tidy"), GROUPS)
    groups = grouped((path, shared_command(entries[path]), texts[path]) for path in files)
    # The longest first, so that no CPU is left alone with one at the end.
    groups.sort(key=len, reverse=True)
    findings = done = 0
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        checks = {pool.submit(check_group, number, paths, shared_command(entries[paths[0]])): paths
                  for number, paths in enumerate(groups)}
        for ended in concurrent.futures.as_completed(checks):
            done += len(checks[ended])
            print(f"{done}/{len(files)} {' '.join(os.path.relpath(path, ROOT) for path in checks[ended])}", flush=True)
            if found := ended.result():
                findings += 1
                print(found, flush=True)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
