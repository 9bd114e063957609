"""An nvidia-smi that misbehaves in every way while the program runs: the figure goes and comes back, the rest
of the strip goes on."""

import os
import time
import unittest
from pathlib import Path

from desktop_test_case import REFRESH_SECONDS
from popup_test_case import PopupTestCase

LIMIT_SECONDS = 2  # for which one answer is waited for
LOAD = 45  # percent

STAND_IN = """#!/bin/bash
cd '{directory}'
case "$*" in
    *query-gpu=name*) echo "Example 4000" ;;
    *query-gpu=utilization*) . ./mood ;;
esac
"""
WELL = f"echo '{LOAD}, 12, 3'"

# What it does instead of answering, once for every question.
MOODS = {
    "fails": "echo 'Unable to talk to the driver'; exit 9",
    "is killed": "kill -KILL $$",
    "has no figure": "echo '[N/A], [N/A], [N/A]'",
    "supports nothing": "echo '[Not Supported], [Not Supported], [Not Supported]'",
    "prints garbage": "echo ',,%;-,'; echo '45, 12, 3'",
    "prints a number beyond all measure": "echo '99999999999999999999, 1, 1'",
    "prints megabytes without a line's end": "head -c 8000000 /dev/zero | tr '\\\\0' x",
    "prints nothing": ":",
    "prints binary bytes": "head -c 100000 /dev/urandom | tr '[:digit:]' x",
    "closes its output and stays a while": "exec >&-; sleep 1",
    "leaves somebody behind who keeps its output open": "sleep 30 & echo 'x'",
}


class NvidiaFaults(PopupTestCase):
    def setUp(self):
        super().setUp()
        self.programs = self.desktop.root / "programs"
        self.programs.mkdir(exist_ok=True)
        self.nvidia_smi = self.programs / "nvidia-smi"
        self.put_in_place()
        self.is_in(WELL)

    def put_in_place(self):
        self.nvidia_smi.write_text(STAND_IN.format(directory=self.programs))
        self.nvidia_smi.chmod(0o755)

    def is_in(self, mood):
        """How the stand-in answers from now on."""
        part = self.programs / "mood.part"
        part.write_text(mood + "\n")
        part.rename(self.programs / "mood")

    def open_gpu_page(self):
        self.popup = self.open_page("GPU", environment={"PATH": f"{self.programs}:{os.environ['PATH']}"})
        self.wait_for_load(LOAD)
        # Should the machine have held it up, it runs between two refreshes until it is trusted again.
        self.program.wait_for(lambda: not self.held()[1], "an nvidia-smi that is waited for", 30)
        self.before = self.held()

    def wait_for_load(self, percent, seconds=2 * REFRESH_SECONDS + LIMIT_SECONDS):
        self.program.wait_for(lambda: self.load() == f"{percent}%", f"{percent} %", seconds)

    def load(self):
        """The first figure of the page, which is the graphics card's load."""
        return next((text for text in self.popup.labels() if text.endswith("%")), None)

    def asks_again(self):
        """Opening the page asks at once."""
        self.choose(self.program, "GPU")

    def held(self):
        """Open files and children, running or not yet waited for."""
        proc = Path(f"/proc/{self.program.process.pid}")
        children = (proc / f"task/{self.program.process.pid}/children").read_text()
        return len(list((proc / "fd").iterdir())), children

    def check_nothing_is_left(self):
        # One that was late is not trusted at first.
        self.program.wait_for(lambda: self.held() == self.before, f"no more than {self.before}", 20)

    def test_a_figure_that_does_not_come_is_zero_until_it_comes_again(self):
        self.open_gpu_page()
        for case, mood in MOODS.items():
            with self.subTest(case):
                self.is_in(mood)
                self.asks_again()
                self.wait_for_load(0)
                self.is_in(WELL)
                self.asks_again()
                self.wait_for_load(LOAD)
        self.check_nothing_is_left()

    def test_one_that_vanishes_and_returns(self):
        self.open_gpu_page()
        for gone in (self.nvidia_smi.unlink, lambda: self.nvidia_smi.chmod(0o644),
                     lambda: self.nvidia_smi.write_text("#!/nonexistent/shell\n")):
            gone()
            self.asks_again()
            self.wait_for_load(0)
            self.put_in_place()
            self.asks_again()
            self.wait_for_load(LOAD)
        self.check_nothing_is_left()

    def test_one_that_hangs_holds_the_strip_up_once(self):
        self.open_gpu_page()
        hung = time.monotonic()
        self.is_in(f"sleep 10; {WELL}")
        self.asks_again()  # waits too, should a refresh have met the hang first
        self.program.next_image()
        images = 0
        while time.monotonic() - hung < 10:
            self.program.next_image()
            images += 1
            if time.monotonic() - hung < 9:
                self.assertEqual(self.load(), "0%")
        # Ten seconds have room for five; at most two of them are spent waiting.
        self.assertGreaterEqual(images, 3)
        self.is_in(WELL)
        self.wait_for_load(LOAD, 20)
        self.check_nothing_is_left()


if __name__ == "__main__":
    unittest.main()
