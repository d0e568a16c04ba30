"""Android.bp is well-formed and formatted as the platform's tool has it, and builds what CMake builds."""

import os
import re
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FILE = os.path.join(ROOT, "Android.bp")
TYPES = {"cc_binary": "EXECUTABLE", "cc_test": "EXECUTABLE", "cc_library_static": "STATIC_LIBRARY"}
PLATFORM = {"AndroidPlatform::log": "liblog", "AndroidPlatform::utils": "libutils"}


def parse_blueprint(text):
    """Yields the type and the properties of each module. A value is a string, a list of strings or a map of
    values, and nothing else is understood."""
    tokens = re.findall(r'"(?:[^"\\]|\\.)*"|[\w]+|[^\s\w]', re.sub(r"(?m)^\s*//.*$", "", text))
    tokens.reverse()

    def expect(token):
        if tokens.pop() != token:
            raise AssertionError(f"no {token}")

    def string():
        token = tokens.pop()
        if not token.startswith('"'):
            raise AssertionError(f"{token} is no string")
        return re.sub(r"\\(.)", r"\1", token[1:-1])

    def properties():
        expect("{")
        found = {}
        while tokens[-1] != "}":
            name = tokens.pop()
            expect(":")
            found[name] = value()
            expect(",")
        tokens.pop()
        return found

    def value():
        if tokens[-1] == "{":
            return properties()
        if tokens[-1] != "[":
            return string()
        tokens.pop()
        values = []
        while tokens[-1] != "]":
            values.append(string())
            if tokens[-1] != "]":
                expect(",")
        tokens.pop()
        return values

    while tokens:
        yield tokens.pop(), properties()


def module_name(target):
    """What a target is called among all modules of the platform."""
    return target if target.startswith("tarnwick") else "tarnwick_" + target


class AndroidBp(unittest.TestCase):
    def setUp(self):
        with open(FILE) as file:
            self.parsed = list(parse_blueprint(file.read()))
        self.defaults = {p["name"]: p for kind, p in self.parsed if kind == "cc_defaults"}
        self.modules = {p["name"]: (kind, p) for kind, p in self.parsed if kind in TYPES}
        self.licences = [p for kind, p in self.parsed if kind in ("package", "license")]
        self.assertEqual(len(self.defaults) + len(self.modules) + len(self.licences), len(self.parsed))
        self.targets = {}
        with open(os.environ["TARGETS"]) as lines:
            for line in lines:
                target, kind, folder, *lists = line.rstrip("\n").split("|")
                sources, links, definitions = ([x for x in text.split(";") if x] for text in lists)
                self.targets[target] = kind, folder, sources, links, definitions

    def all_of(self, module, name):
        """A list with what the module's defaults add to it."""
        _, properties = self.modules[module]
        found, to_do = [], [properties]
        while to_do:
            of = to_do.pop()
            found += of.get(name, [])
            to_do += [self.defaults[d] for d in of.get("defaults", [])]
        return sorted(found)

    def linked(self, target):
        """All that a target links to, directly and through others."""
        found, to_do = set(), [target]
        while to_do:
            for link in self.targets[to_do.pop()][3]:
                if link not in found:
                    found.add(link)
                    if link in self.targets:
                        to_do.append(link)
        return found

    def test_is_well_formed_and_formatted(self):
        result = subprocess.run(["bpfmt", "-d", FILE], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_format_check_finds_what_is_wrong(self):
        for text, status, output in ("cc_test {\n", 2, ""), ('cc_test {name: "a"}\n', 0, "-cc_test"):
            with tempfile.NamedTemporaryFile("w", suffix=".bp") as file:
                file.write(text)
                file.flush()
                result = subprocess.run(["bpfmt", "-d", file.name], capture_output=True, text=True)
            self.assertEqual(result.returncode, status, text)
            self.assertIn(output, result.stdout, text)

    def test_all_modules_have_the_licence_of_the_tree(self):
        package, licence = self.licences
        self.assertEqual(package["default_applicable_licenses"], [licence["name"]])
        self.assertEqual(licence["license_kinds"], ["SPDX-license-identifier-Apache-2.0"])
        [text] = licence["license_text"]
        with open(os.path.join(ROOT, text)) as file:
            self.assertRegex(file.read(), r"^\s+Apache License\n\s+Version 2\.0,")

    def test_branches_are_protected_on_arm64(self):
        self.assertEqual(self.defaults["tarnwick_defaults"]["arch"],
                         {"arm64": {"cflags": ["-mbranch-protection=standard"]}})
        for module in self.modules:
            self.assertEqual(self.all_of(module, "arch"), ["arm64"], module)

    def test_has_the_targets(self):
        self.assertIn("tarnwick", self.targets)
        self.assertEqual(sorted(self.modules), sorted(map(module_name, self.targets)))
        for target, (kind, folder, *_) in self.targets.items():
            module = self.modules[module_name(target)][0]
            self.assertEqual(TYPES[module], kind, target)
            self.assertEqual(module == "cc_test", os.path.relpath(folder, ROOT).startswith("tests/"), target)

    def test_sources_are_the_targets_sources(self):
        for target, (_, folder, sources, *_) in self.targets.items():
            with self.subTest(target):
                paths = [os.path.relpath(os.path.join(folder, source), ROOT) for source in sources]
                self.assertTrue(paths)
                self.assertEqual(self.all_of(module_name(target), "srcs"), sorted(paths))

    def test_programs_link_to_what_the_targets_link_to(self):
        for target, (kind, *_) in self.targets.items():
            if kind == "EXECUTABLE":
                with self.subTest(target):
                    links = self.linked(target)
                    self.assertEqual(self.all_of(module_name(target), "static_libs"),
                                     sorted(module_name(x) for x in links if x in self.targets))
                    shared = {PLATFORM[x] for x in links if x in PLATFORM}
                    self.assertLessEqual(shared, set(self.all_of(module_name(target), "shared_libs")))
        self.assertEqual(self.all_of("tarnwick", "shared_libs"), ["liblog", "libutils"])

    def test_definitions_are_the_targets_definitions(self):
        def names(definitions):
            return sorted(d.split("=")[0] for d in definitions)

        for target, (*_, definitions) in self.targets.items():
            with self.subTest(target):
                flags = self.all_of(module_name(target), "cflags")
                self.assertEqual(names(f[2:] for f in flags if f.startswith("-D")), names(definitions))
