"""A device made of folders: the program's /proc, /sys and /data are ours, the program is unchanged."""

import os
import shutil
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))

from program import Program  # noqa: E402

ENTER = os.path.join(TESTS, "support", "enter_device.sh")

# What a report holds on a device that has no files. The sections are in the order of the report.
IDLE_CPUS = "cpu  : user=0     kernel=0     idle=0     iowait=0     total=0      perc=0  \n"
IDLE_DISKS = ("rw_reqs=0/0 rw_merges=0/0 rw_kb=0/0 rw_ms=0/0 total_ms=0 total_queue_ms=0 "
              "swap_inout_kb=0/0 maj_flt=0\n")
NO_RECLAIM = ("alloc_stalls=0 compact_stalls=0 kswapd_scans=0 kswapd_steals=0 direct_scans=0 "
              "direct_steals=0\n")
NO_MEMORY = ("MemFree=0(+0) Cached=0(+0) AnonPages=0(+0) Mapped=0(+0) Slab=0(+0) Ion=0(+0) "
             "Shmem=0(+0)\n")
NO_BATTERY = "body_temp=0\n"
IDLE_SYSTEM = IDLE_DISKS + NO_RECLAIM + NO_MEMORY + NO_BATTERY
TIMES = "uptime=U, realtime=R, proctimebefore=B, proctimeafter=A\n"

NET_DEV_HEAD = (
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop "
    "fifo colls carrier compressed\n")


def interface(name, rx_bytes, rx_packets, tx_bytes, tx_packets, blank=" "):
    """A line of /proc/net/dev as the kernel prints it, with a number of its own in every other column."""
    return (f"{name:>6}:{blank}{rx_bytes:7} {rx_packets:7} {11:4} {12:4} {13:4} {14:5} {15:10} {16:9} "
            f"{tx_bytes:8} {tx_packets:7} {17:4} {18:4} {19:4} {20:5} {21:7} {22:10}\n")


class Device:
    """The folders. Paths are given as the program sees them ("/proc/stat")."""

    def __init__(self, cpus=2):
        self.folder = tempfile.mkdtemp(prefix="device-")
        for name in ("proc", "sys", "data"):
            os.mkdir(os.path.join(self.folder, name))
        os.symlink("/.kernel-proc/self", self.path("/proc/self"))
        # The C library takes the number of configured CPUs from here.
        self.write("/sys/devices/system/cpu/possible", f"0-{cpus - 1}\n")

    def close(self):
        shutil.rmtree(self.folder)

    def path(self, path):
        return self.folder + path

    def write(self, path, text):
        """Creates or replaces a file. Opening it sees the old text or the new one, never a part."""
        full = self.path(path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        data = text if isinstance(text, bytes) else text.encode()
        with open(full + ".new", "wb") as out:
            out.write(data)
        os.rename(full + ".new", full)

    def remove(self, path):
        full = self.path(path)
        if os.path.isdir(full) and not os.path.islink(full):
            shutil.rmtree(full)
        else:
            os.remove(full)

    def read(self, path):
        with open(self.path(path)) as text:
            return text.read()

    def stat(self, *rows):
        """Writes /proc/stat. A row is a CPU number, or "" for the sum, and up to ten counters."""
        lines = [f"cpu{row[0]}{'' if row[0] != '' else ' '} {' '.join(map(str, row[1:]))}"
                 for row in rows]
        self.write("/proc/stat", "\n".join(lines) + "\nintr 1 0\nctxt 2\n")

    def process(self, pid, name, utime=0, stime=0, minflt=0, majflt=0, folder=None, cmdline=None,
                schedstat=None):
        """Writes the files of a process, or of a thread where the task folder is given."""
        folder = folder or f"/proc/{pid}"
        self.write(f"{folder}/stat",
                   f"{pid} ({name}) S 1 1 1 0 -1 4194304 {minflt} 0 {majflt} 0 {utime} {stime} "
                   "0 0 20 0 3 0 1790 864256 1 18446744073709551615 1 1 1 0 0 0 0 6 0 1 0 0 17 2 0 "
                   "0 5 0 0 0 0 0 0 0 0 0\n")
        if cmdline is not None:
            self.write(f"{folder}/cmdline", cmdline)
        if schedstat is not None:
            self.write(f"{folder}/schedstat", schedstat)

    def net_dev(self, *lines):
        """Writes /proc/net/dev, with its head."""
        self.write("/proc/net/dev", NET_DEV_HEAD + "".join(lines))

    def disk(self, name, *fields):
        """Writes a disk's stat file; /sys/block has a link to its folder, as in sysfs."""
        self.write(f"/sys/devices/virtual/block/{name}/stat",
                   " ".join(f"{field:8}" for field in fields) + "\n")
        link = self.path(f"/sys/block/{name}")
        if not os.path.islink(link):
            os.makedirs(os.path.dirname(link), exist_ok=True)
            os.symlink(f"../devices/virtual/block/{name}", link)

    def start(self, *options, prefix=(), **popen):
        return Program(*options, prefix=[ENTER, self.folder, *prefix], **popen)


class DeviceTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.device = self.new_device()

    def new_device(self, cpus=2):
        device = Device(cpus)
        self.addCleanup(device.close)
        return device

    def measure(self, *options, change=lambda: None):
        """One measurement in enter mode, with the device changed in the middle. Returns the output."""
        with self.device.start("--stdout", "--enter", *options) as program:
            program.wait_until_waiting()
            change()
            program.type("\n")
            return program.finish()
