"""Where the walk takes inode numbers from directory entries, and that they are those of stat."""

import os
import re
import shutil
import subprocess

from harness import TESTS
from deadline import wait_for
from inode_cache import InodeCacheTest

DISK = "/data/disk"
IMAGE = "/data/image"
TOOLS = "/usr/sbin:/sbin"
PRIVATE_MOUNTS = os.path.join(TESTS, "support", "private_mounts.sh")
CALLS = ("-e", "trace=/fstatat")

# Files and folders in DISK, one of them a mount point of another file.
POPULATE = (f"cd {DISK} && mkdir -p one/two 'with blank' && for name in a b c one/d one/two/e 'with blank/f'; "
            "do echo text > \"$name\"; done && ln -f a one/hard && ln -sf a soft && cd /")
ALL = {"a", "b", "c", "d", "e", "f", "hard"}
MOUNT_OF_A_FILE = f"mount --bind {DISK}/one/d {DISK}/one/two/e"


def mount_of(kind):
    return f"mount -t {kind} -o loop {IMAGE} {DISK}"


class NumbersTest(InodeCacheTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.device.path(DISK))

    def compare(self, setup):
        """The lines of DISK are those that stat gives. Returns the names that the walk asked for."""
        self.wait_until_unmounted()
        found = "/data/found"
        # A program of its own makes the calls that the walk may leave out.
        look = f"find {DISK} -type f -exec stat -L -c '%d %i %n' {{}} + > {found}"
        log = self.walk(f"{{ {setup} && {look}; }} >&2 || exit 9", strace=CALLS)
        expected = []
        for line in self.device.read(found).splitlines():
            device, inode, path = line.split(" ", 2)
            expected.append(f"{os.major(int(device))}:{os.minor(int(device))}_{inode} {path}")
        self.assertGreater(len(expected), 5)
        lines = [line for line in self.lines() if line.split(" ", 1)[1].startswith(f"{DISK}/")]
        self.assertEqual(sorted(lines), sorted(expected))
        return set(re.findall(r'fstatat\w*\(\d+, "([^"/]+)", .*AT_SYMLINK_NOFOLLOW', log))

    def wait_until_unmounted(self):
        """The kernel unmounts the disk of a mount namespace some time after the namespace has ended."""
        image = self.device.path(IMAGE)
        if not os.path.exists(image):
            return
        status = os.stat(image)
        file = [f"{os.major(status.st_dev)}:{os.minor(status.st_dev)}", str(status.st_ino)]

        def is_unmounted():
            loops = subprocess.run(["losetup", "--list", "--noheadings", "--output", "BACK-MAJ:MIN,BACK-INO"],
                                   env=os.environ | {"PATH": f"{os.environ['PATH']}:{TOOLS}"},
                                   check=True, capture_output=True, text=True).stdout
            return file not in [line.split() for line in loops.splitlines()]
        wait_for(is_unmounted, "the disk is unmounted")

    def make_image(self, *command, megabytes=64):
        with open(self.device.path(IMAGE), "wb") as image:
            image.truncate(megabytes << 20)
        path = f"{os.environ['PATH']}:{TOOLS}"
        if shutil.which(command[0], path=path) is None:
            self.skipTest(f"{command[0]} is not installed")
        subprocess.run([*command, self.device.path(IMAGE)], check=True, env=os.environ | {"PATH": path},
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def can_mount(self, kind):
        if os.geteuid() != 0:
            self.skipTest("mounting a disk needs root")
        image, disk = self.device.path(IMAGE), self.device.path(DISK)
        if subprocess.run([PRIVATE_MOUNTS, "mount", "-t", kind, "-o", "loop", image, disk],
                          stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest(f"this kernel does not mount {kind}")

    def check_disk(self, kind):
        self.can_mount(kind)
        asked = self.compare(f"{mount_of(kind)} && {POPULATE}")
        self.assertFalse(asked & ALL)
        self.device.remove("/data/inode.txt")
        # Of a directory with a mount point each file is asked for.
        asked = self.compare(f"{mount_of(kind)} && {POPULATE} && {MOUNT_OF_A_FILE}")
        self.assertEqual(asked & ALL, {"e"})


class Disks(NumbersTest):
    """On these the walk asks for no file."""

    def check(self, kind, *command, megabytes=64):
        self.make_image(*command, megabytes=megabytes)
        self.check_disk(kind)

    def test_ext2(self):
        self.check("ext2", "mkfs.ext2", "-q", "-F")

    def test_ext3(self):
        self.check("ext3", "mkfs.ext3", "-q", "-F")

    def test_ext4(self):
        self.check("ext4", "mkfs.ext4", "-q", "-F")

    def test_xfs(self):
        self.check("xfs", "mkfs.xfs", "-q", megabytes=320)

    def test_erofs(self):
        source = self.device.path("/data/source")
        os.makedirs(f"{source}/one/two")
        for name in ("a", "b", "c", "one/d", "one/two/e", "one/f"):
            with open(f"{source}/{name}", "w") as file:
                file.write(name * 5000)
        os.link(f"{source}/a", f"{source}/one/hard")
        path = f"{os.environ['PATH']}:{TOOLS}"
        if shutil.which("mkfs.erofs", path=path) is None:
            self.skipTest("mkfs.erofs is not installed")
        subprocess.run(["mkfs.erofs", self.device.path(IMAGE), source], check=True,
                       env=os.environ | {"PATH": path}, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        shutil.rmtree(source)
        self.can_mount("erofs")
        self.assertFalse(self.compare(mount_of("erofs")) & ALL)

    def test_tmpfs(self):
        asked = self.compare(f"mount -t tmpfs none {DISK} && {POPULATE}")
        self.assertFalse(asked & ALL)


class Asked(NumbersTest):
    """Here the walk asks for each file."""

    # The lower folder is on another file system than the upper one.
    OVERLAY = ("mkdir /data/layers && mount -t tmpfs none /data/layers && cd /data/layers && "
               "mkdir lower upper work && mount -t tmpfs none lower && echo text > lower/below && "
               "echo text > lower/changed && cd / && mount -t overlay -o "
               "lowerdir=/data/layers/lower,upperdir=/data/layers/upper,workdir=/data/layers/work "
               f"none {DISK} && echo more >> {DISK}/changed && {POPULATE}")

    def test_overlay(self):
        asked = self.compare(self.OVERLAY)
        self.assertLessEqual({"below", "changed", *ALL}, asked)

    def test_file_over_a_file(self):
        self.compare(f"mount -t tmpfs none {DISK} && {POPULATE} && "
                     f"mount --bind /data/log {DISK}/b && mount --bind /data/log '{DISK}/with blank/f'")

    def test_file_over_a_file_below_odd_names(self):
        """The kernel escapes blanks, tabs and backslashes of mount points."""
        odd = f"'{DISK}/with blank\ttab\\040'"
        self.compare(f"mount -t tmpfs none {DISK} && {POPULATE} && mkdir {odd} && echo text > {odd}/g && "
                     f"mount --bind /data/log {odd}/g")

    def test_device_over_a_file(self):
        null = os.stat("/dev/null")
        self.walk(f"mount -t tmpfs none {DISK} && {POPULATE} && mount --bind /dev/null {DISK}/b")
        self.assertIn(f"{os.major(null.st_dev)}:{os.minor(null.st_dev)}_{null.st_ino} {DISK}/b", self.lines())

    def test_disk_below_a_disk(self):
        """A file system that is mounted in another one has a device of its own."""
        asked = self.compare(f"mount -t tmpfs none {DISK} && {POPULATE} && mkdir {DISK}/one/more && "
                             f"mount -t tmpfs none {DISK}/one/more && echo text > {DISK}/one/more/g")
        self.assertEqual(asked & {*ALL, "g"}, {"d", "hard"})


class MountTableFaults(NumbersTest):
    """What the walk does when it cannot rely on the table of mounts."""

    SETUP = f"mount -t tmpfs none {DISK} && {POPULATE}"
    def asked(self, *inject):
        log = self.walk(self.SETUP, strace=("-e", "trace=/fstatat,/^p?poll$,openat", *inject))
        return (set(re.findall(r'fstatat\w*\(\d+, "([^"/]+)", .*AT_SYMLINK_NOFOLLOW', log)) & ALL,
                log.count('"/proc/self/mountinfo"'))

    def test_table_is_read_once(self):
        self.assertEqual(self.asked(), (set(), 1))

    def test_mounts_that_change_while_they_are_read(self):
        self.assertEqual(self.asked("-e", "inject=poll:retval=1:when=1"), (set(), 2))

    def test_mounts_that_keep_changing(self):
        asked, reads = self.asked("-e", "inject=poll:retval=1")
        self.assertEqual(asked, ALL)
        self.assertLess(reads, 100)
