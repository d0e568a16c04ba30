"""Deadlines that count the seconds of a quiet machine: a busy or slow machine gets more time.

A program that hangs still fails its test, at the latest after MAX_S.
"""

import select
import subprocess
import time

DEADLINE_S = 60
# Less than the timeout that ctest has for a whole file.
MAX_S = 1800
# A fixed piece of work, and its time on a quiet machine of 2024.
WORK = 2000000
WORK_S = 0.05
SLICE_S = 5


def slowness():
    """How many times longer work takes now than on a quiet machine. Never below 1."""
    begin = time.monotonic()
    for _ in range(WORK):
        pass
    return max(1, (time.monotonic() - begin) / WORK_S)


class Deadline:
    """Starts when it is made. Measures the machine again after every SLICE_S seconds."""

    def __init__(self, seconds=DEADLINE_S):
        self.seconds = seconds
        self.left = seconds
        self.begin = self.measured = time.monotonic()

    def has_passed(self):
        passed = time.monotonic() - self.measured
        if passed >= min(SLICE_S, self.left):
            self.left -= passed / slowness()
            self.measured = time.monotonic()
        return self.left <= 0 or self.measured - self.begin > MAX_S

    def check(self, what):
        """Fails the test when the deadline has passed."""
        if self.has_passed():
            raise AssertionError(f"not in {self.seconds} s of a quiet machine: {what}")


def wait_for(condition, what, seconds=DEADLINE_S):
    """Polls until the condition holds. Fails the test when it does not in time."""
    deadline = Deadline(seconds)
    while not condition():
        deadline.check(what)
        time.sleep(0.001)


def wait_for_input(descriptor, what, seconds=DEADLINE_S):
    """Waits until the descriptor can be read, which includes its end."""
    deadline = Deadline(seconds)
    while not select.select([descriptor], [], [], 1)[0]:
        deadline.check(what)


def communicate(process, what, seconds=DEADLINE_S):
    """subprocess.Popen.communicate with such a deadline. Kills a process that is late."""
    deadline = Deadline(seconds)
    while True:
        try:
            return process.communicate(timeout=1)
        except subprocess.TimeoutExpired:
            try:
                deadline.check(what)
            except AssertionError:
                process.kill()
                raise


def wait_for_end(process, what="the process ends", seconds=DEADLINE_S):
    """subprocess.Popen.wait with such a deadline. Returns the exit status."""
    deadline = Deadline(seconds)
    while True:
        try:
            return process.wait(1)
        except subprocess.TimeoutExpired:
            deadline.check(what)


def run(command, seconds=DEADLINE_S, **options):
    """subprocess.run with such a deadline. No input; both outputs are captured as text."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, **options) as process:
        stdout, stderr = communicate(process, " ".join(command), seconds)
    return subprocess.CompletedProcess(command, process.returncode, stdout, stderr)
