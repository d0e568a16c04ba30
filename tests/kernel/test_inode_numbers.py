"""The cache of file names on file systems of several kinds."""

import collections
import os
import subprocess
import tempfile
import unittest

from guest import Guest

TOOLS = os.environ | {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}


def make(path, *command, megabytes=64):
    with open(path, "wb") as image:
        image.truncate(megabytes << 20)
    subprocess.run(command, check=True, env=TOOLS, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def make_f2fs(path):
    make(path, "mkfs.f2fs", "-q", "-f", path)


def make_erofs(path):
    with tempfile.TemporaryDirectory() as source:
        for folder, files in (("few", 3), ("many", 400), ("many/deep", 1)):
            os.mkdir(f"{source}/{folder}")
            for number in range(files):
                with open(f"{source}/{folder}/a-name-of-some-length-{number}", "w") as file:
                    file.write("text\n" * number)
        os.link(f"{source}/few/a-name-of-some-length-1", f"{source}/many/hard")
        make(path, "mkfs.erofs", path, source)


class InodeNumbers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            images = [f"{folder}/f2fs", f"{folder}/erofs"]
            make_f2fs(images[0])
            make_erofs(images[1])
            cls.out = Guest("inode_numbers.sh", modules=["crc32_generic", "f2fs", "erofs", "overlay"], images=images).out
        cls.cache = [line for line in cls.out["inode.txt"].splitlines() if " /disks/" in line]
        cls.found = []
        for line in cls.out["found"].splitlines():
            device, inode, path = line.split(" ", 2)
            cls.found.append(f"{os.major(int(device))}:{os.minor(int(device))}_{inode} {path}")

    def test_files_have_the_numbers_that_stat_gives(self):
        self.assertEqual(self.out["walk.status"], "0\n")
        self.assertEqual(sorted(self.cache), sorted(self.found))

    def test_each_kind_is_there(self):
        counts = collections.Counter(line.split("/")[2] for line in self.cache)
        for kind in ("ext4", "f2fs", "erofs", "tmpfs"):
            self.assertGreater(counts[kind], 400, kind)
        self.assertGreater(counts["overlay"], 4)

    def test_next_to_no_file_is_asked_for(self):
        self.assertLess(int(self.out["asked"]), 400)
