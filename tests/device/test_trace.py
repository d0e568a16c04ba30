"""Tracing on a made-up device: its control files, a FIFO for the trace, and scripts for the tools."""

import fcntl
import os
import re
import shutil
import signal
import subprocess
import tempfile
import termios

from harness import DeviceTest
from program import wait_for

TRACING = "/sys/kernel/debug/tracing"
SCHED = [f"events/sched/sched_stat_{name}/enable" for name in ("wait", "iowait", "runtime")]
FILEMAP = [f"events/filemap/mm_filemap_{name}_page_cache/enable" for name in ("add_to", "delete_from")]
CONTROLS = [*SCHED, *FILEMAP, "buffer_size_kb", "trace_clock", "options/overwrite", "tracing_on"]

# A logcat that prints what stands in /data/log and then stays, and a busybox that ends it.
LOGCAT = """#!/bin/sh
echo "$@" >> /data/logcat-calls
[ "$1" = -c ] && exit 0
echo $$ > /data/logcat-pid.new && mv /data/logcat-pid.new /data/logcat-pid
cat /data/log
exec sleep 1000
"""
BUSYBOX = """#!/bin/sh
echo "$@" >> /data/busybox-calls
kill $(cat /data/logcat-pid)
"""


def sched(kind, tid, comm, value, time="35.993756", cpu=1):
    number = f"runtime={value} [ns] vruntime=1 [ns]" if kind == "runtime" else f"delay={value} [ns]"
    return (f"{comm:>16}-{tid:<7} [{cpu:03}] d....    {time}: sched_stat_{kind}: comm={comm} pid={tid} "
            f"{number}\n")


class TraceTest(DeviceTest):
    def setUp(self):
        super().setUp()
        self.pipe = None
        self.addCleanup(self.close_pipe)
        self.lay_tracing(TRACING)
        for name, script in (("logcat", LOGCAT), ("busybox", BUSYBOX)):
            self.device.write(f"/data/bin/{name}", script)
            os.chmod(self.device.path(f"/data/bin/{name}"), 0o755)
        self.device.write("/data/log", "")
        self.device.write("/data/inode.txt", "")
        self.environment = dict(os.environ, PATH=f"/data/bin:{os.environ['PATH']}")

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

    def unread(self):
        count = bytearray(4)
        fcntl.ioctl(self.pipe, termios.FIONREAD, count)
        return int.from_bytes(count, "little")

    def start(self, *options, **popen):
        return self.device.start("--stdout", "--no-proc-cpu", *options, env=self.environment, **popen)

    def wait_until_reading(self, program):
        """Until then a pipe that is closed has nobody to keep what is in it."""
        pipe = os.stat(self.device.path(f"{TRACING}/trace_pipe"))

        def is_pipe(descriptor):
            try:
                return os.path.samestat(os.stat(f"/proc/{program.pid}/fd/{descriptor}"), pipe)
            except FileNotFoundError:
                return False  # closed in the meantime
        wait_for(lambda: any(map(is_pipe, os.listdir(f"/proc/{program.pid}/fd"))), "the pipe is open")

    def trace(self, *lines, options=("--systrace",)):
        """One measurement in enter mode with these lines in the pipe. Returns the output."""
        with self.start("--enter", *options) as program:
            program.wait_until_waiting()
            self.send(*lines)
            program.type("\n")
            return program.finish()

    def records(self):
        return self.device.read("/data/trace.txt")


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
        self.device.write("/proc/9/status", "Tgid:\t0\n")
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

    def test_garbage_is_passed_over(self):
        self.task(7, 7, "p")
        self.trace("CPU:1 [LOST 2825 EVENTS]\n", "x" * 5000 + "\n", "\0\0\0\n", "\xff\xfe [1] sched_stat_w\n",
                   sched("wait", 7, "p", 5))
        self.assertEqual(len(self.records().splitlines()), 1)

    def test_missing_data_folder_writes_nothing_and_still_reports(self):
        self.device.remove("/data/log")
        self.task(7, 7, "p")
        self.device.write("/data/trace.txt/x", "")
        output = self.trace(sched("wait", 7, "p", 5))
        self.assertNotIn("Writing output", output)
        self.assertIn("body_temp=", output)


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

    def test_lines_are_taken_before_the_writes_that_discard_them(self):
        clock = self.device.path(f"{TRACING}/trace_clock")
        os.remove(clock)
        os.mkfifo(clock)

        def pass_clock():
            """Lets the program write the clock. Returns how much was unread when it opened it."""
            with open(clock) as reader:
                unread = self.unread()
                reader.read()
                return unread
        self.task(7, 7, "p")
        with self.start("--sig", "--systrace") as program:
            for round_ in range(20):
                program.wait_until_waiting()
                program.send(signal.SIGUSR1)
                pass_clock()
                program.wait_until_waiting()
                # The first of them sends the reader to its rest.
                for number in range(100):
                    self.send(sched("wait", 7, "p", number + 1))
                program.send(signal.SIGUSR1)
                self.assertEqual(pass_clock(), 0, round_)
            program.wait_until_waiting()
            program.interrupt()

    def test_half_a_line_is_not_a_record(self):
        self.task(7, 7, "p")
        self.trace(sched("wait", 7, "p", 5), sched("wait", 7, "p", 123456789).split("456789")[0])
        self.assertEqual(len(self.records().splitlines()), 1)

    def test_no_child_is_left(self):
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            wait_for(lambda: os.path.exists(self.device.path("/data/logcat-pid")), "logcat runs")
            logcat = int(self.device.read("/data/logcat-pid"))
            program.type("\n")
            program.finish()
        self.assertFalse(os.path.exists(f"/proc/{logcat}"))
        self.assertEqual(self.device.read("/data/busybox-calls"), "pkill logcat\n")

    def test_no_child_is_left_by_an_interrupt(self):
        with self.start("--sig", "--systrace") as program:
            program.toggle()
            wait_for(lambda: os.path.exists(self.device.path("/data/logcat-pid")), "logcat runs")
            logcat = int(self.device.read("/data/logcat-pid"))
            program.interrupt()
        wait_for(lambda: not os.path.exists(f"/proc/{logcat}"), "logcat ends")


