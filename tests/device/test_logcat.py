"""The platform's log during a trace: its KPI lines, and a logcat that does what it should not."""

import os
import re
import signal
import struct
import subprocess
import tempfile

from inode_cache import FEW_FILES, shell
from trace_device import (END_LOGCAT, FALLBACK, LOG_LINE, LOGCAT, PRINT_AND_STAY, STAY, TraceTest, kpi,
                          sched)
from deadline import wait_for, wait_for_end

RECORD = ("time={:.6f} tag=nr duration=1000000 cpu=0 tgid=0 tgid_name=kpi tid={} tid_name=kpi "
          "name=KPI-R2K-{}\n")
FIRST = "Received first trace message...\n"
KILLING = "Killing logcat process {}\n"
CLEAR = "[logcat][-c]\n"
CAPTURE = ("[logcat][-v][threadtime][-b][main][*:s][KPI-R2K-ID-2][KPI-R2K-ZY-6][KPI-R2K-AT-1]"
           "[KPI-R2K-AT-5][KPI-R2K-AT-6][KPI-R2K-AMS-1][KPI-R2K-AMS-6][KPI-R2K-AMS-8][KPI-R2K-WMS-2]"
           "[KPI-R2K-WMS-3][KPI-R2K-WMS-5][KPI-R2K-WMS-6]\n")

# The first fields of perf_event_attr: PERF_TYPE_SOFTWARE, the size, PERF_COUNT_SW_CPU_CLOCK.
SOFTWARE_CLOCK = "inject=perf_event_open:poke_enter=@arg1=" + struct.pack("=IIQ", 1, 112, 0).hex()


def wait_record(tid, duration):
    return (f"time=35.993756 tag=nr duration={duration} cpu=1 tgid={tid} tgid_name=p tid={tid} "
            "tid_name=p name=wait\n")


class LogTest(TraceTest):
    def measure_log(self, *lines):
        """The records of one measurement with these lines in the log."""
        self.log(*lines)
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            program.type("\n")
            program.finish()
        return self.records()

    def measure_again(self, program):
        """The records of one more measurement in signal mode."""
        program.toggle()
        self.wait_until_logged()
        program.toggle()
        self.device.remove("/data/logcat-pid")
        return self.records()


