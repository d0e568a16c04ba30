"""When measurements begin and end, and what stands around their reports."""

import array
import fcntl
import os
import pty
import re
import signal
import subprocess
import sys
import tempfile
import termios
import time
import tty

from harness import (DeviceTest, IDLE_CPUS, IDLE_DISKS, IDLE_SYSTEM, NO_BATTERY, NO_MEMORY, NO_RECLAIM,
                     TIMES)
from deadline import wait_for, wait_for_end
from program import HOLDS_SIGNALS_BACK, SEPARATOR, mask_times
from trace_device import TraceTest

REST = IDLE_CPUS + IDLE_SYSTEM + TIMES
REPORT = SEPARATOR + REST
START = "SIGUSR1->start()\n"
STOP = "SIGUSR1->stop()\n"

BUSY = "5     busy              : total={total:<4} utime={total:<4} stime=0    min_flt=0     maj_flt=0   \n"


class Loop(DeviceTest):
    def test_stopping_and_continuing_the_process_does_not_end_the_sleep(self):
        with self.device.start("--stdout", "--iter=1", "--interval=3600") as program:
            program.wait_until_waiting()
            program.send(signal.SIGSTOP)
            wait_for(lambda: program.state() == "T", "the program is stopped")
            program.send(signal.SIGCONT)
            wait_for(lambda: program.state() == "S", "the program goes on")
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_three_measurements(self):
        with self.device.start("--stdout", "--iter=3", "--interval=1") as program:
            self.assertEqual(mask_times(program.finish()), 3 * REPORT)

    def test_no_limit_ends_by_interrupt_alone(self):
        with self.device.start("--stdout", "--interval=0") as program:
            wait_for(lambda: program.output().count(SEPARATOR) > 20, "20 reports")
            output = program.interrupt()
        self.assertEqual(mask_times(output)[:len(REPORT) * 20], REPORT * 20)

    def test_every_report_is_flushed(self):
        with self.device.start("--stdout", "--iter=2", "--interval=3600") as program:
            program.toggle()
            self.assertEqual(mask_times(program.output()), STOP + REPORT + REPORT)

    def test_signal_ends_the_sleep_and_the_loop_prints_its_own_report(self):
        self.device.process(5, "busy", 10)
        with self.device.start("--stdout", "--iter=1", "--interval=3600") as program:
            program.wait_until_waiting()
            self.device.process(5, "busy", 12)
            program.send(signal.SIGUSR1)
            output = program.finish()
        # The second report is measured against nothing: the first has reset the before side.
        self.assertEqual(
            mask_times(output),
            STOP + SEPARATOR + BUSY.format(total=20) + REST
            + SEPARATOR + BUSY.format(total=120) + REST)

    def test_second_measurement_takes_over_the_after_side(self):
        self.device.process(5, "busy", 10)
        with self.device.start("--stdout", "--iter=2", "--interval=1") as program:
            program.wait_until_waiting()
            self.device.process(5, "busy", 12)
            wait_for(lambda: TIMES in mask_times(program.output()), "the first report")
            program.wait_until_waiting()
            self.device.process(5, "busy", 17)
            output = program.finish()
        self.assertEqual(
            mask_times(output),
            SEPARATOR + BUSY.format(total=20) + REST
            + SEPARATOR + BUSY.format(total=50) + REST)


# What the C library leaves on standard input is the measure.
FGETS = """
import ctypes
libc = ctypes.CDLL(None)
libc.fgets(ctypes.create_string_buffer(80), 80, ctypes.c_void_p.in_dll(libc, "stdin"))
libc.exit(0)
"""