class Controls(TraceTest):
    ON = [("buffer_size_kb", "8192"), ("trace_clock", "global"), ("options/overwrite", "1"),
          ("tracing_on", "1")]
    OFF = [("tracing_on", "0"), ("options/overwrite", "0"), *((control, "0") for control in SCHED),
           *((control, "0") for control in reversed(FILEMAP)), ("trace_clock", "local"),
           ("buffer_size_kb", "1")]

    def writes(self, option, tracing=TRACING):
        """The control files that are opened and what is written to them, in their order."""
        # A log for each thread: in a common one their calls cut each other in two.
        logs = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, logs)
        strace = ["strace", "-ff", "-o", f"{logs}/log", "-e", "trace=openat,write"]
        with self.start("--iter=1", "--interval=0", option, prefix=strace,
                        stdin=subprocess.DEVNULL) as program:
            program.finish()
        opened = re.compile(rf'openat\(AT_FDCWD, "{tracing}/(.*?)", O_WRONLY.*\) = (\d+)')
        files, writes = {}, []
        # The main thread has the lowest id of all.
        with open(f"{logs}/log.{min(int(log.split('.')[1]) for log in os.listdir(logs))}") as log:
            calls = log.read().splitlines()
        for line in calls:
            if found := opened.search(line):
                files[found[2]] = found[1]
            elif (found := re.search(r'write\((\d+), "(.*?)", \d+\)', line)) and found[1] in files:
                writes.append((files.pop(found[1]), found[2]))
        return writes

    def test_order_of_a_scheduler_trace(self):
        self.assertEqual(self.writes("--systrace"),
                         [(control, "1") for control in SCHED] + self.ON + self.OFF)

    def test_order_of_a_page_cache_trace(self):
        self.assertEqual(self.writes("--block-dump"),
                         [(control, "1") for control in FILEMAP] + self.ON + self.OFF)

    def test_tracefs_alone_serves_where_debugfs_has_none(self):
        self.device.remove(TRACING)
        self.lay_tracing("/sys/kernel/tracing")
        self.assertEqual(self.writes("--block-dump", "/sys/kernel/tracing"),
                         [(control, "1") for control in FILEMAP] + self.ON + self.OFF)

    def test_debugfs_serves_where_both_are(self):
        self.device.remove(TRACING)
        self.lay_tracing("/sys/kernel/tracing")
        self.lay_tracing(TRACING)
        self.assertEqual(self.writes("--block-dump"),
                         [(control, "1") for control in FILEMAP] + self.ON + self.OFF)

    def test_no_log_thread_without_systrace(self):
        self.trace(options=("--block-dump",))
        self.assertFalse(os.path.exists(self.device.path("/data/logcat-calls")))

    def test_no_trace_file_without_systrace(self):
        output = self.trace(options=("--block-dump",))
        self.assertFalse(os.path.exists(self.device.path("/data/trace.txt")))
        self.assertNotIn("trace.txt", output)


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


