"""What ./test.sh checks: every step, what it needs, and how long it takes as a rule."""

import dataclasses
import os
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HERE = os.path.dirname(os.path.abspath(__file__))
JOBS = os.cpu_count() or 1

# How a step uses the machine. One step of each kind runs at a time.
CPU = "cpu"                # compiles: keeps all CPUs busy
WAIT = "wait"              # tests: mostly waits, for periods of the program, for guests
BACKGROUND = "background"  # takes what the other two leave


@dataclasses.dataclass(frozen=True)
class Step:
    """Commands that run one after the other, with their output in one log."""
    name: str
    label: str                  # what ./test.sh calls this step and those that belong to it
    does: str
    seconds: int                # on two CPUs, beside the other steps, without a compiler cache
    commands: tuple             # of argument tuples
    kind: str = CPU
    needs: tuple = ()           # names of steps that have to pass first
    folders: tuple = ()         # folders of build/ that only one step at a time may write
    ctest: bool = False         # the log has the output of ctest, whose tests count


# Address space layout as random as newer kernels make it leaves no room for the sanitizers' shadow.
def fixed_layout():
    command = ("setarch", "--addr-no-randomize")
    try:
        works = subprocess.run((*command, "true"), stderr=subprocess.DEVNULL).returncode == 0
    except FileNotFoundError:
        works = False
    return command if works else ()


# The made-up device of the tests needs a user namespace, which a chroot or a setting can forbid to an ordinary user.
def as_root():
    if os.geteuid() == 0:
        return ()
    works = subprocess.run(("unshare", "--user", "true"), stderr=subprocess.DEVNULL).returncode == 0
    return () if works else ("sudo",)


def build(preset, does, seconds, *options, targets=(), name=None, needs=(), **fields):
    """Configures a preset with tests and benches, and builds it. Building runs the test programs too, for the names
    of their tests."""
    return Step(
        name or f"build {preset}", fields.pop("label", preset), does, seconds,
        (("cmake", "--preset", preset, "-DTARNWICK_TESTS=ON", "-DTARNWICK_BENCHES=ON", *options),
         (*fixed_layout(), "cmake", "--build", "--preset", preset,
          *(("--target", *targets) if targets else ()))),
        CPU, needs, (preset,), **fields)


def test(preset, does, seconds, *options, name=None, needs=None, jobs=2 * JOBS, **fields):
    """Runs tests of a preset. They wait more than they compute, so there are more at a time than CPUs."""
    return Step(
        name or f"test {preset}", fields.pop("label", preset), does, seconds,
        ((*as_root(), *fixed_layout(), "ctest", "--preset", preset, *options, "--parallel", str(jobs),
          "--output-on-failure", "--no-tests=error"),),
        WAIT, needs or (f"build {preset}",), (preset,), ctest=True, **fields)


def python(script, *arguments):
    return (sys.executable, os.path.join(HERE, script), *arguments)


def tidy(does, seconds, *options):
    """Runs clang-tidy by the compile commands of a build by Clang, which is not built for that."""
    return Step(
        "tidy", "tidy", does, seconds,
        (("cmake", "--preset", "clang", "-DTARNWICK_TESTS=ON", "-DTARNWICK_BENCHES=ON",
          "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON"),
         python("tidy.py", *options)),
        BACKGROUND, (), ("clang",))


def python_tests(preset, folder, file):
    """Runs a test file on a preset that is built without the tests."""
    return (*as_root(), "env", f"TARNWICK=build/{preset}/tarnwick", "PYTHONDONTWRITEBYTECODE=1",
            sys.executable, "-m", "unittest", "discover", "-s", f"tests/{folder}", "-p", file)


# What the quick lane leaves to the full one: stress, what waits a minute, and the tests of packages, benches and scripts.
NOT_QUICK = "^(stress|slow|packaging|bench|run)"


def quick_steps():
    return (
        Step("format", "format", "clang-format finds nothing to change", 2, (python("format.py"),), BACKGROUND),
        build("release", "g++, with the tests", 180),
        tidy("clang-tidy of the files changed against the main branch", 60, "--changed"),
        test("release", "unit, device, fuzz replay, documents, this machine's kernel", 150, "--exclude-regex", NOT_QUICK),
    )


