"""The kernel refuses a call: the report holds what could be read, or a message says why there is none.

strace fails calls of the unchanged program, with errors that they can have. A line of a report is true when
the program also prints it on a device where some files are missing in one of the two snapshots.
"""

import collections
import errno
import os
import re
import signal
import struct
import subprocess
import tempfile

from extent import figure, some
from harness import interface
from inode_cache import CACHE, FEW_FILES, UNFINISHED
from program import DEADLINE_S, HAS_SANITIZER, NEEDS_PIPES, SEPARATOR, mask_times, wait_for
from trace_device import STAY, TraceTest, sched

ERRORS = {
    "openat": "EMFILE ENFILE EIO EINTR EACCES ESRCH ENOMEM ENOSPC EAGAIN",
    "read": "EIO EINTR EACCES ESRCH ENOMEM EAGAIN",
    "write": "EIO EINTR ENOMEM ENOSPC EAGAIN",
    "getdents64": "EIO EINTR ESRCH ENOMEM",
    "close": "EIO EINTR ENOSPC",
    "ioctl": "EIO EINTR EACCES ENOMEM",
    "perf_event_open": "EMFILE ENFILE EINTR EACCES ESRCH ENOMEM",
    "clone": "EAGAIN ENOMEM",
    "clone3": "EAGAIN ENOMEM",
    "mmap": "ENOMEM EAGAIN",
}
PARANOID = "/proc/sys/kernel/perf_event_paranoid"
MODES = {
    "processes": ("--freq",),
    "threads": ("--freq", "--proc=worker"),
    "counters": ("--no-proc-cpu", "--pmu"),
    "scheduler": ("--no-proc-cpu", "--systrace"),
    "page cache": ("--no-proc-cpu", "--block-dump"),
    "walk": ("--no-proc-cpu", "--block-dump"),
}

READ_ERROR = re.compile(r"Error opening /(?:proc|sys)/\S+: (?P<text>.*) \((?P<error>\d+)\)\n")
# A file without which there is no measurement.
CONTROL = r"(?:/proc/sys/kernel/perf_event_paranoid|/sys/kernel/debug/tracing/)"
FATAL = re.compile(rf"(?:Error (?:opening|writing to) {CONTROL}\S*: (?P<text>.*) \((?P<error>\d+)\)"
                   r"|pthread_create\((?:pipe|logcat)\) failed! rc= \d+"
                   r"|fopen\(trace_pipe\) failed!|popen\(\) failed!)\n")
NOTICE = re.compile(r"SIGUSR1->(?:start|stop)\(\)\n|Received first trace message\.\.\.\n"
                    r"|(?:Writing|Done writing) output to trace\.txt\.\.\.\n|Killing logcat process \d+\n")
# Behind the line of a CPU. Each counter holds 1000, where it could be read.
COUNTERS = re.compile(r"   crefs=(?:0|[1-4]000) +hit=-?(?:\d+\.\d\d|inf) *br=(?:0|[1-4]000) +hit=-?(?:\d+\.\d\d|inf) *\n")
PAGES = re.compile(r"add=[012] del=0 file=(?:/known|unknown|total)\n")
RECORD = "time=35.993756 tag=nr duration=5 cpu=1 tgid=3 tgid_name=worker tid=3 tid_name=worker name=wait\n"
PAGE = ("             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev 8:1 ino 14 "
        "page=ffe0 pfn=262462 ofs=0\n")


