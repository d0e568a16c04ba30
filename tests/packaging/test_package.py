"""The Debian packages that packaging/packages.sh has made: checked by lintian, installed in a clean tree, run
there and removed again."""

import glob
import os
import re
import shutil
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "support"))

import deadline  # noqa: E402
import elf  # noqa: E402
import hardening  # noqa: E402
from program import PROGRAM, SEPARATOR, TIMING_LINE  # noqa: E402

BUILD = os.path.dirname(os.path.dirname(PROGRAM))
SYSROOT = os.path.join(BUILD, "sysroot-aarch64")
DEADLINE_S = 300

FILES = """\
./usr/bin/tarnwick
./usr/share/bash-completion/completions/tarnwick
./usr/share/doc/tarnwick/CHANGELOG.md
./usr/share/doc/tarnwick/changelog.gz
./usr/share/doc/tarnwick/copyright
./usr/share/doc/tarnwick/docs/growth.svg
./usr/share/doc/tarnwick/docs/performance.md
./usr/share/doc/tarnwick/docs/report.md
./usr/share/doc/tarnwick/docs/troubleshooting.md
./usr/share/fish/vendor_completions.d/tarnwick.fish
./usr/share/lintian/overrides/tarnwick
./usr/share/man/man8/tarnwick.8.gz
./usr/share/zsh/vendor-completions/_tarnwick
""".splitlines()

# apt has all that it needs in the tree. Left out are the folders of dpkg and apt, and what is mounted.
IN_CLEAN_TREE = """
all_files() {
  find / -path /proc -prune -o -path /dev -prune -o -path /mnt -prune -o -path /var/lib/dpkg -prune -o \
    -path /var/lib/apt -prune -o -path /var/cache -prune -o -path /var/log -prune -o -print | sort
}
apt_get() {
  apt-get -qq --yes --no-install-recommends -o APT::Sandbox::User=root "$@"
}
set -e
all_files >/mnt/before
apt_get install /mnt/tarnwick.deb >/mnt/log 2>&1 || { cat /mnt/log >&2; exit 1; }
dpkg --verify tarnwick
tarnwick --stdout --iter=1 --interval=0
apt_get purge --autoremove tarnwick >/mnt/log 2>&1 || { cat /mnt/log >&2; exit 1; }
all_files >/mnt/after
diff /mnt/before /mnt/after
"""


def run(*command):
    return deadline.run(command, DEADLINE_S, cwd="/", env={**os.environ, "LC_ALL": "C.UTF-8"})


class PackageTest(unittest.TestCase):
    def run_well(self, *command):
        result = run(*command)
        self.assertEqual(result.returncode, 0, result.stderr + result.stdout)
        return result.stdout

    def scratch(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        return scratch.name

    def field(self, name):
        return self.run_well("dpkg-deb", "--field", self.package, name).strip()

    def assert_report(self, output):
        self.assertTrue(output.startswith(SEPARATOR), output)
        self.assertEqual(len(TIMING_LINE.findall(output)), 1, output)
        self.assertTrue(TIMING_LINE.search(output).end() == len(output), output)


class BothPackages:
    def setUp(self):
        self.package = os.path.join(BUILD, f"tarnwick_{os.environ['VERSION']}_{self.ARCHITECTURE}.deb")

    def test_fields(self):
        self.assertEqual(self.field("Package"), "tarnwick")
        self.assertEqual(self.field("Version"), os.environ["VERSION"])
        self.assertEqual(self.field("Architecture"), self.ARCHITECTURE)

    def test_files(self):
        files = []
        for line in self.run_well("dpkg-deb", "--contents", self.package).splitlines():
            mode, owner, *_, path = line.split()
            self.assertEqual(owner, "root/root", line)
            runs = mode[0] == "d" or path == "./usr/bin/tarnwick"
            self.assertEqual(mode[1:], "rwxr-xr-x" if runs else "rw-r--r--", line)
            if mode[0] != "d":
                files.append(path)
        self.assertEqual(files, FILES)

    def test_links_of_the_documents_lead_to_files_of_the_package(self):
        root = self.scratch()
        self.run_well("dpkg-deb", "--extract", self.package, root)
        followed = 0
        for path in glob.glob(f"{root}/usr/share/doc/**/*.md", recursive=True):
            with open(path) as document:
                links = re.findall(r"\]\(([^)#\s:]+)(?:#[^)]*)?\)", document.read())
            for link in links:
                followed += 1
                self.assertTrue(os.path.exists(os.path.join(os.path.dirname(path), link)), f"{path}: {link}")
        self.assertGreater(followed, 0)

    def program(self):
        root = self.scratch()
        self.run_well("dpkg-deb", "--extract", self.package, root)
        return elf.Elf(os.path.join(root, "usr/bin/tarnwick"))

    def test_program_looks_for_libraries_in_the_folder_of_the_platform_alone(self):
        self.assertEqual(self.program().run_path(), [f"/usr/lib/{self.LIBRARIES}/android"])

    def test_program_is_hardened(self):
        self.assertEqual(hardening.missing(self.program()), [])

    def test_lintian_says_nothing(self):
        result = run("lintian", "--allow-root", "--fail-on", "warning", self.package)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)


