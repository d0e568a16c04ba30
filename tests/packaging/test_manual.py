"""The manual page is well-formed, has the program's options, and repeats the figures that were measured."""

import os
import re
import sys
import tempfile
import unittest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TESTS, "support"))

import deadline  # noqa: E402
from program import PROGRAM  # noqa: E402

ROOT = os.path.dirname(TESTS)
PAGE = os.path.join(ROOT, "packaging", "tarnwick.8")
# man(1) complains of a locale that is not installed, and takes options from the environment.
ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}

MAN = ["man", "--warnings", "--encoding=UTF-8", "--troff-device=utf8", "--ditroff", "--local-file"]
LINT = ["mandoc", "-T", "lint", "-W", "warning"]


def run(*command):
    return deadline.run(command, env=ENVIRONMENT)


def sections():
    """The text of each section, as it is shown, by its heading."""
    text = run("mandoc", "-T", "ascii", PAGE).stdout
    # What is bold or underlined is printed twice.
    text = re.sub(".\b", "", text)
    parts = re.split(r"(?m)^([A-Z][A-Z ]+)\n", text)
    return dict(zip(parts[1::2], parts[2::2]))


class Manual(unittest.TestCase):
    def complaints(self, page):
        man, lint = run(*MAN, page), run(*LINT, page)
        return man.stderr, lint.stdout + lint.stderr

    def test_neither_formatter_complains(self):
        self.assertEqual(self.complaints(PAGE), ("", ""))

    def test_both_formatters_find_what_is_wrong(self):
        with open(PAGE) as page, tempfile.NamedTemporaryFile("w", suffix=".8") as wrong:
            wrong.write(page.read() + ".Bl -bullet\n\\[nosuchglyph]\n")
            wrong.flush()
            man, lint = self.complaints(wrong.name)
        self.assertIn("nosuchglyph", man)
        self.assertIn("Bl", lint)

    def test_sections(self):
        self.assertEqual(list(sections()), [
            "NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "SIGNALS", "FILES", "EXIT STATUS", "OVERHEAD",
            "SECURITY", "EXAMPLES", "SEE ALSO"])

    def test_options_are_those_of_the_usage(self):
        usage = re.findall(r"(?m)^  (--\S+)", run(PROGRAM, "--help").stderr)
        self.assertIn("--interval=n", usage)
        # An item of the list; a paragraph that begins with an option goes on behind one blank.
        described = re.findall(r"\n\n     (--\S+)(?:\n|  )", sections()["OPTIONS"])
        self.assertEqual(sorted(described), sorted(usage))

    def test_options_of_the_other_sections_exist(self):
        usage = run(PROGRAM, "--help").stderr
        for name, text in sections().items():
            for option in re.findall(r"--[a-z][a-z-]*", text):
                self.assertIn(f"  {option}", usage, name)

    def test_figures_are_the_measured_ones(self):
        figures = re.findall(r"[\d.,]+(?=\s+ms\b)", sections()["OVERHEAD"])
        self.assertTrue(figures)
        with open(os.path.join(ROOT, "docs", "performance.md")) as performance:
            measured = re.findall(r"\d[\d.,]*\d|\d", performance.read())
        for figure in figures:
            self.assertIn(figure, measured)