class FaultTest(TraceTest):
    def setUp(self):
        super().setUp()
        # The tools have no children of their own, whom the faults would keep alive.
        self.tool("busybox", "read -r pid < /data/logcat-pid && kill -9 $pid")
        self.logcat(STAY)
        # A descriptor in place of a counter: each read of it gives 1000.
        self.counters = tempfile.TemporaryFile()
        self.addCleanup(self.counters.close)
        self.counters.write(struct.pack("=Q", 1000) * 4096)

    # What a snapshot can lack, together or one by one. The first bit of a number stands for the first file.
    FILES = [["/proc/stat"], ["/proc/net/dev"], ["/sys/devices/virtual/block/sda/stat", "/proc/vmstat"],
             ["/proc/buddyinfo"], ["/sys/class/power_supply/battery/temp"], ["/proc/3/stat"],
             ["/proc/5/task/7/stat", "/proc/5/task/7/schedstat"], ["/proc/5/stat"],
             ["/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state"]]

    def lay(self, moment, missing=0):
        """The files as they stand before the measurement, or after it."""
        m = moment
        # Without idle time, which the report takes from the clock where it is not plausible.
        self.device.stat(("", 100 + 7 * m, 20, 30 + 3 * m, 0, 0),
                         *((cpu, 50 + (3 + cpu) * m, 10, 15 + m, 0, 0) for cpu in (0, 1)))
        self.device.net_dev(interface("eth0", 4096 + 8192 * m, 4 + 8 * m, 2048, 2))
        self.device.disk("sda", *(10 * field + field * m for field in range(1, 12)))
        self.device.write("/proc/vmstat", "".join(
            f"{name} {100 * number + number * m}\n"
            for number, name in enumerate(("nr_free_pages", "nr_file_pages", "pswpin", "pswpout",
                                           "pgmajfault", "allocstall_normal", "nr_shmem"), 1)))
        self.device.write("/proc/buddyinfo", "Node 0, zone   Normal      1      2      3 \n")
        self.device.write("/sys/class/power_supply/battery/temp", "250\n")
        self.device.process(3, "init", 10 + m, 5, 7 + m, cmdline="/init\0")
        self.device.process(5, "worker", 20 + 4 * m, 6 + m, 8, 9, cmdline="/bin/worker\0")
        self.device.process(7, "thread", 20 + 4 * m, 6, 8, 9, folder="/proc/5/task/7",
                            schedstat=f"{1000000 * (5 + m)} {2000000 * (5 + m)} {5 + m}\n")
        self.device.write("/sys/devices/system/cpu/cpu0/cpufreq/stats/time_in_state",
                          f"300000 {100 + m}\n1200000 {200 + 5 * m}\n")
        for group in self.FILES:
            for bit, file in enumerate(group):
                if missing & 1 << bit:
                    self.device.remove(file)

    def lay_mode(self, mode):
        self.lay(0)
        self.lay_again()
        for path in ("/data/trace.txt", "/data/logcat-pid", UNFINISHED, CACHE):
            if os.path.exists(self.device.path(path)):
                self.device.remove(path)
        if mode != "walk":
            self.device.write(CACHE, "8:1_20 /known\n")
        self.device.write(PARANOID, "2\n")
        self.task(3, 3, "worker")

    def lay_again(self):
        os.remove(self.device.path("/sys/kernel/debug/tracing/trace_pipe"))
        self.lay_tracing("/sys/kernel/debug/tracing")

    def begin(self, mode, prefix=()):
        self.lay_mode(mode)
        self.counters.seek(0)
        return self.device.start(
            "--stdout", "--sig", "--min-cpu=-1", *MODES[mode], env=self.environment, stdin=self.counters,
            prefix=[*([FEW_FILES] if mode == "walk" else []), *prefix])

    @staticmethod
    def rest(program):
        """Waits until the program waits or has ended. Whether it waits."""
        def rests():
            try:
                return program.is_waiting()
            except (AssertionError, OSError):
                return program.process.poll() is not None
        wait_for(rests, "the program rests")
        return program.process.poll() is None

    def measure_once(self, program):
        for moment in (0, 1):
            self.lay(moment)
            if not self.rest(program):
                return
            program.send(signal.SIGUSR1)
            if not self.rest(program):
                return
            if moment == 0:
                self.send(sched("wait", 3, "worker", 5), PAGE, PAGE)
        program.send(signal.SIGINT)

    def traced(self, mode, call, *faults, from_start=False):
        """A measurement, of which strace fails calls. Returns the status, the output and the calls.

        The faults begin with the process, the loader's calls included, or with the measurement.
        """
        if mode == "counters" and "perf_event_open" not in call:
            faults = ("perf_event_open:retval=0", *faults)
            call += ",perf_event_open"
        with tempfile.NamedTemporaryFile("r", errors="replace") as log:
            strace = ["strace", "-f", "-q", "-y", "-s", "200", "-o", log.name, "-e", f"trace={call}",
                      *(word for fault in faults for word in ("-e", f"inject={fault}"))]
            with self.begin(mode, [*strace, "-D"] if from_start else ()) as program:
                tracer = None
                if not from_start and self.rest(program):
                    tracer = subprocess.Popen([*strace, "-p", str(program.pid)])
                    self.addCleanup(tracer.wait)
                    self.addCleanup(tracer.kill)
                    wait_for(lambda: all(self.traced_threads(program)), "strace has the program")
                self.measure_once(program)
                program.process.wait(DEADLINE_S)
                if tracer is not None:
                    tracer.wait(DEADLINE_S)
                return program.process.returncode, program.output(), log.read()

    @staticmethod
    def traced_threads(program):
        """Of each thread, whether it is traced."""
        for task in os.listdir(f"/proc/{program.pid}/task"):
            with open(f"/proc/{program.pid}/task/{task}/status") as status:
                yield "\nTracerPid:\t0\n" not in status.read()


