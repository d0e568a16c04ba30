"""The cache of file names: what a walk over the device writes, and what is left when it cannot."""

import os
import re
import shutil
import signal
import stat
import time

from inode_cache import CACHE, FEW_FILES, REPORT, UNFINISHED, InodeCacheTest, shell
from deadline import wait_for
from program import HOLDS_SIGNALS_BACK

# As the program counts, with both of the slashes that a path begins with.
LONGEST_PATH = 1022


class Contents(InodeCacheTest):
    def test_all_of_data(self):
        os.symlink("/data/deep/er/file", self.device.path("/data/link"))
        os.symlink("/data/deep", self.device.path("/data/deep/loop"))
        os.symlink("nowhere", self.device.path("/data/dangling"))
        os.mkfifo(self.device.path("/data/fifo"))
        os.link(self.device.path("/data/log"), self.device.path("/data/log-again"))
        self.walk()
        lines = [line for line in self.lines() if " /data/" in line]
        self.assertEqual(sorted(lines), sorted(self.regular_files()))

    def test_kernel_files_are_not_there_and_their_likes_are(self):
        self.device.write("/data/proc/file", "")
        # Besides the folders that are always there, those of the programs among the arguments are.
        likes = ["/procedures/env", "/system/env"]
        setup = [f"mkdir -p {os.path.dirname(like)} && cp {shutil.which('env')} {like}" for like in likes]
        with self.begin([*shell("; ".join(setup)), FEW_FILES, *likes]) as program:
            program.finish()
        self.assertEqual([path for path in self.paths() if path.startswith(("/proc/", "/sys/", "//"))], [])
        self.assertLessEqual({"/data/proc/file", "/data/sys/file", *likes}, set(self.paths()))

    def test_names_with_a_newline_are_left_out(self):
        """In a line of its own such a name could claim to be any file."""
        for path in ("/data/evil\n8:1_20 /file", "/data/evil\n8:1_20 /folder/er/file", "/data/deep/\nfile",
                     "/data/deep/file\n", "/data/deep/return\rfile", "/data/deep/blank tab\tfile"):
            self.touch(path)
        self.walk()
        with open(self.device.path(CACHE), "rb") as file:
            cache = file.read()
        self.assertRegex(cache, rb"\A(\d+:\d+_\d+ /[^\n]+\n)+\Z")
        for name in (b"8:1_20", b"/evil", b"/deep/\n", b"/deep/file"):
            self.assertNotIn(name, cache)
        for name in (b"return\rfile", b"blank tab\tfile", b"er/file"):
            self.assertIn(b" /data/deep/" + name + b"\n", cache)

    def test_whole_machine(self):
        with self.begin() as program:
            program.finish()
        status = os.stat("/etc/passwd")
        self.assertIn(f"{os.major(status.st_dev)}:{os.minor(status.st_dev)}_{status.st_ino} /etc/passwd",
                      self.lines())

    def test_bind_mount_on_itself(self):
        os.mkdir(self.device.path("/data/deep/again"))
        once = set(line.split(" ", 1)[1] for line in self.regular_files())
        self.walk("mount --bind /data /data/deep/again")
        paths = [path for path in self.paths() if path.startswith("/data/")]
        twice = [f"/data/deep/again{path.removeprefix('/data')}" for path in once]
        # The cache itself is seen under a name that is not its own.
        self.assertEqual(sorted(paths),
                         sorted([*once, *twice, CACHE, f"/data/deep/again{UNFINISHED.removeprefix('/data')}"]))

    def test_paths_around_the_longest(self):
        def folder_of(length):
            """A folder below /data, made, whose path has so many characters."""
            path = "/data"
            while length - len(path) > 202:
                path += "/" + "d" * 200
            path += "/" + "e" * (length - len(path) - 1)
            os.makedirs(self.device.path(path), exist_ok=True)
            return path

        written = LONGEST_PATH - 1
        near = folder_of(written - 10)
        expected = []
        for length in range(written - 2, written + 4):
            path = f"{near}/{'f' * (length - len(near) - 1)}"
            self.touch(path)
            if length <= written:
                expected.append(path)
        for length in (written - 1, written, written + 1):
            self.touch(f"{folder_of(length)}/f")
        # Longer than any path that the kernel takes.
        folder = os.open(self.device.path("/data/deep"), os.O_RDONLY)
        for _ in range(30):
            os.mkdir("d" * 200, dir_fd=folder)
            below = os.open("d" * 200, os.O_RDONLY, dir_fd=folder)
            os.close(folder)
            folder = below
        os.close(folder)
        self.walk()
        self.assertEqual(sorted(path for path in self.paths() if len(path) > 900), sorted(expected))


