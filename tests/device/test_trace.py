"""What a measurement with a trace leaves: records, page counts, and nothing of itself."""

import fcntl
import os
import signal

from trace_device import FALLBACK, TraceTest, sched
from deadline import wait_for
from tracing import CONTROLS, TRACING


class Records(TraceTest):
    def test_each_kind(self):
        self.task(240, 240, "cat")
        self.task(241, 240, "cat")
        output = self.trace(sched("wait", 241, "reader", 1000, "1.000001", 0),
                            sched("iowait", 241, "reader", 2000, "2.5", 3),
                            sched("runtime", 241, "reader", 3000, "3.000000"),
                            sched("runtime", 240, "thread", 4000, "4.000000"))
        self.assertEqual(
            self.records(),
            "time=1.000001 tag=nr duration=1000 cpu=0 tgid=240 tgid_name=cat tid=241 tid_name=reader "
            "name=wait\n"
            "time=2.500000 tag=nr duration=2000 cpu=3 tgid=240 tgid_name=cat tid=241 tid_name=reader "
            "name=iowait\n"
            "time=3.000000 tag=r duration=3000 cpu=1 tgid=240 tgid_name=cat tid=241 tid_name=reader "
            "name=reader\n"
            "time=4.000000 tag=r duration=4000 cpu=1 tgid=240 tgid_name=cat tid=240 tid_name=thread "
            "name=cat\n")
        for line in ("Received first trace message...\n", "Writing output to trace.txt...\n",
                     "Done writing output to trace.txt...\n"):
            self.assertEqual(output.count(line), 1)

    def test_lines_that_come_in_pieces(self):
        self.task(7, 7, "p")
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send_in_pieces("".join(sched("wait", 7, "p", number) for number in (1, 2, 3)))
            program.type("\n")
            program.finish()
        self.assertEqual([line.split("duration=")[1].split()[0]
                          for line in self.records().splitlines()], ["1", "2", "3"])

    def test_reads_that_are_interrupted(self):
        self.task(7, 7, "p")
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            # The thread's name and its process's are known now, and nothing else is read any more.
            self.send(sched("wait", 7, "p", 1))
            self.settle()
            self.inject(program, "pipe_thread", "read:error=EINTR:when=1..4")
            self.send(*(sched("wait", 7, "p", number) for number in range(2, 21)))
            program.type("\n")
            program.finish()
        self.assertEqual(len(self.records().splitlines()), 20)

    def test_limits_of_the_delay(self):
        self.task(7, 7, "p")
        self.trace(*(sched("wait", 7, "p", value) for value in (0, 1, 300000000, 300000001, -5)))
        self.assertEqual([line.split("duration=")[1].split()[0]
                          for line in self.records().splitlines()], ["1", "300000000"])

    def test_name_of_an_event_without_a_record_is_remembered(self):
        self.task(7, 6, "p")
        self.trace(sched("wait", 7, "early", 5), sched("wait", 7, "late", 0))
        self.assertIn("tid_name=late name=wait", self.records())

    def test_thread_without_a_process_has_no_record(self):
        self.device.write("/proc/8/status", "Name:\tx\n")
        # A name does not make it one.
        self.task(9, 0, "idle")
        self.device.write("/proc/10/status", "Tgid:\t11\n")
        self.trace(*(sched("wait", tid, "x", 5) for tid in (7, 8, 9, 10)))
        self.assertEqual(self.records(), "")

    def test_process_that_is_about_to_be_named_has_its_later_name(self):
        self.task(7, 7, "re-initialized>")
        self.task(8, 8, "re-initialized>")
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(sched("wait", 7, "x", 5), sched("runtime", 8, "y", 5))
            wait_for(lambda: self.unread() == 0, "the lines are read")
            self.device.write("/proc/7/comm", "named\n")
            self.send(sched("wait", 7, "x", 6))
            program.type("\n")
            program.finish()
        self.assertEqual(
            [line.split("tgid_name=")[1] for line in self.records().splitlines()],
            ["named tid=7 tid_name=x name=wait", " tid=8 tid_name=y name=", "named tid=7 tid_name=x name=wait"])

    def trace_around(self, change):
        """A measurement with a line before and one behind the change."""
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(sched("wait", 7, "x", 5))
            self.settle()
            change()
            self.send(sched("wait", 7, "x", 6))
            program.type("\n")
            program.finish()
        return self.records()

    RECORD = ("time=35.993756 tag=nr duration={} cpu=1 tgid=6 tgid_name={} tid=7 tid_name=x name=wait\n")

    def test_names_are_looked_up_once_in_a_measurement(self):
        self.task(7, 6, "early")

        def rename():
            self.task(7, 6, "late")
            self.task(7, 5, "late")
        self.assertEqual(self.trace_around(rename),
                         self.RECORD.format(5, "early") + self.RECORD.format(6, "early"))

    def test_thread_that_has_ended_is_asked_for_once_in_a_drain(self):
        events = 300
        with self.start("--enter", "--systrace",
                        prefix=["strace", "-D", "-f", "-o", "/data/strace", "-e", "trace=openat"]) as program:
            program.wait_until_waiting()
            self.send("".join(sched("runtime", 4711, "ended", 1000) for _ in range(events)))
            program.type("\n")
            program.finish()
        opened = self.device.read("/data/strace").count('"/proc/4711/status"')
        self.assertGreater(opened, 0)
        # A drain has as many lines as the pipe had when it was read.
        self.assertLess(opened, events // 10)

    def test_thread_that_has_no_status_yet_is_looked_up_again(self):
        for status in (None, "Name:\tx\n"):
            with self.subTest(status):
                if status is not None:
                    self.device.write("/proc/7/status", status)
                self.assertEqual(self.trace_around(lambda: self.task(7, 6, "p")), self.RECORD.format(6, "p"))
                self.device.remove("/proc/7/status")

    def test_process_that_has_no_name_yet_is_looked_up_again(self):
        for comm in (None, ""):
            with self.subTest(comm):
                self.task(7, 6, "p")
                self.device.remove("/proc/6/comm")
                if comm is not None:
                    self.device.write("/proc/6/comm", comm)
                self.assertEqual(self.trace_around(lambda: self.device.write("/proc/6/comm", "p\n")),
                                 self.RECORD.format(6, "p"))

    def test_process_whose_name_cannot_be_read_is_not_looked_up_again(self):
        self.task(7, 6, "p")
        self.device.remove("/proc/6/comm")
        os.mkdir(self.device.path("/proc/6/comm"))

        def name():
            self.device.remove("/proc/6/comm")
            self.device.write("/proc/6/comm", "p\n")
        self.assertEqual(self.trace_around(name), "")

    def test_garbage_is_passed_over(self):
        self.task(7, 7, "p")
        self.trace("CPU:1 [LOST 2825 EVENTS]\n", "x" * 5000 + "\n", "\0\0\0\n", "\xff\xfe [1] sched_stat_w\n",
                   sched("wait", 7, "p", 5))
        self.assertEqual(len(self.records().splitlines()), 1)


class NextMeasurement(TraceTest):
    """Nothing of a measurement is left in the next one."""

    RECORD = ("time=35.993756 tag=nr duration={} cpu=1 tgid={} tgid_name={} tid={} tid_name={} "
              "name=wait\n")

    def measure_twice(self, first, between, second):
        """The records of the second of two measurements with these lines."""
        with self.start("--sig", "--systrace") as program:
            for lines in (first, second):
                program.toggle()
                self.send(*lines)
                program.toggle()
                between()
            program.interrupt()
        return self.records()

    def test_process_of_a_thread(self):
        self.task(7, 5, "early")
        self.assertEqual(self.measure_twice([sched("wait", 7, "x", 1)], lambda: self.task(7, 6, "late"),
                                            [sched("wait", 7, "x", 2)]),
                         self.RECORD.format(2, 6, "late", 7, "x"))

    def test_name_of_a_process(self):
        self.task(7, 6, "early")
        self.assertEqual(self.measure_twice([sched("wait", 7, "x", 1)], lambda: self.task(7, 6, "late"),
                                            [sched("wait", 7, "x", 2)]),
                         self.RECORD.format(2, 6, "late", 7, "x"))

    def test_names_of_threads(self):
        # Each is in another place among the names than before.
        for tid in (7, 8, 9):
            self.task(tid, 6, "p")
        names = {8: "b", 7: "c", 9: "d"}
        self.assertEqual(self.measure_twice([sched("wait", 7, "a", 1), sched("wait", 8, "b", 1)],
                                            lambda: None,
                                            [sched("wait", tid, name, 2) for tid, name in names.items()]),
                         "".join(self.RECORD.format(2, 6, "p", tid, name) for tid, name in names.items()))

    def test_records_that_could_not_be_written(self):
        self.task(7, 6, "p")
        folder = self.device.path("/data/trace.txt")
        os.mkdir(folder)
        self.assertEqual(self.measure_twice([sched("wait", 7, "x", 1)],
                                            lambda: os.path.isdir(folder) and os.rmdir(folder),
                                            [sched("wait", 7, "x", 2)]),
                         self.RECORD.format(2, 6, "p", 7, "x"))


class Stop(TraceTest):
    def test_writes_of_a_stop_leave_everything_off(self):
        self.trace(options=("--block-dump",))
        off = {control: "0" for control in CONTROLS}
        off.update({"trace_clock": "local", "buffer_size_kb": "1"})
        self.assertEqual({c: self.device.read(f"{TRACING}/{c}")[:len(off[c])] for c in CONTROLS}, off)

    def test_lines_before_the_stop_are_all_taken(self):
        self.task(7, 7, "p")
        with self.start("--sig", "--systrace") as program:
            for round_ in range(20):
                program.toggle()
                for number in range(100):
                    self.send(sched("wait", 7, "p", number + 1))
                program.toggle()
                self.assertEqual(len(self.records().splitlines()), 100, round_)
            program.interrupt()

    def hold(self, *controls):
        """The program waits before it writes one of them."""
        for control in controls:
            self.device.remove(f"{TRACING}/{control}")
            os.mkfifo(self.device.path(f"{TRACING}/{control}"))

    def let_write(self, *controls):
        """Lets the program write them, in their order. Returns how much was unread before the last one."""
        for control in controls:
            with open(self.device.path(f"{TRACING}/{control}")) as reader:
                unread = self.unread()
                reader.read()
        return unread

    def test_lines_are_taken_before_the_writes_that_discard_them(self):
        self.hold("trace_clock")
        self.task(7, 7, "p")
        with self.start("--sig", "--systrace") as program:
            for round_ in range(20):
                program.wait_until_waiting()
                program.send(signal.SIGUSR1)
                self.let_write("trace_clock")
                program.wait_until_waiting()
                # The first of them sends the reader to its rest.
                for number in range(100):
                    self.send(sched("wait", 7, "p", number + 1))
                program.send(signal.SIGUSR1)
                self.assertEqual(self.let_write("trace_clock"), 0, round_)
            program.wait_until_waiting()
            program.interrupt()

    def test_lines_are_all_taken_when_that_takes_long(self):
        # A read takes as long as all of a drain in the middle of a measurement may.
        slow = ["strace", "-D", "-f", "-o", "/dev/null", "-e", "trace=read",
                "-e", "inject=read:delay_enter=110000"]
        fcntl.fcntl(self.pipe, fcntl.F_SETPIPE_SZ, 1 << 20)
        line = PageCache.event("add_to", 9)
        lines = 5 * 65536 // len(line)
        self.hold("tracing_on", "trace_clock", "buffer_size_kb")
        with self.start("--enter", "--block-dump", prefix=slow) as program:
            self.let_write("buffer_size_kb", "trace_clock", "tracing_on")
            program.wait_until_waiting()
            program.type("\n")
            self.wait_until_held(program)
            self.send(line * lines)
            self.assertEqual(self.let_write("tracing_on", "trace_clock"), 0)
            # The thread's own stop takes the rest.
            self.wait_until_held(program)
            self.send(line * lines)
            self.let_write("buffer_size_kb")
            self.assertIn(f"add={2 * lines} del=0 file=total\n", program.finish())

    def test_half_a_line_is_not_a_record(self):
        self.task(7, 7, "p")
        self.trace(sched("wait", 7, "p", 5), sched("wait", 7, "p", 123456789).split("456789")[0])
        self.assertEqual(len(self.records().splitlines()), 1)

    def test_no_child_is_left(self):
        with self.start("--sig", "--systrace") as program:
            program.toggle()
            self.wait_until_logged()
            program.toggle()
            self.assertEqual(self.children(program), [])
            program.interrupt()
        self.wait_until_all_have_ended()
        self.assertEqual(self.calls().splitlines(keepends=True)[2:], [FALLBACK])


class PageCache(TraceTest):
    @staticmethod
    def event(kind, inode, form="page=ffe0 pfn=262462 ofs=0", device="8:1"):
        return (f"             cat-204     [000] ....    40.794419: mm_filemap_{kind}_page_cache: "
                f"dev {device} ino {inode:x} {form}\n")

    def lines(self, output):
        return [line for line in output.splitlines() if line.startswith("add=")]

    def test_files_by_name_in_the_order_of_their_keys(self):
        self.device.write("/data/inode.txt", "8:1_300 /three hundred\n8:1_20 /twenty\n8:1_300 /again\n"
                          "short\n\n8:1_9 /nine\n")
        output = self.trace(self.event("add_to", 300), self.event("add_to", 300),
                            self.event("delete_from", 300), self.event("add_to", 20),
                            self.event("delete_from", 21), self.event("add_to", 22, "pfn=12 ofs=0"),
                            self.event("add_to", 9, "pfn=0x44c8f ofs=0 order=4"),
                            self.event("add_to", 9, "page=ffe0 pfn=0x44c8f ofs=0"),
                            options=("--block-dump",))
        self.assertEqual(self.lines(output),
                         ["add=1 del=0 file=/twenty", "add=2 del=1 file=/three", "add=2 del=0 file=/nine",
                          "add=0 del=1 file=unknown", "add=5 del=2 file=total"])

    def test_no_events(self):
        self.assertEqual(self.lines(self.trace(options=("--block-dump",))),
                         ["add=0 del=0 file=unknown", "add=0 del=0 file=total"])

    def test_nothing_without_the_option(self):
        self.assertEqual(self.lines(self.trace(self.event("add_to", 9))), [])

    def test_scheduler_events_are_passed_over(self):
        self.task(7, 7, "p")
        output = self.trace(sched("wait", 7, "p", 5), options=("--block-dump",))
        self.assertNotIn("Received first trace message...", output)

    def test_counts_add_up_over_measurements(self):
        with self.start("--sig", "--block-dump") as program:
            for _ in range(2):
                program.toggle()
                self.send(self.event("add_to", 9))
                program.toggle()
            output = program.interrupt()
        self.assertEqual([line for line in self.lines(output) if "total" in line],
                         ["add=1 del=0 file=total", "add=2 del=0 file=total"])


class TwoStops(TraceTest):
    """A measurement that a signal has ended is ended once more by the run mode."""

    def test_signal_before_enter(self):
        for option in ("--systrace", "--block-dump"):
            with self.subTest(option), self.start("--enter", option) as program:
                program.toggle()
                program.type("\n")
                self.assertEqual(program.finish().count("body_temp="), 2)

    def test_signal_in_the_sleep(self):
        with self.start("--iter=1", "--interval=3600", "--systrace") as program:
            program.wait_until_waiting()
            program.send(signal.SIGUSR1)
            self.assertEqual(program.finish().count("body_temp="), 2)
