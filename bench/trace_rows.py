"""The kernel's trace: lines from a FIFO, the records that they make, and the file of these."""

import contextlib
import filecmp
import os
import subprocess
import tempfile

from rows import Result, row
from tools import (Pipe, device, enter, profiled, program, slope, tool, wait_for)

TRACING = "/sys/kernel/debug/tracing"
CONTROLS = [*(f"events/sched/sched_stat_{name}/enable" for name in ("wait", "iowait", "runtime")),
            *(f"events/filemap/mm_filemap_{name}_page_cache/enable" for name in ("add_to", "delete_from")),
            "buffer_size_kb", "trace_clock", "options/overwrite", "tracing_on"]
OPTIONS = {"sched": "--systrace", "page-cache": "--block-dump"}


@contextlib.contextmanager
def traced_device(write_file=False, inodes=""):
    """A device with a trace in a FIFO. Where trace.txt is not to be written a folder has its name."""
    with device() as made:
        for control in CONTROLS:
            made.write(f"{TRACING}/{control}", "")
        tasks = subprocess.run([tool("trace_load"), "tasks"], check=True, capture_output=True, text=True)
        for task in tasks.stdout.splitlines():
            tid, tgid, name = task.split()
            made.write(f"/proc/{tid}/status", f"Name:\t{name}\nTgid:\t{tgid}\n")
            made.write(f"/proc/{tgid}/comm", f"{name}\n")
        for name in ("logcat", "busybox"):
            made.write(f"/data/bin/{name}", "#!/bin/sh\n")
            os.chmod(made.path(f"/data/bin/{name}"), 0o755)
        made.write("/data/inode.txt", inodes)
        if not write_file:
            os.mkdir(made.path("/data/trace.txt"))
        # As large as an ordinary user may have it.
        made.pipe = Pipe(made.path(f"{TRACING}/trace_pipe"), 1 << 20)
        try:
            yield made
        finally:
            made.pipe.close()


def feed(made, kind, count, measured):
    """One measurement under the command, of so many lines."""
    environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")
    with subprocess.Popen([*enter(made), *measured], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                          env=environment) as process:
        # The program has opened the pipe when it takes what is in it.
        with open(made.path(f"{TRACING}/trace_pipe"), "wb") as pipe:
            subprocess.run([tool("trace_load"), kind, str(count)], check=True, stdout=pipe)
        wait_for(lambda: made.pipe.unread() == 0, "the program reads the trace")
        process.communicate(b"\n")
    if process.returncode != 0:
        raise RuntimeError(f"the program ended with {process.returncode}")


def command_of(kind):
    return [program(), "--stdout", "--enter", "--no-proc-cpu", OPTIONS[kind]]


def program_profile(options, kind, count, write_file=False):
    with traced_device(write_file) as made, profiled(command_of(kind)) as (measured, result):
        feed(made, kind, count, measured)
        return result(options)


def newline_profile(options, kind, count):
    with profiled([tool("trace_load"), "newlines"]) as (measured, result):
        pipe_lines(kind, count, measured)
        return result(options)


def pipe_lines(kind, count, measured):
    with subprocess.Popen([tool("trace_load"), kind, str(count)], stdout=subprocess.PIPE) as load:
        subprocess.run(measured, check=True, stdin=load.stdout, stdout=subprocess.DEVNULL)


def line_instructions(options, kind, target):
    sizes = (1000, 3000) if options.short else (20000, 60000)
    ours, note = slope(sizes, lambda count: program_profile(options, kind, count))
    floor, _ = slope(sizes, lambda count: newline_profile(options, kind, count))
    return Result("a line", "instructions", ours, "finding the newlines", floor, target=target, note=note)


@row("sched-instructions", "user instructions of a scheduler line from a FIFO (callgrind)")
def sched_instructions(options):
    yield line_instructions(options, "sched", "at most 650")


@row("page-cache-instructions", "user instructions of a page-cache line from a FIFO (callgrind)")
def page_cache_instructions(options):
    yield line_instructions(options, "page-cache", "at most 450")


@row("trace-file-instructions", "user instructions of a record in trace.txt (callgrind)")
def trace_file_instructions(options):
    sizes = (1000, 3000) if options.short else (20000, 60000)

    def fprintf_profile(count, out=subprocess.DEVNULL):
        with profiled([tool("trace_load"), "fprintf", str(count)]) as (measured, result):
            subprocess.run(measured, check=True, stdout=out)
            return result(options)

    def written(count):
        with traced_device(write_file=True) as made, tempfile.NamedTemporaryFile() as expected, \
                profiled(command_of("sched")) as (measured, result):
            feed(made, "sched", count, measured)
            subprocess.run([tool("trace_load"), "fprintf", str(count)], check=True, stdout=expected)
            if not filecmp.cmp(made.path("/data/trace.txt"), expected.name, shallow=False):
                raise RuntimeError("trace.txt is not what fprintf writes")
            return result(options)

    def writing(count):
        """What a run that writes the file has more than one that cannot."""
        both = written(count)
        reading = program_profile(options, "sched", count)
        both.total -= reading.total
        both.functions.subtract(reading.functions)
        return both

    ours, note = slope(sizes, writing)
    floor, _ = slope(sizes, fprintf_profile)
    yield Result("a record", "instructions", ours, "fprintf", floor, target="at most 650", note=note)
