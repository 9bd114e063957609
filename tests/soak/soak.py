#!/usr/bin/python3
"""The program for a month, with the panel that shows it and a user who opens its popup again and again.

    tests/soak/soak.py build/release

runs it on a made-up machine until it has drawn its strip as often as in thirty days, under a clock that runs
fast while the program waits. What it, the panel and the services between them hold is measured after the first
hour and at the end of each further part, into a table. Ends with status 1 when a figure has grown by more than
its tolerance.
"""

import argparse
import csv
import re
import sys
import time
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "faults"), str(TESTS / "desktop"), str(TESTS.parent / "scripts")]

from desktop_test_case import Program  # noqa: E402
from fast_clock import FastClock  # noqa: E402
from gi.repository import Gio, GLib  # noqa: E402
from holdings import Holdings  # noqa: E402
from living_machine import LivingMachine  # noqa: E402
from status_item import ITEM  # noqa: E402
from tour import Places, Tour  # noqa: E402
from virtual_desktop import VirtualDesktop, wait_until  # noqa: E402

REFRESH_SECONDS = 2
HOUR = 3600 // REFRESH_SECONDS  # in refreshes, as every stretch of time here
MONTH = 30 * 24 * HOUR
FIRST_TOURS = 3  # within the first hour, so that every page has been made and used when it ends
IMPOSSIBLE_PID = 5_000_000  # beyond the kernel's greatest: whatever is clicked, nobody gets a signal
QUIET_SECONDS = 1.5  # at natural speed, before figures are taken
GREATEST_LAG = 0.25  # seconds that the panel's service may be behind
LEAST_FACTOR = 20


class Soak:
    def __init__(self, desktop, clock, program, tour, greatest_factor):
        self._desktop = desktop
        self._clock = clock
        self._program = program
        self._tour = tour
        self._greatest_factor = greatest_factor
        self._pace = greatest_factor
        self._started = time.monotonic()
        self.refreshes = 0  # new icons that the program announced
        self.shown = 0  # times that the panel's service had the panel load an icon: also for a new title
        self._count(program.item().name, ITEM, "NewIcon", "refreshes")
        self._count(None, None, "ApplicationIconChanged", "shown")

    def _count(self, sender, interface, member, counter):
        def count(*_):
            setattr(self, counter, getattr(self, counter) + 1)

        self._desktop.bus.signal_subscribe(sender, interface, member, None, None, Gio.DBusSignalFlags.NONE, count)

    def run_to(self, refreshes):
        """Lets the program idle until it has drawn its strip so often, as fast as the panel can follow."""
        context = GLib.MainContext.default()
        next_look = 0
        while self._refreshed() < refreshes:
            if time.monotonic() > next_look:
                self._keep_pace()
                next_look = time.monotonic() + 1
            context.iteration(True)
        self._clock.factor = 1

    def _refreshed(self):
        context = GLib.MainContext.default()
        while context.iteration(False):
            pass
        if not self._program.running():
            raise AssertionError(f"ended with {self._program.process.returncode}: {self._program.output()}")
        return self.refreshes

    def _keep_pace(self):
        """The panel's service answers in turn: how long it takes tells how many icons are waiting for it."""
        before = time.monotonic()
        self._desktop.items()
        behind = time.monotonic() - before > GREATEST_LAG
        self._pace = max(LEAST_FACTOR, self._pace / 2) if behind else min(self._greatest_factor, self._pace * 1.1)
        self._clock.factor = self._pace

    def measure(self, holdings):
        """The figures when all that was waiting has been done and the panel shows the newest strip."""
        self._clock.factor = 1
        time.sleep(QUIET_SECONDS)
        wait_until(self._desktop.strip_shows, 20, "the strip in the panel", interval=0.2)
        figures = holdings.now()
        self._refreshed()
        return {"refreshes": self.refreshes, "shown": self.shown, "openings": self._tour.openings,
                "clicks": self._tour.clicks, "program hours": round(self._clock.skipped() / 3600, 2),
                "minutes": round((time.monotonic() - self._started) / 60, 2), "pace": round(self._pace), **figures}


class Table:
    """One line for each measurement, on disk at once."""

    def __init__(self, path):
        self._path = path
        self.lines = []

    def add(self, figures):
        self.lines.append(figures)
        with open(self._path, "a" if len(self.lines) > 1 else "w", newline="") as file:
            writer = csv.DictWriter(file, figures.keys())
            if len(self.lines) == 1:
                writer.writeheader()
            writer.writerow(figures)


# ---- judging ----

KIB = 1024

