"""Snapshots of processes and threads."""

import subprocess

from rows import Result, row
from tools import Crowd, profiled, program, slope, tool

ONCE = ["--stdout", "--iter=1", "--interval=0"]


@row("process-instructions", "user instructions of a process in a snapshot (callgrind)")
def process_instructions(options):
    sizes = (50, 100) if options.short else (1000, 3000)

    def profile(command, count):
        with Crowd("processes", count) as crowd, profiled(command) as (measured, result):
            subprocess.run([*crowd.enter, *measured], check=True, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL)
            return result(options)

    # One measurement takes two snapshots, and a report, which says nothing of who is idle.
    ours, note = slope(options, sizes, lambda count: profile([program(), *ONCE], count))
    floor, _ = slope(options, sizes, lambda count: profile([tool("proc_walk"), "/proc", "stat"], count))
    yield Result("a process", "instructions", ours / 2, "getdents, open, read, close", floor,
                 target="at most 3000", note=note)
