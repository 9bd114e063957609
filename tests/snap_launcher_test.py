#!/usr/bin/env python3
"""The snap's launcher brings the program back when it asks for that, and only then.

    tests/snap_launcher_test.py
"""

import os
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

LAUNCHER = Path(__file__).resolve().parents[1] / "snap/local/launcher"
PATIENCE = 20  # seconds

# Stands in for the program: each start takes the first line of a plan away and does what it says.
PROGRAM = """\
#!/bin/bash
cd "$SNAP"
echo "$$ $*" >>starts
step=$(head -n 1 plan)
sed -i 1d plan
eval "$step"
"""


class Launcher(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.snap = Path(directory.name)
        program = self.snap / "usr/bin/Korvalune"
        program.parent.mkdir(parents=True)
        program.write_text(PROGRAM)
        program.chmod(0o755)

    def launch(self, *steps, arguments=()):
        """The launcher, with what the program does at one start after the other."""
        (self.snap / "plan").write_text("".join(f"{step}\n" for step in steps))
        variables = {**os.environ, "SNAP": str(self.snap), "XDG_RUNTIME_DIR": str(self.snap / "user/snap.korvalune")}
        process = subprocess.Popen([LAUNCHER, *arguments], env=variables, stdin=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def starts(self):
        """What the program was started with, each time: its process and its arguments."""
        path = self.snap / "starts"
        lines = path.read_text().splitlines() if path.exists() else []
        return [(int(pid), words) for pid, _, words in (line.partition(" ") for line in lines)]

    def check(self, steps, status, starts):
        self.assertEqual(self.launch(*steps).wait(PATIENCE), status)
        self.assertEqual(len(self.starts()), starts)

    def test_an_ordinary_end_is_the_end(self):
        self.check(["exit 0", "exit 0"], 0, 1)

    def test_status_1_brings_it_back(self):
        self.check(["exit 1", "exit 1", "exit 0"], 0, 3)

    def test_any_other_status_is_handed_on(self):
        self.check(["exit 3", "exit 0"], 3, 1)

    def test_a_crash_is_handed_on(self):
        self.check(["kill -SEGV $$", "exit 0"], 128 + signal.SIGSEGV, 1)

    def test_a_program_that_can_not_start_is_given_up(self):
        self.check(["exit 1"] * 10, 1, 3)

    def test_a_program_that_is_missing_is_given_up_at_once(self):
        (self.snap / "usr/bin/Korvalune").unlink()
        self.check([], 127, 0)

    def test_only_short_runs_in_a_row_count(self):
        self.check(["exit 1", "exit 1", "sleep 3.1; exit 1", "exit 1", "exit 1", "exit 0"], 0, 6)

    def test_arguments_reach_every_start(self):
        self.launch("exit 1", "exit 0", arguments=("--display", ":7")).wait(PATIENCE)
        self.assertEqual([words for _, words in self.starts()], ["--display :7"] * 2)

    def test_the_runtime_directory_is_made_private(self):
        (self.snap / "user").mkdir()
        self.launch("exit 0").wait(PATIENCE)
        self.assertEqual((self.snap / "user/snap.korvalune").stat().st_mode & 0o777, 0o700)

    def test_a_signal_ends_the_program_and_what_it_answers_counts(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            for status in (0, 1):  # even 1 brings nothing back now
                with self.subTest(number, status=status):
                    (self.snap / "starts").unlink(missing_ok=True)
                    ready = self.snap / f"ready-{number}-{status}"
                    process = self.launch(f"trap 'sleep 0.3; exit {status}' TERM; touch {ready}; "
                                          "while true; do sleep 0.1; done", "exit 0")
                    deadline = time.monotonic() + PATIENCE
                    while not ready.exists() and time.monotonic() < deadline:
                        time.sleep(0.01)
                    process.send_signal(number)
                    self.assertEqual(process.wait(PATIENCE), status)
                    [(pid, _)] = self.starts()
                    self.assertFalse(Path(f"/proc/{pid}").exists())


if __name__ == "__main__":
    unittest.main()
