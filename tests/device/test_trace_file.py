"""What the trace holds that it should not, and a /data that does not take its file."""

import contextlib
import os
import random
import signal
import stat

from inode_cache import shell
from trace_device import TRACE, UNFINISHED_TRACE, TraceTest, sched
from deadline import wait_for, wait_for_end

RECORD = ("time=35.993756 tag=nr duration={} cpu=1 tgid=7 tgid_name=p tid={} tid_name={} name=wait\n")
NOT_WRITTEN = "(?m)^tarnwick: trace: {} records not written to /data/trace.txt: {}$"


class BadLines(TraceTest):
    """The good lines between them are all recorded."""

    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")

    def assert_records(self, lines, records):
        self.trace(*lines)
        self.assertEqual(self.records(), "".join(records))

    def assert_all_bad(self, *lines):
        good, records = [], []
        for number in range(1, len(lines) + 2):
            good.append(sched("wait", 7, "p", number))
            records.append(RECORD.format(number, 7, "p"))
        mixed = [line for pair in zip(good, lines) for line in pair] + good[-1:]
        self.assert_records(mixed, records)

    def test_no_events(self):
        self.assert_all_bad("CPU:1 [LOST 2825 EVENTS]\n", "\n", " [\n", "[\n", "x" * 5000 + "\n",
                            "p-7 [001] .... 1.5: sched_switch: prev_comm=p prev_pid=7 delay=5\n",
                            "p-7 [001] .... 1.5: sched_stat_\n",
                            "p-7 [001] .... 1.5: sched_stat_sleep: comm=p pid=7 delay=5 [ns]\n")

    def test_parts_that_are_missing(self):
        line = sched("wait", 7, "p", 5)
        self.assert_all_bad(*(line.replace(part, "") for part in
                              ("[001]", "comm=", "pid=", "pid=7", "delay=", "delay=5", "35.993756:",
                               "sched_stat_", " [")),
                            line.replace("comm=p pid=7", "pid=7 comm=p"))

    def test_nul_bytes(self):
        line = sched("wait", 7, "p", 5)
        self.assert_all_bad("\0\n", "\0\0\0" + line, *(line.replace(part, part[0] + "\0" + part[1:])
                                                       for part in ("sched_", "comm=", "pid=", "delay=")))

    def test_line_counts_up_to_its_nul_byte(self):
        self.assert_records([sched("wait", 7, "p", 5).replace(" [ns]", "\0 [ns]")], RECORD.format(5, 7, "p"))

    def test_binary_garbage(self):
        noise = random.Random(1)
        self.assert_all_bad(*("".join(chr(noise.choice([byte for byte in range(128) if byte != 10]))
                                      for _ in range(length)) + "\n" for length in (1, 100, 1022, 3000)),
                            "\xff\xfe\x80 [1] sched_stat_w comm=\xc3 pid=\x7f delay=\x01\n")

    def test_names_of_any_length(self):
        for tid in range(100, 106):
            self.task(tid, 7, "p")
        # In the kernel's format the name has its own blanks; the record has up to 79 characters.
        names = ["", "a", "a b", "c" * 15, "d" * 80, "e" * 200]
        self.assert_records([sched("wait", 100 + index, name, 5) for index, name in enumerate(names)],
                            [RECORD.format(5, 100 + index, name[:79] or "blank")
                             for index, name in enumerate(names)])

    def test_numbers_that_overflow(self):
        many = "9" * 30
        self.assert_all_bad(*(sched("wait", 7, "p", value) for value in (many, "-" + many, 1 << 63)),
                            sched("wait", many, "p", 5), sched("wait", "-" + many, "p", 5))

    def test_lines_are_cut(self):
        line = sched("wait", 7, "p", 123456)
        head = line.split("3456")[0]
        self.assert_records(
            ["x" * 1023, sched("wait", 7, "p", 1), "x" * 10230, sched("wait", 7, "p", 2),
             # The first line of 1023 characters ends in the middle of its number.
             "x" * (1023 - len(head)) + line, sched("wait", 7, "p", 3)],
            [RECORD.format(value, 7, "p") for value in (1, 2, 12, 3)])