class Kpi(LogTest):
    def test_record_of_a_line(self):
        self.assertEqual(self.measure_log(kpi("AT-1", "5000 ms")), RECORD.format(5, 0, "AT-1"))

    def test_other_priorities_tags_and_messages_are_passed_over(self):
        self.assertEqual(self.measure_log(kpi("AT-1", 5000, priority="D"), kpi("AT-1", "soon"),
                                          LOG_LINE.format("I", "Other", 5000, "KPI-R2K"), "KPI-R2K-\n",
                                          kpi("AT-1", 1)),
                         RECORD.format(0.001, 0, "AT-1"))

    def test_process_of_an_application(self):
        self.device.process(4321, "m.example", cmdline="com.example\0")
        for component in ("com.example/.Main", "com.example", "com.example/a/b", "com.example/"):
            with self.subTest(component):
                self.assertEqual(
                    self.measure_log(kpi("AT-1", 1), kpi("AMS-1", 2, component), kpi("ZY-6", 3),
                                     kpi("AMS-1", 4)),
                    RECORD.format(0.001, 0, "AT-1") + RECORD.format(0.002, 4321, "AMS-1")
                    + RECORD.format(0.003, 0, "ZY-6") + RECORD.format(0.004, 0, "AMS-1"))
                self.device.remove("/data/logcat-pid")

    def test_application_that_does_not_run_is_looked_for_again(self):
        self.device.process(4321, "m.example", cmdline="com.example\0")
        self.device.process(4322, "long", cmdline="c" * 300 + "\0")
        self.assertEqual(
            self.measure_log(kpi("AMS-1", 1, "com.other/.Main"), kpi("AMS-1", 2).replace("cmp=", "cm="),
                             kpi("AMS-1", 3, "c" * 300), kpi("AMS-1", 4), kpi("AMS-1", 5)),
            RECORD.format(0.001, 0, "AMS-1") + RECORD.format(0.002, 0, "AMS-1")
            + RECORD.format(0.003, 0, "AMS-1") + RECORD.format(0.004, 4321, "AMS-1")
            + RECORD.format(0.005, 0, "AMS-1"))

    def test_component_without_a_package(self):
        # The name of this process is empty as well.
        self.device.process(4321, "x", cmdline="/x/\0")
        self.assertEqual(self.measure_log(kpi("AMS-1", 1, ""), kpi("AMS-1", 2, "/x")),
                         RECORD.format(0.001, 0, "AMS-1") + RECORD.format(0.002, 4321, "AMS-1"))

    def test_process_of_the_line_where_the_tag_says_so(self):
        self.device.process(4321, "m.example", cmdline="com.example\0")
        self.assertEqual(
            self.measure_log(kpi("AMS-1", 1, "com.other/.Main"), kpi("ZY-6", 2), kpi("ZY-6", 3),
                             kpi("AMS-1", 4)),
            RECORD.format(0.001, 0, "AMS-1") + RECORD.format(0.002, 1234, "ZY-6")
            + RECORD.format(0.003, 0, "ZY-6") + RECORD.format(0.004, 0, "AMS-1"))

    def test_process_is_told_once_in_a_life(self):
        self.log(kpi("ZY-6", 1))
        with self.start("--sig", "--systrace") as program:
            self.assertEqual(self.measure_again(program), RECORD.format(0.001, 1234, "ZY-6"))
            for _ in range(2):
                self.assertEqual(self.measure_again(program), RECORD.format(0.001, 0, "ZY-6"))
            program.interrupt()

    def test_long_tag(self):
        # As much of it is kept as there is room for.
        self.assertEqual(
            self.measure_log(kpi("AT-1", 1), kpi("AT-1" + "x" * 300, 2), kpi("AT-1", 3)),
            RECORD.format(0.001, 0, "AT-1") + RECORD.format(0.002, 0, "AT-1" + "x" * 19)
            + RECORD.format(0.003, 0, "AT-1"))

    def test_lines_are_cut(self):
        head = kpi("AT-1", "").split(" cmp")[0]
        self.assertEqual(
            self.measure_log("x" * 100000 + "\n", kpi("AT-1", 1), "x" * 1023, kpi("AT-1", 2),
                             # The first line of 1023 characters ends in the middle of its number.
                             head + " " * (1023 - len(head) - 2) + "34567\n", kpi("AT-1", 4)),
            RECORD.format(0.001, 0, "AT-1") + RECORD.format(0.002, 0, "AT-1")
            + RECORD.format(0.034, 0, "AT-1") + RECORD.format(0.004, 0, "AT-1"))

    def test_lines_that_come_in_pieces(self):
        with self.start("--enter", "--systrace") as program:
            log = os.open(f"/proc/{self.wait_until_logged()}/fd/1", os.O_RDWR)
            self.addCleanup(os.close, log)
            self.send_in_pieces(kpi("AT-1", 1) + kpi("AT-1", 2), log)
            program.type("\n")
            program.finish()
        self.assertEqual(self.records(), RECORD.format(0.001, 0, "AT-1") + RECORD.format(0.002, 0, "AT-1"))

    def test_binary_lines(self):
        garbage = bytes(range(256)).replace(b"\n", b"") * 3
        line = kpi("AT-1", 2).encode()
        self.assertEqual(
            self.measure_log(kpi("AT-1", 1), b"\0\n", b"\0" + line, line.replace(b"KPI-", b"KPI\0-"),
                             line.replace(b" cmp", b"\0cmp"), garbage + b"\n",
                             line.rstrip() + garbage + b"\n",
                             kpi("AT-1", 3)),
            RECORD.format(0.001, 0, "AT-1") + 2 * RECORD.format(0.002, 0, "AT-1")
            + RECORD.format(0.003, 0, "AT-1"))


