"""What the rows measure with: callgrind, CPU times, crowds of processes, devices made of folders."""

import collections
import contextlib
import fcntl
import json
import os
import re
import shutil
import statistics
import subprocess
import tempfile
import termios
import time

from rows import CannotMeasure

DEADLINE_S = 600


def program():
    return os.path.realpath(os.environ["TARNWICK"])


def tool(name):
    """A program of this folder, built."""
    return os.path.join(os.environ["TARNWICK_TOOLS"], name)


def is_root():
    return os.geteuid() == 0


def need_root():
    if not is_root():
        raise CannotMeasure("needs root")


def median(values):
    return statistics.median(values)


# --- user instructions ---

class Profile:
    """The user instructions of a run: all, and those of each function itself."""

    def __init__(self, file, functions):
        with open(file) as text:
            found = re.findall(r"^(?:totals|summary): (\d+)", text.read(), re.M)
        self.total = int(found[-1])
        self.functions = collections.Counter()
        if not functions:
            return
        annotated = subprocess.run(
            ["callgrind_annotate", "--threshold=100", "--show-percs=no", file],
            check=True, capture_output=True, text=True).stdout
        for count, name in re.findall(r"^\s*([\d,]+)\s+\S*?:(\S.*?)(?: \[[^\]]*\])?$", annotated, re.M):
            self.functions[name] += int(count.replace(",", ""))


def callgrind_command(file, command):
    return ["valgrind", "--tool=callgrind", "--quiet", f"--callgrind-out-file={file}", *command]


@contextlib.contextmanager
def profiled(command):
    """Gives the command under callgrind, and a function that reads the profile when it has run."""
    if shutil.which("valgrind") is None:
        raise CannotMeasure("needs valgrind")
    with tempfile.TemporaryDirectory(prefix="bench-") as folder:
        os.chmod(folder, 0o777)
        file = os.path.join(folder, "callgrind.out")
        yield callgrind_command(file, command), lambda options: Profile(file, options.functions)


def slope(sizes, profile, parts=1):
    """User instructions for one more of what profile(size) takes a number of, or of one of its parts,
    and a text of the functions that they go to."""
    small, large = (profile(size) for size in sizes)
    growth = (sizes[1] - sizes[0]) * parts
    each = (large.total - small.total) / growth
    large.functions.subtract(small.functions)
    note = "\n".join(f"{count / growth:8.1f} {name[:80]}"
                     for name, count in large.functions.most_common(16) if count / growth >= 1)
    return each, note


# --- CPU time ---

class Cost:
    def __init__(self, line):
        user, system, self.kilobytes, self.seconds = map(float, line.split())
        self.cpu = user + system


@contextlib.contextmanager
def costed(command):
    """Gives the command under the cost tool, and a function that reads its cost when it has run."""
    with tempfile.TemporaryDirectory(prefix="bench-") as folder:
        file = os.path.join(folder, "cost")
        # In a user namespace the tool may be somebody else.
        os.chmod(folder, 0o777)

        def cost():
            with open(file) as text:
                return Cost(text.read())
        yield [tool("cost"), file, *command], cost


def run_cost(command, prefix=(), **popen):
    with costed(command) as (measured, cost):
        popen = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, **popen}
        subprocess.run([*prefix, *measured], check=True, timeout=DEADLINE_S, **popen)
        return cost()


# --- processes ---

def child_of(pid):
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open(f"/proc/{entry}/stat") as stat:
                    text = stat.read()
            except OSError:
                continue
            if int(text[text.rindex(")") + 2:].split()[1]) == pid:
                return int(entry)
    raise CannotMeasure("the namespace has no process")


class Crowd:
    """Idle processes or threads in a PID namespace of their own, whose /proc shows nothing else."""

    def __init__(self, what, count):
        user = [] if is_root() else ["--user", "--map-root-user"]
        self.process = subprocess.Popen(
            ["unshare", *user, "--pid", "--mount-proc", "--fork", "--kill-child",
             tool("crowd"), what, str(count)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        try:
            if self.process.stdout.readline() != b"ready\n":
                raise CannotMeasure(f"no PID namespace of {count} {what} here")
            self.pid = child_of(self.process.pid)
        except BaseException:
            self.__exit__()
            raise
        user = [] if is_root() else ["--user", "--preserve-credentials"]
        # Inside, the crowd's first process is process 1.
        self.enter = ["nsenter", f"--target={self.pid}", *user, "--pid", "--mount"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(DEADLINE_S)
        self.process.stdout.close()


# --- the device made of folders ---

def wait_for(condition, what):
    give_up = time.monotonic() + DEADLINE_S
    while not condition():
        if time.monotonic() > give_up:
            raise RuntimeError(f"not in {DEADLINE_S} s: {what}")
        time.sleep(0.002)


@contextlib.contextmanager
def device(cpus=2):
    from harness import Device
    made = Device(cpus)
    try:
        yield made
    finally:
        made.close()


def private_mounts():
    """What gives a command a mount namespace of its own."""
    from harness import TESTS
    return os.path.join(TESTS, "support", "private_mounts.sh")


def enter(made):
    from harness import ENTER
    return [ENTER, made.folder]


class Pipe:
    """A FIFO whose both ends we hold, so that nobody sees its end."""

    def __init__(self, path, size=None):
        os.mkfifo(path)
        self.fd = os.open(path, os.O_RDWR)
        if size is not None:
            fcntl.fcntl(self.fd, fcntl.F_SETPIPE_SZ, size)

    def unread(self):
        count = bytearray(4)
        fcntl.ioctl(self.fd, termios.FIONREAD, count)
        return int.from_bytes(count, "little")

    def close(self):
        os.close(self.fd)


# --- the program's functions ---

def function_rounds(options, name, prefix=()):
    """Pairs of CPU seconds, of ours and of the floor, round by round, and the number of entries."""
    rounds = []
    entries = 1
    with tempfile.TemporaryDirectory(prefix="bench-") as folder:
        os.chmod(folder, 0o777)
        out = os.path.join(folder, "out.json")
        for _ in range(options.rounds):
            subprocess.run(
                [*prefix, tool("function_benches"), f"--benchmark_filter=^{name}/", f"--benchmark_out={out}",
                 "--benchmark_out_format=json", f"--benchmark_min_time={0.001 if options.short else 0.04}"],
                check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                timeout=DEADLINE_S)
            with open(out) as text:
                found = {run["name"]: run for run in json.load(text)["benchmarks"]}
            ours, floor = (found[f"{name}/{side}"] for side in ("ours", "floor"))
            entries = ours.get("entries", 1)
            # Google Benchmark counts in nanoseconds.
            rounds.append((ours["cpu_time"] / 1e9, floor["cpu_time"] / 1e9))
    return rounds, entries


def of_rounds(rounds):
    """The medians of both sides and of the ratios of the rounds."""
    ours, floors = zip(*rounds)
    return {"ours": median(ours), "floor": median(floors),
            "ratio": median([our / floor for our, floor in rounds])}


# --- processes that run beside us ---

def cpu_seconds(pid):
    """CPU time that a process has used so far, its threads together."""
    # The clock of a process is known by the complement of its id: see clock_getcpuclockid(3).
    return time.clock_gettime((~pid << 3) | 2)


def cpu_seconds_of_children(pid):
    """The same of its children that have ended, to a tick."""
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[13]) + int(fields[14])) / os.sysconf("SC_CLK_TCK")
