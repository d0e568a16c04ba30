"""The documents: the commands that they show can be run, and what they refer to is there. README.md of the
tests says how a document marks its commands."""

import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))

from deadline import wait_for_end  # noqa: E402
from program import PROGRAM  # noqa: E402

ROOT = os.path.dirname(TESTS)
MANUAL = "packaging/tarnwick.8"
DEADLINE_S = 300


def documents():
    """The paths of all of them, from the root of the tree."""
    found = []
    for folder, folders, names in os.walk(ROOT):
        folders[:] = [name for name in folders if not name.startswith(".")]
        if folder == ROOT:
            folders.remove("build")
        found += [os.path.relpath(os.path.join(folder, name), ROOT) for name in names if name.endswith(".md")]
    return sorted(found)


def read(path):
    with open(os.path.join(ROOT, path)) as file:
        return file.read()


class Block:
    """Lines of a document that are not prose. The language is what stands behind the fence, "" for none."""

    def __init__(self, place, language, lines):
        self.place, self.language, self.lines = place, language, lines

    def prompt(self):
        """Who is to run the commands of a session: its first line decides, other lines that begin so may
        be output."""
        return self.lines[0][:2] if self.lines else ""

    def commands(self):
        """Those of a session, without the prompts and what came of them. A command goes on behind a
        backslash at the end of its line."""
        commands, continues = [], False
        for line in self.lines:
            if continues or line.startswith(self.prompt()):
                commands.append(line if continues else line[2:])
                continues = line.endswith("\\")
        return "\n".join(commands)


def parse(path):
    """The blocks of a document, and its lines of prose by their numbers."""
    blocks, prose = [], {}
    fence, indent = None, ""
    for number, line in enumerate(read(path).splitlines(), 1):
        mark = re.match(r"( *)```(.*)$", line)
        if fence is not None and mark:
            fence = None
        elif fence is not None:
            fence.lines.append(line.removeprefix(indent))
        elif mark:
            indent = mark[1]
            fence = Block(f"{path}:{number}", mark[2].strip(), [])
            blocks.append(fence)
        else:
            prose[number] = line
    if fence is not None:
        raise AssertionError(f"{fence.place}: no end")
    return blocks, prose


def manual_sessions():
    """A manual page has no fences: there, what begins with a prompt is a session."""
    page = subprocess.run(["mandoc", "-T", "ascii", os.path.join(ROOT, MANUAL)], check=True,
                          stdout=subprocess.PIPE, text=True).stdout
    for paragraph in re.sub(".\b", "", page).split("\n\n"):
        lines = [line.strip() for line in paragraph.splitlines()]
        if lines and lines[0][:2] in ("$ ", "# "):
            yield Block(f"{MANUAL}: {lines[0]}", "console", lines)


def blocks():
    found = [block for path in documents() for block in parse(path)[0]]
    return found + list(manual_sessions())


def anchors(path):
    """What the headings of a document can be referred to by, as the usual viewers have it."""
    found = []
    for line in parse(path)[1].values():
        heading = re.match(r"#+ +(.*?) *$", line)
        if heading:
            name = re.sub(r"[^\w\- ]", "", heading[1].lower()).replace(" ", "-")
            found.append(f"{name}-{found.count(name)}" if name in found else name)
    return found


class Commands(unittest.TestCase):
    def run_block(self, block):
        with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile("w+") as output:
            # What a command writes into its folder does not stay in the tree.
            for name in os.listdir(ROOT):
                os.symlink(os.path.join(ROOT, name), os.path.join(folder, name))
            path = os.path.dirname(PROGRAM) + ":" + os.environ["PATH"]
            shell = subprocess.Popen(["bash", "-e", "-c", block.commands()], cwd=folder,
                                     env={**os.environ, "PATH": path}, stdin=subprocess.DEVNULL,
                                     stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            try:
                status = wait_for_end(shell, block.place, DEADLINE_S)
            finally:
                # With what the commands have left behind.
                try:
                    os.killpg(shell.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                shell.wait()
            output.seek(0)
            self.assertEqual(status, 0, f"\n{block.commands()}\n{output.read()}")

    def test_what_anyone_can_run_unattended_runs(self):
        found = [b for b in blocks() if b.language == "console" and b.prompt() == "$ "]
        self.assertTrue(found)
        for block in found:
            with self.subTest(block.place):
                self.run_block(block)

    def test_all_else_can_be_parsed(self):
        for block in blocks():
            if block.language == "console":
                self.assertIn(block.prompt(), ("$ ", "# "), block.place)
                script = block.commands()
            elif block.language == "sh":
                script = "\n".join(block.lines)
            else:
                continue
            with self.subTest(block.place):
                result = subprocess.run(["bash", "-n", "-c", script], capture_output=True, text=True)
                self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_no_command_is_outside_of_the_marks(self):
        for path in documents():
            found, prose = parse(path)
            lines = [(f"{path}:{number}", line) for number, line in prose.items()]
            lines += [(b.place, line) for b in found if b.language != "console" for line in b.lines]
            for place, line in lines:
                self.assertNotRegex(line, r"^\s*\$ ", place)


class References(unittest.TestCase):
    def test_links_lead_somewhere(self):
        found = 0
        for path in documents():
            for number, line in parse(path)[1].items():
                for target in re.findall(r"\]\(([^)\s]+)\)", line):
                    if re.match(r"\w+:", target):
                        continue
                    found += 1
                    with self.subTest(f"{path}:{number}: {target}"):
                        name, _, anchor = target.partition("#")
                        name = os.path.normpath(os.path.join(os.path.dirname(path), name)) if name else path
                        self.assertTrue(os.path.exists(os.path.join(ROOT, name)), "no such file")
                        if anchor:
                            self.assertIn(anchor, anchors(name))
        self.assertGreater(found, 0)

    def test_paths_of_the_tree_exist(self):
        """Words in the type of code that begin with a folder of the root, unless they can be the kernel's."""
        folders = {name for name in os.listdir(ROOT) if os.path.isdir(os.path.join(ROOT, name))}
        folders -= {"build", "proc"}
        found = 0
        for path in documents():
            for number, line in parse(path)[1].items():
                for name in re.findall(r"`([\w./-]+/[\w./-]*)`", line):
                    if name.split("/")[0] in folders:
                        found += 1
                        # Some are seen from the document's folder.
                        places = [os.path.join(ROOT, base, name) for base in ("", os.path.dirname(path))]
                        self.assertTrue(any(map(os.path.exists, places)), f"{path}:{number}: {name}")
        self.assertGreater(found, 0)

    def test_functions_are_where_they_are_said_to_be(self):
        """Rows of a table that begin with a function and the file that defines it."""
        found = 0
        for path in documents():
            for number, line in parse(path)[1].items():
                row = re.match(r"\| `(\w+)` \| `([\w/]+\.(?:cpp|h))` \|", line)
                if row:
                    found += 1
                    with self.subTest(f"{path}:{number}"):
                        definition = rf"(?m)^ {{0,2}}\w[\w:<>&*, ]*[ :*&]{row[1]}\((?!.*;$)"
                        self.assertTrue(re.search(definition, read(row[2])), f"no {row[1]} in {row[2]}")
        self.assertGreater(found, 0)

    def test_costs_are_the_measured_ones(self):
        table = re.search(r"(?ms)^## What it costs\n.*?^## ", read("README.md"))[0]
        figures = re.findall(r"\| ([\d.,]+) ms \|", table)
        self.assertTrue(figures)
        measured = re.findall(r"\d[\d.,]*\d|\d", read("docs/performance.md"))
        for figure in figures:
            self.assertIn(figure, measured)
