"""A trace with very many events is whole, to its end."""

import collections
import sys
import unittest

import trace_text
from guest import Guest


class Loaded(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        out = Guest("loaded.sh", steady=True).out
        cls.stats = out["second.stats"]
        cls.records = trace_text.records(out["trace.txt"])
        cls.events = trace_text.sched_events(out["second"])
        writes = trace_text.writes(out["second"], out["pid"].strip())
        sizes = [size for _, _, size in writes]
        # "global", overwrite and tracing_on are the last writes of the start; those of the stop are seven
        # of one byte, tracing_on first, and "local". Between them the reader is asked (8 bytes).
        cls.on = writes[sizes.index(len("global")) + 2]
        local = sizes.index(len("local"))
        cls.off = [write for write in writes[:local] if write[2] == 1][-7]
        cls.waited_ms = (writes[local][0] - writes[local - 1][1]) * 1000

    def test_second_instance_has_everything(self):
        for line in self.stats.splitlines():
            if "overrun" in line or "dropped" in line:
                self.assertTrue(line.endswith(": 0"), line)

    def test_more_than_20000_events_a_second(self):
        seconds = self.records[-1].time - self.records[0].time
        rate = len(self.records) / seconds
        print(f"{len(self.records)} events in {seconds:.2f} s, {rate:.0f} a second; the last one "
              f"{(self.off[0] - self.records[-1].time) * 1000:.2f} ms before the end of the trace; "
              f"the stop waited {self.waited_ms:.0f} ms", file=sys.stderr)
        self.assertGreater(rate, 20000)

    def test_every_event_of_the_load_is_there(self):
        # Not from the very start: while tracing is switched on the second instance misses milliseconds.
        # By time: of a thread that changes its CPU the kernel can hand out a later event first.
        begin = self.on[1] + 0.3
        expected = collections.defaultdict(list)
        for event in sorted(self.events, key=lambda event: event.time):
            if 1 <= event.value <= trace_text.LONGEST_NS:
                expected[event.tid].append(event)
        written = collections.defaultdict(list)
        for record in sorted(self.records, key=lambda record: record.time):
            if record.tid in expected and record.time >= begin:
                kind = record.name if record.tag == "nr" else "runtime"
                written[record.tid].append((kind, record.duration))
        self.assertEqual(len(expected), 3)
        for tid, events in expected.items():
            had = [(event.kind, event.value) for event in events]
            starts = [first for first in range(len(had)) if had[first] == written[tid][0] and
                      had[first:first + len(written[tid])] == written[tid]]
            self.assertEqual(len(starts), 1, f"the events of {tid} have a gap")
            first = starts[0]
            last = first + len(written[tid])
            # One event can be on its way into the two instances while the tracing is switched on or off.
            between = [event for event in events if begin + 0.001 <= event.time <= self.off[0]]
            self.assertLessEqual(first, events.index(between[0]) + 1)
            self.assertGreaterEqual(last, events.index(between[-1]))
