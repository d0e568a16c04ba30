"""Messages of a trace to an output that takes nothing for a while: the trace goes on."""

import contextlib
import fcntl
import os
import pty
import select
import unittest

from trace_device import TraceTest, sched
from deadline import wait_for, wait_for_input
from program import HAS_SANITIZER, HOLDS_SIGNALS_BACK, SEPARATOR, SYSTEM_CALLS

CTRL_Q, CTRL_S = b"\x11", b"\x13"
FIRST = "Received first trace message...\n"
WRITING = "Writing output to trace.txt...\nDone writing output to trace.txt...\n"


class HeldOutput(TraceTest):
    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")

    @staticmethod
    def blocked_in_write(program):
        """The names of the threads that wait in write(2)."""
        names = set()
        for task in os.listdir(f"/proc/{program.pid}/task"):
            try:
                with open(f"/proc/{program.pid}/task/{task}/syscall") as syscall:
                    if syscall.read().split()[0] != SYSTEM_CALLS["write"]:
                        continue
                with open(f"/proc/{program.pid}/task/{task}/comm") as comm:
                    names.add(comm.read().strip())
            except (FileNotFoundError, ProcessLookupError):
                pass  # ended in the meantime
        return names

    def trace_on_while_held(self, program):
        """Events before and after the message that cannot be written."""
        self.send(sched("wait", 7, "p", 1))
        wait_for(lambda: self.blocked_in_write(program), "the message is held")
        for number in range(2, 12):
            self.send(sched("wait", 7, "p", number))
            self.settle()
        self.assertTrue(self.blocked_in_write(program))

    def assert_traced(self, output):
        self.assertTrue(output.startswith(FIRST + SEPARATOR + WRITING), output[:300])
        self.assertEqual(output.count("uptime="), 1)
        self.assertEqual([line.split("duration=")[1].split()[0] for line in self.records().splitlines()],
                         [str(number) for number in range(1, 12)])

    @contextlib.contextmanager
    def traced_on_held_terminal(self):
        """A program that has traced on while its terminal was held, and the other end of the terminal."""
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        with self.start("--enter", "--systrace", stdout=follower) as program:
            program.wait_until_waiting()
            os.write(leader, CTRL_S)
            wait_for(lambda: not select.select([], [follower], [], 0)[1], "the terminal is held")
            os.close(follower)
            self.trace_on_while_held(program)
            yield program, leader

    def test_terminal_that_is_held(self):
        with self.traced_on_held_terminal() as (program, leader):
            os.write(leader, CTRL_Q)
            program.type("\n")
            output = program.read_bit_by_bit(leader).replace("\r\n", "\n")
            program.finish()
        self.assert_traced(output)

    @unittest.skipIf(HAS_SANITIZER, "they are to be loaded before any other library")
    def test_pipe_that_nobody_reads(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        filled = os.write(writer, bytes(fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)))
        with self.start("--enter", "--systrace", stdout=writer, prefix=["stdbuf", "-oL"]) as program:
            program.wait_until_waiting()
            os.close(writer)
            self.trace_on_while_held(program)
            program.type("\n")
            output = program.read_bit_by_bit(reader)[filled:]
            program.finish()
        self.assert_traced(output)

    def test_messages_come_at_once_where_the_output_takes_them(self):
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        with self.start("--enter", "--systrace", stdout=follower) as program:
            program.wait_until_waiting()
            os.close(follower)
            self.send(sched("wait", 7, "p", 1))
            # Without a stop.
            wait_for_input(leader, "the message comes")
            self.assertEqual(os.read(leader, 4000).decode().replace("\r\n", "\n"), FIRST)
            program.type("\n")
            program.read_bit_by_bit(leader)
            program.finish()

    @unittest.skipIf(HOLDS_SIGNALS_BACK, "this sanitizer holds back the alarm that ends the wait")
    def test_interrupt_ends_the_program_while_a_message_is_held(self):
        with self.traced_on_held_terminal() as (program, _):
            program.interrupt()
        self.wait_until_all_have_ended()

    def test_interrupt_prints_messages(self):
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(sched("wait", 7, "p", 1))
            self.settle()
            self.assertEqual(program.interrupt(), FIRST)
        self.wait_until_all_have_ended()
