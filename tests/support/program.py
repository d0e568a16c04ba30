"""Runs the program that the tests are about, sends it signals and waits for it, with deadlines."""

import os
import re
import select
import signal
import subprocess
import tempfile

from deadline import wait_for, wait_for_end, wait_for_input

PROGRAM = os.path.realpath(os.environ["TARNWICK"])
SEPARATOR = "-" * 113 + "\n"

with open(PROGRAM, "rb") as program:
    _text = program.read()
    # This sanitizer keeps a signal that arrives outside a blocking call for the next call to return,
    # even when that call blocks.
    HOLDS_SIGNALS_BACK = b"__tsan_init" in _text
    # This one asks a pipe whether memory can be read.
    NEEDS_PIPES = b"__ubsan_handle" in _text
    # They keep memory that was freed, and have no way to go on without some of theirs.
    HAS_SANITIZER = HOLDS_SIGNALS_BACK or b"__asan_init" in _text
    del _text

# Their numbers, as /proc/PID/syscall has them.
SYSTEM_CALLS = {
    "x86_64": {"write": "1", "openat": "257", "ppoll": "271"},
    "aarch64": {"openat": "56", "write": "64", "ppoll": "73"},
}[os.uname().machine]

TIMING_LINE = re.compile(
    r"^uptime=(\d+), realtime=(\d+), proctimebefore=(\d+), proctimeafter=(\d+)\n", re.M)


def mask_times(output):
    """The timing line with a letter for each of its four times, which differ from run to run."""
    return TIMING_LINE.sub("uptime=U, realtime=R, proctimebefore=B, proctimeafter=A\n", output)


class Program:
    """One run. Its standard input is a pipe, its output is collected to the end.

    `prefix` is a command that executes the program in its own process, as enter_device.sh does.
    """

    def __init__(self, *options, prefix=(), stdin=subprocess.PIPE, stdout=None, **popen):
        self.stdout = tempfile.TemporaryFile() if stdout is None else None
        self.stderr = tempfile.TemporaryFile()
        self.process = subprocess.Popen(
            [*prefix, PROGRAM, *options],
            stdin=stdin,
            stdout=self.stdout if stdout is None else stdout,
            stderr=self.stderr,
            **popen)
        self.pid = self.process.pid

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        for stream in (self.stdout, self.stderr, self.process.stdin):
            if stream is not None:
                stream.close()

    def _status(self, field):
        with open(f"/proc/{self.pid}/status") as status:
            for line in status:
                if line.startswith(field + ":"):
                    return line.split()[1]
        raise AssertionError(field)

    def state(self):
        """The letter of the process's state, as in proc(5)."""
        return self._status("State")

    def blocks(self, signo):
        """Whether the main thread has the signal blocked."""
        return bool(int(self._status("SigBlk"), 16) & 1 << (signo - 1))

    def is_waiting(self):
        """Whether the main thread sleeps in its wait and no SIGUSR1 is on its way to it.

        The pending set is read first: a signal leaves it only when the wait that it ended is over, so
        a wait that is seen afterwards is a later one. Under strace the thread is then stopped once more,
        not asleep.
        """
        if self.process.poll() is not None:
            raise AssertionError(f"ended with {self.process.returncode}: {self.errors()}{self.output()}")
        usr1 = 1 << (signal.SIGUSR1 - 1)
        if (int(self._status("ShdPnd"), 16) | int(self._status("SigPnd"), 16)) & usr1:
            return False
        if self.state() != "S":
            return False
        return self._system_call() == SYSTEM_CALLS["ppoll"]

    def _system_call(self):
        with open(f"/proc/{self.pid}/syscall") as syscall:
            return syscall.read().split()[0]

    def is_in(self, system_call):
        """Whether the main thread is blocked in this call, and no command of the prefix."""
        with open(f"/proc/{self.pid}/comm") as comm:
            if comm.read() != "tarnwick\n":
                return False
        return self._system_call() == SYSTEM_CALLS[system_call]

    def wait_until_waiting(self):
        wait_for(self.is_waiting, "the program waits")

    def has_thread(self, name):
        for task in os.listdir(f"/proc/{self.pid}/task"):
            with open(f"/proc/{self.pid}/task/{task}/comm") as comm:
                if comm.read() == name + "\n":
                    return True
        return False

    def wait_for_thread_name(self, name):
        wait_for(lambda: self.has_thread(name), f"a thread named {name}")

    def send(self, signo):
        os.kill(self.pid, signo)

    def toggle(self):
        """Sends SIGUSR1 and waits until the program has acted on it and waits again."""
        self.wait_until_waiting()
        self.send(signal.SIGUSR1)
        self.wait_until_waiting()

    def type(self, text):
        self.process.stdin.write(text.encode())
        self.process.stdin.flush()

    def finish(self, status=0):
        """Waits for the end, checks the exit status and returns the standard output."""
        if self.process.stdin is not None:
            self.process.stdin.close()
        wait_for_end(self.process, "the program ends")
        if self.process.returncode != status:
            raise AssertionError(
                f"exit status {self.process.returncode}, not {status}: {self.errors()}")
        return self.output()

    def interrupt(self):
        """Ends the program by SIGINT and returns the standard output."""
        self.send(signal.SIGINT)
        if HOLDS_SIGNALS_BACK:
            wait_for(self._ends_at_another_interrupt, "the program ends")
        return self.finish()

    def _ends_at_another_interrupt(self):
        try:
            self.process.wait(1)
        except subprocess.TimeoutExpired:
            self.send(signal.SIGINT)
        return self.process.returncode is not None

    def read_bit_by_bit(self, descriptor):
        """What the program writes there, to the end.

        The program is stopped again and again, which cuts short a write that waits in the middle.
        """
        text = b""
        while True:
            wait_for_input(descriptor, "more of the output")
            self.send(signal.SIGSTOP)
            try:
                bit = os.read(descriptor, 4000)
            except OSError:
                bit = b""  # nobody has the terminal any more
            self.send(signal.SIGCONT)
            if not bit:
                return text.decode()
            text += bit

    def output(self):
        return self._text(self.stdout) if self.stdout is not None else ""

    def errors(self):
        return self._text(self.stderr)

    @staticmethod
    def _text(stream):
        # Not seek: the program shares the file's offset, and may still be writing.
        return os.pread(stream.fileno(), 1 << 26, 0).decode(errors="surrogateescape")
