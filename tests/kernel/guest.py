"""Boots a real kernel for AArch64 in an emulated machine that has busybox, the bundle and nothing else.

The machine has four CPUs in two frequency policies and three disks with an ext4 file system each, on
virtio (vda), SCSI (sda) and an MMC card (mmcblk0). It runs one script of guest/ as root and goes off; what
the script has left in /out is what a test looks at.
"""

import os
import re
import struct
import subprocess
import sys
import tarfile
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "support"))

from deadline import wait_for_end  # noqa: E402
from initramfs import Initramfs, Modules  # noqa: E402

KERNEL = os.environ.get("TARNWICK_KERNEL", "6.1")
KERNELS = os.environ["TARNWICK_KERNELS"]
BUNDLE = os.environ["TARNWICK_BUNDLE"]
LOAD = os.environ["TARNWICK_LOAD"]
RING_COMPARE = os.environ["TARNWICK_RING_COMPARE"]

# Most of this is for a script that hangs: it ends at a shorter deadline of its own (guest/lib.sh).
DEADLINE_S = 240

CPUS = 4
LITTLE_KHZ = [300000, 576000, 768000, 1017600, 1248000, 1497600, 1708800]
BIG_KHZ = [300000, 825600, 1113600, 1401600, 1747200, 2092800, 2361600]
POLICIES = {0: LITTLE_KHZ, 1: LITTLE_KHZ, 2: BIG_KHZ, 3: BIG_KHZ}

MODULES = [
    "virtio_pci", "virtio_blk",                      # vda, and where the results go
    "virtio_scsi", "sd_mod",                         # sda
    "sdhci_pci", "mmc_block",                        # mmcblk0
    "crc32c_generic", "ext4", "zram", "lzo_rle", "loop",
    "cpufreq_dt", "cpufreq_performance",
]

DISK_MB = 64  # cards have powers of two
RESULTS_MB = 128


