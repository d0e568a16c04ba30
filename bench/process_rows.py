"""Snapshots of processes and threads, and all the rest that a measurement costs."""

import os
import shutil
import subprocess
import time

from rows import CannotMeasure, Result, row
from tools import (Crowd, cpu_seconds, child_of, device, enter, function_rounds, of_rounds,
                   profiled, program, run_cost, slope, tool)

ONCE = ["--stdout", "--iter=1", "--interval=0"]


def scaled(rounds, factor):
    return [(ours * factor, floor * factor) for ours, floor in rounds]


@row("process-snapshot", "CPU time of a process in a snapshot, its subtraction and the report")
def process_snapshot(options):
    for count in (20, 50) if options.short else (100, 1000, 4000):
        with Crowd("processes", count) as crowd:
            rounds, entries = function_rounds(options, "processes", crowd.enter)
        yield Result(f"at {count} processes", "us a process", **of_rounds(scaled(rounds, 1e6 / entries)),
                     floor_name="getdents, open, read, close", target="at most 1.08", digits=3)


@row("process-instructions", "user instructions of a process in a snapshot (callgrind)")
def process_instructions(options):
    sizes = (50, 100) if options.short else (1000, 3000)

    def profile(command, count):
        with Crowd("processes", count) as crowd, profiled(command) as (measured, result):
            subprocess.run([*crowd.enter, *measured], check=True, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL)
            return result(options)

    # One measurement takes two snapshots, and a report, which says nothing of who is idle.
    ours, note = slope(sizes, lambda count: profile([program(), *ONCE], count), parts=2)
    floor, _ = slope(sizes, lambda count: profile([tool("proc_walk"), "/proc", "stat"], count))
    yield Result("a process", "instructions", ours, "getdents, open, read, close", floor,
                 target="at most 3000", note=note)


def sample_beside_peers(options, crowd, ours, peers):
    """Lets us and the peers sample once a second, side by side. Returns for each peer the pairs of CPU
    seconds of each second, and the peers that are not here."""
    environment = dict(os.environ, TERM="dumb", ATOPACCT="", ATOPRC="/dev/null", S_TIME_FORMAT="ISO")
    here = {name: command for name, command in peers.items() if shutil.which(command[0])}
    started = []
    try:
        for command in [ours, *here.values()]:
            started.append(subprocess.Popen([*crowd.enter, *command], env=environment,
                                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL))
            # Each has its quarter of the second.
            time.sleep(0.25)
        pids = [child_of(process.pid) for process in started]
        # The first sample is behind them all.
        time.sleep(1.5)
        taken = []
        for _ in range(options.rounds + 1):
            taken.append([cpu_seconds(pid) for pid in pids])
            time.sleep(1)
        if any(process.poll() is not None for process in started):
            raise RuntimeError("a sampler ended")
    finally:
        for process in started:
            try:
                os.kill(child_of(process.pid), 9)
            except (CannotMeasure, ProcessLookupError):
                process.kill()
            process.wait()
    used = [[after - before for before, after in zip(start, end)] for start, end in zip(taken, taken[1:])]
    rounds = {name: [(second[0], second[number]) for second in used] for number, name in
              enumerate(here, start=1)}
    return rounds, [name for name in peers if name not in here]


def peer_results(options, crowd, count, unit, ours, peers, targets):
    rounds, absent = sample_beside_peers(options, crowd, ours, peers)
    for name, pairs in rounds.items():
        # In some seconds a sampler's timer falls behind the edge: medians of both sides hold.
        figures = of_rounds([(our / count * 1e6, max(peer, 1e-9) / count * 1e6) for our, peer in pairs])
        figures["ratio"] = figures["ours"] / figures["floor"]
        yield Result(f"{count} of them, once a second", unit, **figures, floor_name=name,
                     target=targets[name], digits=2)
    for name in absent:
        yield Result(f"{count} of them, once a second", unit, None, name, None, note="not installed here")


@row("process-sampling", "CPU time of a sample once a second, beside other samplers")
def process_sampling(options):
    count = 50 if options.short else 1000
    peers = {"top -b": ["top", "-b", "-d", "1"], "pidstat -u -r -p ALL": ["pidstat", "-u", "-r", "-p", "ALL", "1"],
             "atop": ["atop", "1"]}
    targets = {"top -b": "at most 0.55", "pidstat -u -r -p ALL": "at most 0.28", "atop": "at most 0.20"}
    with Crowd("processes", count) as crowd:
        yield from peer_results(options, crowd, count, "us a sample and process",
                                [program(), "--stdout", "--interval=1"], peers, targets)


