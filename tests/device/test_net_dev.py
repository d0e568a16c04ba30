"""The network section."""

import os

from harness import NET_DEV_HEAD, DeviceTest, interface


class NetDevTest(DeviceTest):
    def change(self, before, after):
        self.device.net_dev(*before)
        return self.section(self.measure(change=lambda: self.device.net_dev(*after)))

    def section(self, output):
        return output.split("body_temp=0\n")[1].split("uptime=")[0]


class NetDev(NetDevTest):
    def test_traffic_of_the_interval(self):
        self.assertEqual(
            self.change([interface("lo", 1024, 10, 2048, 20), interface("wlan0", 0, 1, 0, 0)],
                        [interface("lo", 2048, 20, 4096, 40), interface("wlan0", 10240, 8, 0, 0)]),
            "    lo: rx_kb=1      rx_packets=10     tx_kb=2      tx_packets=20    \n"
            " wlan0: rx_kb=10     rx_packets=7      tx_kb=0      tx_packets=0     \n")

    def test_kilobytes_are_cut_before_the_difference(self):
        self.assertEqual(
            self.change([interface("eth0", 1023, 1, 1024, 1)], [interface("eth0", 1025, 2, 2047, 1)]),
            "  eth0: rx_kb=1      rx_packets=1      tx_kb=0      tx_packets=0     \n")

    def test_bytes_without_packets_have_no_line(self):
        self.assertEqual(self.change([interface("eth0", 0, 1, 0, 1)],
                                     [interface("eth0", 99999, 1, 99999, 1)]), "")

    def test_interface_that_came_up_has_no_line(self):
        self.assertEqual(self.change([], [interface("eth0", 99999, 5, 99999, 5)]), "")

    def test_interface_without_packets_before_has_no_line(self):
        self.assertEqual(self.change([interface("eth0", 0, 0, 0, 0)],
                                     [interface("eth0", 99999, 5, 99999, 5)]), "")

    def test_interface_that_went_has_no_line(self):
        self.assertEqual(self.change([interface("eth0", 99999, 5, 99999, 5)], []), "")

    def test_counters_that_went_backwards(self):
        self.assertEqual(
            self.change([interface("eth0", 9000000, 50, 10, 5), interface("eth1", 10, 5, 10, 5)],
                        [interface("eth0", 10, 5, 2000000, 51), interface("eth1", 10, 4, 10, 5)]),
            "  eth0: rx_kb=-8789  rx_packets=-45    tx_kb=1953   tx_packets=46    \n")

    def test_names_in_the_order_of_their_bytes_blanks_included(self):
        names = ["lo", "wlan0", "rmnet_data0", "eth0", "a", "B"]
        self.assertEqual(
            [line.split(":")[0] for line in self.change(
                [interface(name, 0, 1, 0, 1) for name in names],
                [interface(name, 0, 2, 0, 2) for name in names]).splitlines()],
            ["     B", "     a", "    lo", "  eth0", " wlan0", "rmnet_data0"])

    def test_line_without_a_blank_behind_its_colon_has_the_numbers_of_the_line_before(self):
        self.assertEqual(
            self.change([interface("eth0", 0, 1, 0, 1),
                         interface("rmnet0", 9999999999, 7, 0, 7, blank="")],
                        [interface("eth0", 4096, 5, 8192, 6),
                         interface("rmnet0", 99999999999, 70, 0, 70, blank="")]),
            "  eth0: rx_kb=4      rx_packets=4      tx_kb=8      tx_packets=5     \n"
            "rmnet0: rx_kb=4      rx_packets=4      tx_kb=8      tx_packets=5     \n")

    def test_first_line_without_a_blank_has_zeros(self):
        line = interface("rmnet0", 9999999999, 7, 0, 7, blank="")
        self.assertEqual(self.change([line], [line, interface("eth0", 0, 1, 0, 1)]), "")

    def test_first_two_lines_are_not_looked_at(self):
        self.device.write("/proc/net/dev", "\n".join(["eth8: 1 1", "eth9: 2 2", ""])
                          + interface("eth0", 0, 1, 0, 1))

        def change():
            self.device.write("/proc/net/dev", interface("eth8", 0, 9, 0, 9) * 2
                              + interface("eth0", 0, 2, 0, 1))
        self.assertEqual(
            self.section(self.measure(change=change)),
            "  eth0: rx_kb=0      rx_packets=1      tx_kb=0      tx_packets=0     \n")

    def test_64_interfaces_are_cut_at_4096_bytes(self):
        def lines(packets):
            return [interface(f"eth{i:02}", 0, packets + i, 0, 100 * i) for i in range(64)]
        # The line that is cut has the numbers that count before the cut.
        text = NET_DEV_HEAD + "".join(lines(1))
        whole = text[:4096].count("\n") - 2
        self.assertRegex(text[:4096].rpartition("\n")[2], f"^ eth{whole}: +0 +{whole + 1} +11")
        self.assertEqual(
            self.change(lines(1), lines(8)),
            "".join(f" eth{i:02}: rx_kb=0      rx_packets=7      tx_kb=0      tx_packets=0     \n"
                    for i in range(whole + 1)))

    def test_number_that_is_cut_at_4096_bytes_is_read_as_far_as_it_goes(self):
        def text(packets):
            line = interface("eth1", 0, packets, 0, 0)
            end = line.index(str(packets)) + 2
            return (NET_DEV_HEAD + "x" * (4096 - len(NET_DEV_HEAD) - 1 - end) + "\n" + line)
        self.device.write("/proc/net/dev", text(123456))
        self.assertEqual(
            self.section(self.measure(change=lambda: self.device.write("/proc/net/dev",
                                                                       text(998877)))),
            "  eth1: rx_kb=0      rx_packets=87     tx_kb=0      tx_packets=0     \n")

    def test_name_that_is_cut_at_4096_bytes_is_another_name(self):
        def text(packets):
            lines = NET_DEV_HEAD + interface("eth0", 0, packets, 0, 0)
            return lines + "x" * (4096 - len(lines) - 4) + "\n et" + "h1: 1 2 3\n"
        self.device.write("/proc/net/dev", text(1))
        output = self.section(self.measure(
            change=lambda: self.device.write("/proc/net/dev", text(8))))
        # It has the numbers of the line before, as has the line of letters.
        self.assertEqual([line.split(":")[0] for line in output.splitlines()],
                         ["  eth0", " et", "x" * 39])

    def test_lines_without_a_colon_or_a_name(self):
        def lines(packets):
            return [interface("eth0", 0, packets, 0, 0), "no colon\n", ": 1 2 3\n", "%s%n: 1 x\n"]
        self.assertEqual(
            [line.split(" rx_kb")[0] for line in self.change(lines(1), lines(5)).splitlines()],
            [":", "  eth0:", "%s%n:", "no colon:"])

    def test_unreadable_file_has_a_message_and_no_lines(self):
        os.makedirs(self.device.path("/proc/net/dev"))
        output = self.measure()
        self.assertEqual(output.count("Error opening /proc/net/dev: Is a directory (21)\n"), 2)
        self.assertEqual(self.section(output), "")

    def test_missing_file(self):
        self.assertEqual(self.section(self.measure()), "")

    def test_64_bit_extremes(self):
        high = 2**63 - 1
        output = self.change([interface("eth0", high, 1, high, 1)],
                             [interface("eth0", 0, 2, 99999999999999999999999, 1)])
        self.assertEqual(
            output,
            f"  eth0: rx_kb={-(high // 1024)} rx_packets=1      tx_kb=0      tx_packets=0     \n")

    def test_three_measurements_are_measured_end_to_end(self):
        self.device.net_dev(interface("eth0", 0, 1, 0, 0))
        with self.device.start("--stdout", "--sig") as program:
            for packets in (2, 4, 8, 16, 32, 64):
                program.toggle()
                self.device.net_dev(interface("eth0", 0, packets, 0, 0))
            output = program.interrupt()
        self.assertEqual([line.split()[2] for line in output.splitlines() if "eth0" in line],
                         ["rx_packets=1", "rx_packets=6", "rx_packets=24"])
