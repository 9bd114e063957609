#!/usr/bin/env python3
"""Whether the table of faults in docs/robustness.md is whole, and every test that it names exists."""

import re
import unittest
from pathlib import Path

TESTS = Path(__file__).resolve().parent
TABLE = TESTS.parent / "docs/robustness.md"
FUZZ_TARGET = re.compile(r"^FUZZ_TARGET\((\w+)\)", re.MULTILINE)
CASE = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
METHOD = re.compile(r"^    def (test_\w+)\(", re.MULTILINE)


def existing_tests():
    """The names as the table writes them."""
    names = set()
    for source in TESTS.glob("*/*.cpp"):
        names.update(".".join(case) for case in CASE.findall(source.read_text()))
    for script in TESTS.glob("desktop/test_*.py"):
        names.add(f"desktop.{script.stem}")
        names.update(f"desktop.{script.stem}: {method}" for method in METHOD.findall(script.read_text()))
    for source in TESTS.parent.glob("fuzz/*_targets.cpp"):
        names.update(f"fuzz: {target}" for target in FUZZ_TARGET.findall(source.read_text()))
    for script in TESTS.glob("*_test.py"):
        names.add(script.stem)
        names.update(f"{script.stem}: {method}" for method in METHOD.findall(script.read_text()))
    return names


def rows():
    """The cells of each row of the tables of faults."""
    found = []
    for table in re.findall(r"^\| fault .*\n\|[-|]+\|\n((?:\|.*\n)+)", TABLE.read_text(), re.MULTILINE):
        for line in table.splitlines():
            found.append([cell.strip() for cell in line.split("|")[1:-1]])
    return found


class RobustnessTable(unittest.TestCase):
    def test_every_row_says_what_happens_and_names_its_tests(self):
        self.assertTrue(rows())
        for row in rows():
            with self.subTest(row=row):
                self.assertEqual(len(row), 3)
                self.assertTrue(all(row))
                self.assertRegex(row[2], r"^`[^`]+`(, `[^`]+`)*$")

    def test_every_named_test_exists(self):
        existing = existing_tests()
        missing = {name for row in rows() for name in re.findall(r"`([^`]+)`", row[2])} - existing
        self.assertEqual(missing, set())

    def test_no_fault_stands_twice(self):
        faults = [row[0] for row in rows()]
        self.assertEqual([fault for fault in faults if faults.count(fault) > 1], [])


if __name__ == "__main__":
    unittest.main()