class WhatEnterLeaves(DeviceTest):
    """Standard input after the program, compared with a program that calls fgets on 80 bytes and exits."""

    def assert_left(self, stdin, lay, left, expected, is_that_of_fgets=True):
        """`lay` puts the text there, `left` tells what of it is left."""
        lay()
        with self.device.start("--stdout", "--enter", stdin=stdin) as program:
            self.assertEqual(mask_times(program.finish()), REPORT)
        self.assertEqual(left(), expected)
        if is_that_of_fgets:
            lay()
            subprocess.run([sys.executable, "-I", "-c", FGETS], stdin=stdin, check=True)
            self.assertEqual(left(), expected)

    def test_offset_of_a_file(self):
        for text, begin, offset in (("one\ntwo\n", 0, 4), ("one\ntwo\n", 4, 8), ("\n\n", 0, 1), ("two", 0, 3), ("", 0, 0),
                                    (78 * "x" + "\ntwo\n", 0, 79), (79 * "x" + "\ntwo\n", 0, 79),
                                    (200 * "x" + "\n", 0, 79), ("one\n" + 5000 * "x", 0, 4)):
            with self.subTest(text=text[:100], begin=begin), tempfile.TemporaryFile(buffering=0) as file:
                file.write(text.encode())
                self.assert_left(file, lambda: file.seek(begin), file.tell, offset)

    def test_script_loses_one_line(self):
        with tempfile.TemporaryFile(buffering=0) as script:
            script.write(b'"$1" --stdout --enter >/dev/null\ntaken by the program\necho next\n')
            script.seek(0)
            # A shell that leaves the offset behind the line that it executes, as POSIX demands.
            with self.device.start(prefix=["bash", "-s"], stdin=script) as shell:
                self.assertEqual((shell.finish(), shell.errors()), ("next\n", ""))

    def test_lines_of_a_terminal(self):
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        self.addCleanup(os.close, follower)
        mode = termios.tcgetattr(follower)
        mode[3] &= ~termios.ECHO
        termios.tcsetattr(follower, termios.TCSANOW, mode)

        def left():
            os.write(leader, b"end\n")
            lines = b""
            while not lines.endswith(b"end\n"):
                lines += os.read(follower, 5000)
            return lines
        # The C library takes no more than 1024 bytes of a line.
        for length in (0, 3, 78, 79, 80, 200, 1000, 2000, 4000):
            with self.subTest(length=length):
                def lay(line=length * b"x" + b"\nnext\n"):
                    # The terminal holds 4096 bytes.
                    os.write(leader, line if length < 1024 else line.removesuffix(b"next\n"))
                self.assert_left(follower, lay, left, b"next\nend\n" if length < 1024 else b"end\n", length < 1024)

    def test_bytes_of_a_pipe(self):
        # No more than 79 are read, where the C library takes a whole block.
        for text, count in (("one\n", 0), ("one\ntwo\n", 0), (79 * "x" + "two\n", 4), ("one\n" + 96 * "x", 21)):
            with self.subTest(text):
                reader, writer = os.pipe()
                os.write(writer, text.encode())
                self.assert_left(reader, lambda: None, lambda: unread_bytes(reader), count, False)
                os.close(writer)
                os.close(reader)


class Enter(DeviceTest):
    def test_one_measurement_up_to_the_line(self):
        with self.device.start("--stdout", "--enter") as program:
            program.wait_until_waiting()
            self.assertEqual(program.output(), "")
            program.type("\n")
            self.assertEqual(mask_times(program.finish()), REPORT)

    def test_end_of_input_ends_the_wait(self):
        with self.device.start("--stdout", "--enter", stdin=subprocess.DEVNULL) as program:
            self.assertEqual(mask_times(program.finish()), REPORT)

    def test_pipe_whose_writer_closes_ends_the_wait(self):
        with self.device.start("--stdout", "--enter") as program:
            program.wait_until_waiting()
            program.process.stdin.close()
            wait_for_end(program.process, "the program ends")
            self.assertEqual(mask_times(program.output()), REPORT)

    def test_control_d_on_a_terminal_ends_the_wait(self):
        leader, follower = pty.openpty()
        with self.device.start("--stdout", "--enter", stdin=follower) as program:
            os.close(follower)
            program.wait_until_waiting()
            os.write(leader, b"\x04")
            self.assertEqual(mask_times(program.finish()), REPORT)
        os.close(leader)

    def test_signal_that_was_held_comes_before_input_that_is_ready(self):
        hold = first_do("signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])",
                        "os.kill(os.getpid(), signal.SIGUSR1)")
        with self.device.start("--stdout", "--enter", stdin=subprocess.DEVNULL,
                               prefix=hold) as program:
            self.assertEqual(mask_times(program.finish()), STOP + REPORT + REPORT)

    def test_closed_input_ends_the_wait(self):
        with self.device.start("--stdout", "--enter", stdin=None,
                               preexec_fn=lambda: os.close(0)) as program:
            self.assertEqual(mask_times(program.finish()), REPORT)

    def test_part_of_a_line_does_not_end_the_wait(self):
        with self.device.start("--stdout", "--enter") as program:
            program.wait_until_waiting()
            program.type("no line yet")
            # Read, and waiting again: only then is there nothing left in the pipe.
            wait_for(lambda: pending_bytes(program.process.stdin) == 0, "the text is read")
            program.wait_until_waiting()
            program.type("\n")
            self.assertEqual(mask_times(program.finish()), REPORT)

    def test_a_full_line_buffer_ends_the_wait(self):
        with self.device.start("--stdout", "--enter") as program:
            program.wait_until_waiting()
            program.type("x" * 78)
            wait_for(lambda: pending_bytes(program.process.stdin) == 0, "the text is read")
            program.wait_until_waiting()
            program.type("x")
            wait_for_end(program.process, "the program ends")
            self.assertEqual(mask_times(program.output()), REPORT)

    def test_signals_stop_and_start_while_the_wait_goes_on(self):
        with self.device.start("--stdout", "--enter") as program:
            program.toggle()
            self.assertEqual(mask_times(program.output()), STOP + REPORT)
            program.toggle()
            program.type("\n")
            self.assertEqual(mask_times(program.finish()), STOP + REPORT + START + REPORT)

    def test_terminal(self):
        leader, follower = pty.openpty()
        with self.device.start("--stdout", "--enter", stdin=follower) as program:
            os.close(follower)
            program.wait_until_waiting()
            os.write(leader, b"\n")
            self.assertEqual(mask_times(program.finish()), REPORT)
        os.close(leader)


