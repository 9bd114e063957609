#!/usr/bin/env python3
"""An optimised program is built to withstand faults in memory.

    KORVALUNE_BINARY=build/release/Korvalune KORVALUNE_LIBRARY=build/release/libkorvalune.a tests/hardening_test.py
"""

import os
import platform
import re
import subprocess
import unittest

PROGRAM = os.environ["KORVALUNE_BINARY"]
LIBRARY = os.environ["KORVALUNE_LIBRARY"]
X86 = platform.machine() in ("x86_64", "i386", "i686")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout


class Hardening(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.headers = output_of("readelf", "--file-header", "--program-headers", "--wide", PROGRAM)
        cls.dynamic = output_of("readelf", "--dynamic", "--wide", PROGRAM)
        symbols = output_of("readelf", "--dyn-syms", "--wide", PROGRAM)
        # What the program takes from its libraries, without the versions.
        cls.imported = set(re.findall(r" UND (\w+)", symbols))

    def flags_of_segments(self, kind):
        """As readelf writes them: "R E", "RW "; one for each segment of a kind."""
        return re.findall(rf"^  {kind} .* ([R ][W ][E ]) 0x[0-9a-f]+$", self.headers, re.MULTILINE)

    def test_it_is_loaded_where_nobody_knows(self):
        self.assertRegex(self.headers, r"Type: +DYN")
        self.assertRegex(self.dynamic, r"\(FLAGS_1\) .*\bPIE\b")
        self.assertNotIn("TEXTREL", self.dynamic)

    def test_no_memory_is_written_and_executed(self):
        loaded = self.flags_of_segments("LOAD")
        self.assertIn("R E", loaded)
        self.assertEqual([flags for flags in loaded if "W" in flags and "E" in flags], [])
        self.assertEqual(self.flags_of_segments("GNU_STACK"), ["RW "])

    def test_constants_are_not_in_executed_memory(self):
        self.assertEqual(self.flags_of_segments("LOAD")[0], "R  ")
        self.assertEqual(self.flags_of_segments("LOAD").count("R E"), 1)

    def test_addresses_of_functions_are_settled_at_the_start(self):
        self.assertEqual(self.flags_of_segments("GNU_RELRO"), ["R  "])
        self.assertRegex(self.dynamic, r"\(FLAGS\) .*\bBIND_NOW\b")

    def test_libraries_come_from_the_system(self):
        self.assertNotRegex(self.dynamic, r"\((RPATH|RUNPATH)\)")

    def test_stack_frames_are_guarded(self):
        self.assertIn("__stack_chk_fail", self.imported)

    def test_functions_of_the_c_library_check_sizes(self):
        # Which of them are replaced is up to the compiler.
        self.assertTrue([name for name in self.imported if re.fullmatch(r"__v?snprintf_chk", name)])

    def test_functions_of_the_standard_library_check_arguments(self):
        self.assertTrue([name for name in self.imported if "__glibcxx_assert_fail" in name])

    def test_it_says_which_build_it_is(self):
        self.assertIn("Build ID:", output_of("readelf", "--notes", PROGRAM))


@unittest.skipUnless(X86, "of x86 processors")
class HardeningOfX86(unittest.TestCase):
    def test_large_frames_touch_every_page(self):
        code = output_of("objdump", "--disassemble", "--no-show-raw-insn", LIBRARY)
        by_gcc = re.search(r"\bor[ql] +\$0x0,(0x[0-9a-f]+)?\(%[re]sp\)", code)
        by_clang = re.search(r"\bsub[ql]? +\$0x1000,%[re]sp\n.*\bmov[ql] +\$0x0,\(%[re]sp\)", code)
        self.assertTrue(by_gcc or by_clang)

    def test_jumps_and_returns_can_be_checked(self):
        """Asked of our own objects: the start-up code linked to them may not have been built for it."""
        notes = output_of("readelf", "--notes", "--wide", LIBRARY)
        objects = re.findall(r"^File: .*\((.*)\)$", notes, re.MULTILINE)
        self.assertGreater(len(objects), 1)
        self.assertEqual(len(re.findall(r"x86 feature: IBT, SHSTK", notes)), len(objects))


if __name__ == "__main__":
    unittest.main()
