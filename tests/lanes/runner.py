"""Runs steps: one of each kind at a time, each as soon as what it needs has passed."""

import dataclasses
import json
import os
import re
import signal
import subprocess
import time

import ctest_log
from steps import BACKGROUND, CPU

# "[12/310] Building", "  12/1206 Test #12:", "12/145 a.cpp"
PROGRESS = re.compile(r"^ *\[?(\d+)/(\d+)\b")
POLL_S = 0.2
# Without a terminal, how often to say what goes on.
HEARTBEAT_S = 60
# How long steps that are interrupted may clean up.
STOP_S = 10


def duration(seconds):
    """1 min 5 s"""
    seconds = round(seconds)
    minutes, rest = divmod(seconds, 60)
    return f"{minutes} min {rest} s" if minutes else f"{rest} s"


def progress(log):
    """How far a log has come, as "12 of 310": by its last line that says so. "" where none does."""
    for line in reversed(log.splitlines()):
        if match := PROGRESS.match(line):
            return f"{match[1]} of {match[2]}"
    return ""


def without_progress(log):
    """A log without its lines of progress."""
    return "\n".join(line for line in log.splitlines() if not PROGRESS.match(line))


def interrupt_on_signals():
    """Makes SIGTERM and SIGHUP raise KeyboardInterrupt, as SIGINT does. Keeps SIGHUP ignored under nohup(1)."""
    def interrupt(*_):
        raise KeyboardInterrupt
    signal.signal(signal.SIGTERM, interrupt)
    if signal.getsignal(signal.SIGHUP) != signal.SIG_IGN:
        signal.signal(signal.SIGHUP, interrupt)


def steps_to_run(steps, passed):
    """The steps that have not passed, and the builds that they need: the sources may have changed since."""
    wanted = {step.name for step in steps if step.name not in passed}
    for step in reversed(steps):
        if step.name in wanted:
            wanted.update(other.name for other in steps if other.name in step.needs and other.kind == CPU)
    return [step for step in steps if step.name in wanted]


def tail(path, size=4096):
    """The end of a file."""
    with open(path, "rb") as file:
        file.seek(max(0, os.path.getsize(path) - size))
        return file.read().decode(errors="replace")


class Memory:
    """Which steps of a lane have passed, for a run that resumes. A file below the build folder."""

    def __init__(self, path, resume):
        self.path = path
        self.passed = {}
        if resume and os.path.exists(path):
            with open(path) as file:
                self.passed = json.load(file)
        self._save()

    def add(self, name, seconds, counts):
        self.passed[name] = {"seconds": round(seconds), "tests": dataclasses.asdict(counts)}
        self._save()

    def _save(self):
        os.makedirs(os.path.dirname(self.path), exist_ok=True)
        with open(self.path + ".new", "w") as file:
            json.dump(self.passed, file, indent=1)
        os.replace(self.path + ".new", self.path)


