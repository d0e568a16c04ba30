"""The rows: what each measures, in which modules, and how results are printed."""

import importlib
import os
import statistics
import time

ALL = []
MODULES = ["process_rows", "trace_rows", "file_rows"]


class CannotMeasure(Exception):
    """This machine lacks what the row needs; the message says what."""


class Row:
    def __init__(self, name, title, function):
        self.name = name
        self.title = title
        self.function = function


def row(name, title):
    """Declares a row: a generator of results (see result) that takes the options of the run."""
    def declare(function):
        ALL.append(Row(name, title, function))
        return function
    return declare


class Options:
    def __init__(self, short, functions):
        self.short = short
        self.functions = functions
        self.rounds = 3 if short else 15


class Result:
    """A figure of ours beside another one, and the ratio, which is the median over the rounds."""

    def __init__(self, what, unit, ours, floor_name, floor, ratio=None, target="", digits=0, note=""):
        self.what = what
        self.unit = unit
        self.ours = ours
        self.floor_name = floor_name
        self.floor = floor
        self.ratio = ratio if ratio is not None or not floor else ours / floor
        self.target = target
        self.digits = digits
        self.note = note

    def text(self):
        def figure(value):
            return f"{value:.{self.digits}f}" if value is not None else "-"
        ratio = f"{self.ratio:.3f}" if self.ratio is not None else "-"
        line = (f"  {self.what:34}{figure(self.ours):>10} {self.unit:26}{self.floor_name:>30}"
                f"{figure(self.floor):>10}   ratio {ratio:8}{self.target}")
        return line.rstrip() + "".join(f"\n      {note}" for note in self.note.splitlines())


def _load():
    for module in MODULES:
        importlib.import_module(module)
    # Whoever imports whom.
    ALL.sort(key=lambda declared: MODULES.index(declared.function.__module__))


def chosen(names):
    _load()
    unknown = [name for name in names if not any(r.name.startswith(name) for r in ALL)]
    if unknown:
        return []
    return [r for r in ALL if not names or any(r.name.startswith(name) for name in names)]


def beside_build(row, options, folder):
    """The results of a row for this build and another one, which take turns round by round."""
    rounds = Options(options.short, functions=False)
    rounds.rounds = 1
    sides = [dict(TARNWICK=os.environ["TARNWICK"], TARNWICK_TOOLS=os.environ["TARNWICK_TOOLS"]),
             dict(TARNWICK=os.path.join(folder, "tarnwick"), TARNWICK_TOOLS=os.path.join(folder, "bench"))]
    taken = []
    for number in range(options.rounds):
        pair = [None, None]
        # The first of two has a colder machine.
        for side in ((0, 1), (1, 0))[number % 2]:
            os.environ.update(sides[side])
            pair[side] = list(row.function(rounds))
        os.environ.update(sides[0])
        taken.append(pair)
        if all("instructions" in result.unit for result in pair[0]):
            break  # they do not change from round to round
    for number, first in enumerate(taken[0][0]):
        ours, theirs = ([pair[side][number].ours for pair in taken] for side in (0, 1))
        yield Result(first.what, first.unit, statistics.median(ours), os.path.basename(os.path.normpath(folder)),
                     statistics.median(theirs), statistics.median([our / their for our, their in zip(ours, theirs)]),
                     digits=first.digits)


def measure(selected, short, functions, beside=None):
    options = Options(short, functions)
    for r in selected:
        print(f"{r.name}: {r.title}", flush=True)
        start = time.monotonic()
        try:
            for result in beside_build(r, options, beside) if beside else r.function(options):
                print(result.text(), flush=True)
        except CannotMeasure as why:
            print(f"  not measured: {why}")
        print(f"  ({time.monotonic() - start:.0f} s)", flush=True)
