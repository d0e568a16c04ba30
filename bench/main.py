"""Measures the rows that are named, or all, and prints a table. See README.md."""

import argparse
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TESTS = os.path.join(os.path.dirname(HERE), "tests")
sys.path[:0] = [HERE, os.path.join(TESTS, "support"), os.path.join(TESTS, "device")]

import growth  # noqa: E402
import rows  # noqa: E402


def main():
    parser = argparse.ArgumentParser(prog="bench/run")
    parser.add_argument("--list", action="store_true", help="names the rows")
    parser.add_argument("--short", action="store_true",
                        help="few rounds of small loads: shows that the benches work, measures little")
    parser.add_argument("--functions", action="store_true",
                        help="says where the instructions of the callgrind rows go")
    parser.add_argument("--growth", action="store_true",
                        help="measures in place of the rows how cost grows with size, and writes "
                             "docs/performance.md")
    parser.add_argument("--beside", metavar="FOLDER",
                        help="measures another build of the program and the benches, too, and compares them")
    parser.add_argument("row", nargs="*", help="a row, or the beginning of its name")
    arguments = parser.parse_args()
    chosen = rows.chosen(arguments.row)
    if not chosen:
        parser.error("no such row; --list names them")
    if arguments.list:
        for row in chosen:
            print(f"{row.name:28}{row.title}")
        return
    if arguments.beside and not os.path.exists(os.path.join(arguments.beside, "bench", "function_benches")):
        parser.error(f"no program with its benches in {arguments.beside}; bench/README.md says how to build them")
    if arguments.growth:
        growth.draw(short=arguments.short)
        return
    beside = arguments.beside and os.path.abspath(arguments.beside)
    rows.measure(chosen, short=arguments.short, functions=arguments.functions, beside=beside)


main()
