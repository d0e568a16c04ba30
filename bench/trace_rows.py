"""The kernel's trace: lines from a FIFO, the records that they make, and the file of these."""

import collections
import contextlib
import fcntl
import filecmp
import os
import re
import shutil
import struct
import subprocess
import tempfile
import time

from rows import CannotMeasure, Result, row
from tools import (Pipe, costed, cpu_seconds, cpu_seconds_of_children, device, enter, median, need_root, of_rounds,
                   profiled, program, run_cost, slope, tool, wait_for)
from tracing import CONTROLS, KERNEL_WITH_LINKS, NO_SUCH_EVENT, TRACING, link_ring

# What an ordinary user has, and the largest one that he may have, where speed is not what is measured.
PIPE_SIZE = 1 << 16
LARGE_PIPE = 1 << 20
OPTIONS = {"sched": "--systrace", "page-cache": "--block-dump"}


@contextlib.contextmanager
def traced_device(write_file=False, pipe_size=PIPE_SIZE):
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
        made.write("/data/inode.txt", "")
        if not write_file:
            os.mkdir(made.path("/data/trace.txt"))
        made.pipe = Pipe(made.path(f"{TRACING}/trace_pipe"), pipe_size)
        try:
            yield made
        finally:
            made.pipe.close()


def feed(made, kind, count, measured, name=""):
    """One measurement under the command, of so many lines; their threads have the name, if one is given."""
    environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")
    with subprocess.Popen([*enter(made), *measured], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                          env=environment) as process:
        # The program has opened the pipe when it takes what is in it.
        with open(made.path(f"{TRACING}/trace_pipe"), "wb") as pipe:
            subprocess.run([tool("trace_load"), kind, str(count), name], check=True, stdout=pipe)
        wait_for(lambda: made.pipe.unread() == 0, "the program reads the trace")
        process.communicate(b"\n")
    if process.returncode != 0:
        raise RuntimeError(f"the program ended with {process.returncode}")


def command_of(kind):
    return [program(), "--stdout", "--enter", "--no-proc-cpu", OPTIONS[kind]]


def program_profile(options, kind, count, write_file=False, name=""):
    with traced_device(write_file) as made, profiled(command_of(kind)) as (measured, result):
        feed(made, kind, count, measured, name)
        return result(options)


def newline_profile(options, kind, count, name):
    with profiled([tool("trace_load"), "newlines"]) as (measured, result):
        pipe_lines(kind, count, measured, name)
        return result(options)


def pipe_lines(kind, count, measured, name=""):
    ends = os.pipe()
    fcntl.fcntl(ends[1], fcntl.F_SETPIPE_SZ, LARGE_PIPE)
    with subprocess.Popen([tool("trace_load"), kind, str(count), name], stdout=ends[1]) as load:
        os.close(ends[1])
        subprocess.run(measured, check=True, stdin=ends[0], stdout=subprocess.DEVNULL)
        os.close(ends[0])
    if load.returncode != 0:
        raise RuntimeError("the load ended early")


# Most names of a phone's threads have a ":".
NAMES = ["app.process42", "Binder:1042_1", "kworker/0:1"]


def line_instructions(options, kind, target):
    sizes = (1000, 3000) if options.short else (20000, 60000)
    for name in NAMES:
        ours, note = slope(sizes, lambda count: program_profile(options, kind, count, name=name))
        floor, _ = slope(sizes, lambda count: newline_profile(options, kind, count, name))
        yield Result(f"a line of {name}", "instructions", ours, "finding the newlines", floor, target=target,
                     note=note)


@row("sched-instructions", "user instructions of a scheduler line from a FIFO (callgrind)")
def sched_instructions(options):
    yield from line_instructions(options, "sched", "at most 650")


@row("page-cache-instructions", "user instructions of a page-cache line from a FIFO (callgrind)")
def page_cache_instructions(options):
    yield from line_instructions(options, "page-cache", "at most 450")


RING_FORMATS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests", "fixtures",
                            "ring", "linux-6.18-x86_64", "events")
