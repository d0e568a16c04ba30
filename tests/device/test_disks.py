"""The I/O line."""

import os

from harness import IDLE_DISKS, DeviceTest


class Disks(DeviceTest):
    def line(self, output):
        lines = [line for line in output.splitlines() if line.startswith("rw_reqs=")]
        self.assertEqual(len(lines), 1, output)
        return lines[0]

    def test_each_field_in_its_place(self):
        self.device.disk("sda", *range(100, 1200, 100), 7, 7, 7, 7)
        output = self.measure(change=lambda: self.device.disk(
            "sda", 101, 204, 316, 464, 756, 1624, 1748, 2848, 9999, 2024, 3148, 9, 9, 9, 9))
        self.assertEqual(
            self.line(output),
            "rw_reqs=1/256 rw_merges=4/1024 rw_kb=8/524 rw_ms=64/2048 total_ms=1024 "
            "total_queue_ms=2048 swap_inout_kb=0/0 maj_flt=0")

    def test_swap_and_major_faults_as_the_kernel_counts_them(self):
        self.device.write("/proc/vmstat", "pswpin 10\npswpout 20\npgmajfault 30\n")
        output = self.measure(change=lambda: self.device.write(
            "/proc/vmstat", "pswpin 11\npswpout 19\npgmajfault 130\n"))
        self.assertTrue(self.line(output).endswith("swap_inout_kb=1/-1 maj_flt=100"), output)

    def test_scsi_disks_and_the_first_mmc_are_summed(self):
        names = ["sda", "sdb", "sdaa", "mmcblk0"]
        others = ["mmcblk1", "mmcblk0boot0", "mmcblk0rpmb", "mmcblk0p1", "loop0", "ram0", "zram0",
                  "dm-0", "vda", "nvme0n1"]
        for name in names + others:
            self.device.disk(name, 0)

        def change():
            for number, name in enumerate(names + others):
                self.device.disk(name, 10**number)
        self.assertIn("rw_reqs=1111/0 ", self.line(self.measure(change=change)))

    def test_only_links_are_disks(self):
        self.device.write("/sys/block/sda/stat", "5\n")
        os.makedirs(self.device.path("/sys/block/sdb"))

        def change():
            self.device.write("/sys/block/sda/stat", "9\n")
        self.assertEqual(self.line(self.measure(change=change)) + "\n", IDLE_DISKS)

    def test_disks_are_chosen_once(self):
        self.device.disk("sda", 0)

        def change():
            self.device.disk("sdb", 50)
            self.device.disk("sda", 1)
        self.assertIn("rw_reqs=1/0 ", self.line(self.measure(change=change)))

    def test_disk_that_appears_where_none_was_found(self):
        self.assertIn("rw_reqs=7/0 ",
                      self.line(self.measure(change=lambda: self.device.disk("sda", 7))))

    def test_disk_that_goes_away_takes_its_counters_along(self):
        self.device.disk("sda", 5)
        self.device.disk("sdb", 100)

        def change():
            self.device.disk("sda", 6)
            self.device.remove("/sys/devices/virtual/block/sdb")
        self.assertIn("rw_reqs=-99/0 ", self.line(self.measure(change=change)))

    def test_odd_sectors_are_cut_toward_zero(self):
        self.device.disk("sda", 0, 0, 100, 0, 0, 0, 107)
        output = self.measure(change=lambda: self.device.disk("sda", 0, 0, 107, 0, 0, 0, 100))
        self.assertIn(" rw_kb=3/-3 ", self.line(output))

    def test_short_and_broken_texts(self):
        self.device.disk("sda", 0)
        self.device.disk("sdb", 0)

        def change():
            self.device.disk("sda", 3, 4, "x", 5)
            self.device.disk("sdb", *[99999999999999999999999] * 11)
        self.assertEqual(
            self.line(self.measure(change=change)),
            f"rw_reqs={-2**63 + 2}/{2**63 - 1} rw_merges={-2**63 + 3}/{2**63 - 1} "
            f"rw_kb={(2**63 - 1) // 2}/{(2**63 - 1) // 2} rw_ms={2**63 - 1}/{2**63 - 1} "
            f"total_ms={2**63 - 1} total_queue_ms={2**63 - 1} swap_inout_kb=0/0 maj_flt=0")

    def test_three_measurements_are_measured_end_to_end(self):
        self.device.disk("sda", 1)
        with self.device.start("--stdout", "--sig") as program:
            for reads in (2, 4, 8, 16, 32, 64):
                program.toggle()
                self.device.disk("sda", reads)
            output = program.interrupt()
        self.assertEqual([line.split("/")[0] for line in output.splitlines() if "rw_reqs" in line],
                         ["rw_reqs=1", "rw_reqs=6", "rw_reqs=24"])
