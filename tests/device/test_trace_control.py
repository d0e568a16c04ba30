"""The kernel's tracing files and the worker threads: their order, their failures, and an end in between."""

import os
import re
import signal
import subprocess
import tempfile

from trace_device import STAY, TRACE, UNFINISHED_TRACE, TraceTest, sched
from deadline import wait_for
from program import NEEDS_PIPES, SEPARATOR
from strace_log import calls_of
from tracing import CONTROLS, FILEMAP, SCHED, TRACING

ON = [("buffer_size_kb", "8192"), ("trace_clock", "global"), ("options/overwrite", "1"),
      ("tracing_on", "1")]
START = {"--systrace": [(control, "1") for control in SCHED] + ON,
         "--block-dump": [(control, "1") for control in FILEMAP] + ON}
STOP = [("tracing_on", "0"), ("options/overwrite", "0"), *((control, "0") for control in SCHED),
        *((control, "0") for control in reversed(FILEMAP)), ("trace_clock", "local"),
        ("buffer_size_kb", "1")]
ONE_MEASUREMENT = ("--iter=1", "--interval=0")


def written(writes):
    """What the control files hold afterwards: a write does not cut them."""
    texts = dict.fromkeys(CONTROLS, "as it was")
    for control, value in writes:
        texts[control] = value + texts[control][len(value):]
    return texts


class ControlTest(TraceTest):
    def lay_again(self):
        self.device.remove(TRACING)
        self.lay_tracing(TRACING)

    def texts(self, *left_out):
        return {control: self.device.read(f"{TRACING}/{control}")
                for control in CONTROLS if control not in left_out}

    def assert_texts(self, writes, *left_out):
        expected = written(writes)
        self.assertEqual(self.texts(*left_out),
                         {control: expected[control] for control in CONTROLS if control not in left_out})

    def strace(self, *arguments, options=("--systrace",), status=0):
        """A measurement under strace. Returns its output and the calls of all threads, in their order."""
        log = tempfile.NamedTemporaryFile("r")
        self.addCleanup(log.close)
        with self.start(*ONE_MEASUREMENT, *options, prefix=["strace", "-o", log.name, *arguments],
                        stdin=subprocess.DEVNULL) as program:
            output = program.finish(status)
        return output, self.all_calls(log)

    def all_calls(self, log):
        """The calls that a run under strace has logged, as (thread, call)."""
        self.wait_until_all_have_ended()
        return list(calls_of(log.read()))


