"""A device that traces: its control files, a FIFO for the trace, and scripts for the tools."""

import fcntl
import os
import signal
import subprocess
import termios

from harness import DeviceTest
from deadline import wait_for
from program import SYSTEM_CALLS
from tracing import CONTROLS, TRACING

TRACE = "/data/trace.txt"
UNFINISHED_TRACE = "/data/trace.txt.new"

# Every tool logs its arguments. A logcat prints what stands in /data/log and then stays; busybox ends it.
TOOL = """#!/bin/sh
{{ printf '[%s]' {name} "$@"; echo; }} >> /data/calls
{body}
"""
LOGCAT = """[ "$1" = -c ] && exit 0
echo $$ > /data/logcat-pid
{body}"""
STAY = "exec sleep 1000"
PRINT_AND_STAY = "cat /data/log\n" + STAY
END_LOGCAT = "kill $(cat /data/logcat-pid)"
FALLBACK = "[busybox][pkill][logcat]\n"
LOG_LINE = "11-20 16:41:43.123  1234  1250 {} {}: {} cmp={}\n"


def sched(kind, tid, comm, value, time="35.993756", cpu=1):
    number = f"runtime={value} [ns] vruntime=1 [ns]" if kind == "runtime" else f"delay={value} [ns]"
    return (f"{comm:>16}-{tid:<7} [{cpu:03}] d....    {time}: sched_stat_{kind}: comm={comm} pid={tid} "
            f"{number}\n")


def kpi(tag, number, component="com.example/.Main", priority="I"):
    return LOG_LINE.format(priority, f"KPI-R2K-{tag}", number, component)


