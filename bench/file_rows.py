"""The inode cache: the walk that makes it, and loading it."""

import contextlib
import os
import re
import shutil
import subprocess
import tempfile

from rows import Result, row
from tools import Cost, costed, device, enter, of_rounds, private_mounts, program, run_cost, tool
from tracing import CONTROLS, TRACING

MOUNTS = "proc/self/mountinfo"
COMMAND = ["--stdout", "--iter=1", "--interval=0", "--no-proc-cpu", "--block-dump"]


def libraries(binary):
    listed = subprocess.run(["ldd", binary], check=True, capture_output=True, text=True).stdout
    return re.findall(r"(/\S+) \(0x", listed)


@contextlib.contextmanager
def small_root(files):
    """A root of so many empty files, a hundred in a directory, with the program, find and nothing more."""
    with tempfile.TemporaryDirectory(prefix="bench-", ignore_cleanup_errors=True) as root:
        os.chmod(root, 0o755)
        for control in [*CONTROLS, "trace_pipe"]:
            path = f"{root}{TRACING}/{control}"
            os.makedirs(os.path.dirname(path), exist_ok=True)
            open(path, "w").close()
        for folder in ("proc/self", "data", "bin", "tmp"):
            os.makedirs(f"{root}/{folder}")
        open(f"{root}/{MOUNTS}", "w").close()
        for binary in (program(), tool("cost"), shutil.which("find")):
            shutil.copy(binary, f"{root}/bin")
            for library in libraries(binary):
                os.makedirs(os.path.dirname(f"{root}{library}"), exist_ok=True)
                if not os.path.exists(root + library):
                    shutil.copy(library, root + library)
        for first in range(0, files, 100):
            folder = f"{root}/data/app/group{first // 10000:03}/package{first // 100:05}/files"
            os.makedirs(folder)
            at = os.open(folder, os.O_RDONLY)
            for number in range(first, min(first + 100, files)):
                os.close(os.open(f"resource-{number:06}.dat", os.O_WRONLY | os.O_CREAT, 0o644, dir_fd=at))
            os.close(at)
        yield root


# The root is a mount point and has the table of its mounts, without which the walk asks for every file.
ENTER_ROOT = (f'mount --bind "$0" "$0" && cd "$0" && mount --bind /proc/$$/mountinfo {MOUNTS} && '
              'exec chroot . /bin/cost /tmp/cost "$@"')


def chroot_cost(root, command):
    """What a command costs inside; it writes its cost there."""
    out = f"{root}/tmp/cost"
    with open(f"{root}/data/printed", "wb") as printed:
        subprocess.run([private_mounts(), "sh", "-c", ENTER_ROOT, root, *command], check=True,
                       stdin=subprocess.DEVNULL, stdout=printed)
    with open(out) as text:
        return Cost(text.read())


@row("inode-walk", "CPU time of the walk that makes the inode cache (warm)")
def inode_walk(options):
    files = 2000 if options.short else 400000
    rounds = []
    with small_root(files) as root:
        cache = f"{root}/data/inode.txt"
        find = ["/bin/find", "/", "-type", "f", "-printf", "%D:%i %p\\n"]
        chroot_cost(root, find)  # warms it
        for _ in range(options.rounds):
            with contextlib.suppress(FileNotFoundError):
                os.remove(cache)
            making = chroot_cost(root, ["/bin/tarnwick", *COMMAND]).cpu
            # What a run has besides the walk: mainly, loading what it made.
            loading = chroot_cost(root, ["/bin/tarnwick", *COMMAND]).cpu
            rounds.append(((making - loading) / files * 1e9, chroot_cost(root, find).cpu / files * 1e9))
        with open(cache, "rb") as text:
            lines = sum(1 for _ in text)
    yield Result(f"{lines} files", "ns a file", **of_rounds(rounds), floor_name="find -type f -printf",
                 target="at most 0.25", digits=0)


def write_cache(path, lines):
    """An inode cache of 113 bytes a line."""
    with open(path, "w") as out:
        for number in range(lines):
            key = f"179:{number % 40}_{1000000 + number * 7}"
            out.write(f"{key} /data/app/com.vendor.package{number % 311:03}/".ljust(80, "x") +
                      f"/files/resource-{number:012}.dat\n")


@contextlib.contextmanager
def device_with_cache(lines):
    """Gives the path of an inode cache, and a function: what a run on a device costs with or without it."""
    with device() as made, tempfile.TemporaryDirectory(prefix="bench-") as folder:
        for control in [*CONTROLS, "trace_pipe"]:
            made.write(f"{TRACING}/{control}", "")
        full = os.path.join(folder, "inode.txt")
        write_cache(full, lines)

        def run(with_cache):
            made.write("/data/inode.txt", "")
            if with_cache:
                shutil.copy(full, made.path("/data/inode.txt"))
            with costed([program(), *COMMAND]) as (measured, cost):
                subprocess.run([*enter(made), *measured], check=True, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL)
                return cost()
        yield full, run


def load_cost(lines, rounds):
    """CPU seconds of loading a cache of so many lines, round by round."""
    with device_with_cache(lines) as (_, run):
        return [run(True).cpu - run(False).cpu for _ in range(rounds)]


@row("inode-load", "loading an inode cache")
def inode_load(options):
    lines = 10000 if options.short else 1000000
    with device_with_cache(lines) as (full, run):
        size = os.path.getsize(full)
        cpu = []
        memory = []
        for _ in range(options.rounds):
            empty, loaded = run(False), run(True)
            peer_empty, peer = (run_cost([tool("inode_peer"), path]) for path in ("/dev/null", full))
            cpu.append(((loaded.cpu - empty.cpu) / lines * 1e9, (peer.cpu - peer_empty.cpu) / lines * 1e9))
            memory.append(((loaded.kilobytes - empty.kilobytes) * 1024 / size,
                           (peer.kilobytes - peer_empty.kilobytes) * 1024 / size))
    yield Result(f"{lines} lines", "ns a line", **of_rounds(cpu), floor_name="getline, sscanf, map",
                 target="at most 0.25", digits=0)
    yield Result(f"{size / 1e6:.0f} MB", "times the file in memory", **of_rounds(memory),
                 floor_name="getline, sscanf, map", target="at most 1.5 times the file", digits=2)
