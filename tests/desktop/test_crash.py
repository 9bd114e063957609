"""How the real program dies: by its signal, with a report, and with a dialog that lets its user send it."""

import os
import signal
import unittest
import urllib.parse
from pathlib import Path

from desktop_test_case import END_SECONDS, LOCK_FILE, START_SECONDS, DesktopTestCase, Program, wait_until

SIGNALS = {signal.SIGSEGV: "SIGSEGV (Segmentation fault) (11)", signal.SIGABRT: "SIGABRT (Abort) (6)",
           signal.SIGFPE: "SIGFPE (Floating point exception) (8)", signal.SIGBUS: "SIGBUS (Bus error) (7)",
           signal.SIGILL: "SIGILL (Illegal instruction) (4)", signal.SIGTRAP: "SIGTRAP (fatal GLib error) (5)"}
RECORD = """#!/bin/bash
printf '%s\\0' "$@" >"{directory}/{name}.part" && mv "{directory}/{name}.part" "{directory}/{name}.arguments"
{rest}
"""


class Crash(DesktopTestCase):
    def setUp(self):
        super().setUp()
        self.report = self.desktop.runtime / "Korvalune_crash.txt"
        self.report.unlink(missing_ok=True)
        self.programs = self.desktop.root / "programs"
        self.programs.mkdir(exist_ok=True)
        for name in ("zenity", "xdg-open"):
            (self.programs / f"{name}.arguments").unlink(missing_ok=True)
        self.stand_in("zenity", "echo 'It just happened.'")
        self.stand_in("xdg-open")
        self.environment = {"PATH": f"{self.programs}:{os.environ['PATH']}", "G_DEBUG": None, "LANG": "C.UTF-8"}

    def stand_in(self, name, rest=""):
        path = self.programs / name
        path.write_text(RECORD.format(directory=self.programs, name=name, rest=rest))
        path.chmod(0o755)

    def run_of(self, name):
        """The arguments of a stand-in's next run, waited for: the dialog outlives the program."""
        path = self.programs / f"{name}.arguments"
        wait_until(path.exists, START_SECONDS, name)
        arguments = path.read_bytes().decode().split("\0")[:-1]
        path.unlink()
        return arguments

    def probe(self, way):
        command = [Path(os.environ["CRASH_PROBE"]).resolve(), way]
        program = Program(self.desktop, command, self.environment)
        self.addCleanup(program.end)
        return program

    def test_each_signal_ends_the_program_and_leaves_a_report(self):
        for number, text in SIGNALS.items():
            with self.subTest(number.name):
                program = self.start(self.environment)
                program.item()
                self.assertEqual(program.end(number), -number)
                self.assertIn(f"\nSignal: {text}\n", self.report.read_text())
                self.assertEqual(self.report.stat().st_mode & 0o7777, 0o600)
                self.assertEqual(LOCK_FILE.read_text().strip(), str(program.process.pid))
                self.run_of("xdg-open")

    def test_report_without_a_runtime_directory(self):
        report = Path("/tmp/Korvalune_crash.txt")
        self.addCleanup(report.unlink, missing_ok=True)
        for directory in (None, ""):
            with self.subTest(directory):
                report.unlink(missing_ok=True)
                program = self.start({**self.environment, "XDG_RUNTIME_DIR": directory})
                program.item()
                self.assertEqual(program.end(signal.SIGSEGV), -signal.SIGSEGV)
                self.assertEqual(report.stat().st_mode & 0o7777, 0o600)
                self.assertFalse(self.report.exists())
                self.run_of("xdg-open")

    def test_the_program_starts_again_after_a_crash(self):
        crashed = self.start(self.environment)
        crashed.item()
        crashed.end(signal.SIGSEGV)
        self.run_of("xdg-open")
        wait_until(lambda: not self.desktop.items(), 10, "the end of the item")
        self.start(self.environment).item()

    def test_the_user_sends_what_the_report_says(self):
        program = self.start(self.environment)
        program.item()
        program.end(signal.SIGSEGV)
        dialog = self.run_of("zenity")
        self.assertIn("--title=Korvalune - Can you describe when the error occurred?", dialog)
        self.assertIn("--cancel-label=Don't send", dialog)
        (address,) = self.run_of("xdg-open")
        self.assertTrue(address.startswith("mailto:"))
        fields = urllib.parse.parse_qs(address.partition("?")[2])
        self.assertEqual(fields["body"], [self.report.read_text()])
        self.assertTrue(fields["subject"][0].startswith("Korvalune Crash: SIGSEGV (Segmentation fault) - 20"))
        self.assertTrue(self.report.read_text().endswith("\n\nUser description:\nIt just happened.\n"))

    def test_crashes_in_callbacks_are_reported(self):
        for way, number in (("abort", signal.SIGABRT), ("glib", signal.SIGTRAP), ("stack", signal.SIGSEGV),
                            ("null", signal.SIGSEGV)):
            with self.subTest(way):
                self.report.unlink(missing_ok=True)
                program = self.probe(way)
                self.assertEqual(program.process.wait(END_SECONDS), -number)
                report = self.report.read_text()
                self.assertIn(f"\nSignal: {SIGNALS[number]}\n", report)
                self.run_of("xdg-open")
                self.assertRegex(report, r"crash_probe\(\S*\+0x[0-9a-f]+\)")


if __name__ == "__main__":
    unittest.main()