class SharedInput(TraceTest):
    def test_input_that_another_reader_has_taken_does_not_end_the_wait(self):
        # Input that does not block has nothing left then.
        reader, writer = os.pipe()
        os.set_blocking(reader, False)
        with self.start("--enter", stdin=reader) as program, open(reader) as pipe:
            program.wait_until_waiting()
            self.inject(program, "tarnwick", "read:error=EAGAIN:when=1")
            os.write(writer, b"\n")
            self.assertEqual(mask_times(program.finish()), REPORT)
            self.assertEqual(pending_bytes(pipe), 0)
        os.close(writer)


class Signal(DeviceTest):
    def test_nothing_is_printed_before_the_first_signal(self):
        with self.device.start("--stdout", "--sig") as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_signals_alternate_start_and_stop(self):
        with self.device.start("--stdout", "--sig") as program:
            for _ in range(4):
                program.toggle()
            self.assertEqual(mask_times(program.interrupt()), 2 * (START + STOP + REPORT))

    def test_interval_and_iterations_are_ignored(self):
        with self.device.start("--stdout", "--sig", "--iter=0", "--interval=0") as program:
            program.toggle()
            program.toggle()
            self.assertEqual(mask_times(program.interrupt()), START + STOP + REPORT)

    def test_report_has_reached_a_file_before_the_next_signal(self):
        with self.device.start("--stdout", "--sig") as program:
            program.toggle()
            program.toggle()
            self.assertEqual(mask_times(program.output()), START + STOP + REPORT)

    def test_three_measurements_are_measured_end_to_end(self):
        # What is used between a stop and the next start belongs to the next measurement.
        self.device.process(5, "busy", 0)
        with self.device.start("--stdout", "--sig") as program:
            for ticks in (1, 2, 4, 8, 16, 32):
                program.toggle()
                self.device.process(5, "busy", ticks)
            output = program.interrupt()
        self.assertEqual(
            mask_times(output),
            "".join(START + STOP + SEPARATOR + BUSY.format(total=total) + REST
                    for total in (10, 30, 120)))

    def test_log_holds_the_notices_and_one_record_a_line(self):
        with self.device.start("--sig") as program:
            program.toggle()
            program.toggle()
            self.assertEqual(program.interrupt(), "")
            records = log_records(program.errors())
        # The line of the CPUs and its line end are two records, and the buddyinfo text, which is
        # not there, is an empty one.
        self.assertEqual(
            [mask_times(record) for record in records],
            [START, STOP, SEPARATOR, IDLE_CPUS.rstrip("\n"), "\n", IDLE_DISKS, NO_RECLAIM, NO_MEMORY,
             "", NO_BATTERY, TIMES])

    def test_signal_in_a_snapshot_is_held_until_the_wait(self):
        # A FIFO without a writer: the snapshot stands still in the open of it.
        stat = self.device.path("/proc/5/stat")
        os.mkdir(os.path.dirname(stat))
        os.mkfifo(stat)
        with self.device.start("--stdout", "--enter") as program:
            wait_for(lambda: program.is_in("openat"), "the open blocks")
            self.assertTrue(program.blocks(signal.SIGUSR1))
            program.send(signal.SIGUSR1)
            writer = os.open(stat, os.O_WRONLY)
            self.device.remove("/proc/5")
            os.close(writer)
            program.type("\n")
            self.assertEqual(mask_times(program.finish()), STOP + REPORT + REPORT)

    def test_signals_without_pause_leave_matching_sets(self):
        with self.device.start("--stdout", "--sig") as program:
            program.wait_until_waiting()

            def send_on():
                program.send(signal.SIGUSR1)
                return program.output().count(STOP) >= 50
            wait_for(send_on, "50 measurements")
            program.wait_until_waiting()
            output = mask_times(program.interrupt())
        full = START + STOP + REPORT
        sets = output.count(STOP)
        self.assertIn(output, (sets * full, sets * full + START))