class Order(ControlTest):
    def steps(self, option, tracing=TRACING):
        """The writes to control files, and the lives of the worker threads."""
        _, calls = self.strace("-f", "-e", "trace=clone,clone3,prctl,openat,write,tgkill,exit",
                               options=(option,))
        names = {tid: found[1] for tid, call in calls
                 if (found := re.match(r'prctl\(PR_SET_NAME, "(\w+_thread)"', call))}
        files, steps = {}, []
        for tid, call in calls:
            if found := re.match(r"clone.* = (\d+)", call):
                if found[1] in names:
                    steps.append(("create", names[found[1]]))
            elif found := re.match(rf'openat\(AT_FDCWD, "{tracing}/(.*?)", O_WRONLY.*\) += (\d+)', call):
                files[found[2]] = found[1]
            elif found := re.match(r'write\((\d+), "(.*?)", \d+\)', call):
                if tid == calls[0][0] and found[1] in files:
                    steps.append((files.pop(found[1]), found[2]))
            elif found := re.match(r"tgkill\(\d+, (\d+), SIGUSR2\)", call):
                steps.append(("stop", names[found[1]]))
            elif call.startswith("exit(") and tid in names:
                steps.append(("end", names[tid]))
        return steps

    def test_scheduler_trace(self):
        self.assertEqual(
            self.steps("--systrace"),
            [("create", "logcat_thread"), ("create", "pipe_thread"), *START["--systrace"], *STOP,
             ("stop", "logcat_thread"), ("end", "logcat_thread"), ("stop", "pipe_thread"),
             ("end", "pipe_thread")])

    def page_cache_trace(self):
        return [("create", "pipe_thread"), *START["--block-dump"], *STOP, ("stop", "pipe_thread"),
                ("end", "pipe_thread")]

    def test_page_cache_trace(self):
        self.assertEqual(self.steps("--block-dump"), self.page_cache_trace())
        self.assertFalse(os.path.exists(self.device.path("/data/calls")))

    def test_tracefs_alone_serves_where_debugfs_has_none(self):
        self.device.remove(TRACING)
        self.lay_tracing("/sys/kernel/tracing")
        self.assertEqual(self.steps("--block-dump", "/sys/kernel/tracing"), self.page_cache_trace())

    def test_debugfs_serves_where_both_are(self):
        self.device.remove(TRACING)
        self.lay_tracing("/sys/kernel/tracing")
        self.lay_tracing(TRACING)
        self.assertEqual(self.steps("--block-dump"), self.page_cache_trace())

    def assert_debugfs_is_tried(self):
        output, calls = self.strace("-f", "-e", "trace=openat", options=("--block-dump",), status=1)
        opened = [found[1] for _, call in calls if (found := re.match(r'openat\(AT_FDCWD, "(.*?)"', call))]
        self.assertTrue([path for path in opened if path.startswith(TRACING)])
        self.assertEqual([path for path in opened if path.startswith("/sys/kernel/tracing")], [])

    def test_tracefs_that_is_not_mounted_does_not_serve(self):
        self.device.remove("/sys/kernel/debug")
        os.mkdir(self.device.path("/sys/kernel/tracing"))
        self.assert_debugfs_is_tried()

    def test_tracefs_does_not_serve_where_debugfs_is_something_else(self):
        self.lay_tracing("/sys/kernel/tracing")
        self.device.remove("/sys/kernel/debug")
        self.device.write("/sys/kernel/debug", "")
        self.assert_debugfs_is_tried()

    def test_writes_add_up_to_a_trace_that_is_off(self):
        for option in START:
            with self.subTest(option):
                self.lay_again()
                self.trace(options=(option,))
                self.assert_texts(START[option] + STOP)

    def test_nothing_is_touched_without_an_option(self):
        _, calls = self.strace("-f", "-e", "trace=%file,tgkill", options=("--stdout",))
        self.assertTrue([call for _, call in calls if "/proc/stat" in call])
        self.assertEqual([call for _, call in calls if "tracing" in call or "SIGUSR2" in call], [])
        self.assert_texts([])

    def test_no_trace_file_without_systrace(self):
        output = self.trace(options=("--block-dump",))
        self.assertFalse(os.path.exists(self.device.path("/data/trace.txt")))
        self.assertNotIn("trace.txt", output)


class MissingEvents(ControlTest):
    """A kernel without CONFIG_SCHEDSTATS, or without page-cache events."""

    def remove_events(self, controls):
        for control in controls:
            self.device.remove(f"{TRACING}/{os.path.dirname(control)}")

    def test_stop_skips_events_that_the_kernel_does_not_have(self):
        for option, missing in (("--block-dump", SCHED), ("--block-dump", SCHED[:2]), ("--systrace", FILEMAP)):
            with self.subTest(option=option, missing=missing):
                self.lay_again()
                self.remove_events(missing)
                self.assertIn(SEPARATOR, self.trace(options=(option,)))
                self.assert_texts(START[option] + STOP, *missing)

    def test_event_without_its_switch_is_an_error(self):
        self.device.remove(f"{TRACING}/{SCHED[0]}")
        with self.start("--enter", "--block-dump") as program:
            program.wait_until_waiting()
            program.type("\n")
            self.assertEqual(program.finish(status=1),
                             f"{SEPARATOR}Error opening {TRACING}/{SCHED[0]}: No such file or directory (2)\n")

    def test_event_that_was_switched_on_is_an_error(self):
        for option, events in (("--systrace", SCHED), ("--block-dump", FILEMAP)):
            for event in events:
                with self.subTest(event):
                    self.lay_again()
                    with self.start("--enter", option) as program:
                        program.wait_until_waiting()
                        self.remove_events([event])
                        program.type("\n")
                        self.assertEqual(
                            program.finish(status=1),
                            f"{SEPARATOR}Error opening {TRACING}/{event}: No such file or directory (2)\n")

    def test_second_measurement_skips_them_too(self):
        self.remove_events(SCHED)
        with self.start("--sig", "--block-dump") as program:
            for _ in range(4):
                program.toggle()
            self.assertEqual(program.interrupt().count(SEPARATOR), 2)

    def test_start_does_not_skip_them(self):
        self.remove_events(SCHED)
        with self.start("--enter", "--systrace") as program:
            self.assertEqual(program.finish(status=1),
                             f"Error opening {TRACING}/{SCHED[0]}: No such file or directory (2)\n")


