"""What the tests of the popup share: opening a page as a user does, looking at it, pointing at its widgets.

With KORVALUNE_SHOTS naming a directory, screenshots of the interesting moments are kept there.
"""

import os
import subprocess
import time
from collections import namedtuple
from pathlib import Path

from accessibility import Accessibility
from desktop_test_case import PANEL_HEIGHT, START_SECONDS, DesktopTestCase

PAGES = ("CPU", "GPU", "All Processes", "My Processes", "Help", "About", "Settings")
TOUCH = 4  # pixels between the popup and a screen edge without a panel
FIXTURES = Path(__file__).resolve().parents[1] / "fixtures"

Geometry = namedtuple("Geometry", "x y width height")


class Popup:
    """The program's window that hangs below the panel, and what is in it."""

    def __init__(self, program):
        self.program = program
        self.desktop = program.desktop
        self.window = None  # X number, known once it has been seen
        self._application = None

    def xdotool(self, *words):
        done = subprocess.run(["xdotool", *map(str, words)], env=self.desktop.environment, text=True,
                              capture_output=True)
        return done.stdout.split() if done.returncode == 0 else []

    def windows(self):
        """The numbers of the program's windows on the screen: the popup and lists that it opened."""
        return self.xdotool("search", "--onlyvisible", *self.program.window_mark())

    def shown(self):
        windows = self.windows()
        if self.window is None and windows:
            self.window = windows[0]
        return self.window in windows

    def geometry(self):
        """Where it is on the screen, without waiting for it to come to rest."""
        words = dict(word.split("=") for word in self.xdotool("getwindowgeometry", "--shell", self.window))
        return Geometry(*(int(words[name]) for name in ("X", "Y", "WIDTH", "HEIGHT")))

    def wait_shown(self):
        self.program.wait_for(self.shown, "the popup")
        return self.rested()

    def wait_hidden(self, seconds=START_SECONDS):
        self.program.wait_for(lambda: not self.shown(), "the end of the popup", seconds)

    def rested(self):
        """The geometry once it has stayed the same for a while."""
        seen = []

        def at_rest():
            seen.append(self.geometry())
            return len(seen) > 3 and len(set(seen[-4:])) == 1

        self.program.wait_for(at_rest, "a popup at rest", interval=0.1)
        return seen[-1]

    def widgets(self):
        """The program's windows and widgets, for find and find_all."""
        if self._application is None:
            accessibility = Accessibility(self.desktop)
            self._application = self.program.wait_for(
                lambda: accessibility.application(self.program.pid()), "the program's widgets")
        return self._application

    def find(self, role=None, text=None, seconds=10):
        """The first shown widget with this role and text, waited for."""
        return self.program.wait_for(lambda: self.widgets().find(role, text), f"{role} {text!r}", seconds)

    def find_all(self, role=None, text=None):
        return self.widgets().find_all(role, text)

    def labels(self):
        return [widget.text() for widget in self.find_all("label")]

    def wait_for_label(self, text, seconds=10):
        return self.find("label", text, seconds)

    def click(self, widget, *actions):
        """Clicks a widget's middle as a user would, once it can be seen."""
        self.program.wait_for(lambda: self.in_view(widget), f"{widget} within the window", 5)
        self.desktop.pointer(*widget.middle(), *(actions or ("click", "1")))

    def wheel(self, clicks, at=None):
        """Turns the wheel down (or up for a negative number) over a place, the window's middle by default."""
        if at is None:
            place = self.geometry()
            at = (place.x + place.width // 2, place.y + place.height // 2)
        button = "5" if clicks > 0 else "4"
        self.desktop.pointer(*at, "click", "--repeat", str(abs(clicks)), "--delay", "30", button)
        time.sleep(0.5)  # kinetic scrolling comes to rest

    def picture(self, x, y, width, height):
        """A part of the screen as it is now."""
        return self.desktop.picture().crop(x, y, width, height)

    def background(self):
        """The grey level (0..255) of an empty spot in the footer."""
        place = self.geometry()
        return sum(self.picture(place.x + 60, place.y + place.height - 16, 1, 1).rows[0][0]) / 3

    def wait_dark(self, dark=True, seconds=START_SECONDS):
        """Waits for the dark or the light look of the window itself."""
        fits = (lambda grey: grey < 80) if dark else (lambda grey: grey > 180)
        look = "dark" if dark else "light"
        self.program.wait_for(lambda: fits(self.background()), f"a {look} popup", seconds, interval=0.1)

    @staticmethod
    def in_view(widget):
        """Whether the widget's middle can be seen: no scrolled part of the page hides it."""
        if not widget.drawn():
            return False
        x, y = widget.middle()
        while widget.role() != "application":
            widget = widget.parent()
            if widget.role() in ("scroll pane", "window"):
                left, top, width, height = widget.extents()
                if not (left <= x < left + width and top <= y < top + height):
                    return False
        return True


class PopupTestCase(DesktopTestCase):
    def setUp(self):
        super().setUp()
        self.program = None
        width, height = self.desktop.size
        self.desktop.pointer(width // 2, height // 2)  # the panel lights up under it

    def start_ready(self, **start):
        """A started program whose menu can be used; it ends the one that was started before."""
        if self.program:
            self.program.end()
        self.program = program = self.start(**start)
        program.wait_for(lambda: self.menu_texts(program)[-1:] == ["Quit"], "the menu")
        return program

    @staticmethod
    def menu_texts(program):
        return [text for _, text in program.item().menu()]

    def choose(self, program, page, x=None, y=None):
        """Chooses a menu entry with the pointer at this place."""
        width = self.desktop.size[0]
        self.desktop.pointer(width // 2 if x is None else x, 14 if y is None else y)
        program.item().click(page)

    def open_page(self, page, x=None, y=None, program=None, **start):
        """The popup with a page of it, opened by a menu entry; starts a program unless one is given."""
        program = program or self.start_ready(**start)
        self.choose(program, page, x, y)
        popup = Popup(program)
        popup.wait_shown()
        popup.wait_for_label(page)
        return popup

    def reopen(self, popup, page, x=None, y=None):
        self.choose(popup.program, page, x, y)
        return popup.wait_shown()

    def click_strip(self):
        self.desktop.pointer(self.desktop.size[0] - 30, PANEL_HEIGHT // 2, "click", "1")

    def open_panel_menu(self):
        """Clicks the strip and waits for the menu that the panel draws."""
        before = self.panel_windows()
        self.click_strip()
        self.program.wait_for(lambda: self.panel_windows() != before, "the panel's menu")
        time.sleep(0.2)  # it is drawn and takes keys

    def panel_windows(self):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "^wrapper"], text=True,
                               env=self.desktop.environment, capture_output=True)
        return set(found.stdout.split())

    def shot(self, name):
        """Keeps a screenshot, if wanted."""
        directory = os.environ.get("KORVALUNE_SHOTS")
        if directory:
            Path(directory).mkdir(parents=True, exist_ok=True)
            self.desktop.screenshot(Path(directory) / f"{name}.png")