class Walk(InodeCacheTest):
    OPENS = ("-e", "trace=openat,close")

    def test_each_directory_is_opened_once(self):
        os.symlink("/data/deep", self.device.path("/data/link"))
        expected = [folder.removeprefix(self.device.folder)
                    for folder, _, _ in os.walk(self.device.path("/data"))]
        opened = self.opened_directories(self.walk(strace=self.OPENS))
        self.assertEqual(sorted(path for path in opened if path.startswith("/data")), sorted(expected))
        self.assertEqual(len(set(opened)), len(opened))

    def test_kernel_folders_are_not_entered(self):
        opened = self.opened_directories(self.walk(strace=self.OPENS))
        self.assertIn("/data/sys", opened)
        self.assertEqual([path for path in opened if re.match(r"/(proc|sys)(/|$)", path)], [])

    def lost_with(self, calls, *marks, error="ENOENT", setup=":", kept=True):
        """The paths that are missing when a call of the main thread fails.

        It is the first one that has the last mark, after calls that have the marks before. `kept` says
        whether the walk leaves a cache.
        """
        for _ in range(20):
            lines = self.walk(setup, strace=("-e", f"trace={calls}")).splitlines()
            found = -1
            for mark in marks:
                found = next(number for number, line in enumerate(lines) if number > found and mark in line)
            # Calls are counted for each thread, and a line of the only one has no thread's number.
            thread = re.match(r"(\[pid +\d+\] )?", lines[found])[0]
            call = re.search(r"(\w+)\(", lines[found])[1]
            count = sum((line.startswith(thread) or not line.startswith("[")) and f"{call}(" in line
                        for line in lines[:found + 1])
            paths = set(self.paths())
            self.device.remove(CACHE)
            log = self.walk(setup, strace=("-e", f"trace={calls}",
                                           "-e", f"inject={call}:error={error}:when={count}"))
            # A thread that has not quite gone has files as well, which move the count.
            hit = any(marks[-1] in line and "(INJECTED)" in line for line in log.splitlines())
            if hit and not kept:
                self.assertEqual(self.left(), [])
                return None
            lost = paths - set(self.paths())
            self.device.remove(CACHE)
            if hit:
                return {path for path in lost if path.startswith("/data/")}
        raise AssertionError("the call is never the one that was counted")

    # A mount of a file has the walk ask for all files of the folder.
    LONG = f"/data/{'n' * 255}/{'f' * 255}"
    MOUNT = f"mount --bind {LONG} {LONG}"

    def test_directory_that_vanishes(self):
        self.assertEqual(self.lost_with("openat", ', "er", '), {"/data/deep/er/file"})

    def test_file_that_vanishes(self):
        self.assertEqual(self.lost_with("/fstatat", f', "{"f" * 255}", ', setup=self.MOUNT), {self.LONG})

    def test_nothing_is_kept_of_a_walk_that_lacks_something(self):
        for error in ("EMFILE", "ENFILE", "ENOMEM", "EIO"):
            with self.subTest(error):
                self.lost_with("openat", ', "er", ', error=error, kept=False)
        for error in ("ENOMEM", "EIO"):
            with self.subTest(error):
                self.lost_with("openat,getdents64", ', "er", ', "getdents64", error=error, kept=False)
                self.lost_with("/fstatat", f', "{"f" * 255}", ', error=error, setup=self.MOUNT, kept=False)

    def test_cache_is_kept_where_it_would_lack_the_same_again(self):
        for error in ("EACCES", "ELOOP"):
            with self.subTest(error):
                self.assertEqual(self.lost_with("openat", ', "er", ', error=error), {"/data/deep/er/file"})
        self.assertEqual(self.lost_with("openat,getdents64", ', "er", ', "getdents64"), {"/data/deep/er/file"})

    def test_stream_that_cannot_be_made(self):
        """For the cache, then for the root: nothing is left, or nothing is in it."""
        # Behind the three standard descriptors.
        for count, error, left in ((4, "EBADF", []), (5, "ENOMEM", []), (5, "EBADF", [CACHE])):
            with self.subTest(count=count, error=error):
                self.walk(strace=("-e", "trace=fcntl", "-e", f"inject=fcntl:error={error}:when={count}"))
                self.assertEqual(self.left(), left)
        self.assertEqual(self.lines(), [])

    def test_cache_has_its_name_once_it_is_on_the_disk(self):
        # A crash between the two would leave an empty file that is taken for a whole one.
        log = self.walk(strace=("-e", "trace=write,fsync,rename"))
        # Without the writes of the report.
        self.assertEqual(re.findall(r"\b(write|fsync|rename)\((?![12],)", log)[-3:], ["write", "fsync", "rename"])

    def test_cache_that_is_there_is_not_made_again(self):
        self.device.write(CACHE, "")
        self.assertEqual(self.opened_directories(self.walk(strace=self.OPENS)), [])
        self.assertEqual(self.lines(), [])