# By how much each figure may differ from that after the first hour; the first pattern that fits counts.
# - heap: as much as the strip's drawn texts are kept, and what the toolkit keeps of each showing of any window.
# - The toolkit shares up to two images of the popup with the X server. They count as the program's own memory while
#   the server does not look at them.
# - The indicator plugin of Xfce (2.4.1) loses two list nodes whenever it lays itself out, for any indicator.
# - The indicator service loses a hundred bytes with each question for its items, of which the pace asks one a second.
# - cairo keeps a picture for each opacity that a page has faded through, 256 at most, and a set of letters for each
#   font and size.
# - Threads of the toolkit's pool and its accessibility bus's connections come and go.
# - Everything else comes in numbers that stay as they are.
TOLERANCES = (
    (r"heap", lambda since: 512 * KIB + 600 * since["openings"]),
    (r"(resident|private) kib", lambda since: 4096),
    (r"plugin (resident|private) kib", lambda since: 2048 + 64 * since["shown"] // KIB),
    (r"\w+ (resident|private) kib", lambda since: 2048),
    (r"x pictures", lambda since: 256),
    (r"(plugin )?x pixmap kib", lambda since: 512),
    (r"(plugin )?x (windows|pixmaps|gcs)", lambda since: 2),
    (r"(plugin )?x others", lambda since: 16),
    (r"threads|bus connections", lambda since: 1),
    (r"all match rules", lambda since: 4),
    (r".*", lambda since: 0),
)


def tolerance(name, since):
    """`since`: what has happened since the first hour."""
    return next(amount(since) for pattern, amount in TOLERANCES if re.fullmatch(pattern, name))


def judge(first, last):
    """Prints both measurements and says whether the later one keeps to the earlier."""
    kept = True
    since = {name: last[name] - first[name] for name in ("shown", "openings")}
    print(f"{'':<24}{'first hour':>12}{'end':>12}{'change':>12}{'tolerance':>12}")
    for name in list(first)[list(first).index("heap"):]:
        change = last[name] - first[name]
        good = change <= tolerance(name, since)
        kept &= good
        print(f"{name:<24}{first[name]:>12}{last[name]:>12}{change:>12}{tolerance(name, since):>12}  "
              f"{'ok' if good else 'GROWN'}")
    return kept


def judge_table(path):
    with open(path, newline="") as file:
        lines = [{name: float(value) if "." in value else int(value) for name, value in line.items()}
                 for line in csv.DictReader(file)]
    return judge(lines[0], lines[-1])


# ---- the run ----


def first_hour(run, tour):
    for number in range(FIRST_TOURS):
        run.run_to(HOUR * number // FIRST_TOURS)
        tour.go()
    run.run_to(HOUR)


def soak(desktop, arguments):
    build = arguments.build.resolve()
    clock = FastClock(build / "tests/libfast_clock.so", desktop.root / "clock")
    command = [build / "tests/Korvalune_on", desktop.root / "machine"]
    table = Table(arguments.table or build / "soak.csv")
    with LivingMachine(command[1], first_pid=IMPOSSIBLE_PID, clock=lambda: time.monotonic() + clock.skipped()):
        places = Places(desktop, command)
        program = Program(desktop, clock.command(*command), {})
        wait_until(desktop.strip_shows, 20, "the strip in the panel", interval=0.25)
        tour = Tour(desktop, clock, program, places)
        run = Soak(desktop, clock, program, tour, arguments.factor)
        holdings = Holdings(desktop, program, clock)
        first_hour(run, tour)
        table.add(run.measure(holdings))
        next_tour = HOUR
        for part in range(1, arguments.parts + 1):
            end = HOUR + (arguments.refreshes - HOUR) * part // arguments.parts
            while run.refreshes < end:
                if run.refreshes >= next_tour:
                    tour.go()
                    next_tour = run.refreshes + arguments.tour_every
                run.run_to(min(end, next_tour))
            table.add(run.measure(holdings))
            print(f"{run.refreshes} refreshes, {table.lines[-1]['minutes']} minutes", flush=True)
        status, output = program.end(), program.output()
    print(f"{run.refreshes} refreshes, {run.shown} icons announced to the panel; {tour.openings} openings of the popup "
          f"and {tour.clicks} clicks in it; ended with {status} and printed {output!r}")
    return judge(table.lines[0], table.lines[-1]) and status == 0 and not output


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("build", type=Path, help="a build directory with its tests")
    parser.add_argument("--refreshes", type=int, default=MONTH, help=f"how often the strip is drawn ({MONTH})")
    parser.add_argument("--parts", type=int, default=60, help="how many measurements follow the first (60)")
    parser.add_argument("--tour-every", type=int, default=10000, metavar="REFRESHES",
                        help="how often all pages of the popup are visited (10000)")
    parser.add_argument("--factor", type=float, default=2000, help="how fast time runs at most (2000)")
    parser.add_argument("--table", type=Path, metavar="FILE", help="where the measurements go (soak.csv there)")
    parser.add_argument("--judge", action="store_true", help="only judge the measurements that are there")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    if arguments.judge:
        return 0 if judge_table(arguments.table or arguments.build / "soak.csv") else 1
    with VirtualDesktop() as desktop:
        return 0 if soak(desktop, arguments) else 1


if __name__ == "__main__":
    sys.exit(main())