class Reading(ControlTest):
    def test_rest_after_each_drain(self):
        with tempfile.NamedTemporaryFile("r") as log:
            prefix = ["strace", "-D", "-f", "-o", log.name, "-e", "trace=prctl,openat,ppoll,read,ioctl"]
            with self.start("--enter", "--block-dump", prefix=prefix) as program:
                program.wait_until_waiting()
                self.settle()
                program.type("\n")
                program.finish()
            calls = self.all_calls(log)
        reader = next(tid for tid, call in calls if 'PR_SET_NAME, "pipe_thread"' in call)
        pipe = next(found[1] for _, call in calls
                    if (found := re.match(r'openat\(AT_FDCWD, ".*/trace_pipe", .* = (\d+)', call)))
        steps = ""
        for call in (call for tid, call in calls if tid == reader):
            if re.match(r"ppoll\(.*, NULL, \[", call):
                steps += "wait "
            elif found := re.match(r"ppoll\(.*, \{tv_sec=(\d+), tv_nsec=(\d+)\}, \[", call):
                rest_ns = int(found[1]) * 10 ** 9 + int(found[2])
                steps += "rest " if 10 ** 5 <= rest_ns <= 2 * 10 ** 7 else f"{rest_ns} "
            elif found := re.match(rf"read\({pipe}, .*, (\d+)\) += ", call):
                steps += f"{found[1]} "
            elif call.startswith("ioctl("):
                break  # the drain before the writes that discard what is unread
        self.assertRegex(steps, r"\A0 (wait (65536 )+rest )+wait \Z")


class BadControl(ControlTest):
    """Each of the writes fails in turn: the earlier ones have been made, the later ones are not."""

    def missing(self, path):
        self.device.remove(path)
        return f"Error opening {path}: No such file or directory (2)\n"

    def folder(self, path):
        self.device.remove(path)
        os.mkdir(self.device.path(path))
        return f"Error opening {path}: Is a directory (21)\n"

    def full(self, path):
        self.device.remove(path)
        os.symlink("/dev/full", self.device.path(path))
        return f"Error writing to {path}: No space left on device (28)\n"

    def assert_ends(self, option, spoil, position, writes_before=(), **popen):
        """The write at this position of the start, or of the stop behind a start, fails."""
        writes = STOP if writes_before else START[option]
        control = writes[position][0]
        with self.subTest(option=option, spoil=spoil.__name__, stop=bool(writes_before), control=control):
            self.lay_again()
            if not writes_before:
                message = spoil(f"{TRACING}/{control}")
            with self.start("--enter", option, **popen) as program:
                if writes_before:
                    program.wait_until_waiting()
                    message = SEPARATOR + spoil(f"{TRACING}/{control}")
                    program.type("\n")
                self.assertEqual(program.finish(status=1), message)
            self.assert_texts([*writes_before, *writes[:position]], control)
            self.wait_until_all_have_ended()

    def assert_start_and_stop_end(self, spoil):
        for option, start in START.items():
            for position in range(len(start)):
                self.assert_ends(option, spoil, position)
            for position in range(len(STOP)):
                self.assert_ends(option, spoil, position, start)

    def test_missing(self):
        self.assert_start_and_stop_end(self.missing)

    def test_cannot_be_opened(self):
        for option, start in START.items():
            self.assert_ends(option, self.folder, 0)
            self.assert_ends(option, self.folder, len(STOP) - 1, start)

    def test_cannot_be_written(self):
        self.assert_start_and_stop_end(self.full)

    def test_read_only_file_system(self):
        folder = TRACING + "/events"
        remount = ["sh", "-c",
                   f'mount --bind {folder} {folder} && mount -o remount,bind,ro {folder} && exec "$@"', "sh"]
        with self.start("--enter", "--block-dump", prefix=remount) as program:
            self.assertEqual(program.finish(status=1),
                             f"Error opening {TRACING}/{FILEMAP[0]}: Read-only file system (30)\n")
        self.assert_texts([])

    def test_part_of_a_write(self):
        # As on a device that takes two bytes and no more.
        limit = ["env", "--ignore-signal=XFSZ", "prlimit", "--fsize=2"]
        with self.start("--enter", "--block-dump", prefix=limit, stdout=subprocess.PIPE) as program:
            program.finish(status=1)
            output = program.process.stdout.read().decode()
            program.process.stdout.close()
        self.assertRegex(output, rf"\AError writing to {TRACING}/buffer_size_kb: .* \(\d+\)\n\Z")
        self.assertEqual(self.texts(), written([(control, "1") for control in FILEMAP]
                                               + [("buffer_size_kb", "81")]))


