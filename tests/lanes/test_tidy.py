"""Which sources clang-tidy gets together."""

import os
import tempfile
import unittest
from unittest import mock

import tidy

TESTS = os.path.join(tidy.UNIT_TESTS, "trace")
COMMAND = ("clang++", "-Wall")


def source(name, text="", folder=TESTS, command=COMMAND):
    return os.path.join(folder, name), command, text


def names(groups):
    return [[os.path.basename(path) for path in group] for group in groups]


class Grouped(unittest.TestCase):
    def test_unit_tests_of_a_folder_get_together(self):
        self.assertEqual(names(tidy.grouped([source("a"), source("b"), source("c")])), [["a", "b", "c"]])

    def test_those_that_declare_the_same_name_do_not(self):
        text = "namespace tarnwick {\n\nconstexpr int64_t kMax = 5;\n\n}\n"
        self.assertEqual(names(tidy.grouped([source("a", text), source("b", text), source("c")])), [["a", "c"], ["b"]])

    def test_those_of_different_folders_or_commands_do_not(self):
        groups = tidy.grouped([source("a"), source("b", folder=TESTS + "/below"), source("c", command=("g++",))])
        self.assertEqual(names(groups), [["a"], ["b"], ["c"]])

    def test_the_programs_own_sources_stay_alone(self):
        folder = os.path.join(tidy.ROOT, "trace")
        self.assertEqual(names(tidy.grouped([source("a", folder=folder), source("b", folder=folder)])), [["a"], ["b"]])

    def test_a_group_is_no_larger_than_the_limit(self):
        groups = tidy.grouped(source(str(number)) for number in range(tidy.MAX_GROUP + 1))
        self.assertEqual([len(group) for group in groups], [tidy.MAX_GROUP, 1])


class Check(unittest.TestCase):
    def check(self, script):
        """What a clang-tidy that runs this script finds."""
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "clang-tidy")
            with open(path, "w") as tool:
                tool.write(f"#!/bin/sh\n{script}\n")
            os.chmod(path, 0o755)
            with mock.patch.dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}"):
                return tidy.check("a.cpp")

    def test_a_clean_file_has_no_findings(self):
        self.assertEqual(self.check("echo 5 warnings generated"), "")

    def test_findings_are_those_that_clang_tidy_prints(self):
        self.assertEqual(self.check("echo finding; exit 1"), "finding\n")

    def test_a_crash_without_output_is_a_finding(self):
        self.assertEqual(self.check("kill -KILL $$"), "a.cpp: clang-tidy ended with status -9\n")


class Names(unittest.TestCase):
    def test_all_kinds_of_declarations_have_names(self):
        text = """\
#include "trace/sched_event.h"
#define TWICE(x) x x
using Reading = std::map<int, int>;
constexpr std::string_view kTexts[] = {
enum class Kind : uint8_t {
struct Row {
class Sink final : public ReportSink {
std::optional<SchedEvent> eventOf(const char* line) {
  int local = 1;
TEST(SchedEvent, ReadsALine) {
"""
        self.assertEqual(tidy.declared(text), {"TWICE", "Reading", "kTexts", "Kind", "Row", "Sink", "eventOf"})

    def test_includes_are_those_of_the_tree(self):
        self.assertEqual(tidy.includes('#include <map>\n#include "trace/a.h"\n'), {"trace/a.h"})

    def test_commands_of_one_target_differ_in_their_files_alone(self):
        def entry(name):
            return {"file": f"/t/{name}.cpp",
                    "command": f"clang++ -I/t -Wall -MD -MT {name}.o -MF {name}.d -o {name}.o -c /t/{name}.cpp"}
        self.assertEqual(tidy.shared_command(entry("a")), ("clang++", "-I/t", "-Wall", "-MD"))
        self.assertEqual(tidy.shared_command(entry("a")), tidy.shared_command(entry("b")))


if __name__ == "__main__":
    unittest.main()
