"""Whole reports of whole devices."""

import os
import shutil

from harness import IDLE_CPUS, IDLE_SYSTEM, TESTS, TIMES, DeviceTest, interface
from program import SEPARATOR, mask_times

TREES = os.path.join(TESTS, "device", "trees")
FIXTURES = os.path.join(TESTS, "fixtures")

# From the two texts of /proc/vmstat, by hand.
SERVER_MEMORY = (
    "rw_reqs=0/0 rw_merges=0/0 rw_kb=0/0 rw_ms=0/0 total_ms=0 total_queue_ms=0 "
    "swap_inout_kb=154/1636 maj_flt=80\n"
    "alloc_stalls=36 compact_stalls=0 kswapd_scans=5730 kswapd_steals=5656 direct_scans=105702 "
    "direct_steals=2273\n"
    "MemFree=440548(+6248) Cached=2628(-6112) AnonPages=224(-252) Mapped=908(-1360) "
    "Slab=15384(+332) Ion=0(+0) Shmem=2080(-5528)\n")


class Trees(DeviceTest):
    def lay(self, tree):
        """Lays a tree over the device, file by file as a kernel would change them."""
        for folder, _, files in os.walk(tree):
            for name in files:
                path = os.path.join(folder, name)
                with open(path, "rb") as text:
                    self.device.write("/" + os.path.relpath(path, tree), text.read())

    def test_phone(self):
        phone = os.path.join(TREES, "phone")
        shutil.copytree(os.path.join(phone, "before"), self.device.folder, symlinks=True,
                        dirs_exist_ok=True)

        def change():
            self.device.remove("/proc/7777")
            self.lay(os.path.join(phone, "after"))
        with open(os.path.join(phone, "expected.txt")) as expected:
            self.assertEqual(mask_times(self.measure("--freq", change=change)), expected.read())

    def test_server(self):
        # 64 processors, 64 interfaces, and the memory of a 6.12 kernel that swapped in between.
        device = self.device = self.new_device(cpus=64)
        times = tuple(range(10**9, 10**9 + 10))
        interfaces = [f"enp{number}s0" for number in range(64)]
        seen = sorted(interfaces[:32])  # what 4096 bytes hold, the last in part

        def state(moment, user, packets):
            device.stat(("", times[0] + 64 * user, *times[1:]),
                        *((cpu, times[0] + user, *times[1:]) for cpu in range(64)))
            device.net_dev(*(interface(name, packets * 1024, packets, 0, 0) for name in interfaces))
            folder = os.path.join(FIXTURES, "linux-6.12-arm64", moment, "proc")
            for name in ("vmstat", "buddyinfo"):
                with open(os.path.join(folder, name)) as text:
                    device.write(f"/proc/{name}", text.read())
        state("t0", 0, 1)
        output = mask_times(self.measure(change=lambda: state("t1", 3, 9)))
        with open(os.path.join(FIXTURES, "linux-6.12-arm64/t1/proc/buddyinfo")) as buddyinfo:
            free_lists = buddyinfo.read()
        self.assertEqual(
            output,
            SEPARATOR
            + "".join(f"cpu{cpu:2}: user=30    kernel=0     idle=0     iowait=0     total=30     "
                      "perc=100\n" for cpu in range(64))
            + "cpu  : user=1920  kernel=0     idle=0     iowait=0     total=1920   perc=100\n"
            + SERVER_MEMORY + free_lists + "body_temp=0\n"
            + "".join(f"{name:>6}: rx_kb=8      rx_packets=8      tx_kb=0      tx_packets=0     \n"
                      for name in seen)
            + TIMES)

    def test_nothing_at_all(self):
        self.device.remove("/sys/devices")
        self.assertEqual(mask_times(self.measure("--freq")),
                         SEPARATOR + IDLE_CPUS + IDLE_SYSTEM + TIMES)
