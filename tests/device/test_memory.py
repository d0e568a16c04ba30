"""The memory section: reclaim, memory, free lists and the block summary."""

import signal

from harness import NO_MEMORY, NO_RECLAIM, DeviceTest
from deadline import wait_for


def vmstat(**counters):
    return "".join(f"{name} {value}\n" for name, value in counters.items())


class MemoryTest(DeviceTest):
    def change_vmstat(self, before, after, *options):
        self.device.write("/proc/vmstat", before)
        return self.measure(*options, change=lambda: self.device.write("/proc/vmstat", after))

    def line(self, output, first_word):
        lines = [line for line in output.splitlines() if line.startswith(first_word)]
        self.assertEqual(len(lines), 1, output)
        return lines[0]

    def reclaim(self, output):
        return self.line(output, "alloc_stalls=")

    def memory(self, output):
        return self.line(output, "MemFree=")


class Memory(MemoryTest):
    def test_pages_are_four_kilobytes_and_changes_have_a_sign(self):
        output = self.change_vmstat(
            vmstat(nr_free_pages=5000, nr_file_pages=100, nr_anon_pages=7, nr_mapped=50,
                   nr_slab_reclaimable=10, nr_slab_unreclaimable=20, nr_ion=3, nr_shmem=9),
            vmstat(nr_free_pages=4000, nr_file_pages=110, nr_anon_pages=7, nr_mapped=49,
                   nr_slab_reclaimable=11, nr_slab_unreclaimable=22, nr_ion=5, nr_shmem=8))
        self.assertEqual(
            self.memory(output),
            "MemFree=16000(-4000) Cached=440(+40) AnonPages=28(+0) Mapped=196(-4) Slab=132(+12) "
            "Ion=20(+8) Shmem=32(-4)")

    def test_counters_at_the_ends_of_their_range(self):
        output = self.change_vmstat(vmstat(nr_free_pages=-2**63, pgmajfault=2**63 - 1),
                                    vmstat(nr_free_pages=2**63 - 1, pgmajfault=-2**63))
        # Wrapped as the processor does: twice the range is two steps beyond it.
        self.assertTrue(self.memory(output).startswith("MemFree=-4(-4) "), output)
        self.assertIn(" maj_flt=1\n", output)

    def test_number_too_large_is_the_largest(self):
        output = self.change_vmstat(vmstat(pgmajfault=2**63 - 2),
                                    vmstat(pgmajfault=99999999999999999999999))
        self.assertIn(" maj_flt=1\n", output)

    def test_missing_file(self):
        output = self.measure()
        self.assertIn(NO_RECLAIM + NO_MEMORY, output)

    def test_line_without_a_number_takes_the_one_before(self):
        output = self.change_vmstat("", "nr_free_pages 10\nnr_mapped\nnr_shmem x\n")
        self.assertEqual(
            self.memory(output),
            "MemFree=40(+40) Cached=0(+0) AnonPages=0(+0) Mapped=40(+40) Slab=0(+0) Ion=0(+0) "
            "Shmem=40(+40)")

    def test_what_lies_beyond_4096_bytes_is_not_seen(self):
        head = "nr_shmem 7\n"
        cut = "nr_mapped 1234\n"
        filler = "x 1\n" * ((4096 - len(head)) // 4 - 4)
        pad = 4096 - len(head) - len(filler) - len("nr_mapped 12")
        text = head + filler + "y" * (pad - 1) + "\n" + cut + "nr_free_pages 99\n"
        self.assertEqual(text[4084:4096], "nr_mapped 12")
        self.assertEqual(
            self.memory(self.change_vmstat("", text)),
            "MemFree=0(+0) Cached=0(+0) AnonPages=0(+0) Mapped=48(+48) Slab=0(+0) Ion=0(+0) "
            "Shmem=28(+28)")

    def test_name_that_is_cut_at_4096_bytes_is_another_name(self):
        text = "nr_shmem 7\n" + "x 1\n" * 1019
        text += "y" * (4096 - len(text) - len("\nnr_mapp")) + "\nnr_mapped 1234\n"
        self.assertEqual(text[:4096][-7:], "nr_mapp")
        self.assertEqual(
            self.memory(self.change_vmstat("", text)),
            "MemFree=0(+0) Cached=0(+0) AnonPages=0(+0) Mapped=0(+0) Slab=0(+0) Ion=0(+0) "
            "Shmem=28(+28)")

    def test_unreadable_file_has_a_message(self):
        self.device.write("/proc/vmstat/x", "")
        self.assertEqual(self.measure().count("Error opening /proc/vmstat: Is a directory (21)\n"), 2)


class Reclaim(MemoryTest):
    def test_zones_of_older_kernels(self):
        before = vmstat(allocstall=1, compact_stall=10, pgscan_kswapd_normal=100, pgscan_kswapd_high=0,
                        pgscan_kswapd_dma=5, pgsteal_kswapd_normal=50, pgsteal_kswapd_high=1,
                        pgsteal_kswapd_dma=1, pgscan_direct_normal=7, pgscan_direct_high=7,
                        pgscan_direct_dma=7, pgsteal_direct_normal=9, pgsteal_direct_high=9,
                        pgsteal_direct_dma=9)
        after = vmstat(allocstall=3, compact_stall=14, pgscan_kswapd_normal=200, pgscan_kswapd_high=30,
                       pgscan_kswapd_dma=7, pgsteal_kswapd_normal=51, pgsteal_kswapd_high=21,
                       pgsteal_kswapd_dma=301, pgscan_direct_normal=8, pgscan_direct_high=27,
                       pgscan_direct_dma=307, pgsteal_direct_normal=4, pgsteal_direct_high=9,
                       pgsteal_direct_dma=9)
        self.assertEqual(self.reclaim(self.change_vmstat(before, after)),
                         "alloc_stalls=2 compact_stalls=4 kswapd_scans=132 kswapd_steals=321 "
                         "direct_scans=321 direct_steals=-5")

    def test_missing_zones_count_nothing(self):
        output = self.change_vmstat(vmstat(pgscan_kswapd_normal=10), vmstat(pgscan_kswapd_normal=30))
        self.assertIn(" kswapd_scans=20 ", self.reclaim(output))

    def test_nodes_and_split_stalls_of_newer_kernels(self):
        before = vmstat(allocstall_dma=1, allocstall_dma32=1, allocstall_normal=1,
                        allocstall_movable=1, allocstall_device=1, pgsteal_kswapd=5,
                        pgsteal_direct=6, pgscan_kswapd=7, pgscan_direct=8, pgscan_direct_throttle=1,
                        compact_stall=9)
        after = vmstat(allocstall_dma=2, allocstall_dma32=11, allocstall_normal=101,
                       allocstall_movable=1001, allocstall_device=10001, pgsteal_kswapd=25,
                       pgsteal_direct=36, pgscan_kswapd=47, pgscan_direct=58,
                       pgscan_direct_throttle=1000000, compact_stall=69)
        self.assertEqual(self.reclaim(self.change_vmstat(before, after)),
                         "alloc_stalls=11111 compact_stalls=60 kswapd_scans=40 kswapd_steals=20 "
                         "direct_scans=50 direct_steals=30")

    def test_one_older_name_is_enough_for_the_older_sum(self):
        before = vmstat(pgscan_kswapd=0, pgscan_kswapd_dma=0, pgsteal_kswapd=0)
        after = vmstat(pgscan_kswapd=100, pgscan_kswapd_dma=3, pgsteal_kswapd=50)
        self.assertIn(" kswapd_scans=3 kswapd_steals=50 ",
                      self.reclaim(self.change_vmstat(before, after)))

    def test_older_names_that_are_gone_at_the_end_still_count(self):
        output = self.change_vmstat(vmstat(allocstall=7, pgscan_kswapd_normal=5),
                                    vmstat(allocstall_normal=100, pgscan_kswapd=100))
        self.assertTrue(self.reclaim(output).startswith(
            "alloc_stalls=-7 compact_stalls=0 kswapd_scans=-5 "), output)

    def test_names_end_at_any_white_space(self):
        output = self.change_vmstat("allocstall\t1\n  pgscan_kswapd_dma 2\n",
                                    "allocstall\t9\n  pgscan_kswapd_dma 5\n")
        self.assertTrue(self.reclaim(output).startswith(
            "alloc_stalls=8 compact_stalls=0 kswapd_scans=3 "), output)

    def test_entries_of_earlier_reports_are_no_older_names(self):
        # A report leaves entries of 0 behind under the names that it looked up; the next ones, and the
        # one that a signal forces on the loop, must still see a newer kernel.
        self.device.write("/proc/vmstat", vmstat(pgscan_kswapd=0, allocstall_normal=0))
        with self.device.start("--stdout", "--iter=3", "--interval=1") as program:
            for count in (10, 30, 70):
                program.wait_until_waiting()
                self.device.write("/proc/vmstat",
                                  vmstat(pgscan_kswapd=count, allocstall_normal=2 * count))
                program.send(signal.SIGUSR1)
                wait_for(lambda n=count: f"kswapd_scans={n} " in program.output(), f"{count} scans")
            output = program.finish()
        lines = [line for line in output.splitlines() if line.startswith("alloc_stalls=")]
        expected = [(20, 10), (20, 10), (40, 20), (60, 30), (80, 40), (140, 70)]
        self.assertEqual(lines,
                         [f"alloc_stalls={stalls} compact_stalls=0 kswapd_scans={scans} "
                          "kswapd_steals=0 direct_scans=0 direct_steals=0"
                          for stalls, scans in expected])

    def test_three_measurements_with_a_counter_that_comes_and_goes(self):
        texts = [vmstat(pswpin=5, nr_shmem=1), vmstat(pswpin=7, nr_shmem=2, pgmajfault=3, nr_ion=4),
                 vmstat(nr_shmem=4), vmstat(pswpin=20, nr_shmem=8, pgmajfault=100)]
        self.device.write("/proc/vmstat", texts[0])
        with self.device.start("--stdout", "--sig") as program:
            for text in texts[1:]:
                program.toggle()
                self.device.write("/proc/vmstat", text)
                program.toggle()
            output = program.interrupt()
        swaps = [line.split("swap_inout_kb=")[1] for line in output.splitlines()
                 if line.startswith("rw_reqs")]
        self.assertEqual(swaps, ["2/0 maj_flt=3", "-7/0 maj_flt=-3", "20/0 maj_flt=100"])
        ions = [line.split("Ion=")[1] for line in output.splitlines() if line.startswith("MemFree")]
        self.assertEqual(ions, ["16(+16) Shmem=8(+4)", "0(-16) Shmem=16(+8)", "0(+0) Shmem=32(+16)"])


class FreeLists(MemoryTest):
    TEXT = ("Node 0, zone      DMA      0      1      0      3      2      3      3      1      5      "
            "4    104 \n")

    def between(self, output):
        return output.split("Shmem=0(+0)\n")[1].split("body_temp=")[0]

    def test_text_of_the_after_snapshot_as_it_stands(self):
        output = self.measure(change=lambda: self.device.write("/proc/buddyinfo", self.TEXT * 3))
        self.assertEqual(self.between(output), self.TEXT * 3)

    def test_no_more_than_512_bytes(self):
        self.device.write("/proc/buddyinfo", self.TEXT * 20)
        self.assertEqual(self.between(self.measure()), (self.TEXT * 20)[:512])

    def test_exactly_512_bytes(self):
        self.device.write("/proc/buddyinfo", "x" * 511 + "\n")
        self.assertEqual(self.between(self.measure()), "x" * 511 + "\n")

    def test_file_that_goes_away_leaves_nothing(self):
        self.device.write("/proc/buddyinfo", self.TEXT)
        with self.device.start("--stdout", "--sig") as program:
            program.toggle()
            program.toggle()
            self.device.remove("/proc/buddyinfo")
            program.toggle()
            program.toggle()
            reports = program.interrupt().split("SIGUSR1->stop()\n")[1:]
        self.assertEqual([self.between(report) for report in reports], [self.TEXT, ""])


class BlockSummary(MemoryTest):
    def test_not_in_the_first_minute(self):
        self.device.write("/proc/pagetypeinfo", "Number of blocks type\n")
        self.assertNotIn("Number of blocks", self.measure())


class Battery(DeviceTest):
    PATH = "/sys/class/power_supply/battery/temp"

    def temps(self, *texts):
        """Writes one text before each after snapshot, and returns the temperatures of the reports."""
        with self.device.start("--stdout", "--sig") as program:
            for text in texts:
                program.toggle()
                if text is None:
                    self.device.remove(self.PATH)
                else:
                    self.device.write(self.PATH, text)
                program.toggle()
            output = program.interrupt()
        return [line for line in output.splitlines() if line.startswith("body_temp=")]

    def test_number_as_it_stands(self):
        self.assertEqual(self.temps("312\n"), ["body_temp=312"])

    def test_negative_number(self):
        self.assertEqual(self.temps("-50\n"), ["body_temp=-50"])

    def test_reading_stays_when_it_cannot_be_read(self):
        self.assertEqual(self.temps("312\n", None, "", "warm\n", "301\n"),
                         ["body_temp=312"] * 4 + ["body_temp=301"])
