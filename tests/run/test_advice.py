"""run.sh warns of what the program ignores without a word. The machine is a made-up device, see README.md of
the tests."""

import os
import shutil
import subprocess
import tempfile
import unittest

from script_tree import TESTS, Tree

ENTER_DEVICE = os.path.join(TESTS, "support", "enter_device.sh")
NO_DATA = ("sh", "-c", 'umount /data && rmdir /data && exec "$@"', "sh")

IGNORED = "run.sh: {} is ignored without --sig, --enter or --iter=1; add one of them\n"
TOGETHER = "run.sh: --systrace and --block-dump cannot be used together; leave one out\n"
NEEDS_ROOT = "run.sh: {} needs root; run as root, or with sudo\n"
NO_TRACE = "run.sh: no trace file: there is no folder /data; as root: mkdir /data\n"
NO_NAMES = "run.sh: no file names for --block-dump: there is no folder /data; as root: mkdir /data\n"
NO_PROCESS = ("run.sh: no process is named '{}'; --proc takes the file name of the program, from "
              "/proc/PID/cmdline\n")
NO_DISK = "run.sh: no disk is counted: /sys/block has no sd* and no mmcblk0; disk figures stay 0\n"


class Advice(unittest.TestCase):
    def setUp(self):
        self.tree = Tree()
        self.addCleanup(self.tree.remove)
        self.device = os.path.join(self.tree.folder, "device")
        for folder in "proc", "sys/block/sda", "data":
            os.makedirs(os.path.join(self.device, folder))
        self.process(1, b"/sbin/init\0splash\0")

    def process(self, pid, command_line):
        os.mkdir(os.path.join(self.device, "proc", str(pid)))
        with open(os.path.join(self.device, "proc", str(pid), "cmdline"), "wb") as file:
            file.write(command_line)

    def warnings(self, *options, prefix=()):
        # The stubs are for run.sh, not for what makes the device.
        stubs = f"PATH={self.tree.bin}:{os.environ['PATH']}"
        result = self.tree.start("run.sh", *options, path=os.environ["PATH"],
                                 prefix=(ENTER_DEVICE, self.device, *prefix, "env", stubs))
        # Whatever it says, the program runs, with its own output and status.
        self.assertEqual((result.returncode, result.stdout), (7, f"options: {' '.join(options)}\n"), result.stderr)
        return result.stderr

    def assert_warnings(self, options, *warnings, **how):
        with self.subTest(options):
            self.assertEqual(self.warnings(*options.split(), **how), "".join(warnings))

    def test_ordinary_options_are_no_matter(self):
        self.assert_warnings("--stdout --iter=1")
        self.assert_warnings("--interval=1 --iter=3 --stdout --min-cpu=5 --no-proc-cpu --freq --pmu --enter --sig")

    def test_a_trace_needs_a_mode(self):
        for option in "--systrace", "--block-dump":
            for mode in "", "--iter=2":
                self.assert_warnings(f"{option} {mode}".strip(), IGNORED.format(option))
            for mode in "--sig", "--enter", "--iter=1":
                self.assert_warnings(f"{mode} {option}")

    def test_numbers_are_those_of_the_program(self):
        for number in "10", "", "x1", "-1", "1 --iter=2":
            self.assert_warnings(f"--systrace --iter={number}", IGNORED.format("--systrace"))
        for number in "+1", "01x", "2 --iter=1":
            self.assert_warnings(f"--systrace --iter={number}")

    def test_both_traces_in_a_loop_are_both_ignored(self):
        self.assert_warnings("--systrace --block-dump", IGNORED.format("--systrace"), IGNORED.format("--block-dump"))

    def test_there_is_one_trace_at_a_time(self):
        for mode in "--sig", "--enter", "--iter=1":
            self.assert_warnings(f"{mode} --systrace --block-dump --proc=none", TOGETHER)

    def test_the_trace_file_needs_its_folder(self):
        self.assert_warnings("--iter=1 --systrace", NO_TRACE, prefix=NO_DATA)
        self.assert_warnings("--iter=1 --block-dump", NO_NAMES, prefix=NO_DATA)
        self.assert_warnings("--iter=2 --systrace", IGNORED.format("--systrace"), prefix=NO_DATA)
        self.assert_warnings("--iter=1", prefix=NO_DATA)

    def test_traces_and_counters_need_root(self):
        self.tree.stub("id", "echo 1000")
        for option in "--systrace", "--block-dump", "--pmu":
            self.assert_warnings(f"--iter=1 {option}", NEEDS_ROOT.format(option))
        self.assert_warnings("--systrace", IGNORED.format("--systrace"))
        self.assert_warnings("--stdout --iter=1 --freq")

    def test_the_process_has_to_exist(self):
        self.process(20, b"com.example.app\0")
        self.process(21, b"/usr/bin/two words\0")
        self.process(22, b"no end")
        self.process(23, b"/usr/lib/first line\nsecond line\0")
        self.process(24, b"")
        self.process(25, b"/usr/bin/python3\0script.py\0")
        for name in "init", "com.example.app", "two words", "no end", "first line", "python3":
            with self.subTest(name):
                self.assertEqual(self.warnings(f"--proc={name}"), "")
        for name in "", "ini", "nit", "/sbin/init", "splash", "script.py", "second line", "i*", "two":
            with self.subTest(name):
                self.assertEqual(self.warnings(f"--proc={name}"), NO_PROCESS.format(name))
        # The last one holds, as for the program.
        self.assert_warnings("--proc=init --proc=none", NO_PROCESS.format("none"))

    def test_no_process_is_looked_for_where_none_is_reported(self):
        self.assert_warnings("--proc=none --no-proc-cpu")

    def test_the_program_finds_itself(self):
        self.assert_warnings("--proc=tarnwick")

    def test_the_shell_of_run_sh_is_no_process_of_that_name(self):
        """On this machine's /proc."""
        shell = os.path.join(self.tree.bin, "tarnwick-odd-shell")
        shutil.copy("/bin/bash", shell)
        result = self.tree.start("run.sh", "--proc=tarnwick-odd-shell", prefix=(shell,))
        self.assertIn(NO_PROCESS.format("tarnwick-odd-shell"), result.stderr)
        with subprocess.Popen([shell, "-c", "read line"], stdin=subprocess.PIPE) as other:
            result = self.tree.start("run.sh", "--proc=tarnwick-odd-shell", prefix=(shell,))
            other.stdin.close()
        self.assertNotIn("no process", result.stderr)

    def test_a_disk_has_to_be_one_that_is_counted(self):
        os.rmdir(os.path.join(self.device, "sys/block/sda"))
        self.assert_warnings("--stdout", NO_DISK)
        for name in "vda", "nvme0n1", "mmcblk1", "mmcblk0boot0", "asda":
            os.mkdir(os.path.join(self.device, "sys/block", name))
            self.assert_warnings("--stdout", NO_DISK)
        for name in "mmcblk0", "sdb":
            path = os.path.join(self.device, "sys/block", name)
            os.symlink("vda", path)
            self.assert_warnings("--stdout")
            os.remove(path)

    def test_the_usage_is_all_that_a_wrong_option_gets(self):
        os.rmdir(os.path.join(self.device, "sys/block/sda"))
        self.assert_warnings("--systrace --proc=none --no-such-option")