class Interrupt(DeviceTest):
    """SIGINT. Each state must be left with status 0 and without a report."""

    def assert_ends(self, program):
        # The deadline in there is for a program that hangs; how fast it ends is no matter of a test.
        program.interrupt()

    def test_during_a_loop(self):
        with self.device.start("--stdout", "--interval=3600") as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_during_an_enter_measurement(self):
        with self.device.start("--stdout", "--enter") as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_during_a_signal_measurement_the_start_notice_comes_out(self):
        with self.device.start("--stdout", "--sig") as program:
            program.toggle()
            self.assertEqual(program.output(), "")
            self.assertEqual(program.interrupt(), START)

    def test_with_sigint_ignored_by_the_caller(self):
        # As a shell does for a command in the background.
        ignore = first_do("signal.signal(signal.SIGINT, signal.SIG_IGN)")
        with self.device.start("--stdout", "--sig", prefix=ignore) as program:
            program.wait_until_waiting()
            self.assertEqual(program.interrupt(), "")

    def test_with_all_signals_blocked_by_the_caller(self):
        block = first_do("signal.pthread_sigmask(signal.SIG_BLOCK, range(1, 32))")
        with self.device.start("--stdout", "--sig", prefix=block) as program:
            program.toggle()
            self.assertEqual(program.interrupt(), START)

    def test_while_a_reader_of_the_report_does_not_read(self):
        # More output than a pipe holds, so that the main thread blocks in the middle of a report.
        for pid in range(1000, 3000):
            self.device.process(pid, "busy", 9)
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        with self.device.start("--stdout", "--iter=1", "--interval=0", "--min-cpu=-1",
                               stdout=writer, stdin=subprocess.DEVNULL) as program:
            os.close(writer)
            wait_for(lambda: program.is_in("write"), "the pipe is full")
            self.assert_ends(program)

    def test_while_a_kernel_file_does_not_answer(self):
        # A FIFO without a writer: the open of it blocks as a broken driver would.
        os.mkdir(self.device.path("/proc/5"))
        os.mkfifo(self.device.path("/proc/5/stat"))
        block = first_do("signal.pthread_sigmask(signal.SIG_BLOCK, range(1, 32))")
        for caller in ([], block):
            with self.subTest(caller), \
                    self.device.start("--stdout", "--enter", prefix=caller) as program:
                wait_for(lambda: program.is_in("openat"), "the open blocks")
                self.assert_ends(program)
                self.assertEqual(program.output(), "")

    def test_at_random_moments_nothing_but_whole_pieces_has_come_out(self):
        for pid in range(1000, 1100):
            self.device.process(pid, "busy", 9)
        report = SEPARATOR + "".join(
            f"{pid:<5} {'busy':<18}: total=0    utime=0    stime=0    min_flt=0     maj_flt=0   \n"
            for pid in range(1000, 1100)) + REST
        for delay_us in range(0, 10000, 400):
            with self.device.start("--stdout", "--interval=0", "--min-cpu=-1") as program:
                program.wait_for_thread_name("interrupt")
                moment = time.monotonic_ns() + delay_us * 1000
                while time.monotonic_ns() < moment:
                    pass
                self.assert_ends(program)
                output = mask_times(program.output())
            self.assertEqual(output, (report * (output.count(SEPARATOR) + 1))[:len(output)])
            # The line of the CPUs and its line end are two pieces.
            self.assertTrue(output.endswith(("\n", IDLE_CPUS.rstrip("\n"))) or not output)

    def test_main_thread_does_no_more(self):
        if HOLDS_SIGNALS_BACK:
            self.skipTest("this sanitizer lets the main thread go on until its next blocking call")
        # Before the end the interrupt thread sets a timer, and is held up for a while there.
        strace = ["strace", "-D", "-f", "-o", "/data/strace", "-e", "trace=openat,setitimer", "-e",
                  "inject=setitimer:delay_enter=200000"]
        with self.device.start("--stdout", "--interval=0", prefix=strace) as program:
            wait_for(lambda: SEPARATOR in program.output(), "a report")
            program.interrupt()
            wait_for(lambda: re.search(rf"^{program.pid} +\+\+\+ exited", self.device.read("/data/strace"), re.M),
                     "strace has seen the end")
        calls = [call for tid, call in (line.split(maxsplit=1)
                                        for line in self.device.read("/data/strace").splitlines())
                 if tid == str(program.pid)]
        interrupt = next(number for number, call in enumerate(calls) if call.startswith("--- SIGINT"))
        self.assertEqual([call for call in calls[interrupt:] if call.startswith("openat(")], [])

    def test_as_early_as_the_handler_is_there(self):
        for _ in range(50):
            with self.device.start("--stdout", "--sig") as program:
                program.wait_for_thread_name("interrupt")
                self.assert_ends(program)

    def test_with_the_reader_of_a_notice_gone(self):
        reader, writer = os.pipe()
        with self.device.start("--stdout", "--sig", stdout=writer) as program:
            os.close(writer)
            program.toggle()
            os.close(reader)
            self.assert_ends(program)

    def test_control_c_on_a_terminal(self):
        leader, follower = pty.openpty()

        def take_the_terminal():
            os.setsid()
            fcntl.ioctl(follower, termios.TIOCSCTTY, 0)
        with self.device.start("--stdout", "--enter", stdin=follower,
                               preexec_fn=take_the_terminal) as program:
            program.wait_until_waiting()
            os.write(leader, b"\x03")
            self.assertEqual(program.finish(), "")
        os.close(follower)
        os.close(leader)


