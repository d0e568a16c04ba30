"""Prints how much the tests reach of everything but the tests, the benches and the program's entry, then each line that
they do not reach. Fails below 95 % of lines or 85 % of branches."""

import json
import subprocess
import sys

REPORT = "build/coverage/coverage.json"

# Left out are the branches that the compiler makes of its own: to clean up after an exception, and where none can be
# taken.
status = subprocess.run([
    "gcovr", "--root", ".", "--exclude-directories", ".*/CompilerIdCXX", "--exclude", "tests/", "--exclude", "cli/main.cpp",
    "--exclude-throw-branches", "--exclude-unreachable-branches", "--json", REPORT, "--print-summary",
    "--fail-under-line", "95", "--fail-under-branch", "85", "build/coverage"]).returncode
with open(REPORT) as file:
    report = json.load(file)
for file in report["files"]:
    with open(file["file"]) as source:
        text = source.read().splitlines()
    for line in file["lines"]:
        if line["count"] == 0 and not line["gcovr/noncode"]:
            number = line["line_number"]
            print(f"{file['file']}:{number}: not reached: {text[number - 1].strip()}")
sys.exit(status)
