"""What protects a program from its own memory errors, as its file shows it. Flags are not looked at."""

import re
import struct

import elf

# A function that overwrites what it should not ends the process: these are called instead of the plain ones.
CHECKED = re.compile(r"__\w+_chk$")
PLAIN = {"fprintf", "printf", "snprintf", "sprintf", "vfprintf", "vprintf", "vsnprintf"}

ENDBR64 = bytes.fromhex("f30f1efa")
# orq $0, (%rsp) of g++ and movq $0, (%rsp) of Clang, once for each page of a large frame.
PROBES = (bytes.fromhex("48830c2400"), bytes.fromhex("48c7042400000000"))
# hint instructions, which older processors ignore.
PACIASP, BTI_C = 0xd503233f, 0xd503245f
SAVE_RETURN_ADDRESS = 0xa9807bfd  # stp x29, x30, [sp, #-n]!
SAVE_MASK = 0xffc07fff


def words(code):
    return [word for word, in struct.iter_unpack("<I", code)]


def called_by_the_loader_alone(program):
    """The functions that it calls at the start and at the end."""
    found = set()
    for table, size in ((elf.INIT_ARRAY, elf.INIT_ARRAYSZ), (elf.FINI_ARRAY, elf.FINI_ARRAYSZ)):
        data = program.at(program.dynamic[table][0], program.dynamic[size][0])
        found.update(address for address, in struct.iter_unpack("<Q", data))
    return found


def unsigned_returns(program):
    """The functions of an AArch64 program that save the address that they return to without a signature. Their
    signature is at their begin, at most one instruction before that."""
    code = words(program.code())
    saves = [number for number, word in enumerate(code) if word & SAVE_MASK == SAVE_RETURN_ADDRESS]
    return [program.address(".text") + 4 * number for number in saves if PACIASP not in code[max(number - 2, 0):number]]


def without_landing_pad(program):
    """The functions to which data point, and where an indirect branch may not lead to."""
    def has_one(address):
        begin = program.at(address, 4)
        if program.machine == "x86_64":
            return begin == ENDBR64
        return struct.unpack("<I", begin)[0] in (PACIASP, BTI_C)
    return [address for address in program.functions_in_tables() if not has_one(address)]


def missing_of_any(program):
    """What a program lacks, whether it is linked statically or not."""
    missing = []

    def want(what, there):
        if not there:
            missing.append(what)
    flags, flags_1 = (sum(program.dynamic[tag]) for tag in (elf.FLAGS, elf.FLAGS_1))
    segments = {segment.kind: segment for segment in program.segments}
    want("a position of its own in memory (PIE)", program.kind == elf.SHARED and flags_1 & elf.PIE)
    want("symbols that are all bound at the start", flags & elf.BIND_NOW or flags_1 & elf.NOW)
    want("tables that are read-only after that (RELRO)", elf.RELRO in segments)
    want("a stack that is not executed", elf.STACK in segments and not segments[elf.STACK].flags & elf.EXECUTE)
    want("a run path of absolute elements", not program.relative_run_path())
    return missing


def missing(program, fortified=True):
    """What a program that is linked dynamically lacks, and what the compiler left out of its code. `fortified` is
    for one that was optimised."""
    lacks = missing_of_any(program)
    imports = program.undefined()

    def want(what, there):
        if not there:
            lacks.append(what)
    want("guards of the stack", "__stack_chk_fail" in imports)
    want("assertions of the C++ library", any("glibcxx_assert_fail" in name for name in imports))
    if fortified:
        want("checked functions of the C library", any(map(CHECKED.match, imports - {"__stack_chk_fail"})))
        want(f"checks of {sorted(imports & PLAIN)}", not imports & PLAIN)
    want("functions in tables", program.functions_in_tables())
    # Debian's C runtime for AArch64 is compiled without both.
    runtime = called_by_the_loader_alone(program) if program.machine == "aarch64" else set()
    for what, functions in (("landing pads", without_landing_pad(program)),
                            ("signatures of return addresses",
                             unsigned_returns(program) if program.machine == "aarch64" else [])):
        want(f"{what} at {sorted(map(hex, set(functions) - runtime))}", set(functions) <= runtime)
    if program.machine == "x86_64":
        want("probes of large frames", any(probe in program.code() for probe in PROBES))
    return lacks