class NoWorker(ControlTest):
    def end_of(self, option, **popen):
        """The output of a run that a worker ends with status 1."""
        with self.start("--enter", option, **popen) as program:
            wait_for(lambda: program.process.poll() is not None, "the program has ended")
            output = program.finish(status=1)
        self.wait_until_all_have_ended()
        return output

    def late(self, fault):
        """The pipe is opened with this fault, and late, so that nothing can hide behind being early."""
        return ["strace", "-f", "-o", "/dev/null", "-P", f"{TRACING}/trace_pipe", "-e", "trace=openat",
                "-e", f"inject=openat:delay_enter=300000{fault}"]

    def assert_no_pipe(self, option, fault=""):
        self.assertEqual(self.end_of(option, prefix=self.late(fault)), "fopen(trace_pipe) failed!\n")
        self.assert_texts([])
        # Nor is the log cleared.
        self.assertFalse(os.path.exists(self.device.path("/data/calls")))

    def test_no_pipe(self):
        self.device.remove(f"{TRACING}/trace_pipe")
        for option in START:
            with self.subTest(option):
                self.assert_no_pipe(option)

    def test_no_tracing_files(self):
        self.device.remove(TRACING)
        for option, start in START.items():
            with self.subTest(option):
                self.assertEqual(self.end_of(option), f"Error opening {TRACING}/{start[0][0]}: "
                                                      "No such file or directory (2)\n")

    def test_pipe_has_another_reader(self):
        for option in START:
            with self.subTest(option):
                self.assert_no_pipe(option, ":error=EBUSY")

    def threads(self, option):
        """How many threads the program creates in all; those of the trace come last."""
        _, calls = self.strace("-e", "trace=clone3", options=(option,))
        return len([call for _, call in calls if call.startswith("clone3(")])

    def assert_no_thread(self, option, which, name):
        fault = f"inject=clone3:error=EAGAIN:when={self.threads(option) + which}"
        self.lay_again()
        output, _ = self.strace("-e", "trace=clone3", "-e", fault, options=(option,), status=1)
        self.assertEqual(output, f"pthread_create({name}) failed! rc= 11\n")
        self.assert_texts([])

    def test_no_logcat_thread(self):
        self.assert_no_thread("--systrace", -1, "logcat")

    def test_no_pipe_thread(self):
        for option in START:
            with self.subTest(option):
                self.assert_no_thread(option, 0, "pipe")

    def failed_processes(self, calls, when="1+"):
        return ["strace", "-f", "-o", "/dev/null", "-e", f"trace={calls}",
                "-e", f"inject={calls}:error=EAGAIN:when={when}"]

    def switched_off(self):
        """The writes of a start, and what undoes them."""
        start = START["--systrace"]
        return start + [write for write in STOP if write[0] in dict(start)]

    def test_no_pipe_to_logcat(self):
        for calls in ("?pipe,pipe2", "clone,?fork,?vfork"):
            if "pipe2" in calls and NEEDS_PIPES:
                continue
            with self.subTest(calls):
                self.lay_again()
                self.assertEqual(self.end_of("--systrace", prefix=self.failed_processes(calls)), "popen() failed!\n")
                # It fails before the first write or after the last one.
                self.assertIn(self.texts(), [written([]), written(self.switched_off())])

    def fail_late(self, then="exit 0"):
        """The log is cleared until the trace is on. Then logcat cannot be started."""
        self.tool("logcat", f"while read -r on <{TRACING}/tracing_on || :; do case $on in 1*) {then}; esac; done")
        self.assertEqual(self.end_of("--systrace", prefix=self.failed_processes("clone,?fork,?vfork", "2+")),
                         "popen() failed!\n")

    def test_trace_that_is_on_is_switched_off(self):
        self.fail_late()
        self.assert_texts(self.switched_off())

    def test_file_that_cannot_be_written_leaves_no_other_on(self):
        self.fail_late(f"exec rm {TRACING}/tracing_on")
        self.assert_texts(self.switched_off(), "tracing_on")