class Names(TraceTest):
    """They hold what their processes want, and forge no record."""

    def test_newline_and_escape(self):
        self.task(7, 7, "p\ntime=1")
        self.task(8, 7, "\x1b[2J")
        self.device.write("/proc/7/comm", "p\ntime=1\n")
        self.log("11-20 16:41:43.123  1234  1250 I KPI-R2K-\x1b[A: 5000\n")
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            self.send(sched("wait", 7, "t\x7f\tu", 5), sched("wait", 8, "\x1b[2J", 6))
            self.settle()
            program.type("\n")
            program.finish()
        self.assertEqual(sorted(self.records().splitlines()), [
            "time=35.993756 tag=nr duration=5 cpu=1 tgid=7 tgid_name=p?time=1 tid=7 tid_name=t??u name=wait",
            "time=35.993756 tag=nr duration=6 cpu=1 tgid=7 tgid_name=p?time=1 tid=8 tid_name=?[2J name=wait",
            "time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 tid_name=kpi name=KPI-R2K-?[A"])


class FileTest(TraceTest):
    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")

    def measure_in(self, setup, *options):
        """The output of a measurement behind these commands, which see the device."""
        with self.start("--enter", *options, prefix=["sh", "-c", setup + ' && exec "$@"', "sh"]) as program:
            program.wait_until_waiting()
            for number in range(200):
                self.send(sched("wait", 7, "p", number + 1))
            program.type("\n")
            output = program.finish()
            self.errors = program.errors()
        self.assertIn("body_temp=", output)
        self.wait_until_all_have_ended()
        return output

    @contextlib.contextmanager
    def measured(self, faults=None):
        """A program that ends its measurement of 200 events. Calls that the trace's reader makes then can fail."""
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(*(sched("wait", 7, "p", number + 1) for number in range(200)))
            self.settle()
            if faults:
                self.inject(program, "pipe_thread", faults)
            program.type("\n")
            yield program

    def left(self):
        return [path for path in (TRACE, UNFINISHED_TRACE) if os.path.lexists(self.device.path(path))]