class TraceTest(DeviceTest):
    def setUp(self):
        super().setUp()
        self.pipe = None
        self.addCleanup(self.close_pipe)
        self.lay_tracing(TRACING)
        self.logcat(PRINT_AND_STAY)
        self.tool("busybox", END_LOGCAT)
        self.device.write("/data/log", "")
        self.device.write("/data/inode.txt", "")
        # The folder's name marks all processes of the test.
        self.environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}",
                                DEVICE=self.device.folder)

    def tool(self, name, body):
        self.device.write(f"/data/bin/{name}", TOOL.format(name=name, body=body))
        os.chmod(self.device.path(f"/data/bin/{name}"), 0o755)

    def logcat(self, body):
        """What logcat does when it is to print the log."""
        self.tool("logcat", LOGCAT.format(body=body))

    def log(self, *lines):
        self.device.write("/data/log", b"".join(line if isinstance(line, bytes) else line.encode()
                                                for line in lines))

    def lay_tracing(self, tracing):
        for control in CONTROLS:
            self.device.write(f"{tracing}/{control}", "as it was")
        os.mkfifo(self.device.path(f"{tracing}/trace_pipe"))
        self.close_pipe()
        # Also a reader, so that a write never fails for want of one.
        self.pipe = os.open(self.device.path(f"{tracing}/trace_pipe"), os.O_RDWR)

    def close_pipe(self):
        if self.pipe is not None:
            os.close(self.pipe)
            self.pipe = None

    def task(self, tid, tgid, comm):
        self.device.write(f"/proc/{tid}/status", f"Name:\t{comm}\nTgid:\t{tgid}\n")
        self.device.write(f"/proc/{tgid}/comm", f"{comm}\n")

    def send(self, *lines):
        for line in lines:
            os.write(self.pipe, line.encode())

    def unread(self, pipe=None):
        count = bytearray(4)
        fcntl.ioctl(self.pipe if pipe is None else pipe, termios.FIONREAD, count)
        return int.from_bytes(count, "little")

    def send_in_pieces(self, text, pipe=None):
        """Each piece is read before the next one comes."""
        for begin in range(0, len(text), 9):
            os.write(self.pipe if pipe is None else pipe, text[begin:begin + 9].encode())
            wait_for(lambda: self.unread(pipe) == 0, "the piece is read")

    def settle(self, pipe=None):
        """Waits until the lines that were sent have had their effect."""
        for _ in range(2):
            # What is read now comes after the first read's lines have been taken.
            os.write(self.pipe if pipe is None else pipe, b"\n")
            wait_for(lambda: self.unread(pipe) == 0, "the lines are read")

    def processes(self):
        """The ids of the program, its children and theirs, as long as they run."""
        mark = f"DEVICE={self.device.folder}".encode()
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/environ", "rb") as environment:
                    if mark in environment.read().split(b"\0"):
                        found.append(int(pid))
            except OSError:
                pass  # ended in the meantime, or not ours
        return found

    def wait_until_all_have_ended(self):
        try:
            wait_for(lambda: not self.processes(), "no process is left")
        finally:
            for pid in self.processes():
                os.kill(pid, signal.SIGKILL)

    @staticmethod
    def children(program):
        """The children of the program, those included that it has not waited for."""
        found = []
        for task in os.listdir(f"/proc/{program.pid}/task"):
            try:
                with open(f"/proc/{program.pid}/task/{task}/children") as children:
                    found += children.read().split()
            except (FileNotFoundError, ProcessLookupError):
                pass  # ended in the meantime
        return found

    def logcat_pid(self):
        def text():
            try:
                return self.device.read("/data/logcat-pid")
            except FileNotFoundError:
                return ""
        wait_for(lambda: text().endswith("\n"), "logcat runs")
        return int(text())

    def wait_until_logged(self):
        """Until logcat has printed everything and sleeps. Returns its id."""
        pid = self.logcat_pid()

        def sleeps():
            with open(f"/proc/{pid}/comm") as comm:
                return comm.read() == "sleep\n"
        wait_for(sleeps, "logcat has printed")
        return pid

    def calls(self):
        return self.device.read("/data/calls")

    def start(self, *options, **popen):
        return self.device.start("--stdout", "--no-proc-cpu", *options, env=self.environment, **popen)

    @staticmethod
    def is_held(pid, tid):
        """Whether the thread sleeps in opening a file."""
        try:
            with open(f"/proc/{pid}/task/{tid}/syscall") as syscall:
                if syscall.read().split()[0] != SYSTEM_CALLS["openat"]:
                    return False
            with open(f"/proc/{pid}/task/{tid}/stat") as stat:
                return stat.read().rsplit(")")[1].split()[0] == "S"
        except (FileNotFoundError, ProcessLookupError):
            return False  # ended in the meantime

    def wait_until_held(self, program):
        wait_for(lambda: self.is_held(program.pid, program.pid), "the write is held")

    def wait_until_reading(self, program):
        """Until then a pipe that is closed has nobody to keep what is in it."""
        pipe = os.stat(self.device.path(f"{TRACING}/trace_pipe"))

        def is_pipe(descriptor):
            try:
                return os.path.samestat(os.stat(f"/proc/{program.pid}/fd/{descriptor}"), pipe)
            except FileNotFoundError:
                return False  # closed in the meantime
        wait_for(lambda: any(map(is_pipe, os.listdir(f"/proc/{program.pid}/fd"))), "the pipe is open")

    def inject(self, program, thread, *faults):
        """From now on strace makes calls of the thread with this name fail."""
        self.attach_strace(program, thread, "-o", "/dev/null",
                           *(word for fault in faults for word in ("-e", f"inject={fault}")))

    def attach_strace(self, program, thread, *words):
        """From now on strace, with these arguments, traces the thread with this name."""
        tasks = f"/proc/{program.pid}/task"

        def read(task, file):
            with open(f"{tasks}/{task}/{file}") as text:
                return text.read()
        task = next(task for task in os.listdir(tasks) if read(task, "comm") == thread + "\n")
        tracer = subprocess.Popen(["strace", "-q", *words, "-p", task])
        self.addCleanup(tracer.wait)
        self.addCleanup(tracer.kill)
        wait_for(lambda: "\nTracerPid:\t0\n" not in read(task, "status"), "strace has the thread")

    def trace(self, *lines, options=("--systrace",)):
        """One measurement in enter mode with these lines in the pipe. Returns the output."""
        with self.start("--enter", *options) as program:
            program.wait_until_waiting()
            self.send(*lines)
            program.type("\n")
            return program.finish()

    def records(self):
        return self.device.read(TRACE)
