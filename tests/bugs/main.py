"""Puts each deliberate bug of this folder, or those that are named, into a copy of the tree, builds it and
runs the test that is to notice. A patch begins with the rule that it breaks and with that test: "caught by:
SUITE" is what ctest has under a name that begins so, and "caught by: FOLDER.FILE.METHOD" one test of a file
of device/, live/, stress/ or build/. When it passes all others are run, to say which one could be named in its
place.

The status is 0 when every bug was caught by the test that its patch names. A patch that does not apply or
does not compile is a failure, and so is a test that does not end by itself.
"""

import os
import re
import subprocess
import sys

BUGS = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(BUGS))
COPY = os.path.join(ROOT, "build", "bugs", "tree")
BUILD = os.path.join(ROOT, "build", "bugs", "build")
LOG = os.path.join(ROOT, "build", "bugs", "log")


class Trouble(Exception):
    pass


class Bug:
    def __init__(self, name):
        self.name = name
        self.path = os.path.join(BUGS, name + ".patch")
        with open(self.path) as patch:
            text = patch.read()
        head = re.match(r"(.+)\ncaught by: (.+)\n--- a/", text)
        if head is None:
            sys.exit(f"tests/bugs/run: {name}.patch does not begin with its rule and its test")
        self.rule, self.test = head.groups()


def logged(*command, **options):
    """Runs a command. Returns its status and its output, which also goes to the log."""
    ran = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, text=True, errors="replace", **options)
    with open(LOG, "a") as log:
        log.write(f"$ {' '.join(command)}\n{ran.stdout}")
    return ran.returncode, ran.stdout


def succeeds(*command):
    return logged(*command)[0] == 0


def make_copy():
    """Makes the copy what the tree is. Only files that differ get a new time, and are built anew."""
    return succeeds("rsync", "--recursive", "--links", "--perms", "--checksum", "--delete",
                    "--exclude=/build", "--exclude=/.git", "--exclude=__pycache__", ROOT + "/", COPY + "/")


def configure():
    return succeeds("cmake", "--preset", "debug", "-S", COPY, "-B", BUILD)


def build(target="all"):
    return succeeds("cmake", "--build", BUILD, "--target", target, "--", "--quiet")


def ctest(*selection):
    """Returns the names of the tests that failed, "" for none."""
    status, output = logged("ctest", "--test-dir", BUILD, "--stop-on-failure", "--output-on-failure",
                            "--no-tests=error", "--parallel", str(os.cpu_count()), *selection)
    failed = re.findall(r"Test +#\d+: (\S+) \.+[^*\n]*\*\*\*(?:Failed|Exception)", output)
    if (status != 0) != bool(failed):
        raise Trouble(f"a test hangs, or there is none; see {LOG}")
    return ", ".join(failed)


def needs_program(test):
    return test.startswith(("device.", "live.", "stress.", "build."))


def run_test(test):
    """The same for a test as a patch names it."""
    if not needs_program(test):
        return ctest("--tests-regex", "^" + test)
    # ctest would run the whole file.
    folder, file, method = test.split(".")
    status, output = logged(
        "timeout", "3600", sys.executable, "-m", "unittest", "discover", "--failfast", "-s",
        os.path.join(COPY, "tests", folder), "-p", f"test_{file}.py", "-k", f"*.{method}",
        env={**os.environ, "TARNWICK": os.path.join(BUILD, "tarnwick"), "PYTHONDONTWRITEBYTECODE": "1",
             "TARNWICK_RING_COMPARE": os.path.join(BUILD, "tests", "ring", "tarnwick_ring_compare")})
    failed = re.findall(r"^(?:FAIL|ERROR): (\w+)", output, re.M)
    if (status != 0) != bool(failed) or not re.search(r"^Ran [1-9]", output, re.M):
        raise Trouble(f"the test hangs, or there is none; see {LOG}")
    return test if failed else ""


def patch(bug, *options):
    return succeeds("patch", "-d", COPY, "-p1", "--fuzz=0", "--no-backup-if-mismatch", "-i", bug.path,
                    *options)


def verdict(bug):
    """Returns "caught", "elsewhere" or "survived", and the test that failed."""
    if not build("tarnwick" if needs_program(bug.test) else "tests/unit/all"):
        raise Trouble(f"does not compile; see {LOG}")
    if failed := run_test(bug.test):
        return "caught", failed
    if build() and (failed := ctest()):
        return "elsewhere", failed
    return "survived", ""


def main():
    known = sorted(name[:-6] for name in os.listdir(BUGS) if name.endswith(".patch"))
    names = sys.argv[1:] or known
    if unknown := set(names) - set(known):
        sys.exit(f"tests/bugs/run: there is no bug {' '.join(sorted(unknown))}")
    bugs = [Bug(name) for name in names]

    os.makedirs(COPY, exist_ok=True)
    open(LOG, "w").close()
    for step in make_copy, configure, build:
        if not step():
            sys.exit(f"tests/bugs/run: the tree itself cannot be built; see {LOG}")
    # A test that fails anyway would notice everything.
    for test in sorted({bug.test for bug in bugs}):
        if failed := run_test(test):
            sys.exit(f"tests/bugs/run: without any bug there fails {failed}; see {LOG}")

    verdicts = []
    for bug in bugs:
        if not patch(bug, "--dry-run"):
            how, failed = "ERROR", "the patch does not apply"
        else:
            patch(bug)
            try:
                how, failed = verdict(bug)
            except Trouble as trouble:
                how, failed = "ERROR", str(trouble)
            patch(bug, "--reverse")
        verdicts.append(how)
        print(f"{how:9} {bug.name:32} {failed}", flush=True)

    caught = verdicts.count("caught") + verdicts.count("elsewhere")
    print(f"{caught} caught, {verdicts.count('survived')} survived", end="")
    for how, what in (("elsewhere", "not by the test that they name"), ("ERROR", "errors")):
        if how in verdicts:
            print(f", {verdicts.count(how)} {what}", end="")
    print()
    sys.exit(verdicts.count("caught") != len(verdicts))


main()
