"""The kernel's tracing files that the program uses."""

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
