"""The kernel's tracing files that the program uses."""

import os

TRACING = "/sys/kernel/debug/tracing"
SCHED = [f"events/sched/sched_stat_{name}/enable" for name in ("wait", "iowait", "runtime")]
FILEMAP = [f"events/filemap/mm_filemap_{name}_page_cache/enable" for name in ("add_to", "delete_from")]
CONTROLS = [*SCHED, *FILEMAP, "buffer_size_kb", "trace_clock", "options/overwrite", "tracing_on"]

# For a shell inside of a made-up device, before a command: the kernel's /proc and /sys, with a folder of
# ours, which may hold links, in place of its tracing folder.
KERNEL_WITH_LINKS = """
mount --rbind /.kernel-proc /proc && mount --rbind /.kernel-sys /sys &&
mount -t tmpfs tmpfs /sys/kernel/debug && mkdir /sys/kernel/debug/tracing &&
mount --bind "$0" /sys/kernel/debug/tracing && exec "$@"
"""

# What a kernel without the scheduler's statistics lacks: the format of their events.
NO_SUCH_EVENT = """name: {name}
ID: {id}
format:
\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;

\tfield:char comm[16];\toffset:8;\tsize:16;\tsigned:0;
\tfield:pid_t pid;\toffset:24;\tsize:4;\tsigned:1;
\tfield:u64 delay;\toffset:32;\tsize:8;\tsigned:0;
"""


def link_ring(links, tracing):
    """Adds links to the binary ring buffers of a tracing folder of the kernel, and to what tells how to
    read them, to a folder that the program takes for its tracing folder."""
    files = ["per_cpu", "events/header_page",
             *(os.path.join(os.path.dirname(enable), "format") for enable in [*SCHED, *FILEMAP])]
    for number, file in enumerate(files):
        path, target = os.path.join(links, file), os.path.join(tracing, file)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if os.path.exists(target):
            os.symlink(target, path)
        else:
            with open(path, "w") as format_:
                format_.write(NO_SUCH_EVENT.format(name=file.split("/")[-2], id=65000 + number))