# What the sanitizers leave to the release: what waits a minute, and what uses nothing that is built.
NOT_AGAIN = "^(slow|tree)$"


def all_steps():
    return (
        Step("format", "format", "clang-format finds nothing to change", 2, (python("format.py"),), BACKGROUND),
        build("release", "g++, with all tests and benches", 270),
        tidy("clang-tidy of all files", 600),
        test("release", "all tests of this machine's kernel", 290),
        build("asan", "clang++ with the address and undefined-behaviour sanitizers", 400),
        test("asan", "the same tests, but for the slow ones and those of the tree", 390, "--label-exclude", NOT_AGAIN),
        Step("sysroot", "aarch64", "Debian's arm64 libraries", 15, (("scripts/aarch64-sysroot.sh",),)),
        build("aarch64", "the cross compiler", 390, needs=("sysroot",)),
        Step("bundle", "bundle", "the bundle for a device", 10, (("packaging/bundle.sh",),),
             CPU, ("build aarch64",), ("aarch64",)),
        Step("kernel images", "kernel", "Debian's arm64 kernel", 20, (("tests/kernel/fetch-kernels.sh", "6.1"),)),
        test("aarch64", "the program on a real kernel, in an emulated machine", 290, "--label-regex", "kernel",
             name="test kernel", label="kernel", needs=("bundle", "kernel images"), jobs=JOBS),
        build("tsan", "clang++ with the thread sanitizer", 390, "-DTARNWICK_BENCHES=OFF"),
        test("tsan", "tests that have threads or run the program, but for the slow ones", 390, "--label-exclude", NOT_AGAIN),
        Step("packages", "packages", "the Debian packages, and a clean tree to try them in", 60,
             (("packaging/packages.sh",), ("scripts/debian-tree.sh",)),
             CPU, ("build release", "build aarch64"), ("release", "aarch64")),
        test("aarch64", "unit tests, bundle and packages in the emulator", 90, "--label-exclude", "kernel",
             needs=("bundle", "packages")),
        Step("libcxx", "libcxx", "the platform's C++ library, without exceptions", 30,
             (("cmake", "--preset", "libcxx"), ("cmake", "--build", "--preset", "libcxx"),
              python_tests("libcxx", "build", "test_binaries.py"),
              python_tests("libcxx", "device", "test_trees.py"))),
        build("clang", "clang++, what no sanitizer build has", 10, targets=("tarnwick_launcher", "tarnwick_load"),
              label="clang"),
        Step("test clang", "clang", "where its programs look for libraries", 2,
             (python_tests("clang", "build", "test_binaries.py"),), WAIT, ("build clang",), ("clang",)),
    )


def coverage_steps():
    build_coverage = build("coverage", "gcc's --coverage", 90, "-DTARNWICK_BENCHES=OFF")
    # Counts that an earlier build has left do not fit.
    forget = ("find", "build/coverage", "-name", "*.gcda", "-delete")
    configure, *compile_ = build_coverage.commands
    return (
        dataclasses.replace(build_coverage, commands=(configure, forget, *compile_)),
        # The rest looks at what is made of the program, not at what it does. The stress tests would lose the counts
        # of all: they kill the program, and fail its calls, also while it adds its own counts to them.
        test("coverage", "all tests but stress", 200, "--exclude-regex", "^(build|packaging|stress|run|lanes)"),
        Step("coverage", "coverage", "which lines no test reaches", 20, (python("uncovered.py"),), CPU,
             ("test coverage",), ("coverage",)),
    )


def select(steps, labels):
    """The steps of these labels with all that they need, in the order of the table. Raises KeyError for a label that
    is not there."""
    known = {step.label for step in steps}
    for label in labels:
        if label not in known:
            raise KeyError(label)
    wanted = {step.name for step in steps if step.label in labels}
    for step in reversed(steps):
        if step.name in wanted:
            wanted.update(step.needs)
    return tuple(step for step in steps if step.name in wanted)
