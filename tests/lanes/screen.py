"""What ./test.sh shows: lines that stay, and on a terminal a last line that is rewritten."""

import os
import shutil

from runner import duration

# A width that a line of a log or a mail has room for.
WIDTH = 100


class Screen:
    def __init__(self, out):
        self.out = out
        self.terminal = out.isatty()
        self.shown = False
        self.numbers = {}

    def line(self, text=""):
        self._clear()
        print(text, file=self.out, flush=True)

    def step_started(self, step, number, count):
        self.numbers[step.name] = f"[{number}/{count}]"
        self.line(f"{self.numbers[step.name]} {step.name}: {step.does} (about {duration(step.seconds)})")

    def step_ended(self, step, seconds, passed, log):
        """Says how it ended; of a step that has failed, shows its log."""
        number = self.numbers[step.name]
        if passed:
            self.line(f"{number} {step.name}: passed in {duration(seconds)}")
            return
        self.line(f"{number} {step.name}: FAILED after {duration(seconds)}")
        self.line(log.rstrip("\n"))

    def going_on(self, step, seconds, progress):
        """A sign of life, for whoever reads a log."""
        if not self.terminal:
            self.line(f"{self.numbers[step.name]} {step.name}: {', '.join(filter(None, (progress, duration(seconds))))}")

    def status(self, running):
        if not self.terminal:
            return
        parts = [" ".join(filter(None, (step.name, progress, f"({duration(seconds)})")))
                 for step, seconds, progress in running]
        width = shutil.get_terminal_size((WIDTH, 24)).columns - 1
        self._clear()
        self.out.write("  ".join(parts)[:width])
        self.out.flush()
        self.shown = True

    def _clear(self):
        if self.shown:
            self.out.write("\r\x1b[K")
            self.shown = False
