"""Reads what ctest --output-on-failure prints."""

import dataclasses
import re

RESULT = re.compile(r"^ *(\d+)/(\d+) Test +#\d+: (\S+) [ .]*(.*?) +[0-9.]+ sec *$")
STARTED = re.compile(r"^ +Start +\d+: ")
SKIPPED = ("***Skipped", "***Not Run (Disabled)")


@dataclasses.dataclass
class Counts:
    passed: int = 0
    failed: int = 0
    skipped: int = 0

    def add(self, other):
        self.passed += other.passed
        self.failed += other.failed
        self.skipped += other.skipped


def counts(text):
    """How many tests have passed, failed and been skipped, by ctest's line for each."""
    found = Counts()
    for line in text.splitlines():
        if result := RESULT.match(line):
            if result[4] == "Passed":
                found.passed += 1
            elif result[4] in SKIPPED:
                found.skipped += 1
            else:
                found.failed += 1
    return found


def failures(text):
    """The log without what it says of tests that passed or were skipped: the failures, whole."""
    kept = []
    for line in text.splitlines():
        result = RESULT.match(line)
        if STARTED.match(line) or result and (result[4] == "Passed" or result[4] in SKIPPED):
            continue
        kept.append(line)
    return "\n".join(kept)


def skip_reasons(text):
    """Why tests were skipped, each reason once with how many: from the output of Python's unittest and GoogleTest, which
    ctest keeps in Testing/Temporary/LastTest.log."""
    reasons = {}
    for reason in re.findall(r"(?m)\.\.\. skipped (?:'(.*)'|\"(.*)\")$|^\S+:\d+: Skipped\n(.*)$", text):
        why = "".join(reason)
        reasons[why] = reasons.get(why, 0) + 1
    return reasons