class Amd64(BothPackages, PackageTest):
    ARCHITECTURE = "amd64"
    LIBRARIES = "x86_64-linux-gnu"

    def test_is_installed_run_and_removed(self):
        folder = self.scratch()
        shutil.copy(self.package, os.path.join(folder, "tarnwick.deb"))
        output = self.run_well(os.path.join(HERE, "enter_clean_tree.sh"),
                               os.path.join(BUILD, "debian-tree.tar"), folder, "sh", "-c", IN_CLEAN_TREE)
        self.assert_report(output)


class Arm64(BothPackages, PackageTest):
    """Its programs do not run in a tree of this machine. It is unpacked, and run by the emulator with the
    libraries of the sysroot, which are Debian's."""

    ARCHITECTURE = "arm64"
    LIBRARIES = "aarch64-linux-gnu"

    def test_is_unpacked_and_run(self):
        root = self.scratch()
        os.makedirs(os.path.join(root, "var/lib/dpkg/updates"))
        os.mkdir(os.path.join(root, "var/lib/dpkg/info"))
        for name in ("status", "available"):
            with open(os.path.join(root, "var/lib/dpkg", name), "w"):
                pass
        self.run_well("dpkg", "--root", root, "--force-not-root", "--force-architecture",
                      "--log=/dev/null", "--unpack", self.package)
        self.run_well("dpkg", "--root", root, "--verify", "tarnwick:arm64")
        self.assert_report(self.run_well("qemu-aarch64-static", "-L", SYSROOT,
                                         os.path.join(root, "usr/bin/tarnwick"), "--stdout", "--iter=1",
                                         "--interval=0"))

    def test_depends_on_the_packages_of_its_libraries(self):
        with open(os.path.join(SYSROOT, "packages")) as lines:
            versions = dict(line.split() for line in lines)
        with open(os.path.join(SYSROOT, "contents")) as lines:
            packages = {os.path.basename(path): package
                        for package, path in (line.rstrip("\n").split(" ", 1) for line in lines)}
        program = self.run_well("aarch64-linux-gnu-readelf", "--dynamic", "--wide", PROGRAM)
        libraries = re.findall(r"\(NEEDED\).*\[(.*)\]", program)
        self.assertIn("libutils.so.0", libraries)
        depends = dict(re.fullmatch(r"(\S+)(?: \(>= (\S+)\))?", entry).groups()
                       for entry in self.field("Depends").split(", "))
        # The loader is the C library's.
        self.assertEqual(sorted(depends), sorted({packages[library] for library in libraries}))
        for package, version in depends.items():
            if version is not None:
                self.run_well("dpkg", "--compare-versions", versions[package], "ge", version)