def make_disk(path):
    """One partition with an ext4 file system, as no device has them on the whole disk."""
    start, sectors = 2048, DISK_MB * 2048
    table = bytearray(512)
    struct.pack_into("<B3sB3sII", table, 446, 0, b"\xfe\xff\xff", 0x83, b"\xfe\xff\xff",
                     start, sectors - start)
    table[510:] = b"\x55\xaa"
    with open(path, "wb") as disk:
        disk.write(table)
        disk.truncate(sectors * 512)
    # The tables are written now, not by the guest whenever it has time. An ordinary user of Debian does
    # not have the tool in the PATH.
    subprocess.run(["mkfs.ext4", "-q", "-F", "-E", f"offset={start * 512},lazy_itable_init=0",
                    path, f"{(sectors - start) // 2}k"],
                   check=True, stdout=subprocess.DEVNULL,
                   env=os.environ | {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"})


def operating_points(tree):
    """The device tree with a clock for its CPUs and a table of frequencies for each two of them.

    The clock is fixed: nothing gets faster, but the kernel's figures are kept all the same.
    """
    clock = re.search(r"apb-pclk \{[^}]*phandle = <(0x[0-9a-f]+)>", tree)[1]
    tables = ""
    for name, phandle, table in (("little", 0x9001, LITTLE_KHZ), ("big", 0x9002, BIG_KHZ)):
        points = "".join(f"opp-{khz} {{ opp-hz = /bits/ 64 <{khz * 1000}>; "
                         "clock-latency-ns = <200000>; };\n" for khz in table)
        tables += (f'opp-table-{name} {{ compatible = "operating-points-v2"; opp-shared; '
                   f"phandle = <{phandle:#x}>;\n{points}}};\n")
        for cpu in (cpu for cpu, policy in POLICIES.items() if policy is table):
            tree = tree.replace(f"cpu@{cpu} {{", f"cpu@{cpu} {{\nclocks = <{clock}>;\n"
                                f"operating-points-v2 = <{phandle:#x}>;\n")
    return tree.replace("\tcpus {", tables + "\tcpus {", 1)


class Guest:
    """One boot, which is over when this has been made. `out` has the files of /out by name.

    The CPUs of a steady guest take turns, and its time goes by the instructions that it has executed: it is
    slower, but as fast for itself whatever else this machine does. Traces of which each event counts need
    one: CPUs that the emulator runs at the same time can keep to code that another has just changed, as the
    kernel does when it switches an event on, which then never comes.
    """

    def __init__(self, script, pmu=True, steady=False, modules=(), images=()):
        """`images` are paths of disks, which the guest has as vdc and so on."""
        self.script = script
        self.modules = [*MODULES, *modules]
        self.images = list(images)
        self.machine = ["qemu-system-aarch64", "-M", "virt",
                        "-cpu", "cortex-a76" + ("" if pmu else ",pmu=off"), "-smp", str(CPUS),
                        "-m", "1024", "-nic", "none", "-nographic", "-no-reboot",
                        *(["-icount", "shift=1"] if steady else [])]
        with tempfile.TemporaryDirectory() as self.folder:
            started = time.monotonic()
            self._boot()
            self.seconds = time.monotonic() - started
            self.out = self._results()
        print(f"{script} on {KERNEL}: {self.seconds:.1f} s", file=sys.stderr)

    def _path(self, name):
        return os.path.join(self.folder, name)

    def _boot(self):
        kernel = os.path.join(KERNELS, KERNEL)
        with open(self._path("initramfs"), "wb") as file:
            file.write(self._root(kernel))
        with open(self._path("results"), "wb") as file:
            file.truncate(RESULTS_MB << 20)
        for disk in ("vda", "sda", "mmcblk0"):
            make_disk(self._path(disk))
        self._device_tree()
        with open(self._path("console"), "wb") as console:
            qemu = subprocess.Popen(
                [*self.machine, "-dtb", self._path("tree"), "-kernel", f"{kernel}/vmlinuz",
                 "-initrd", self._path("initramfs"),
                 "-append", "console=ttyAMA0 rdinit=/init quiet panic=-1",
                 *self._drive("vda"), "-device", "virtio-blk-pci,drive=vda",
                 *self._drive("results"), "-device", "virtio-blk-pci,drive=results",
                 "-device", "virtio-scsi-pci,id=scsi",
                 *self._drive("sda"), "-device", "scsi-hd,drive=sda,bus=scsi.0",
                 "-device", "sdhci-pci", *self._drive("mmcblk0"), "-device", "sd-card,drive=mmcblk0",
                 *self._images()],
                stdin=subprocess.DEVNULL, stdout=console, stderr=subprocess.STDOUT)
            try:
                wait_for_end(qemu, "the guest ends", DEADLINE_S)
            except AssertionError as late:
                self._fail(f"does not end: {late}")
            finally:
                qemu.kill()
                qemu.wait()

    def _drive(self, name):
        return "-drive", f"file={self._path(name)},format=raw,if=none,id={name},cache=unsafe"

    def _images(self):
        for number, path in enumerate(self.images):
            yield from ("-drive", f"file={path},format=raw,if=none,id=image{number},cache=unsafe",
                        "-device", f"virtio-blk-pci,drive=image{number}")

    def _root(self, kernel):
        root = Initramfs()
        for folder in ("proc", "sys", "dev", "tmp", "out", "data", "mnt"):
            root.folder(folder)
        root.console()
        modules = Modules(f"{kernel}/modules").closure(self.modules)
        for name, module in modules.items():
            root.data(f"modules/{name}.ko", module)
        root.data("modules/order", "".join(f"{name}\n" for name in modules).encode())
        root.file("bin/busybox", f"{KERNELS}/busybox")
        root.file("bin/load", LOAD)
        root.file("bin/ring_compare", RING_COMPARE)
        root.file("init", f"{HERE}/guest/init")
        root.file("sh", f"{HERE}/guest/sh")
        root.file("lib.sh", f"{HERE}/guest/lib.sh")
        root.file("script", f"{HERE}/guest/{self.script}")
        with tarfile.open(BUNDLE) as bundle:
            root.tar("opt", bundle)
        return root.bytes()

    def _device_tree(self):
        dumping = [*self.machine]
        dumping[dumping.index("virt")] += f",dumpdtb={self._path('dump')}"
        subprocess.run(dumping, check=True, stdin=subprocess.DEVNULL, capture_output=True)
        tree = subprocess.run(["dtc", "-q", "-I", "dtb", "-O", "dts", self._path("dump")], check=True,
                              capture_output=True, text=True).stdout
        subprocess.run(["dtc", "-q", "-I", "dts", "-O", "dtb", "-o", self._path("tree")], check=True,
                       input=operating_points(tree), text=True)

    def _results(self):
        with tarfile.open(self._path("results"), "r:") as archive:
            out = {member.name.removeprefix("./"): archive.extractfile(member).read()
                   for member in archive if member.isfile()}
        if "status" not in out:
            self._fail("has left no results")
        # What the kernel prints need not be text.
        out = {name: text.decode(errors="surrogateescape") for name, text in out.items()}
        if out["status"] != "0\n":
            self._fail(f"says {out['script.err']}, and ended with status {out['status']}")
        return out

    def _fail(self, what):
        with open(self._path("console"), errors="replace") as console:
            raise AssertionError(f"the guest of {self.script} on {KERNEL} {what}; its console ends:\n"
                                 + "".join(console.readlines()[-30:]))
