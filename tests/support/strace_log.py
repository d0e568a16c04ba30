"""Reads what strace has logged."""

import re


def calls_of(log):
    """The calls of a log as (thread, text). A call that is logged in two parts, with others between them, is
    put together. The only thread of a run without -f is None."""
    begun = {}
    for line in log.splitlines():
        thread, call = re.match(r"(?:(\d+) +)?(.*)", line).groups()
        if call.endswith(" <unfinished ...>"):
            begun[thread] = call.removesuffix(" <unfinished ...>")
        elif resumed := re.match(r"<\.\.\. \w+ resumed>(.*)", call):
            yield thread, begun.pop(thread, "") + resumed[1]
        else:
            yield thread, call
