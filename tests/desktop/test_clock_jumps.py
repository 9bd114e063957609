"""Clocks that jump while the program runs: after a suspend, on a stopped virtual machine, when somebody sets them."""

import os
import sys
import time
import unittest
from pathlib import Path

from desktop_test_case import Picture, Program, settings_text
from test_process_page import ProcessPageCase

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "faults"))

from fast_clock import FastClock  # noqa: E402
from living_machine import PROCESSES, LivingMachine  # noqa: E402

HOUR = 3600
IMPOSSIBLE_PID = 5_000_000  # nobody's
SPEED = 1.5 * 1024 * 1024  # bytes per second: far from "0.9M" and from "2.0M"
BUSY = [process for process in PROCESSES if process[3] > 5]
LOADS = {name: percent for _, name, _, percent, _ in BUSY}
UNEVEN = 1.6  # how far a figure may be off because the machine's counters are written only so often
CELL = 9  # pixels that a letter of the strip takes in this panel

# What each clock does, in seconds.
JUMPS = {
    "asleep": {"wall": 6 * HOUR, "boottime": 6 * HOUR},
    "set forward": {"wall": 9 * HOUR},
    "set back": {"wall": -40 * HOUR},  # the others do not make up for it
    "stopped with its machine": {"wall": 6 * HOUR, "boottime": 6 * HOUR, "monotonic": 6 * HOUR},
}


def letter(picture, place):
    """One letter of the strip, counted from its end."""
    return picture.crop(picture.width - CELL * (place + 1), 0, CELL, picture.height).rows


def magnitude(picture):
    """What of "1.5M" and "1.5M" says how large the two speeds are: all but the digits behind the points."""
    return [letter(picture, place) for place in (0, 2, 3, 7, 9, 10)]


class ClockJumps(ProcessPageCase):
    def setUp(self):
        super().setUp()
        self.clock = FastClock(os.environ["FAST_CLOCK_LIBRARY"], self.desktop.root / "clock")
        self.stood_still = 0  # seconds for which the machine has done nothing in all
        self.stopped_at = None
        self.machine = LivingMachine(self.desktop.root / "machine", cores=4, gpus=0, processes=BUSY,
                                     first_pid=IMPOSSIBLE_PID, clock=self.machine_time)
        self.machine.traffic = {"wlan0": (SPEED, SPEED)}
        self.enterContext(self.machine)

    def machine_time(self):
        running = time.monotonic() - self.stood_still
        return running if self.stopped_at is None else self.stopped_at

    def start(self, environment=None, settings=None, machine=None):
        command = self.clock.command(os.environ["KORVALUNE_ON_BINARY"], self.machine.root)
        self.settings_file.parent.mkdir(exist_ok=True)
        self.settings_file.write_text(settings_text("networkSpeed"))
        program = Program(self.desktop, command, {"G_DEBUG": "fatal-warnings"})
        self.addCleanup(self.check_output, program)
        self.addCleanup(program.end)
        return program

    def strips(self, count):
        """The pictures of the next refreshes."""
        return [Picture.load(self.program.next_image()) for _ in range(count)]

    def wait_strip(self, condition, what):
        self.program.wait_for(lambda: condition(magnitude(self.strips(1)[0])), what, 15)

    def settled_magnitude(self):
        """That of the first two strips in a row that agree: the speeds glide to where they belong."""
        found = [magnitude(strip) for strip in self.strips(2)]
        while found[-1] != found[-2]:
            found.append(magnitude(self.strips(1)[0]))
        return found[-1]

    def stop_machine(self):
        self.stopped_at = self.machine_time()

    def resume_machine(self):
        self.stood_still = time.monotonic() - self.stopped_at
        self.stopped_at = None

    def loads(self, popup):
        return {row.name: row.cpu for row in self.rows(popup) if row.name in LOADS}

    def check_loads(self, popup, may_pause=False):
        for name, load in self.loads(popup).items():
            self.assertLess(load, LOADS[name] * UNEVEN, name)
            self.assertGreater(load, -1 if may_pause else LOADS[name] / UNEVEN, name)

    def shows_all_loads(self, popup):
        loads = self.loads(popup)
        return loads.keys() == LOADS.keys() and all(loads[name] > LOADS[name] / UNEVEN for name in LOADS)

    def test_figures_stay_true_and_go_on(self):
        popup = self.open_page("All Processes")
        self.program.wait_for(lambda: self.shows_all_loads(popup), "every process's load", 15)
        usual = self.settled_magnitude()
        self.assertEqual(usual[:3], usual[3:], "both speeds are the same")
        for name, jump in JUMPS.items():
            with self.subTest(name):
                self.clock.jump(**jump)
                for _ in range(3):  # and one sample of the processes at least
                    self.assertEqual(magnitude(self.strips(1)[0]), usual)
                    # Hours of which the counters know nothing make every process look idle.
                    self.check_loads(popup, may_pause="monotonic" in jump)
        self.program.wait_for(lambda: self.shows_all_loads(popup), "every process's load again", 15)
        self.check_loads(popup)
        self.stop_machine()
        self.wait_strip(lambda shown: shown != usual, "less traffic")
        self.resume_machine()
        self.wait_strip(lambda shown: shown == usual, "the traffic again")
        self.desktop.press("Escape")
        popup.wait_hidden()


if __name__ == "__main__":
    unittest.main()