class Running:
    """A step that has been started."""

    def __init__(self, step, root, log_path):
        self.step, self.root, self.log_path = step, root, log_path
        self.started = time.monotonic()
        self.heartbeat = self.started
        self.to_do = list(step.commands)
        self.process = None
        self.log = open(log_path, "w", buffering=1)
        self._next()

    def _next(self):
        command = self.to_do.pop(0)
        self.log.write(f"$ {' '.join(command)}\n")
        command = ["nice", "-n", "10", *command] if self.step.kind == BACKGROUND else list(command)
        try:
            self.process = subprocess.Popen(
                command, cwd=self.root, stdin=subprocess.DEVNULL, stdout=self.log, stderr=subprocess.STDOUT,
                env={**os.environ, "NINJA_STATUS": "[%f/%t] "}, start_new_session=True)
        except OSError as error:
            self.log.write(f"{command[0]}: {error.strerror}\n")
            self.process = subprocess.Popen(["false"])

    def poll(self):
        """None while it runs; then whether it has passed."""
        status = self.process.poll()
        if status is None:
            return None
        if status == 0 and self.to_do:
            self._next()
            return None
        self.log.close()
        return status == 0

    def seconds(self):
        return time.monotonic() - self.started

    def send(self, signo):
        """Sends a signal to all processes of the step. 0 sends none. Returns whether there are any."""
        self.process.poll()
        try:
            os.killpg(self.process.pid, signo)
        except ProcessLookupError:
            return False
        except PermissionError:  # a step that sudo runs
            return subprocess.run(("sudo", "-n", "kill", f"-{int(signo)}", "--", f"-{self.process.pid}"),
                                  stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
        return True


def stop(running):
    """Interrupts steps as Ctrl-C would. Kills what is left of them after STOP_S, or at a second Ctrl-C."""
    try:
        for one in running:
            one.send(signal.SIGINT)
        end = time.monotonic() + STOP_S
        while any(one.send(0) for one in running) and time.monotonic() < end:
            time.sleep(POLL_S)
    finally:
        for one in running:
            one.send(signal.SIGKILL)
            one.process.wait()
            one.log.close()


class Runner:
    """`screen` has step_started, step_ended, going_on and status (see screen.py); `memory` a Memory."""

    def __init__(self, steps, root, logs, screen, memory):
        self.steps, self.root, self.logs = steps, root, logs
        self.screen, self.memory = screen, memory
        self.waiting = steps_to_run(steps, memory.passed)
        self.done = {step.name for step in steps if step not in self.waiting}
        self.counts = ctest_log.Counts()
        for name in self.done:
            self.counts.add(ctest_log.Counts(**memory.passed[name]["tests"]))
        self.reasons = {}
        self.failed = []

    def _startable(self, running):
        """The next step of the table that nothing keeps from starting."""
        kinds = {other.step.kind for other in running}
        folders = {folder for other in running for folder in other.step.folders}
        for step in self.waiting:
            if step.kind not in kinds and not folders & set(step.folders) and self.done.issuperset(step.needs):
                return step
        return None

    def run(self):
        """Runs all steps, or those until one fails: steps that run then are still waited for, and no other begins.
        Returns whether all have passed."""
        running = []
        os.makedirs(self.logs, exist_ok=True)
        try:
            while self.waiting or running:
                while not self.failed and (step := self._startable(running)):
                    self.waiting.remove(step)
                    self.screen.step_started(step, self.steps.index(step) + 1, len(self.steps))
                    running.append(Running(step, self.root, os.path.join(self.logs, f"{step.name.replace(' ', '-')}.log")))
                if not running:
                    break
                time.sleep(POLL_S)
                for one in list(running):
                    passed = one.poll()
                    if passed is not None:
                        running.remove(one)
                        self._end(one, passed)
                        if passed:
                            self.done.add(one.step.name)
                    elif time.monotonic() - one.heartbeat >= HEARTBEAT_S:
                        one.heartbeat = time.monotonic()
                        self.screen.going_on(one.step, one.seconds(), progress(tail(one.log_path)))
                self.screen.status([(one.step, one.seconds(), progress(tail(one.log_path))) for one in running])
        finally:
            stop(running)
        return not self.failed and not self.waiting

    def _end(self, one, passed):
        with open(one.log_path, errors="replace") as file:
            text = file.read()
        counts = ctest_log.Counts()
        if one.step.ctest:
            counts = ctest_log.counts(text)
            self.counts.add(counts)
            self._note_skips(one.step)
            text = ctest_log.failures(text)
        else:
            for reason in re.findall("(?m)^skipped: (.*)$", text):
                self.reasons[reason] = self.reasons.get(reason, 0) + 1
            text = without_progress(text)
        if passed:
            self.memory.add(one.step.name, one.seconds(), counts)
        else:
            self.failed.append(one.step)
        self.screen.step_ended(one.step, one.seconds(), passed, text)

    def _note_skips(self, step):
        path = os.path.join(self.root, "build", step.folders[0], "Testing", "Temporary", "LastTest.log")
        if os.path.exists(path):
            with open(path, errors="replace") as file:
                for reason, count in ctest_log.skip_reasons(file.read()).items():
                    self.reasons[reason] = self.reasons.get(reason, 0) + count
