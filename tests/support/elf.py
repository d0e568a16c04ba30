"""Reads programs and libraries for x86_64 and AArch64: see elf(5)."""

import collections
import os
import re
import stat
import struct

MACHINES = {62: "x86_64", 183: "aarch64"}
RELOCATABLE, EXECUTABLE, SHARED = 1, 2, 3

NEEDED, STRTAB, RELA, RELASZ, RPATH, INIT_ARRAY, FINI_ARRAY, INIT_ARRAYSZ, FINI_ARRAYSZ, RUNPATH, FLAGS, FLAGS_1 = (
    1, 5, 7, 8, 15, 25, 26, 27, 28, 29, 30, 0x6ffffffb)
BIND_NOW, NOW, PIE = 0x8, 0x1, 0x08000000  # the first is of FLAGS, the others are of FLAGS_1
LOAD, INTERP, STACK, RELRO = 1, 3, 0x6474e551, 0x6474e552
EXECUTE = 1
RELATIVE = {"x86_64": 8, "aarch64": 1027}

# The bits of the property that says what all code of a file is fit for.
FEATURES = {"x86_64": (0xc0000002, {"IBT": 1, "SHSTK": 2}), "aarch64": (0xc0000000, {"BTI": 1, "PAC": 2})}

Segment = collections.namedtuple("Segment", "kind flags offset address file_size memory_size")
Section = collections.namedtuple("Section", "name kind address offset size link")


class NoElf(Exception):
    pass


class Elf:
    """A file, which stays as it was when it was read."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        # 64 bits, little-endian.
        if self.data[:6] != b"\x7fELF\x02\x01":
            raise NoElf(path)
        self.kind, machine, _, _, programs, sections, _, _, size, count, section_size, section_count, names = \
            struct.unpack_from("<HHIQQQIHHHHHH", self.data, 16)
        self.machine = MACHINES[machine]
        self.segments = []
        for number in range(count):
            kind, flags, offset, address, _, file_size, memory_size, _ = struct.unpack_from(
                "<IIQQQQQQ", self.data, programs + number * size)
            self.segments.append(Segment(kind, flags, offset, address, file_size, memory_size))
        headers = [struct.unpack_from("<IIQQQQIIQQ", self.data, sections + number * section_size)
                   for number in range(section_count)]
        self.sections = [Section(self._string(headers[names][4] + name), kind, address, offset, size, link)
                         for name, kind, _, address, offset, size, link, _, _, _ in headers]
        self.dynamic = self._dynamic()

    def _string(self, offset):
        return self.data[offset:self.data.index(b"\0", offset)].decode()

    def section(self, name):
        """The bytes of a section, none if there is no such section."""
        for section in self.sections:
            if section.name == name:
                return self.data[section.offset:section.offset + section.size]
        return b""

    def _dynamic(self):
        """The values of each tag."""
        found = collections.defaultdict(list)
        for tag, value in struct.iter_unpack("<qQ", self.section(".dynamic")):
            found[tag].append(value)
        return found

    def _offset(self, address):
        for segment in self.segments:
            if segment.kind == LOAD and segment.address <= address < segment.address + segment.file_size:
                return address - segment.address + segment.offset
        raise ValueError(f"nothing is loaded at {address:#x}")

    def at(self, address, size):
        offset = self._offset(address)
        return self.data[offset:offset + size]

    def _strings(self, tag):
        return [self._string(self._offset(self.dynamic[STRTAB][0]) + value) for value in self.dynamic[tag]]

    def needed(self):
        return self._strings(NEEDED)

    def run_path(self):
        """The elements of its run path."""
        return [element for path in self._strings(RPATH) + self._strings(RUNPATH) for element in path.split(":")]

    def relative_run_path(self):
        """Its elements by which a library can come from a folder that whoever starts the program has chosen. The
        empty one stands for the current directory (ld.so(8))."""
        return [element for element in self.run_path()
                if not re.match(r"/|\$(ORIGIN|\{ORIGIN\})(/|$)", element)]

    def undefined(self):
        """The names that it takes from elsewhere."""
        names = set()
        for section in self.sections:
            if section.name in (".dynsym", ".symtab"):
                strings = self.sections[section.link].offset
                symbols = self.data[section.offset:section.offset + section.size]
                names.update(self._string(strings + name)
                             for name, _, _, index, _, _ in struct.iter_unpack("<IBBHQQ", symbols) if index == 0)
        return names - {""}

    def features(self):
        """What all of its code is fit for, by the linker's or the compiler's note."""
        wanted, bits = FEATURES[self.machine]
        notes = self.section(".note.gnu.property")
        found = set()
        while notes:
            name_size, size, kind = struct.unpack_from("<III", notes)
            begin = 12 + (name_size + 3) // 4 * 4
            properties, notes = notes[begin:begin + size], notes[begin + (size + 7) // 8 * 8:]
            while kind == 5 and properties:
                property_kind, property_size = struct.unpack_from("<II", properties)
                if property_kind == wanted:
                    value = int.from_bytes(properties[8:8 + property_size], "little")
                    found.update(name for name, bit in bits.items() if value & bit)
                properties = properties[8 + (property_size + 7) // 8 * 8:]
        return found

    def address(self, name):
        return next(section.address for section in self.sections if section.name == name)

    def code(self):
        return self.section(".text")

    def functions_in_tables(self):
        """The addresses in .text that its data point to: constructors, virtual functions, callbacks."""
        if not self.dynamic[RELA]:
            return []
        begin = self.address(".text")
        relocations = self.at(self.dynamic[RELA][0], self.dynamic[RELASZ][0])
        return sorted({addend for _, info, addend in struct.iter_unpack("<QQq", relocations)
                       if info & 0xffffffff == RELATIVE[self.machine]
                       and begin <= addend < begin + len(self.code())})


def programs_below(folder):
    """The paths and contents of all programs and shared libraries."""
    for parent, _, names in os.walk(folder):
        for name in sorted(names):
            path = os.path.join(parent, name)
            if not stat.S_ISREG(os.lstat(path).st_mode):
                continue
            try:
                elf = Elf(path)
            except NoElf:
                continue
            if elf.kind in (EXECUTABLE, SHARED):
                yield path, elf
