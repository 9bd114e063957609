#!/usr/bin/python3
"""Draws the pictures of the documentation: the strip in a panel, every page, and some in other languages.

    scripts/doc_pictures.py build/release/tests docs/pictures

The machine is made up, and so is its time: every figure is the same each time. With the same toolkit, panel and
fonts so is every byte.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[1]
sys.path.append(str(SOURCE / "tests/faults"))

from fast_clock import FastClock  # noqa: E402
from language_pictures import run  # noqa: E402
from living_machine import LivingMachine  # noqa: E402
from picture import Picture  # noqa: E402
from virtual_desktop import PANEL_COLOUR, PANEL_HEIGHT, DesktopError, VirtualDesktop, wait_until  # noqa: E402

# By their places in the menu, which has separators too.
PAGES = {"cpu": 0, "gpu": 1, "processes": 2, "my-processes": 3, "help": 4, "about": 5, "settings": 7}
PANELS = {"dark": PANEL_COLOUR, "light": (246, 245, 244)}
LANGUAGES = ("ar", "de", "ja")
TRANSLATED = ("processes", "settings")
OVERVIEW = ("cpu-dark", "processes-dark", "settings-dark")
SCREEN = (1280, 1024)  # pixels; so high that every page is seen whole
STRIP_MARGIN = 8  # pixels of the panel on either side
BEHIND = "#ff00fe"  # what the popup's rounded corners let through, and nothing else has

# The card bears the same name whatever this computer has at its place, and no card of this computer joins it.
PROGRAMS = {"lspci": "echo '03:00.0 VGA: Advanced Micro Devices, Inc. [AMD/ATI] Fictional Graphics'",
            "nvidia-smi": "exit 9"}

JUMP_SECONDS = 100_000  # so many that no figure shows how long anybody took to look at the counters
JUMPS = 16  # after which the smoothed figures have arrived
REFRESH_SECONDS = 2
PAINT_SECONDS = 0.5  # until popup and panel have drawn what they were told
ATTEMPTS = 10


class Stage:
    """The program on a machine whose time passes in jumps. Between them its counters stand still, so that the
    figures of a jump are exact, until the program's next refresh."""

    def __init__(self, desktop, tests, root, theme, language="en"):
        self._desktop = desktop
        settings = desktop.config / "Korvalune/settings.conf"
        settings.parent.mkdir(parents=True, exist_ok=True)
        settings.write_text(f"[general]\nlanguage={language}\ntheme={theme}\n")
        programs = root / "bin"
        programs.mkdir()
        for name, script in PROGRAMS.items():
            (programs / name).write_text(f"#!/bin/sh\n{script}\n")
            (programs / name).chmod(0o755)
        self._seconds = 0
        self._machine = LivingMachine(root / "machine", clock=lambda: self._seconds, user=os.getuid())
        self._clock = FastClock(tests / "libfast_clock.so", root / "clock")
        self._program = desktop.run(self._clock.command(tests / "Korvalune_on", self._machine.root),
                                    {"PATH": f"{programs}:{os.environ['PATH']}"})

    def __enter__(self):
        run("xsetroot", "-solid", BEHIND, env=self._desktop.environment)
        self._desktop.pointer(640, 10)  # where a click opens the popup: on the panel
        self._item = wait_until(self._desktop.items, 20, "the status item")[0]
        return self

    def __exit__(self, *_):
        self._program.terminate()
        self._program.wait(10)
        wait_until(lambda: not self._desktop.items(), 10, "the end of the item")

    def _newest_image(self):
        """When the strip was drawn last (ns, 0 for never), and its file."""
        paths = self._desktop.runtime.glob("Korvalune_[ab].png")
        return max(((path.stat().st_mtime_ns, path) for path in paths), default=(0, None))

    def _await_refresh(self, since):
        wait_until(lambda: self._newest_image()[0] > since, 20, "a refresh", interval=0.01)
        return self._newest_image()[0]

    def _jump(self, since):
        self._seconds += JUMP_SECONDS
        self._machine.advance()
        self._clock.jump(monotonic=JUMP_SECONDS)
        self._item.properties()  # the program waits for its next refresh, and would not notice
        moment = self._await_refresh(since)
        self._item.properties()  # it answers when it has sampled the processes too
        return moment

    def _settle(self):
        """The moment of the last refresh when the figures have arrived; none if a jump was late, so that a refresh
        found the counters where they were."""
        last = self._await_refresh(self._newest_image()[0])  # the next one is a while away
        for _ in range(JUMPS):
            before, last = last, self._jump(last)
            if last - before > 0.9 * REFRESH_SECONDS * 1e9:
                return None
        return last

    def _shoot(self, fits):
        """A picture of the screen with the figures of a jump, as a file; one that does not fit is taken again."""
        picture = self._desktop.root / "shot.miff"  # written faster than any compressed one
        for _ in range(ATTEMPTS):
            moment = self._settle()
            time.sleep(PAINT_SECONDS)
            self._desktop.screenshot(picture)
            if self._newest_image()[0] == moment and fits(picture):
                return picture
        raise DesktopError("this computer is too busy for pictures")

    def shoot_page(self, page, path):
        texts = [text for _, text in self._item.menu()]
        self._item.click(texts[PAGES[page]])
        picture = self._shoot(lambda _: self._popup_area())
        run("convert", picture, "-crop", self._popup_area(), "+repage", "-transparent", BEHIND,
            "-background", "none", "-alpha", "background", path)
        print(path, flush=True)

    def _popup_area(self):
        """Where the popup is, as ImageMagick writes it; none while it is hidden."""
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "Korvalune", "getwindowgeometry",
                                "--shell"], env=self._desktop.environment, capture_output=True, text=True,
                               check=False).stdout
        geometry = dict(re.findall(r"^(\w+)=(\d+)$", found, re.MULTILINE))
        return "{WIDTH}x{HEIGHT}+{X}+{Y}".format(**geometry) if geometry else None

    def shoot_strip(self, path):
        colour = self._desktop.panel_colour
        crop = ("-crop", f"{self._desktop.size[0]}x{PANEL_HEIGHT}+0+0", "+repage")

        def shows_newest_image(picture):
            run("convert", picture, *crop, path)
            strip = Picture.load(self._newest_image()[1], colour).inked(colour)
            return Picture.load(path).inked(colour).matches(strip)

        self._shoot(shows_newest_image)
        area = run("convert", path, "-format", "%@", "info:", stdout=subprocess.PIPE, text=True).stdout
        width, _, left, _ = (int(number) for number in area.replace("x", "+").split("+"))
        run("convert", path, "-crop", f"{width}x{PANEL_HEIGHT}+{left}+0", "+repage",
            "-bordercolor", "#{:02x}{:02x}{:02x}".format(*colour), "-border", f"{STRIP_MARGIN}x0", path)
        print(path, flush=True)


