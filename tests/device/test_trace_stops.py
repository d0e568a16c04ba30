"""Five hundred stops of tracing: none hangs, and none loses a line that was in the pipe before it."""

import os
import select
import threading

from trace_device import TraceTest, sched
from deadline import wait_for
from tracing import TRACING

STOPS = 125
RECORD = "time=35.993756 tag=nr duration=123456789 cpu=1 tgid=7 tgid_name=p tid=7 tid_name=p name=wait\n"


class Stops(TraceTest):
    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")

    def stop_often(self, before_stop=lambda: None, check=lambda round_: None, after=lambda: None):
        with self.start("--sig", "--systrace") as program:
            for round_ in range(STOPS):
                program.toggle()
                self.wait_until_reading(program)
                before_stop()
                program.toggle()
                check(round_)
                after()
            program.interrupt()

    def test_writer_that_never_pauses(self):
        stop = threading.Event()
        line = sched("wait", 7, "p", 123456789).encode()
        # A longer write may put a part of a line into the pipe.
        some = line * (select.PIPE_BUF // len(line))

        def write():
            while not stop.is_set():
                try:
                    os.write(writer, some)
                except BlockingIOError:
                    pass
        writer = os.open(self.device.path(f"{TRACING}/trace_pipe"),
                         os.O_WRONLY | os.O_NONBLOCK)
        thread = threading.Thread(target=write)
        thread.start()
        try:
            self.stop_often(
                lambda: wait_for(lambda: self.unread() >= 2 * len(line), "a whole line is there"),
                lambda round_: self.assertEqual(set(self.records().splitlines(keepends=True)), {RECORD},
                                                round_))
        finally:
            stop.set()
            thread.join()
            os.close(writer)

    def test_silent_writer(self):
        self.stop_often(check=lambda round_: self.assertEqual(self.records(), "", round_))

    def test_writer_that_has_closed_the_pipe(self):
        # The last line has no newline, and counts: the stream has ended behind it.
        def write_and_close():
            self.send(*(sched("wait", 7, "p", number + 1) for number in range(20)))
            self.send(sched("wait", 7, "p", 77).split(" [ns]")[0])
            self.close_pipe()

        def reopen():
            self.pipe = os.open(self.device.path(f"{TRACING}/trace_pipe"), os.O_RDWR)
        self.stop_often(
            write_and_close,
            lambda round_: self.assertEqual(len(self.records().splitlines()), 21, round_), reopen)

    def test_writer_that_stops_in_the_middle_of_a_line(self):
        def write():
            self.send(*(sched("wait", 7, "p", number + 1) for number in range(20)))
            self.send(sched("wait", 7, "p", 123456789).split("456789")[0])
        self.stop_often(
            write, lambda round_: self.assertEqual(len(self.records().splitlines()), 20, round_),
            lambda: self.assertEqual(self.unread(), 0))
