"""Names that hold control characters: a terminal does not get them, a file and a pipe do."""

import os
import pty

from harness import interface
from trace_device import TraceTest

# Of a process, an interface and a file.
ESCAPE = "\x1b]0;x\x07"
COLOUR = "\x1b[31m\x7f"
CSI = "\u009b2J\r"
CACHE = f"8:1_20 /data/{CSI.rstrip()}\x01é\n"
EVENT = ("             cat-204     [000] ....    40.794419: mm_filemap_add_to_page_cache: dev 8:1 ino 14 "
         "page=ffe0 pfn=1 ofs=0\n")
OPTIONS = ("--stdout", "--enter", "--block-dump")


class Terminal(TraceTest):
    def setUp(self):
        super().setUp()
        self.device.write("/data/inode.txt", CACHE)

    def lay(self, count):
        self.device.process(5, f"a{ESCAPE}\tb\nc", count)
        self.device.net_dev(interface(COLOUR, 0, count, 0, count))

    def measured(self, stdout=None):
        self.lay(1)
        with self.device.start(*OPTIONS, stdout=stdout, env=self.environment) as program:
            program.wait_until_waiting()
            self.lay(7)
            self.send(EVENT)
            self.settle()
            program.type("\n")
            return program.finish()

    def assert_names(self, output, process, network, file):
        lines = output.split("\n")
        line = f"5     {process:18}: total=60   utime=60   stime=0    min_flt=0     maj_flt=0   "
        self.assertEqual(lines[1:3], line.split("\n"))
        self.assertIn(f"add=1 del=0 file=/data/{file}", lines)
        self.assertEqual([line.split(":")[0].strip(" ") for line in lines if "rx_kb=" in line], [network])

    def test_names_on_a_terminal(self):
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        self.measured(follower)
        os.close(follower)
        output = b""
        while True:
            try:
                output += os.read(leader, 4096)
            except OSError:
                break  # nobody has the other end any more
        # The terminal itself begins each line anew.
        text = output.decode().replace("\r\n", "\n")
        self.assert_names(text, "a?]0;x?\tb\nc", "?[31m?", "?2J?é")
        self.assertEqual([character for character in text
                          if character < " " and character not in "\n\t" or "\x7f" <= character <= "\x9f"], [])

    def test_names_elsewhere(self):
        names = (f"a{ESCAPE}\tb\nc", COLOUR, CACHE.split("/data/")[1].rstrip("\n"))
        self.assert_names(self.measured(), *names)
        reader, writer = os.pipe()
        with open(reader, newline="") as pipe:
            self.measured(writer)
            os.close(writer)
            self.assert_names(pipe.read(), *names)
