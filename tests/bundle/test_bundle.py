"""The bundle for a device, unpacked in an odd place and run in the emulator of this machine."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                "support"))

import deadline  # noqa: E402
import elf  # noqa: E402
import hardening  # noqa: E402
from program import PROGRAM, SEPARATOR, TIMING_LINE  # noqa: E402

BUNDLE = os.environ["BUNDLE"]
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
EMULATOR = shutil.which("qemu-aarch64-static")

# Makes the kernel start AArch64 programs by the emulator, for the command alone: the mount shows the
# formats of a user namespace, not those of the machine. Kernels before 6.7 have no such thing.
WITH_FORMAT = ["unshare", "--user", "--map-root-user", "--mount", "--propagation", "private", "sh", "-c",
               "mount -t binfmt_misc none /proc/sys/fs/binfmt_misc || exit 99; "
               "printf %s \"$0\" > /proc/sys/fs/binfmt_misc/register && exec \"$@\"",
               r":tarnwick:M::\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00:"
               r"\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:"
               f"{EMULATOR}:PF"]


class Bundle(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="an odd 'place' $HOME é ")
        self.addCleanup(scratch.cleanup)
        self.place = scratch.name
        with tarfile.open(BUNDLE) as archive:
            archive.extractall(self.place)
        self.folder = os.path.join(self.place, "tarnwick")
        self.launcher = os.path.join(self.folder, "tarnwick")

    def run_command(self, *command, **options):
        return deadline.run(command, cwd="/", **options)

    def becomes(self, launcher, *options):
        """What the launcher executes: the path, and the arguments with their name. The emulator alone
        cannot go on from there, but tells of the call."""
        told = self.run_command(EMULATOR, "-strace", launcher, *options).stderr
        call = re.search(r'^\d+ execve\("(.*?)",\{(.*),NULL\}\)', told, re.M)
        self.assertTrue(call, told)
        return call[1], re.findall(r'"(.*?)"(?:,|$)', call[2])

    def run_program(self, *options, trace=()):
        loader, arguments = self.becomes(self.launcher, *options)
        return self.run_command(EMULATOR, *trace, "-0", arguments[0], loader, *arguments[1:])

    def test_holds_the_program_of_this_build(self):
        with open(PROGRAM, "rb") as built, \
                open(os.path.join(self.folder, "program/tarnwick"), "rb") as bundled:
            self.assertTrue(built.read() == bundled.read(), "run packaging/bundle.sh")

    def test_archive_tells_nothing_of_the_machine_that_made_it(self):
        with tarfile.open(BUNDLE) as archive:
            members = archive.getmembers()
        self.assertEqual([m.name for m in members], sorted(m.name for m in members))
        for member in members:
            self.assertTrue(member.isfile() or member.isdir(), member.name)
            self.assertEqual((member.uid, member.gid, member.mtime), (0, 0, 0), member.name)
            self.assertIn(member.mode, (0o755, 0o644), member.name)
        for folder, _, names in os.walk(self.folder):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    self.assertNotIn(ROOT.encode(), file.read(), name)

    def test_no_file_looks_for_libraries_in_a_relative_place(self):
        names = []
        for path, program in elf.programs_below(self.folder):
            names.append(os.path.relpath(path, self.folder))
            self.assertEqual(program.relative_run_path(), [], path)
        self.assertLess({"tarnwick", "program/tarnwick", "loader/tarnwick", "lib/libutils.so.0"}, set(names))

    def test_programs_are_hardened(self):
        self.assertEqual(hardening.missing(elf.Elf(os.path.join(self.folder, "program/tarnwick"))), [])
        launcher = elf.Elf(self.launcher)
        self.assertEqual(hardening.missing_of_any(launcher), [])
        # It has no loader, and its libraries are inside.
        self.assertEqual((launcher.needed(), launcher.run_path()), ([], []))

    def test_every_package_has_its_notice(self):
        with open(os.path.join(self.folder, "packages")) as packages:
            names = [line.split()[0] for line in packages]
        self.assertIn("libc6", names)
        for name in names:
            notice = os.path.join(self.folder, "licences", name)
            self.assertGreater(os.path.getsize(notice), 0)
            with open(notice) as text:
                named = re.findall(r"/usr/share/common-licenses/([\w.-]*\w)", text.read())
            for licence in named:
                self.assertIn(licence, os.listdir(os.path.join(self.folder, "licences")))

    def test_launcher_becomes_the_loader_with_the_options(self):
        loader, arguments = self.becomes(self.launcher, "--stdout", "a b")
        self.assertEqual(loader, self.folder + "/loader/tarnwick")
        self.assertEqual(arguments[0], self.launcher)
        self.assertEqual(arguments[-3:], [self.folder + "/program/tarnwick", "--stdout", "a b"])

    def test_launcher_is_found_through_a_link(self):
        link = os.path.join(self.place, "link")
        os.symlink("tarnwick/tarnwick", link)
        self.assertEqual(self.becomes(link)[0], self.folder + "/loader/tarnwick")

    def test_launcher_refuses_a_folder_that_the_loader_would_cut(self):
        moved = os.path.join(self.place, "a:b")
        os.rename(self.folder, moved)
        result = self.run_command(EMULATOR, os.path.join(moved, "tarnwick"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot run", result.stderr)

    def test_usage(self):
        result = self.run_program("--help")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        self.assertTrue(result.stderr.startswith(f"Usage: {self.launcher} [OPTION]"), result.stderr)

    def test_report(self):
        result = self.run_program("--stdout", "--iter=1", "--interval=0")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(result.stdout.startswith(SEPARATOR), result.stdout)
        self.assertEqual(len(TIMING_LINE.findall(result.stdout)), 1, result.stdout)

    def test_log_goes_to_standard_error(self):
        result = self.run_program("--iter=1", "--interval=0")
        self.assertEqual((result.returncode, result.stdout), (0, ""))
        self.assertRegex(result.stderr, r"^Tarnwick E .* " + SEPARATOR)
        self.assertRegex(result.stderr, r"(?m)^Tarnwick E .* uptime=")

    def test_all_libraries_are_its_own(self):
        told = self.run_program("--stdout", "--iter=1", "--interval=0", trace=["-strace"]).stderr
        opened = re.findall(r'openat\(AT_FDCWD,"([^"]*\.so[^"]*)",.*= \d+$', told, re.M)
        self.assertIn(self.folder + "/lib/libutils.so.0", opened)
        self.assertEqual([path for path in opened if not path.startswith(self.folder + "/lib/")], [])

    def test_process_keeps_its_id_and_its_name(self):
        if subprocess.run(["unshare", "--user", "true"], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no user namespace can be made here")
        program = subprocess.Popen([*WITH_FORMAT, self.launcher, "--stdout", "--interval=0"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(program.communicate)
        self.addCleanup(program.kill)
        if program.stdout.readline() != SEPARATOR:
            errors = program.stderr.read()
            if deadline.wait_for_end(program) == 99:
                self.skipTest("this kernel lets no user namespace have binary formats")
            self.fail(errors)
        with open(f"/proc/{program.pid}/comm") as comm:
            self.assertEqual(comm.read(), "tarnwick\n")
        program.send_signal(signal.SIGINT)
        deadline.communicate(program, "the program ends")
        self.assertEqual(program.returncode, 0)