@row("thread-snapshot", "CPU time of a thread in a snapshot with --proc, its subtraction and the report")
def thread_snapshot(options):
    for count in (20, 50) if options.short else (100, 1000):
        with Crowd("threads", count) as crowd:
            rounds, entries = function_rounds(options, "threads", crowd.enter)
            yield Result(f"at {count} threads", "us a thread", **of_rounds(scaled(rounds, 1e6 / entries)),
                         floor_name="getdents, open, read, close", target="at most 1.10", digits=3)
    with Crowd("threads", count) as crowd:
        yield from peer_results(options, crowd, count, "us a sample and thread",
                                [program(), "--stdout", "--interval=1", "--proc=crowd"],
                                {"pidstat -t": ["pidstat", "-t", "-p", "1", "1"]},
                                {"pidstat -t": "at most 0.35"})


def fill_device(made, cpus, interfaces=5, disks=2):
    """The files of a snapshot, as long as those of a real kernel."""
    made.stat(("", 48912231, 8121, 9231112, 912312311, 812311, 0, 712311, 0, 0, 0),
              *((cpu, 6114028 + cpu, 1015, 1153889, 114039038, 101538, 0, 89038, 0, 0, 0)
                for cpu in range(cpus)))
    for path in ("/proc/vmstat", "/proc/buddyinfo"):
        with open(path) as text:
            made.write(path, text.read())
    made.net_dev(*(f"  wl{number}: 8123{number} 9123    0    0    0     0          0         0 712{number} "
                   "6123    0    0    0     0       0          0\n" for number in range(interfaces)))
    for number in range(disks):
        made.disk(f"sd{number}", 81231, 912, 912311, 31221, 71231, 8121, 9123112, 81231, 0, 91231, 112452)
    made.write("/sys/class/power_supply/battery/temp", "287\n")
    for cpu in range(cpus):
        made.write(f"/sys/devices/system/cpu/cpu{cpu}/cpufreq/stats/time_in_state",
                   "".join(f"{300000 + step * 115200} {71231 + step * 913}\n" for step in range(16)))


@row("rest-of-snapshot", "CPU time of all that a snapshot reads besides processes, with --freq")
def rest_of_snapshot(options):
    def result(where, rounds):
        return Result(where, "us a snapshot", **of_rounds(scaled(rounds, 1e6)),
                      floor_name="open, read, close", target="at most 1.12", digits=1)

    yield result(f"this machine, {os.sysconf('SC_NPROCESSORS_CONF')} CPUs", function_rounds(options, "rest")[0])
    for cpus in (2, 64):
        with device(cpus) as made:
            fill_device(made, cpus)
            yield result(f"ordinary files, {cpus} CPUs", function_rounds(options, "rest", enter(made))[0])


@row("rest-instructions", "user instructions of a measurement without processes (callgrind)")
def rest_instructions(options):
    def profile(iterations, prefix=()):
        # Each takes over the snapshot before it, so that it has one of its own, and a report.
        with profiled([program(), "--stdout", "--interval=0", f"--iter={iterations}", "--no-proc-cpu",
                       "--freq"]) as (measured, result):
            subprocess.run([*prefix, *measured], check=True, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL)
            return result(options)

    each, note = slope((2, 12), profile)
    yield Result("this machine", "instructions", each, "", None, note=note)
    for cpus in (2, 64):
        with device(cpus) as made:
            fill_device(made, cpus)
            each, note = slope((2, 12), lambda count: profile(count, enter(made)))
        yield Result(f"ordinary files, {cpus} CPUs", "instructions", each, "", None, note=note)


@row("print-processes", "CPU time of printing 4000 process lines")
def print_processes(options):
    rounds, entries = function_rounds(options, "print")
    yield Result("through the report's sink", "ns a line", **of_rounds(scaled(rounds, 1e9 / entries)),
                 floor_name="printf", target="at most 0.6", digits=1)


@row("start", "start to exit with --stdout --iter=1 --interval=0 --no-proc-cpu")
def start(options):
    runs = 2 if options.short else 20
    rounds = []
    for _ in range(options.rounds):
        pair = [0.0, 0.0]
        for _ in range(runs):
            for side, command in enumerate(([program(), *ONCE, "--no-proc-cpu"], [tool("empty")])):
                pair[side] += run_cost(command).cpu * 1e6 / runs
        rounds.append(tuple(pair))
    yield Result("a run", "us of CPU", **of_rounds(rounds), floor_name="an empty program", target="at most 2",
                 digits=0)