class NoCache(InodeCacheTest):
    """Nothing is walked where nothing can be written, and the report comes nevertheless."""

    def check(self, setup=":"):
        log = self.walk(setup, strace=("-e", "trace=openat,close"))
        self.assertIn(f'"{UNFINISHED}"', log)
        self.assertEqual(self.opened_directories(log), [])
        self.assertFalse(os.path.exists(self.device.path(CACHE)))

    def test_data_that_is_read_only(self):
        self.check("mount --bind /data /data && mount -o remount,bind,ro /data")

    def test_data_that_is_missing(self):
        self.check("umount /data && rmdir /data")

    def test_name_that_is_taken_by_a_folder(self):
        self.device.write(f"{UNFINISHED}/file", "")
        self.check()

    def test_full_disk(self):
        # Names take no room there, but the cache of them does.
        fill = (f"mount -t tmpfs -o size=64k full /data && mkdir /data/a && "
                f"for i in $(seq 2000); do : > /data/a/${{i}}{'n' * 200}; done")
        log = self.walk(f'{fill}; "$@"; ls -A /data >&2; exit', strace=("-e", "trace=write,getdents64"))
        before, failed, after = log.partition("ENOSPC")
        self.assertTrue(failed)
        self.assertIn("getdents64(", before)
        self.assertNotIn("getdents64(", after.partition("exited with")[0])
        self.assertTrue(log.endswith("\na\n"), "the folder is all that is left")


class Incomplete(InodeCacheTest):
    """A walk with too few descriptors for the deepest folders."""

    LIMIT = "ulimit -n 24"
    DEEP = "/data/" + "d/" * 40 + "file"

    def setUp(self):
        super().setUp()
        self.touch(self.DEEP)
        self.touch("/data/near")

    def event(self, path):
        """The line of the report for an event of the file."""
        status = os.stat(self.device.path(path))
        self.send(f"             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev "
                  f"{os.major(status.st_dev)}:{os.minor(status.st_dev)} ino {status.st_ino:x} page=ffe0 pfn=1 ofs=0\n")

    def files(self, output):
        return re.findall(r"^add=1 del=0 file=(?!total)(.*)$", output, re.M)

    def report(self, setup):
        with self.start("--enter", "--block-dump", prefix=[*shell(setup), FEW_FILES]) as program:
            program.wait_until_waiting()
            self.event("/data/near")
            self.event(self.DEEP)
            program.type("\n")
            return self.files(program.finish())

    def test_its_names_are_used_and_the_next_run_walks_again(self):
        self.assertEqual(sorted(self.report(self.LIMIT)), ["/data/near", "unknown"])
        self.assertEqual(self.left(), [])
        self.assertEqual(sorted(self.report(":")), sorted(["/data/near", self.DEEP]))
        self.assertEqual(self.left(), [CACHE])

    def test_later_reports_of_the_run_do_not_walk_again(self):
        # It has an inode of its own before the walk, and a name after it.
        self.device.write("/proc/new", "")
        with self.start("--sig", "--block-dump", prefix=[*shell(self.LIMIT), FEW_FILES]) as program:
            program.toggle()
            self.event("/data/near")
            program.toggle()
            os.rename(self.device.path("/proc/new"), self.device.path("/data/new"))
            program.toggle()
            self.event("/data/new")
            program.toggle()
            output = program.interrupt()
        self.assertEqual(self.files(output), ["/data/near", "/data/near", "unknown"])
        self.assertEqual(self.left(), [])