def make_pictures(tests, directory, theme):
    with VirtualDesktop(size=SCREEN, panel_colour=PANELS[theme]) as desktop, tempfile.TemporaryDirectory() as root, \
            Stage(desktop, tests, Path(root), theme) as stage:
        stage.shoot_strip(directory / f"strip-{theme}.png")
        for page in PAGES:
            stage.shoot_page(page, directory / f"{page}-{theme}.png")


def make_translated_pictures(tests, directory):
    with VirtualDesktop(size=SCREEN) as desktop:
        for language in LANGUAGES:
            with tempfile.TemporaryDirectory() as root, \
                    Stage(desktop, tests, Path(root), "light", language) as stage:
                for page in TRANSLATED:
                    stage.shoot_page(page, directory / f"{page}-{language}.png")


def make_overview(directory):
    """One picture of the main pages side by side."""
    pictures = [directory / f"{name}.png" for name in OVERVIEW]
    run("convert", *pictures, "-bordercolor", "none", "-border", "6x0", "-background", "none", "+append",
        directory / "overview.png")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("tests", type=Path, help="where the tests' programs were built")
    parser.add_argument("directory", type=Path)
    arguments = parser.parse_args()
    arguments.directory.mkdir(parents=True, exist_ok=True)
    for theme in PANELS:
        make_pictures(arguments.tests.resolve(), arguments.directory, theme)
    make_translated_pictures(arguments.tests.resolve(), arguments.directory)
    make_overview(arguments.directory)
    run("optipng", "-quiet", "-strip", "all", *sorted(arguments.directory.glob("*.png")))
    return 0


if __name__ == "__main__":
    sys.exit(main())