class BrokenOutput(DeviceTest):
    def test_full_disk_ends_with_status_0(self):
        with open("/dev/full", "w") as full:
            with self.device.start("--stdout", "--iter=2", "--interval=0", stdout=full) as program:
                wait_for_end(program.process, "the program ends")
                self.assertEqual(program.process.returncode, 0)

    def test_reader_that_takes_little_at_a_time(self):
        for pid in range(1000, 1100):
            self.device.process(pid, "busy", 9)
        report = SEPARATOR + "".join(
            f"{pid:<5} {'busy':<18}: total=0    utime=0    stime=0    min_flt=0     maj_flt=0   \n"
            for pid in range(1000, 1100)) + REST
        pipe = os.pipe()
        fcntl.fcntl(pipe[0], fcntl.F_SETPIPE_SZ, 4096)
        terminal = pty.openpty()
        tty.setraw(terminal[1])
        for reader, writer in (pipe, terminal):
            self.addCleanup(os.close, reader)
            with self.device.start("--stdout", "--iter=3", "--interval=0", "--min-cpu=-1", stdout=writer,
                                   stdin=subprocess.DEVNULL) as program:
                os.close(writer)
                self.assertEqual(mask_times(program.read_bit_by_bit(reader)), 3 * report)
                program.finish()

    def closed_pipe(self, **popen):
        reader, writer = os.pipe()
        os.close(reader)
        with self.device.start("--stdout", "--iter=3", "--interval=0", stdout=writer,
                               **popen) as program:
            os.close(writer)
            wait_for_end(program.process, "the program ends")
            return program.process.returncode

    def test_closed_pipe_ends_the_program_as_it_ends_every_filter(self):
        self.assertEqual(self.closed_pipe(), -signal.SIGPIPE)

    def test_closed_pipe_is_ignored_where_the_caller_ignores_it(self):
        self.assertEqual(self.closed_pipe(restore_signals=False), 0)

    def test_closed_output_receives_no_kernel_file(self):
        # The descriptor of standard output must not be taken by a file of the device.
        with self.device.start("--stdout", "--enter", preexec_fn=lambda: os.close(1)) as program:
            program.wait_until_waiting()
            self.assertEqual(os.stat(f"/proc/{program.pid}/fd/1").st_rdev, os.stat("/dev/null").st_rdev)
            program.type("\n")
            program.finish()
            self.assertEqual(program.errors(), "")


def first_do(*statements):
    """A command that carries out the statements and becomes the program.

    Signal masks cannot be left to the shell that enters the device: it has its own ideas of them.
    """
    return [sys.executable, "-c",
            "; ".join(["import os, signal, sys", *statements, "os.execv(sys.argv[1], sys.argv[1:])"])]


def pending_bytes(pipe):
    """Bytes in a pipe that its reader has not taken."""
    return unread_bytes(pipe.fileno())


def unread_bytes(descriptor):
    count = array.array("i", [0])
    fcntl.ioctl(descriptor, termios.FIONREAD, count)
    return count[0]


def log_records(errors):
    """The records that the log library wrote to standard error, without their heads.

    A record is "TAG PRIORITY DATE TIME PID TID TEXT" and ends in a newline of the library's own.
    """
    head = re.compile(r"^Tarnwick E \d\d-\d\d \d\d:\d\d:\d\d +\d+ +\d+ ", re.M)
    return [record[:-1] for record in head.split(errors)[1:]]