class Failures(TraceTest):
    def test_missing_control_file_ends_the_program(self):
        self.device.remove(f"{TRACING}/{SCHED[0]}")
        with self.start("--enter", "--systrace") as program:
            output = program.finish(status=1)
        self.assertIn(f"Error opening {TRACING}/{SCHED[0]}: No such file or directory (2)\n", output)

    def test_missing_pipe_ends_the_program(self):
        self.device.remove(f"{TRACING}/trace_pipe")
        with self.start("--enter", "--block-dump") as program:
            self.assertIn("fopen(trace_pipe) failed!\n", program.finish(status=1))


class Kpi(TraceTest):
    LINE = "11-20 16:41:43.123  1234  1250 {} {}: {} cmp=com.example/.Main\n"

    @staticmethod
    def comm(pid):
        with open(f"/proc/{pid}/comm") as comm:
            return comm.read()

    def kpi(self, *lines):
        self.device.write("/data/log", "".join(lines))
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            wait_for(lambda: os.path.exists(self.device.path("/data/logcat-pid")), "logcat runs")
            # It sleeps once it has printed everything.
            pid = int(self.device.read("/data/logcat-pid"))
            wait_for(lambda: self.comm(pid) == "sleep\n", "logcat has printed")
            program.type("\n")
            program.finish()
        return self.records().splitlines()

    def test_record_of_a_line(self):
        self.assertEqual(self.kpi(self.LINE.format("I", "KPI-R2K-AT-1", "5000 ms")),
                         ["time=5.000000 tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid=0 "
                          "tid_name=kpi name=KPI-R2K-AT-1"])

    def test_other_priorities_tags_and_messages_are_passed_over(self):
        self.assertEqual(self.kpi(self.LINE.format("D", "KPI-R2K-AT-1", "5000"),
                                  self.LINE.format("I", "Other", "5000"),
                                  self.LINE.format("I", "KPI-R2K-AT-1", "soon"), "x" * 100000 + "\n"), [])

    def test_one_record_in_a_life_has_the_application(self):
        self.device.process(4321, "m.example", cmdline="com.example\0")
        lines = self.kpi(self.LINE.format("I", "KPI-R2K-AT-1", "1"),
                         self.LINE.format("I", "KPI-R2K-AMS-1", "2"),
                         self.LINE.format("I", "KPI-R2K-ZY-6", "3"))
        self.assertEqual([line.split(" tid=")[1].split()[0] for line in lines], ["0", "4321", "0"])

    def test_process_of_the_line_where_the_tag_says_so(self):
        lines = self.kpi(self.LINE.format("I", "KPI-R2K-AMS-1", "2"),
                         self.LINE.format("I", "KPI-R2K-ZY-6", "3"),
                         self.LINE.format("I", "KPI-R2K-ZY-6", "4"))
        self.assertEqual([line.split(" tid=")[1].split()[0] for line in lines], ["0", "1234", "0"])

    def test_command_lines(self):
        self.kpi("")
        self.assertEqual(
            self.device.read("/data/logcat-calls"),
            "-c\n-v threadtime -b main *:s KPI-R2K-ID-2 KPI-R2K-ZY-6 KPI-R2K-AT-1 KPI-R2K-AT-5 "
            "KPI-R2K-AT-6 KPI-R2K-AMS-1 KPI-R2K-AMS-6 KPI-R2K-AMS-8 KPI-R2K-WMS-2 KPI-R2K-WMS-3 "
            "KPI-R2K-WMS-5 KPI-R2K-WMS-6\n")