class DataFolder(FileTest):
    """Whatever becomes of the file, the report prints."""

    def test_folder_is_missing(self):
        for option in ("--systrace", "--block-dump"):
            with self.subTest(option):
                output = self.measure_in("umount /data && rmdir /data", option)
                self.assertNotIn("trace.txt", output)

    def test_folder_is_read_only(self):
        self.device.remove("/data/inode.txt")
        for option in ("--systrace", "--block-dump"):
            with self.subTest(option):
                output = self.measure_in("mount -o remount,bind,ro /data", option)
                self.assertNotIn("trace.txt", output)
        self.assertEqual(set(os.listdir(self.device.path("/data"))), {"bin", "log"})

    def test_folder_is_full(self):
        output = self.measure_in("mount -t tmpfs -o size=4k tmpfs /data", "--systrace")
        self.assertRegex(self.errors, NOT_WRITTEN.format(r"\d+", "No space left on device"))
        self.assertIn("Writing output to trace.txt...\nDone writing output to trace.txt...\n", output)

    def test_folder_takes_a_part_of_the_file(self):
        with self.start("--sig", "--systrace",
                        prefix=["sh", "-c", 'mount -t tmpfs -o size=64k tmpfs /data && exec "$@"', "sh"]) as program:
            for count, fits in ((1000, False), (10, True)):
                program.toggle()
                self.send(*(sched("wait", 7, "p", number + 1) for number in range(count)))
                program.toggle()
                with open(f"/proc/{program.pid}/root/data/trace.txt") as file:
                    text = file.read()
                whole = "".join(RECORD.format(number + 1, 7, "p") for number in range(count))
                self.assertEqual(text, whole[:len(text)])
                self.assertTrue(not text or text.endswith("\n"))
                left_out = count - len(text.splitlines())
                self.assertEqual(left_out > 0, not fits)
                if left_out:
                    self.assertGreater(len(text) + len(whole) / count, 64 * 1024 - 1)
                    self.assertIn(f"tarnwick: trace: {left_out} records not written to /data/trace.txt: "
                                  "No space left on device\n", program.errors())
            program.interrupt()
            self.assertEqual(program.errors().count("not written"), 1)

    def test_writes_of_the_file_that_are_short(self):
        # The last trace leaves room for a part of a block. It is removed for the rest.
        fill = ("mount -t tmpfs -o size=96k tmpfs /data && "
                "dd if=/dev/zero of=/data/trace.txt bs=1k count=64 status=none")
        with self.start("--sig", "--systrace", prefix=shell(fill)) as program:
            program.toggle()
            self.send(*(sched("wait", 7, "p", number + 1) for number in range(600)))
            program.toggle()
            with open(f"/proc/{program.pid}/root{TRACE}") as file:
                self.assertEqual(file.read(), "".join(RECORD.format(number + 1, 7, "p") for number in range(600)))
            program.interrupt()
            self.assertNotIn("not written", program.errors())

    def test_folder_has_no_room_for_another_name(self):
        # Of two inodes the folder has one.
        with self.start("--sig", "--systrace",
                        prefix=shell("mount -t tmpfs -o nr_inodes=2 tmpfs /data && echo old >/data/trace.txt")) as program:
            program.toggle()
            self.send(sched("wait", 7, "p", 5))
            program.toggle()
            with open(f"/proc/{program.pid}/root{TRACE}") as file:
                self.assertEqual(file.read(), RECORD.format(5, 7, "p"))
            program.interrupt()

    def test_file_is_closed(self):
        with self.start("--sig", "--systrace") as program:
            program.toggle()
            self.send(sched("wait", 7, "p", 5))
            program.toggle()
            folder = f"/proc/{program.pid}/fd"
            left = [os.readlink(f"{folder}/{descriptor}") for descriptor in os.listdir(folder)]
            program.interrupt()
        self.assertEqual([path for path in left if path.endswith("/data/trace.txt")], [])

    def test_write_that_is_interrupted(self):
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(*(sched("wait", 7, "p", number + 1) for number in range(1000)))
            self.settle()
            self.inject(program, "pipe_thread", "write:error=EINTR:when=1..4")
            program.type("\n")
            program.finish()
            self.assertNotIn("not written", program.errors())
        self.assertEqual(len(self.records().splitlines()), 1000)

    def test_write_that_fails(self):
        with self.measured(faults="write:error=EIO") as program:
            self.assertIn("Writing output to trace.txt...\nDone writing output to trace.txt...\n", program.finish())
            self.assertRegex(program.errors(), NOT_WRITTEN.format(200, "Input/output error"))
        self.assertEqual((self.left(), self.records()), ([TRACE], ""))

    def test_file_is_a_folder(self):
        os.mkdir(self.device.path(TRACE))
        self.assertNotIn("trace.txt", self.measure_in("true", "--systrace"))
        self.assertNotIn("trace.txt", self.errors)
        self.assertEqual(self.left(), [TRACE])

    def test_file_that_is_there_is_replaced(self):
        self.device.write("/data/trace.txt", "x" * 1000000)
        self.trace(sched("wait", 7, "p", 5))
        self.assertEqual(self.records(), RECORD.format(5, 7, "p"))


