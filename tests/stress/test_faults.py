"""The kernel refuses a call: the report holds what could be read, or a message says why there is none.

strace fails calls of the unchanged program, with errors that they can have. A line of a report is true when
the program also prints it on a device where some files are missing in one of the two snapshots.
"""

import collections
import errno
import os
import re
import tempfile

from extent import figure, some
from inode_cache import CACHE, UNFINISHED
from modes import MODES, PARANOID, ModeTest
from program import HAS_SANITIZER, NEEDS_PIPES, SEPARATOR, mask_times
from strace_log import calls_of
from trace_device import UNFINISHED_TRACE
from tracing import TRACING

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

READ_ERROR = re.compile(r"Error opening /(?:proc|sys)/\S+: (?P<text>.*) \((?P<error>\d+)\)\n")
# A file without which there is no measurement. Without the ring buffers the trace is read as text.
CONTROL = rf"(?:{PARANOID}|{TRACING}/(?!events/header_page))"
FATAL = re.compile(rf"(?:Error (?:opening|writing to) {CONTROL}\S*: (?P<text>.*) \((?P<error>\d+)\)"
                   r"|pthread_create\((?:pipe|logcat)\) failed! rc= \d+"
                   r"|fopen\(trace_pipe\) failed!|popen\(\) failed!)\n")
NOTICE = re.compile(r"SIGUSR1->(?:start|stop)\(\)\n|Received first trace message\.\.\.\n"
                    r"|(?:Writing|Done writing) output to trace\.txt\.\.\.\n|Killing logcat process \d+\n")
# Behind the line of a CPU. Each counter holds 1000, where it could be read.
COUNTERS = re.compile(r"   crefs=(?:0|[1-4]000) +hit=-?(?:\d+\.\d\d|inf) *br=(?:0|[1-4]000) +hit=-?(?:\d+\.\d\d|inf) *\n")
PAGES = re.compile(r"add=[012] del=0 file=(?:/known|unknown|total)\n")
RECORD = "time=35.993756 tag=nr duration=5 cpu=1 tgid=3 tgid_name=worker tid=3 tid_name=worker name=wait\n"


class Faults(ModeTest):
    true = None
    ends = collections.Counter()

    @classmethod
    def tearDownClass(cls):
        figure(", ".join(f"{count} {end}" for end, count in sorted(cls.ends.items())))

    def setUp(self):
        super().setUp()
        if Faults.true is None:
            Faults.true = self.true_lines()

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
                self.measure_to_end(program, None if from_start else strace)
                return program.process.returncode, program.output(), log.read()

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
        if not any(re.match(r"write\(1[<,].*\(INJECTED\)", text) for _, text in calls_of(log)):
            self.assertEqual(reasons > 0, fatal, "a reason for the end")
        if os.path.exists(self.device.path("/data/trace.txt")):
            self.assertLessEqual(set(self.records().splitlines(keepends=True)), {RECORD})
        self.assertFalse(os.path.lexists(self.device.path(UNFINISHED_TRACE)))
        if mode == "walk":
            self.check_cache(call)
        self.wait_until_all_have_ended()

    def is_fatal(self, mode, log):
        """Whether a call has failed without which there is no measurement."""
        forks = collections.Counter()
        threads = 0
        for thread, call in calls_of(log):
            # The first one prints messages, which can do without.
            threads += call.startswith("clone3(")
            # The log is cleared by the thread's first child, and read by its second one.
            forks[thread] += call.startswith("clone(")
            if "(INJECTED)" in call and (
                    # A strace on the device cannot tell the paths of descriptors.
                    re.match(rf'openat\(AT_FDCWD[^,]*, "{CONTROL}|write\(\d+(<[^>]*{CONTROL}|, "-1")', call)
                    or mode in ("scheduler", "page cache", "walk") and call.startswith("clone3(") and threads > 1
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
        self.assertTrue(log, "strace sees the calls that are to fail")
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