class BothThreads(LogTest):
    def test_records_in_the_order_of_appending(self):
        self.task(7, 7, "p")
        with self.start("--enter", "--systrace") as program:
            log = os.open(f"/proc/{self.wait_until_logged()}/fd/1", os.O_RDWR)
            self.addCleanup(os.close, log)
            for number in (1, 2, 3):
                self.send(sched("wait", 7, "p", number))
                self.settle()
                os.write(log, kpi("AT-1", number).encode())
                self.settle(log)
            program.type("\n")
            program.finish()
        self.assertEqual(self.records(), "".join(
            wait_record(7, number) + RECORD.format(number / 1000, 0, "AT-1") for number in (1, 2, 3)))

    def test_first_message_of_the_trace_is_told_once_in_a_life(self):
        self.task(7, 7, "p")
        self.log(kpi("AT-1", 1))
        with self.start("--sig", "--systrace") as program:
            self.measure_again(program)
            self.assertEqual(program.output().count(FIRST), 0)
            for _ in range(2):
                self.send(sched("wait", 7, "p", 5))
                self.measure_again(program)
                self.assertEqual(program.output().count(FIRST), 1)
            program.interrupt()


class Commands(LogTest):
    def test_log_is_cleared_before_it_is_captured(self):
        self.measure_log()
        self.assertEqual(self.calls(), CLEAR + CAPTURE + FALLBACK)

    def test_capture_waits_for_a_clear_that_takes_long(self):
        self.tool("logcat", '[ "$1" = -c ] && { sleep 3; echo cleared >> /data/calls; exit 0; }\n'
                            "echo $$ > /data/logcat-pid\n" + PRINT_AND_STAY)
        self.measure_log()
        self.assertEqual(self.calls(), CLEAR + "cleared\n" + CAPTURE + FALLBACK)

    def test_commands_have_no_signal_blocked(self):
        # A shell unblocks them when it waits for a command of its own.
        save = ('while read -r field mask; do [ "$field" = SigBlk: ] && echo "$mask"; done '
                "< /proc/self/status >> /data/blocked\n")
        self.tool("logcat", save + LOGCAT.format(body=PRINT_AND_STAY))
        self.tool("busybox", save + END_LOGCAT)
        self.measure_log()
        self.assertEqual(self.device.read("/data/blocked"), 3 * f"{0:016}\n")

    def inherited(self, *options, prefix=()):
        """What each command has open besides the standard streams and its own script."""
        # In a subshell, since a shell keeps a copy of what it redirects.
        save = "(ls -l /.kernel-proc/$$/fd >> /data/descriptors)\n"
        self.tool("logcat", save + LOGCAT.format(body=PRINT_AND_STAY))
        self.tool("busybox", save + END_LOGCAT)
        with self.start("--enter", "--systrace", *options, prefix=prefix) as program:
            self.wait_until_logged()
            program.type("\n")
            program.finish()
        self.wait_until_all_have_ended()
        lists = re.split(r"(?m)^total .*\n", self.device.read("/data/descriptors"))[1:]
        return [[target for number, target in re.findall(r" (\d+) -> (.*)", text)
                 if int(number) > 2 and not target.startswith("/data/bin/")] for text in lists]

    def test_commands_inherit_the_standard_streams_alone(self):
        self.assertEqual(self.inherited(), 3 * [[]])

    def test_commands_inherit_no_counter(self):
        self.device.write("/proc/sys/kernel/perf_event_paranoid", "2\n")
        log = tempfile.NamedTemporaryFile("r")
        self.addCleanup(log.close)
        # strace replaces each raw event, which few virtual machines have, by a software clock.
        self.assertEqual(self.inherited("--pmu", prefix=["strace", "-f", "-o", log.name, "-e",
                                                         "trace=perf_event_open", "-e", SOFTWARE_CLOCK]),
                         3 * [[]])
        opened = re.findall(r"perf_event_open\(.* = \d+ \(INJECTED", log.read())
        if not opened:
            self.skipTest("this kernel opens no counter here")

    def sleeper(self):
        process = subprocess.Popen(["sleep", "1000"])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def kill_seen(self, *processes, then=lambda: None, strace=()):
        """A measurement whose trace names these processes, as (id, name). Strace can look at the log's thread."""
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            for pid, name in processes:
                self.task(pid, pid, name)
                self.send(sched("wait", pid, "x", 5))
            self.settle()
            then()
            if strace:
                self.attach_strace(program, "logcat_thread", *strace)
            program.type("\n")
            output = program.finish()
        self.wait_until_all_have_ended()
        return output

    def test_logcat_that_the_trace_has_seen_is_killed(self):
        process = self.sleeper()
        self.assertIn(KILLING.format(process.pid), self.kill_seen((process.pid, "logcat")))
        self.assertEqual(wait_for_end(process), -signal.SIGKILL)
        self.assertEqual(self.calls(), CLEAR + CAPTURE)

    def test_own_logcat_is_killed(self):
        self.logcat("trap '' TERM INT\n" + PRINT_AND_STAY)
        with self.start("--enter", "--systrace") as program:
            pid = self.wait_until_logged()
            self.task(pid, pid, "logcat")
            self.send(sched("runtime", pid, "logcat", 5))
            self.settle()
            program.type("\n")
            self.assertIn(KILLING.format(pid), program.finish())
        self.wait_until_all_have_ended()
        self.assertEqual(self.calls(), CLEAR + CAPTURE)

    def test_lowest_of_those_named_logcat_is_killed(self):
        other, first, second = sorted((self.sleeper() for _ in range(3)), key=lambda each: each.pid)
        output = self.kill_seen((second.pid, "logcat"), (other.pid, "logcatd"), (first.pid, "logcat"))
        self.assertEqual(output.count("Killing"), 1)
        self.assertIn(KILLING.format(first.pid), output)
        self.assertEqual(wait_for_end(first), -signal.SIGKILL)
        self.assertEqual([process.poll() for process in (other, second)], [None, None])

    def test_lowest_that_still_is_logcat_is_killed(self):
        other, logcat = sorted((self.sleeper() for _ in range(2)), key=lambda each: each.pid)
        output = self.kill_seen((other.pid, "logcat"), (logcat.pid, "logcat"),
                                then=lambda: self.device.write(f"/proc/{other.pid}/comm", "system_server\n"))
        self.assertEqual(re.findall("Killing.*\n", output), [KILLING.format(logcat.pid)])
        self.assertEqual(wait_for_end(logcat), -signal.SIGKILL)
        self.assertIsNone(other.poll())

    def test_process_with_another_name_at_the_end_is_not_killed(self):
        process = self.sleeper()
        output = self.kill_seen((process.pid, "logcat"),
                                then=lambda: self.device.write(f"/proc/{process.pid}/comm", "system_server\n"))
        self.assertNotIn("Killing", output)
        self.assertIsNone(process.poll())
        self.assertEqual(self.calls(), CLEAR + CAPTURE + FALLBACK)

    def test_process_that_has_ended_is_not_killed(self):
        process = self.sleeper()

        def end():
            process.kill()
            process.wait()
        self.assertNotIn("Killing", self.kill_seen((process.pid, "logcat"), then=end))

    def test_process_is_held_while_its_name_is_read(self):
        process = self.sleeper()
        log = self.device.path("/strace")
        self.kill_seen((process.pid, "logcat"), strace=(
            "-o", log, "-e", "trace=pidfd_open,openat,pidfd_send_signal,kill"))
        with open(log) as calls:
            calls = [line for line in calls if str(process.pid) in line or "pidfd_send_signal" in line]
        self.assertEqual([re.match(r"\w+", line)[0] for line in calls],
                         ["pidfd_open", "openat", "pidfd_send_signal"])
        self.assertIn(f'"/proc/{process.pid}/comm"', calls[1])
        self.assertEqual(wait_for_end(process), -signal.SIGKILL)

    def test_kernel_without_pidfds(self):
        for error in ("ENOSYS", "EPERM", "EMFILE"):
            for name, killed in (("logcat", True), ("system_server", False)):
                process = self.sleeper()
                output = self.kill_seen(
                    (process.pid, "logcat"), strace=("-o", "/dev/null", "-e", f"inject=pidfd_open:error={error}"),
                    then=lambda: self.device.write(f"/proc/{process.pid}/comm", f"{name}\n"))
                self.assertEqual(KILLING.format(process.pid) in output, killed)
                if killed:
                    self.assertEqual(wait_for_end(process), -signal.SIGKILL)
                self.assertIsNone(None if killed else process.poll())
                self.device.remove("/data/logcat-pid")

    def test_threads_of_logcat_lead_to_its_process(self):
        process = self.sleeper()
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            self.task(1, process.pid, "logcat")
            self.send(sched("wait", 1, "reader", 0))
            self.settle()
            program.type("\n")
            self.assertIn(KILLING.format(process.pid), program.finish())
        self.assertEqual(wait_for_end(process), -signal.SIGKILL)

    def test_names_of_an_earlier_measurement_end_nothing(self):
        process = self.sleeper()
        self.task(7, 7, "p")
        with self.start("--sig", "--systrace") as program:
            program.toggle()
            self.wait_until_logged()
            self.task(process.pid, process.pid, "logcat")
            self.send(sched("wait", process.pid, "x", 5))
            self.settle()
            program.toggle()
            self.assertEqual(wait_for_end(process), -signal.SIGKILL)
            self.device.remove("/data/logcat-pid")
            self.measure_again(program)
            self.assertEqual(program.interrupt().count("Killing"), 1)
        self.assertEqual(self.calls(), 2 * (CLEAR + CAPTURE) + FALLBACK)