class Faults(FaultTest):
    true = None
    ends = collections.Counter()

    @classmethod
    def tearDownClass(cls):
        figure(", ".join(f"{count} {end}" for end, count in sorted(cls.ends.items())))

    def setUp(self):
        super().setUp()
        if Faults.true is None:
            Faults.true = self.true_lines()

    def true_lines(self):
        """All lines of a report that are true when some files could not be read."""
        lines = {SEPARATOR}
        for options in (MODES["processes"], MODES["threads"]):
            for missing in range(16):
                self.lay(0, missing & 3)
                output = self.measure("--min-cpu=-1", *options,
                                      change=lambda: self.lay(1, missing >> 2))
                lines.update(mask_times(output).splitlines(keepends=True))
        return lines

    def check(self, mode, status, output, log, call=None, error=None):
        """All that was said is true, the end is the one that the faults lead to, and nothing is left over."""
        reasons = 0
        for line in mask_times(output).splitlines(keepends=True):
            if failed := FATAL.fullmatch(line):
                reasons += 1
            else:
                failed = READ_ERROR.fullmatch(line)
            if failed:
                if failed["text"]:
                    self.assertEqual((failed["text"], int(failed["error"])), self.reason(error))
                continue
            if mode == "counters" and line.startswith("cpu"):
                line = COUNTERS.sub("\n", line)
            if not (NOTICE.fullmatch(line) or mode in ("page cache", "walk") and PAGES.fullmatch(line)):
                self.assertIn(line, self.true)
        # Memory for a thread is a matter of the C library, which says in the end that there is none.
        fatal = self.is_fatal(mode, log) or call == "mmap" and "pthread_create" in output
        self.assertEqual(status, int(fatal))
        # The reason cannot be written where nothing can.
        if not any(re.match(r"write\(1[<,].*\(INJECTED\)", text) for _, text in self.calls(log)):
            self.assertEqual(reasons > 0, fatal, "a reason for the end")
        if os.path.exists(self.device.path("/data/trace.txt")):
            self.assertLessEqual(set(self.records().splitlines(keepends=True)), {RECORD})
        if mode == "walk":
            self.check_cache(call)
        self.wait_until_all_have_ended()

    @staticmethod
    def calls(log):
        """The calls as (thread, text), those in one piece that others have interrupted."""
        begun = {}
        for thread, call in (line.split(maxsplit=1) for line in log.splitlines()):
            if call.endswith(" <unfinished ...>"):
                begun[thread] = call.removesuffix(" <unfinished ...>")
            elif resumed := re.match(r"<\.\.\. \w+ resumed>(.*)", call):
                yield thread, begun.pop(thread, "") + resumed[1]
            else:
                yield thread, call

    def is_fatal(self, mode, log):
        """Whether a call has failed without which there is no measurement."""
        forks = collections.Counter()
        for thread, call in self.calls(log):
            # The log is cleared by the thread's first child, and read by its second one.
            forks[thread] += call.startswith("clone(")
            if "(INJECTED)" in call and (
                    # A strace on the device cannot tell the paths of descriptors.
                    re.match(rf'openat\(.*{CONTROL}|write\(\d+(<[^>]*{CONTROL}|, "-1")', call)
                    or mode in ("scheduler", "page cache", "walk") and call.startswith("clone3(")
                    or call.startswith("clone(") and forks[thread] == 2):
                return True
        return False

    def check_cache(self, call):
        self.assertFalse(os.path.lexists(self.device.path(UNFINISHED)))
        if os.path.exists(self.device.path(CACHE)):
            cache = self.device.read(CACHE)
            self.assertRegex(cache, r"\A(\d+:\d+_\d+ /.*\n)*\Z")
            if call not in ("openat", "getdents64"):
                self.assertIn(" /data/bin/busybox\n", cache)

    @staticmethod
    def reason(error):
        return os.strerror(getattr(errno, error)), getattr(errno, error)

    def run_cases(self, mode, cases, from_start=False):
        for call, error, when in cases:
            with self.subTest(mode=mode, call=call, error=error, when=when, from_start=from_start):
                status, output, log = self.traced(mode, call, f"{call}:error={error}:when={when}",
                                                  from_start=from_start)
                self.ends[f"ended with {status}"] += 1
                self.ends["calls failed"] += log.count("(INJECTED)")
                # Tools that are killed do not always get as far as before, nor reads that find more at once.
                if "(INJECTED)" not in log:
                    self.assertNotIn(when, (1, "1+", "1+2"))
                    self.ends["made too few calls"] += 1
                self.check(mode, status, output, log, call, error)

    def cases(self, call, first, last):
        """From each call on, each second one, and each one alone, which is a matter of the first error."""
        errors = ERRORS[call].split()
        if last < first or call == "mmap" and HAS_SANITIZER or call == "write" and NEEDS_PIPES:
            return
        # Of a walk's many calls not all.
        step = 1 + (last - first) // 50
        for error in errors:
            yield from ((call, error, when) for when in (first, f"{first}+2"))
            for position in range(first, last + 1, step):
                yield call, error, f"{position}+"
        for position in range(first + 1, last + 1, step):
            yield call, errors[0], position

    def longest(self, log, call):
        """How many of the calls a thread makes, at most."""
        threads = collections.Counter(line.split()[0] for line in log.splitlines()
                                      if f" {call}(" in line)
        return max(threads.values(), default=0)

    def fail_measurement(self, mode):
        status, output, log = self.traced(mode, ",".join(ERRORS))
        self.check(mode, status, output, log)
        for call in ERRORS:
            self.run_cases(mode, some(self.cases(call, 1, self.longest(log, call)), 2))

    def test_processes(self):
        self.fail_measurement("processes")

    def test_threads(self):
        self.fail_measurement("threads")

    def test_counters(self):
        self.fail_measurement("counters")

    def test_scheduler(self):
        self.fail_measurement("scheduler")

    def test_page_cache(self):
        self.fail_measurement("page cache")

    def test_walk(self):
        self.fail_measurement("walk")

    def test_start(self):
        # What comes before the first wait, without the loader.
        log = self.traced("counters", ",".join([*ERRORS, "fcntl", "ppoll"]), from_start=True)[2]
        loader, rest = re.split(r" fcntl\(0[^,]*, F_GETFD\)", log, maxsplit=1)
        rest = rest.partition(" ppoll(")[0]
        for call in ERRORS:
            before = self.longest(loader, call)
            self.run_cases("counters", some(self.cases(call, before + 1, before + self.longest(rest, call)), 2),
                           from_start=True)