class Refused(InodeCacheTest):
    """What has the cache's name and is no regular file is not read."""

    def check(self, setup=":"):
        with self.begin(shell(setup)) as program:
            output = program.finish()
        self.assertEqual([line for line in output.splitlines() if line.startswith("add=")], REPORT)
        self.assertIn("\nuptime=", output)
        self.assertEqual(self.left(), [CACHE])

    def test_fifo(self):
        os.mkfifo(self.device.path(CACHE))
        self.check()

    def test_folder(self):
        os.mkdir(self.device.path(CACHE))
        self.check()

    def test_link_to_a_device_that_never_ends(self):
        os.symlink("/dev/zero", self.device.path(CACHE))
        self.check()

    def test_device_that_never_ends(self):
        self.device.write(CACHE, "")
        self.check("mount --bind /dev/zero /data/inode.txt")

    def test_link_to_a_file(self):
        status = os.stat(self.device.path("/data/log"))
        self.device.write("/data/other", f"{os.major(status.st_dev)}:{os.minor(status.st_dev)}_{status.st_ino} /log\n")
        for link, name in ((True, "unknown"), (False, "/log")):
            if link:
                os.symlink("/data/other", self.device.path(CACHE))
            else:
                os.remove(self.device.path(CACHE))
                os.rename(self.device.path("/data/other"), self.device.path(CACHE))
            output = self.trace(f"             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: "
                                f"dev {os.major(status.st_dev)}:{os.minor(status.st_dev)} ino {status.st_ino:x} "
                                "page=ffe0 pfn=1 ofs=0\n", options=("--block-dump",))
            self.assertIn(f"add=1 del=0 file={name}\n", output)


class Unfinished(InodeCacheTest):
    """The file that the walk writes, until it has the cache's name."""

    def setUp(self):
        super().setUp()
        for number in range(4096):
            self.touch(f"/data/deep/{number}")

    def stop_in_the_walk(self, setup=":"):
        """A run on a device of few files that stands still in the middle of its walk."""
        tracer = [shutil.which("strace"), "-D", "-f", "--output=/data/strace", "-e", "trace=/fstatat",
                  "-e", "inject=/fstatat:signal=STOP:when=2000"]
        # A mount of a file has the walk ask for all files of the folder.
        mount = "mount --bind /data/deep/0 /data/deep/0"
        program = self.begin([*shell(f"{mount}; {setup}"), FEW_FILES, *tracer])
        self.addCleanup(program.__exit__)
        wait_for(lambda: os.path.exists(self.device.path("/data/strace"))
                 and "--- stopped by SIGSTOP ---" in self.device.read("/data/strace"),
                 "the program stands still")
        self.assertEqual(self.left(), [UNFINISHED])
        return program

    def test_interrupt_leaves_nothing(self):
        if HOLDS_SIGNALS_BACK:
            self.skipTest("this sanitizer holds the interrupt back until the walk is over")
        program = self.stop_in_the_walk()
        program.send(signal.SIGINT)
        program.send(signal.SIGCONT)
        program.finish()
        self.assertEqual(self.left(), [])

    def test_file_of_another_run_does_not_become_the_cache(self):
        program = self.stop_in_the_walk()
        self.device.write(UNFINISHED, "half a li")
        program.send(signal.SIGCONT)
        program.finish()
        self.assertEqual(self.left(), [])

    def test_file_of_a_run_that_was_killed_is_replaced(self):
        self.device.write(UNFINISHED, "half a li")
        self.walk()
        self.assertEqual(self.left(), [CACHE])
        self.assertIn("/data/deep/er/file", self.paths())
        self.assertNotIn("half a li", self.device.read(CACHE))

    def test_planted_link_is_not_followed(self):
        self.device.write("/data/victim", "untouched")
        os.symlink("/data/victim", self.device.path(UNFINISHED))
        self.walk()
        self.assertEqual(self.device.read("/data/victim"), "untouched")
        self.assertEqual(self.left(), [CACHE])
        self.assertFalse(os.path.islink(self.device.path(CACHE)))

    def test_link_to_nothing_is_replaced(self):
        os.symlink("/data/nothing", self.device.path(CACHE))
        self.walk()
        self.assertEqual(self.left(), [CACHE])
        self.assertFalse(os.path.islink(self.device.path(CACHE)))
        self.assertNotIn("/data/nothing", self.paths())

    def test_only_its_owner_may_write_the_cache(self):
        self.walk("umask 0")
        self.assertEqual(stat.S_IMODE(os.stat(self.device.path(CACHE)).st_mode) & ~0o644, 0)

    def errors_of_a_long_walk(self, setup=":"):
        program = self.stop_in_the_walk(setup)
        # The progress is shown once a second.
        time.sleep(1.1)
        program.send(signal.SIGCONT)
        program.finish()
        return program.errors()

    def test_progress_on_a_terminal(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        os.set_blocking(master, False)
        self.assertEqual(self.errors_of_a_long_walk(f"exec 2>{os.ttyname(slave)}"), "")
        self.assertRegex(os.read(master, 65536).decode(),
                         r"^(\rReading the file system: \d+ files)+\r\n$")

    def test_no_progress_elsewhere(self):
        self.assertEqual(self.errors_of_a_long_walk(), "")