class Replaced(FileTest):
    """Something has the file's name, or the name that it has while it is written."""

    RECORDS = "".join(RECORD.format(number + 1, 7, "p") for number in range(200))

    def write_victim(self):
        self.device.write("/data/victim", "untouched")
        return self.device.path("/data/victim")

    def check_replaced(self):
        """The trace is a new file, like those that the program creates, and the report is printed."""
        with self.measured() as program:
            self.assertIn("body_temp=", program.finish())
            self.assertNotIn("tarnwick", program.errors())
        self.assertEqual((self.left(), self.records()), ([TRACE], self.RECORDS))
        status = os.lstat(self.device.path(TRACE))
        umask = os.umask(0)
        os.umask(umask)
        self.assertEqual((status.st_mode, status.st_uid, status.st_nlink),
                         (stat.S_IFREG | 0o644 & ~umask, os.geteuid(), 1))

    def test_fifo(self):
        os.mkfifo(self.device.path(TRACE))
        self.check_replaced()

    def test_link(self):
        os.symlink(self.write_victim(), self.device.path(TRACE))
        self.check_replaced()
        self.assertEqual(self.device.read("/data/victim"), "untouched")

    def test_link_to_nothing(self):
        os.symlink("/data/nothing", self.device.path(TRACE))
        self.check_replaced()
        self.assertFalse(os.path.lexists(self.device.path("/data/nothing")))

    def test_hard_link(self):
        os.link(self.write_victim(), self.device.path(TRACE))
        self.check_replaced()
        self.assertEqual(self.device.read("/data/victim"), "untouched")

    def test_file_of_another_user(self):
        self.device.write(TRACE, "old")
        os.chmod(self.device.path(TRACE), 0o666)
        if os.geteuid() == 0:
            os.chown(self.device.path(TRACE), 1234, 1234)
        self.check_replaced()

    def test_whoever_has_the_old_file_open_keeps_it(self):
        self.device.write(TRACE, "old")
        with open(self.device.path(TRACE)) as old:
            self.check_replaced()
            self.assertEqual(old.read(), "old")

    def test_unfinished_file_of_a_run_that_was_killed(self):
        self.device.write(UNFINISHED_TRACE, "x" * 100000)
        self.check_replaced()

    def test_planted_link(self):
        os.symlink(self.write_victim(), self.device.path(UNFINISHED_TRACE))
        self.check_replaced()
        self.assertEqual(self.device.read("/data/victim"), "untouched")

    def test_folder_has_the_unfinished_name(self):
        self.device.write(TRACE, "old")
        os.mkdir(self.device.path(UNFINISHED_TRACE))
        output = self.measure_in("true", "--systrace")
        self.assertNotIn("trace.txt", output + self.errors)
        self.assertEqual(self.records(), "old")

    def test_mounted_file_cannot_be_replaced(self):
        self.device.write(TRACE, "old")
        self.measure_in(f"mount --bind {TRACE} {TRACE}", "--systrace")
        self.assertRegex(self.errors, NOT_WRITTEN.format(200, "Device or resource busy"))
        self.assertEqual((self.left(), self.records()), ([TRACE], "old"))

    def test_rename_that_fails(self):
        self.device.write(TRACE, "old")
        with self.measured(faults="/rename:error=EIO") as program:
            self.assertIn("body_temp=", program.finish())
            self.assertRegex(program.errors(), NOT_WRITTEN.format(200, "Input/output error"))
        self.assertEqual((self.left(), self.records()), ([TRACE], "old"))

    def test_file_of_another_run_does_not_become_the_trace(self):
        self.device.write(TRACE, "old")
        with self.measured(faults="write:signal=STOP:when=1") as program:
            wait_for(lambda: program.state() == "T", "the program stands still")
            self.device.write(UNFINISHED_TRACE, "of another run")
            program.send(signal.SIGCONT)
            program.finish()
            self.assertRegex(program.errors(), NOT_WRITTEN.format(200, "No such file or directory"))
        self.assertEqual((self.left(), self.records()), ([TRACE], "old"))

    def test_kill_before_the_file_is_finished(self):
        self.device.write(TRACE, "old")
        with self.measured(faults="write:signal=KILL") as program:
            wait_for_end(program.process, "the program ends")
        self.wait_until_all_have_ended()
        self.assertEqual((self.left(), self.records()), ([TRACE, UNFINISHED_TRACE], "old"))
        self.check_replaced()