RUNTIME_ID = 363  # of sched_stat_runtime, in these files


def ring_pages(cpu, cpus, count):
    """Full pages of so many events of one CPU. The CPUs take turns, ten events each."""
    comm = b"app.process42".ljust(16, b"\0")
    event_words = 10  # the record's common fields, its own and the name
    record = struct.pack("<HBBiIiQ", RUNTIME_ID, 0, 0, 0, len(comm) << 16 | 24, 100 + cpu, 1000) + comm
    run, gap, page_bytes = 10, 1000, 4080
    number, pages = 0, []
    while number < count:
        data, first = b"", None
        while number < count and len(data) + 4 + len(record) <= page_bytes:
            time_ns = 10**12 + gap * ((number // run * cpus + cpu) * run + number % run)
            first = first or time_ns
            delta = time_ns - before if data else 0
            data += struct.pack("<I", delta << 5 | event_words) + record
            before = time_ns
            number += 1
        pages.append(struct.pack("<QQ", first, len(data)) + data.ljust(page_bytes, b"\0"))
    return b"".join(pages)


def has_read(pid, name, size):
    """Whether the process has read its files of this name up to this place."""
    places = []
    for fd in os.listdir(f"/proc/{pid}/fd"):
        with contextlib.suppress(OSError):
            if os.readlink(f"/proc/{pid}/fd/{fd}").endswith(name):
                with open(f"/proc/{pid}/fdinfo/{fd}") as info:
                    places.append(int(re.search(r"^pos:\s*(\d+)", info.read(), re.M)[1]))
    return bool(places) and min(places) >= size


def ring_profile(options, cpus, count):
    """A measurement of so many events of the ring buffers, which are plain files."""
    with traced_device() as made, profiled(command_of("sched")) as (measured, result):
        shutil.copytree(RING_FORMATS, made.path(f"{TRACING}/events"), dirs_exist_ok=True)
        for number, name in enumerate(("sched_stat_wait", "sched_stat_iowait")):
            made.write(f"{TRACING}/events/sched/{name}/format", NO_SUCH_EVENT.format(name=name, id=65000 + number))
        for cpu in range(cpus):
            pages = ring_pages(cpu, cpus, count // cpus)
            os.makedirs(made.path(f"{TRACING}/per_cpu/cpu{cpu}"))
            with open(made.path(f"{TRACING}/per_cpu/cpu{cpu}/trace_pipe_raw"), "wb") as raw:
                raw.write(pages)
            made.write(f"/proc/{100 + cpu}/status", f"Tgid:\t{100 + cpu}\n")
            made.write(f"/proc/{100 + cpu}/comm", "app.process42\n")
        environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")
        with subprocess.Popen([*enter(made), *measured], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                              env=environment) as process:
            wait_for(lambda: has_read(process.pid, "/trace_pipe_raw", len(pages)), "the program reads the pages")
            process.communicate(b"\n")
        return result(options)


@row("ring-instructions", "user instructions of a scheduler event of the ring buffers, from files (callgrind)")
def ring_instructions(options):
    sizes = (1000, 3000) if options.short else (20000, 60000)
    for cpus in (1, 2):
        ours, note = slope(sizes, lambda count: ring_profile(options, cpus, count))
        yield Result(f"an event of {cpus} CPU{'s' * (cpus > 1)}", "instructions", ours, "", None, note=note)


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


def line_cpu(options, kind, target):
    # Start and end are in both runs.
    least, most = (1000, 11000) if options.short else (1000, 151000)

    def ours(count):
        # The reader rests between its drains, and finds as much as in the kernel's own buffer.
        with traced_device(pipe_size=LARGE_PIPE) as made, costed(command_of(kind)) as (measured, cost):
            feed(made, kind, count, measured)
            return cost().cpu

    def floor(count):
        with costed([tool("trace_load"), "newlines"]) as (measured, cost):
            pipe_lines(kind, count, measured)
            return cost().cpu

    rounds = [tuple((side(most) - side(least)) / (most - least) * 1e9 for side in (ours, floor))
              for _ in range(options.rounds)]
    return Result("a line", "ns", **of_rounds(rounds), floor_name="finding the newlines", target=target,
                  digits=1)


@row("sched-cpu", "CPU time of a scheduler line from a FIFO")
def sched_cpu(options):
    yield line_cpu(options, "sched", "at most 3.5")


@row("page-cache-cpu", "CPU time of a page-cache line from a FIFO")
def page_cache_cpu(options):
    yield line_cpu(options, "page-cache", "")


@row("record-memory", "memory of a trace record")
def record_memory(options):
    def ours(count):
        with traced_device(pipe_size=LARGE_PIPE) as made, costed(command_of("sched")) as (measured, cost):
            feed(made, "sched", count, measured)
            return cost().kilobytes

    def floor(count):
        return run_cost([tool("trace_load"), "records", str(count)]).kilobytes

    # The lines of the smallest run are enough for all that does not grow.
    least = 10000
    base = [measure(least) for measure in (ours, floor)]
    for count in (50000,) if options.short else (10**6, 10**7):
        both = [(measure(count) - empty) * 1024 / (count - least)
                for measure, empty in zip((ours, floor), base)]
        yield Result(f"at {count} records", "bytes a record", both[0], "records of 24 bytes", both[1],
                     target="at most 32 bytes", digits=1)


# --- this machine's own trace ---

class Tracer:
    """An instance of the kernel's tracing of its own, which nobody else's tracing touches."""

    def __init__(self):
        need_root()
        self.mount = tempfile.mkdtemp(prefix="bench-")
        self.mounted = False
        self.made = False
        try:
            self.mounted = subprocess.run(["mount", "-t", "tracefs", "tracefs", self.mount],
                                          stderr=subprocess.DEVNULL).returncode == 0
            if not self.mounted:
                raise CannotMeasure("no tracefs here")
            self.folder = os.path.join(self.mount, "instances", f"tarnwick-bench-{os.getpid()}")
            os.mkdir(self.folder)
            self.made = True
            self.event = "events/sched/sched_stat_runtime/enable"
            if not os.path.exists(os.path.join(self.folder, self.event)):
                raise CannotMeasure("this kernel has no sched_stat_runtime event")
            self.write("buffer_size_kb", "8192")
            self.write("trace_clock", "global")
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.made:
            self.write("tracing_on", "0")
            os.rmdir(self.folder)
        if self.mounted:
            subprocess.run(["umount", self.mount], check=True)
        os.rmdir(self.mount)

    def write(self, control, value):
        with open(os.path.join(self.folder, control), "w") as text:
            text.write(value)

    def restart(self):
        """Throws away what the trace holds, and traces."""
        self.write(self.event, "0")
        self.write("trace", "")
        self.write(self.event, "1")
        self.write("tracing_on", "1")

    def events(self):
        """How many events were read, are lost and wait, of all CPUs."""
        sums = collections.Counter()
        for cpu in os.listdir(os.path.join(self.folder, "per_cpu")):
            with open(os.path.join(self.folder, "per_cpu", cpu, "stats")) as stats:
                for name, value in re.findall(r"^([a-z ]+): (\d+)$", stats.read(), re.M):
                    sums[name] += int(value)
        lost = sums["overrun"] + sums["commit overrun"] + sums["dropped events"]
        return sums["read events"], lost, sums["entries"]

    @contextlib.contextmanager
    def read_by_cat(self):
        with subprocess.Popen(["cat", os.path.join(self.folder, "trace_pipe")],
                              stdout=subprocess.DEVNULL) as cat:
            try:
                yield cat.pid
            finally:
                cat.kill()

    def read_by_floor(self):
        """What parses of the ring buffers as little as possible."""
        return self.floor("ring")

    def read_by_library(self):
        """The same by libtraceevent."""
        return self.floor("kbuffer")

    @contextlib.contextmanager
    def floor(self, mode):
        with subprocess.Popen([tool("trace_reader"), mode, self.folder]) as reader:
            try:
                yield reader.pid
            finally:
                reader.terminate()

    def read_by_us(self):
        return self.program(ring=False)

    def read_ring_by_us(self):
        return self.program(ring=True)

    @contextlib.contextmanager
    def program(self, ring, records=None, cpu=None):
        """The program on this machine's kernel but for the tracing controls, which are plain files:
        tracing is switched by us, and the counts outlive the measurement. Without `ring` it finds no ring buffers
        and reads the text. The list `records` gets the trace file, the list `cpu` the CPU seconds of what comes
        after its start."""
        with device() as made, tempfile.TemporaryDirectory(prefix="bench-") as links:
            for control in CONTROLS:
                os.makedirs(os.path.dirname(os.path.join(links, control)), exist_ok=True)
                open(os.path.join(links, control), "w").close()
            os.symlink(os.path.join(self.folder, "trace_pipe"), os.path.join(links, "trace_pipe"))
            if ring:
                link_ring(links, self.folder)
            for name in ("logcat", "busybox"):
                made.write(f"/data/bin/{name}", "#!/bin/sh\n")
                os.chmod(made.path(f"/data/bin/{name}"), 0o755)
            if records is None:
                os.mkdir(made.path("/data/trace.txt"))
            environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")
            with subprocess.Popen([*enter(made), "sh", "-c", KERNEL_WITH_LINKS, links, *command_of("sched")],
                                  stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  env=environment) as process:
                try:
                    wait_for(lambda: has_thread(process.pid, "pipe_thread"), "the program reads")
                    started = cpu_seconds(process.pid) + cpu_seconds_of_children(process.pid)
                    yield process.pid
                finally:
                    if records is not None:
                        self.write("tracing_on", "0")
                    with contextlib.suppress(BrokenPipeError), process.stdin:
                        process.stdin.write(b"\n")
                    _, status, usage = os.wait4(process.pid, 0)
                    process.returncode = os.waitstatus_to_exitcode(status)
            if cpu is not None:
                cpu.append(usage.ru_utime + usage.ru_stime - started)
            if records is not None:
                records.append(made.read("/data/trace.txt"))


def has_thread(pid, name):
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/comm") as comm:
            if comm.read() == name + "\n":
                return True
    return False


@contextlib.contextmanager
def load_of(rate, seconds):
    with subprocess.Popen([tool("yields"), str(rate), str(seconds)], stdout=subprocess.DEVNULL) as load:
        try:
            yield
        finally:
            load.kill()


def cpu_of_reading(tracer, reader, seconds):
    """CPU seconds of a line, for a reader whose trace never runs dry; lines a second; events lost a second."""
    tracer.restart()
    with load_of(0, 1000), reader() as pid:
        time.sleep(0.2)
        cpu, start, (read, lost, _) = cpu_seconds(pid), time.monotonic(), tracer.events()
        time.sleep(seconds)
        cpu, taken, (now_read, now_lost, _) = cpu_seconds(pid) - cpu, time.monotonic() - start, tracer.events()
    lines = max(now_read - read, 1)
    return cpu / lines, lines / taken, (now_lost - lost) / taken


@row("pipe-saturated", "CPU time of a line of this machine's trace_pipe, under saturation")
def pipe_saturated(options):
    with Tracer() as tracer:
        rounds = []
        rates = []
        losses = []
        for _ in range(options.rounds):
            floor, *_ = cpu_of_reading(tracer, tracer.read_by_cat, 0.5)
            ours, rate, lost = cpu_of_reading(tracer, tracer.read_by_us, 0.5)
            rounds.append((ours * 1e6, floor * 1e6))
            rates.append(rate)
            losses.append(lost)
        yield Result("a line delivered", "us", **of_rounds(rounds), floor_name="cat trace_pipe > /dev/null",
                     target="at most 1.10", digits=3,
                     note=f"we read {median(rates):.0f} lines a second, {median(losses):.0f} more were lost")


@contextlib.contextmanager
def nobody():
    yield None


def events_of_load(tracer, reader, rate, seconds):
    """Events a second while the load runs, CPU seconds a second of the reader, and how many events were
    lost."""
    with reader() as pid:
        tracer.restart()
        with load_of(rate, 1000):
            # Until the load's threads are no longer new.
            time.sleep(0.2)
            before = tracer.events()
            cpu = 0 if pid is None else cpu_seconds(pid)
            start = time.monotonic()
            time.sleep(seconds)
        taken = time.monotonic() - start
        cpu = 0 if pid is None else cpu_seconds(pid) - cpu
        # Not traced meanwhile: whoever reads the counts.
        tracer.write("tracing_on", "0")
        after = tracer.events()
        return (sum(after) - sum(before)) / taken, cpu / taken, after[1] - before[1]


def yield_rate(tracer, events):
    """How often to give way for so many events a second without a reader: each time is one event, and
    the sleeps between and the machine's other work make the rest."""
    return max(events - events_of_load(tracer, nobody, 1, 0.5)[0], 1)


@row("pipe-moderate", "the pipe thread on this machine's trace_pipe, at a moderate load")
def pipe_moderate(options):
    with Tracer() as tracer:
        rate = yield_rate(tracer, 25000)
        events, cat_events, cpus = [], [], []
        for _ in range(options.rounds):
            alone, _, _ = events_of_load(tracer, nobody, rate, 0.5)
            ours, our_cpu, _ = events_of_load(tracer, tracer.read_by_us, rate, 0.5)
            cat, cat_cpu, _ = events_of_load(tracer, tracer.read_by_cat, rate, 0.5)
            events.append((ours, alone))
            cat_events.append(cat / alone)
            cpus.append((our_cpu * 100, cat_cpu * 100))
        yield Result("events while we read", "events a second", **of_rounds(events), floor_name="without a reader",
                     target="at most 1.15", note=f"with cat as the reader {median(cat_events):.2f} times as many")
        yield Result("CPU of reading", "% of a CPU", **of_rounds(cpus), floor_name="cat trace_pipe > /dev/null",
                     target="at most 0.20", digits=2)
        rate = yield_rate(tracer, 110000)
        fast, _, lost = events_of_load(tracer, tracer.read_by_us, rate, 1 if options.short else 10)
        yield Result("events lost", f"of {fast:.0f} events a second", lost, "", None, target="none")


@row("ring-saturated", "CPU time of an event of this machine's ring buffers, under saturation")
def ring_saturated(options):
    with Tracer() as tracer:
        by_cat, by_floor, library, rates, losses = [], [], [], [], []
        for _ in range(options.rounds):
            cat, *_ = cpu_of_reading(tracer, tracer.read_by_cat, 0.5)
            floor, *_ = cpu_of_reading(tracer, tracer.read_by_floor, 0.5)
            kbuffer, *_ = cpu_of_reading(tracer, tracer.read_by_library, 0.5)
            ours, rate, lost = cpu_of_reading(tracer, tracer.read_ring_by_us, 0.5)
            by_cat.append((ours * 1e6, cat * 1e6))
            by_floor.append((ours * 1e6, floor * 1e6))
            library.append((floor * 1e6, kbuffer * 1e6))
            rates.append(rate)
            losses.append(lost)
        note = f"we read {median(rates):.0f} events a second, {median(losses):.0f} more were lost"
        yield Result("an event", "us", **of_rounds(by_cat), floor_name="cat trace_pipe > /dev/null",
                     target="at most 0.06", digits=3, note=note)
        yield Result("an event", "us", **of_rounds(by_floor), floor_name="parsing the least", target="at most 2",
                     digits=3)
        yield Result("parsing the least", "us", **of_rounds(library), floor_name="the same by libtraceevent", digits=3)


@row("ring-moderate", "the pipe thread on this machine's ring buffers, at a moderate load")
def ring_moderate(options):
    with Tracer() as tracer:
        rate = yield_rate(tracer, 25000)
        events, by_cat, by_floor, losses = [], [], [], 0
        for _ in range(options.rounds):
            alone, _, _ = events_of_load(tracer, nobody, rate, 0.5)
            ours, our_cpu, lost = events_of_load(tracer, tracer.read_ring_by_us, rate, 0.5)
            cat, cat_cpu, _ = events_of_load(tracer, tracer.read_by_cat, rate, 0.5)
            floor, floor_cpu, _ = events_of_load(tracer, tracer.read_by_floor, rate, 0.5)
            events.append((ours, alone))
            by_cat.append((our_cpu / ours * 1e6, cat_cpu / cat * 1e6))
            by_floor.append((our_cpu / ours * 1e6, floor_cpu / floor * 1e6))
            losses += lost
        yield Result("events while we read", "events a second", **of_rounds(events), floor_name="without a reader",
                     target="at most 1.10", note=f"{losses} events were lost")
        yield Result("an event", "us", **of_rounds(by_cat), floor_name="cat trace_pipe > /dev/null",
                     target="at most 0.10", digits=3)
        yield Result("an event", "us", **of_rounds(by_floor), floor_name="parsing the least", target="at most 2",
                     digits=3)


@row("ring-whole", "a measurement of 1,000,000 scheduler events of this machine with its trace.txt")
def ring_whole(options):
    count = 20000 if options.short else 10**6
    with Tracer() as tracer:
        def cost_of(ring):
            """CPU microseconds of an event."""
            records, cpu = [], []
            with tracer.program(ring, records, cpu):
                tracer.restart()
                with load_of(0, 1000):
                    wait_for(lambda: tracer.events()[0] > count, "the events are read")
            return cpu[0] / records[0].count("\n") * 1e6

        rounds = [(cost_of(ring=True), cost_of(ring=False)) for _ in range(options.rounds)]
        yield Result("an event in trace.txt", "us", **of_rounds(rounds), floor_name="the same from trace_pipe",
                     target="at most 0.5", digits=2)


# Each starts 150 threads of this name, one after the other.
SHORT_LIVED = {
    "/bin/true": ("true", "for i in $(seq 150); do /bin/true; done"),
    "sleep 0.005": ("sleep", "for i in $(seq 150); do sleep 0.005; done"),
    "threads of 2.5 ms": ("shortlived", """exec python3 -c '
import threading, time
def work():
    with open("/proc/thread-self/comm", "w") as comm:
        comm.write("shortlived")
    end = time.monotonic() + 0.0025
    while time.monotonic() < end:
        pass
for _ in range(150):
    thread = threading.Thread(target=work)
    thread.start()
    thread.join()
'"""),
}


@row("short-lived", "how many of 150 short-lived threads are in the trace")
def short_lived(options):
    with Tracer() as tracer:
        for what, (name, work) in SHORT_LIVED.items():
            found, cpus = [], []
            for _ in range(options.rounds):
                records = []
                with tracer.program(ring=True, records=records) as pid:
                    tracer.restart()
                    cpu = cpu_seconds(pid)
                    subprocess.run(["sh", "-c", work], check=True)
                    ours = cpu_seconds(pid) - cpu
                count = len(set(re.findall(rf" tid=(\d+) tid_name={name} ", records[0])))
                tracer.restart()
                with subprocess.Popen([tool("trace_reader"), "lines", tracer.folder, name], text=True,
                                      stdout=subprocess.PIPE) as reader:
                    time.sleep(0.1)
                    cpu = cpu_seconds(reader.pid)
                    subprocess.run(["sh", "-c", work], check=True)
                    floor = cpu_seconds(reader.pid) - cpu
                    reader.terminate()
                    floor_count = int(reader.communicate()[0])
                found.append((count, floor_count))
                cpus.append((ours * 1000, floor * 1000))
            yield Result(what, "of 150", **of_rounds(found), floor_name="a blocking fgets reader",
                         target="at least 1")
            yield Result("CPU of reading them", "ms", **of_rounds(cpus), floor_name="a blocking fgets reader",
                         target="at most 0.5", digits=1)