class Interrupt(ControlTest):
    """SIGINT ends the program with status 0 at any moment, and its children with it."""

    def hold(self, path):
        """Whoever opens the file waits."""
        if os.path.exists(self.device.path(path)):
            self.device.remove(path)
        os.mkfifo(self.device.path(path))

    def interrupt(self, program):
        output = program.interrupt()
        self.wait_until_all_have_ended()
        return output

    def assert_ends(self, program, writes, control, output=""):
        """Interrupts the program when it has made these writes and is about to make the next one."""
        wait_for(lambda: self.texts(control) == {name: text for name, text in written(writes).items()
                                                 if name != control}
                 and self.is_held(program.pid, program.pid), "the write is held")
        self.assertEqual(self.interrupt(program), output)

    def test_before_each_write_of_a_start(self):
        for option, start in START.items():
            for position, (control, _) in enumerate(start):
                with self.subTest(option=option, control=control):
                    self.lay_again()
                    self.hold(f"{TRACING}/{control}")
                    with self.start("--enter", option) as program:
                        self.assert_ends(program, start[:position], control)

    def test_before_each_write_of_a_stop(self):
        for option, start in START.items():
            for position, (control, _) in enumerate(STOP):
                with self.subTest(option=option, control=control):
                    self.lay_again()
                    with self.start("--enter", option) as program:
                        program.wait_until_waiting()
                        self.hold(f"{TRACING}/{control}")
                        program.type("\n")
                        self.assert_ends(program, start + STOP[:position], control, SEPARATOR)

    def test_in_the_measurement(self):
        for option in ("--enter", "--sig", "--iter=1"):
            with self.subTest(option), self.start(option, "--interval=3600", "--systrace") as program:
                if option == "--sig":
                    program.toggle()
                self.wait_until_logged()
                self.interrupt(program)
            self.device.remove("/data/logcat-pid")

    def test_between_the_birth_of_a_child_and_its_first_step(self):
        # The child asks the kernel to be ended with its parent, and is kept from it until that is too late.
        delay = ["strace", "-D", "-f", "-o", "/dev/null", "-e", "trace=prctl", "-e",
                 "inject=prctl:delay_enter=300000"]
        self.tool("logcat", STAY)
        with self.start("--enter", "--systrace", prefix=delay) as program:
            program.wait_until_waiting()
            wait_for(lambda: self.children(program), "a child is born")
            self.interrupt(program)

    def test_while_the_log_is_cleared(self):
        self.tool("logcat", f"echo $$ > /data/logcat-pid\n{STAY}")
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            self.interrupt(program)

    def test_while_logcat_is_ended(self):
        self.tool("busybox", f"echo $$ > /data/busybox-pid\n{STAY}")
        with self.start("--enter", "--systrace") as program:
            self.wait_until_logged()
            program.type("\n")
            wait_for(lambda: os.path.exists(self.device.path("/data/busybox-pid")), "busybox runs")
            self.interrupt(program)

    def test_while_the_trace_is_written(self):
        self.task(7, 7, "p")
        self.device.write(TRACE, "old")
        # The thread can have ended when the process does, and nobody waits for it then.
        self.environment["TSAN_OPTIONS"] = "report_thread_leaks=0"
        with self.start("--enter", "--systrace") as program:
            program.wait_until_waiting()
            self.send(sched("wait", 7, "p", 5))
            self.settle()
            # Time for the interrupt, which comes first when the program runs on.
            self.inject(program, "pipe_thread", "write:signal=STOP:when=1", "/rename:delay_enter=2000000")
            program.type("\n")
            wait_for(lambda: program.state() == "T", "the program stands still")
            self.assertTrue(os.path.exists(self.device.path(UNFINISHED_TRACE)))
            program.send(signal.SIGINT)
            program.send(signal.SIGCONT)
            self.interrupt(program)
        self.assertEqual(self.records(), "old")
        self.assertFalse(os.path.lexists(self.device.path(UNFINISHED_TRACE)))