class BadLogcat(LogTest):
    """Whatever it does: the measurement ends, the other records are there, and no child is left."""

    def setUp(self):
        super().setUp()
        self.task(7, 7, "p")

    def assert_measures(self, before_stop=lambda: None, record="", prefix=()):
        if os.path.exists(self.device.path("/data/logcat-pid")):
            self.device.remove("/data/logcat-pid")
        with self.start("--sig", "--systrace", prefix=prefix) as program:
            program.toggle()
            before_stop()
            self.send(sched("wait", 7, "p", 5))
            program.toggle()
            self.assertEqual(self.children(program), [])
            output = program.interrupt()
        # Once: a child does not print what the program had not flushed when the child was born.
        self.assertEqual([output.count(text) for text in ("SIGUSR1->start()\n", "body_temp=")], [1, 1])
        self.wait_until_all_have_ended()
        # The threads append in any order.
        self.assertEqual(sorted(self.records().splitlines()),
                         sorted((record + wait_record(7, 5)).splitlines()))

    def test_has_no_descriptors_but_the_standard_ones(self):
        self.assert_measures(lambda: self.assertEqual(
            sorted(os.listdir(f"/proc/{self.wait_until_logged()}/fd")), ["0", "1", "2"]))

    def test_there_is_none(self):
        self.device.remove("/data/bin/logcat")
        self.device.remove("/data/bin/busybox")
        self.assert_measures(prefix=["env", "PATH=/data/bin"])

    def test_cannot_be_executed(self):
        os.chmod(self.device.path("/data/bin/logcat"), 0o644)
        self.assert_measures(prefix=["env", "PATH=/data/bin"])

    def test_there_is_no_shell(self):
        self.assert_measures(prefix=[FEW_FILES])

    def test_there_is_only_the_shell_of_the_platform(self):
        script = '[ "$1" = -c ] && exit\nread -r line < /data/log\necho "$line"\n' \
                 "echo $$ > /data/logcat-pid\nkill -STOP $$\n"
        for name, body in (("logcat", script), ("busybox", "read -r pid < /data/logcat-pid\nkill -9 $pid\n")):
            self.device.write(f"/data/bin/{name}", "#!/system/bin/sh\n" + body)
            os.chmod(self.device.path(f"/data/bin/{name}"), 0o755)
        self.log(kpi("AT-1", 1))
        self.assert_measures(self.logcat_pid, RECORD.format(0.001, 0, "AT-1"),
                             [*shell("mkdir -p /system/bin && cp /bin/sh /system/bin"), FEW_FILES,
                              "/system/bin/sh", "-c", 'exec "$@"', "sh"])

    def test_prints_nothing(self):
        self.logcat(STAY)
        self.assert_measures(self.wait_until_logged)

    def wait_until_taken(self, pid):
        """Waits until this process has written more than fits in a pipe, so that some was read."""
        def written():
            with open(f"/proc/{pid}/io") as counters:
                return int(re.search(r"^wchar: (\d+)$", counters.read(), re.M)[1])
        wait_for(lambda: written() > 1 << 17, "the log is read")

    def test_prints_without_pause(self):
        # For each line of the second kind all processes are searched: it is printed faster than taken.
        for pid in range(1000, 1100):
            self.device.process(pid, "x", cmdline="x\0")
        for line in (LOG_LINE.format("I", "Other", 5, ""), kpi("AMS-1", 1, "com.other/.Main")):
            self.logcat(f"exec yes '{line.strip()}'")
            with self.subTest(line), self.start("--enter", "--systrace") as program:
                self.wait_until_taken(self.logcat_pid())
                program.wait_until_waiting()
                self.send(sched("wait", 7, "p", 5))
                program.type("\n")
                self.assertIn("body_temp=", program.finish())
            self.wait_until_all_have_ended()
            records = self.records().splitlines(keepends=True)
            self.assertEqual(set(records) - {RECORD.format(0.001, 0, "AMS-1")}, {wait_record(7, 5)})
            self.device.remove("/data/logcat-pid")

    def test_ends_at_once(self):
        self.logcat("cat /data/log; exit 3")

        def wait():
            pid = self.logcat_pid()
            wait_for(lambda: pid not in self.processes(), "logcat has ended")
        for line in (kpi("AT-1", 1), kpi("AT-1", 1).rstrip("\n")):
            with self.subTest(line):
                self.log(line)
                self.assert_measures(wait, RECORD.format(0.001, 0, "AT-1"))

    def test_closes_its_output(self):
        self.logcat("exec sleep 1000 >&-")
        self.assert_measures(self.wait_until_logged)

    def test_cannot_be_ended(self):
        self.logcat("trap '' TERM INT HUP PIPE\n" + PRINT_AND_STAY)
        for tool in ("exit 0", "exit 1"):
            with self.subTest(tool):
                self.tool("busybox", tool)
                self.assert_measures(self.wait_until_logged)

    def test_busybox_prints_log_lines(self):
        # Its output is not the log.
        self.tool("busybox", "cat /data/lines; kill $(cat /data/logcat-pid)")
        self.tool("logcat", '[ "$1" = -c ] && exec cat /data/lines\necho $$ > /data/logcat-pid\n' + STAY)
        self.device.write("/data/lines", kpi("AT-1", 1))
        self.assert_measures(self.wait_until_logged)

    def test_hangs(self):
        self.tool("logcat", f"echo $$ > /data/logcat-pid\n{STAY}")
        self.assert_measures(self.wait_until_logged)

    def test_busybox_hangs(self):
        self.tool("busybox", STAY)
        self.assert_measures(self.wait_until_logged)
