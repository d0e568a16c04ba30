"""Reads trace.txt, and what the kernel's tracing files say."""

import collections
import re

RECORD = re.compile(
    r"time=(\d+\.\d{6}) tag=(nr|r) duration=(\d+) cpu=(\d+) tgid=(\d+) tgid_name=(.*?) "
    r"tid=(\d+) tid_name=(.*) name=(.*)")
LONGEST_NS = 300000000

Record = collections.namedtuple("Record", "time tag duration cpu tgid tgid_name tid tid_name name")
SchedEvent = collections.namedtuple("SchedEvent", "time kind tid value")


def records(text):
    """The records of trace.txt. A line that is none fails the test."""
    result = []
    for line in text.splitlines():
        match = RECORD.fullmatch(line)
        if not match:
            raise AssertionError(f"no record: {line}")
        time, tag, duration, cpu, tgid, tgid_name, tid, tid_name, name = match.groups()
        result.append(Record(float(time), tag, int(duration), int(cpu), int(tgid), tgid_name, int(tid),
                             tid_name, name))
    return result


def sched_events(text):
    """The scheduler's events, in the order of the kernel."""
    pattern = re.compile(r" +(\d+\.\d+): sched_stat_(\w+): comm=.* pid=(\d+) (?:delay|runtime)=(\d+) \[ns\]")
    return [SchedEvent(float(match[1]), match[2], int(match[3]), int(match[4]))
            for match in map(pattern.search, text.splitlines()) if match]


def writes(text, pid):
    """The calls of write(2) of a thread: begin, end and how many bytes."""
    pattern = re.compile(rf"-{pid} +\[\d+\] \S+ +(\d+\.\d+): "
                         r"sys_write(?:\(.*count: ([0-9a-f]+)\)| -> 0x[0-9a-f]+)$")
    result = []
    for match in filter(None, map(pattern.search, text.splitlines())):
        if match[2] is not None:
            result.append([float(match[1]), None, int(match[2], 16)])
        elif result:
            result[-1][1] = float(match[1])
    return result


# The tracing files when a measurement has ended.
STOPPED = {
    "tracing_on": "0",
    "options/overwrite": "0",
    "trace_clock": "local",
    # One page for each CPU is the least that the kernel has.
    "buffer_size_kb": "7",
    "events/sched/sched_stat_wait/enable": "0",
    "events/sched/sched_stat_iowait/enable": "0",
    "events/sched/sched_stat_runtime/enable": "0",
    "events/filemap/mm_filemap_add_to_page_cache/enable": "0",
    "events/filemap/mm_filemap_delete_from_page_cache/enable": "0",
}


def controls(text):
    """The tracing files that a guest has noted. Of the clocks it is the one in force."""
    result = dict(line.split("=", 1) for line in text.splitlines())
    result["trace_clock"] = re.search(r"\[(\w+)\]", result["trace_clock"])[1]
    return result


def without_skipped(errors):
    """What stands on standard error, but for events of threads that ended before they could be looked up."""
    return re.sub(r"tarnwick: trace: \d+ events? skipped: thread ended before it was looked up\n", "", errors)
