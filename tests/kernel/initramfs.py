"""Writes the root file system of a guest: an archive in the kernel's initramfs format (cpio "newc")."""

import lzma
import os
import stat
import struct


class Initramfs:
    """The tree of a guest. Everything belongs to root."""

    def __init__(self):
        self.archive = bytearray()
        self.entries = 0
        self.folders = set()

    def _add(self, path, mode, data=b"", device=(0, 0)):
        self.entries += 1
        name = path.encode() + b"\0"
        fields = (self.entries, mode, 0, 0, 1, 0, len(data), 0, 0, *device, len(name), 0)
        self.archive += b"070701" + b"".join(b"%08X" % field for field in fields) + name
        self._align()
        self.archive += data
        self._align()

    def _align(self):
        self.archive += b"\0" * (-len(self.archive) % 4)

    def folder(self, path):
        if path and path not in self.folders:
            self.folder(os.path.dirname(path))
            self.folders.add(path)
            self._add(path, stat.S_IFDIR | 0o755)

    def data(self, path, data, mode=0o644):
        self.folder(os.path.dirname(path))
        self._add(path, stat.S_IFREG | mode, data)

    def link(self, path, target):
        self.folder(os.path.dirname(path))
        self._add(path, stat.S_IFLNK | 0o777, target.encode())

    def console(self):
        self.folder("dev")
        self._add("dev/console", stat.S_IFCHR | 0o600, device=(5, 1))

    def file(self, path, source):
        with open(source, "rb") as file:
            self.data(path, file.read(), stat.S_IMODE(os.stat(source).st_mode) | 0o444)

    def tar(self, path, archive):
        """What an open tarfile holds, below a folder."""
        for member in archive:
            name = os.path.join(path, member.name)
            if member.issym():
                self.link(name, member.linkname)
            elif member.isfile():
                self.data(name, archive.extractfile(member).read(), member.mode)

    def bytes(self):
        whole = Initramfs()
        whole.archive += self.archive
        whole._add("TRAILER!!!", 0)
        return bytes(whole.archive)


class Modules:
    """The modules of a kernel, with what each of them needs."""

    def __init__(self, folder):
        self.paths = {}
        for parent, _, files in os.walk(os.path.join(folder, "kernel")):
            for file in files:
                name, found, _ = file.partition(".ko")
                if found:
                    self.paths[self._norm(name)] = os.path.join(parent, file)
        with open(os.path.join(folder, "modules.builtin")) as builtin:
            self.builtin = {self._norm(os.path.basename(line).partition(".ko")[0])
                            for line in builtin}

    def closure(self, wanted):
        """The wanted modules and what they need, by name, in the order in which they load.

        A module that this kernel lacks is left out: kernels have the same thing under other names.
        """
        loaded = {}
        for name in wanted:
            self._load(self._norm(name), loaded)
        return loaded

    def _load(self, name, loaded):
        if name in loaded or name in self.builtin or name not in self.paths:
            return
        with open(self.paths[name], "rb") as file:
            module = file.read()
        if self.paths[name].endswith(".xz"):
            module = lzma.decompress(module)
        for key, value in self._info(module):
            if key == b"depends":
                for needed in filter(None, value.decode().split(",")):
                    self._load(self._norm(needed), loaded)
        loaded[name] = module

    @staticmethod
    def _norm(name):
        return name.replace("-", "_")

    @staticmethod
    def _info(module):
        """What the module says of itself, in the section .modinfo of its 64-bit ELF file."""
        sections, = struct.unpack_from("<Q", module, 0x28)
        size, count, names = struct.unpack_from("<HHH", module, 0x3A)
        headers = [struct.unpack_from("<IIQQQQ", module, sections + size * index)
                   for index in range(count)]
        for name, _, _, _, offset, length in headers:
            start = headers[names][4] + name
            if module[start:module.index(b"\0", start)] == b".modinfo":
                for entry in module[offset:offset + length].split(b"\0"):
                    yield entry.partition(b"=")[::2]
