"""Tours of the popup by pointer and keys: every page opened from the menu, worked a little and closed again."""

import subprocess
import sys
import time
from pathlib import Path

TESTS = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "desktop"), str(TESTS.parent / "scripts")]

from desktop_test_case import Program  # noqa: E402
from gi.repository import GLib  # noqa: E402
from popup_test_case import PAGES, Popup  # noqa: E402
from virtual_desktop import DesktopError, wait_until  # noqa: E402

PROCESS_PAGES = ("All Processes", "My Processes")
COLUMNS = ("Process", "User", "Mem", "CPU%")
COLOURED_ITEM = "Temperature"
SHEET_ROLES = ("push button", "radio button", "toggle button", "color chooser")
STAY_SECONDS = 0.5  # with each page, besides the time that the work on it takes
STAY_FACTOR = 200  # how fast time runs meanwhile; pointer and keys are used at its natural pace, as the X server's
CLICK_SECONDS = 0.08  # between two clicks, for the program to answer


class Places:
    """Where the controls are within each page's window. A scout finds them out by way of the accessibility
    interface, in a program of its own: one that is being measured must not carry a screen reader's burden."""

    def __init__(self, desktop, command):
        self._of = {}
        scout = Program(desktop, command, {})
        scout.item()
        popup = Popup(scout)
        for page in PAGES:
            open_page(desktop, scout.item(), page)
            place = popup.wait_shown()
            popup.wait_for_label(page)
            if page in PROCESS_PAGES:
                self._find_processes(popup, page, place)
            elif page == "Settings":
                self._find_settings(popup, place)
            desktop.press("Escape")
        scout.end()

    def _note(self, page, name, widget, place):
        x, y = widget.middle()
        self._of[page, name] = (x - place.x, y - place.y)

    def _find_processes(self, popup, page, place):
        for column in COLUMNS:
            button = popup.find("push button", lambda text, column=column: text.rstrip(" ▲▼") == column)
            self._note(page, column, button, place)
        first, second = popup.program.wait_for(lambda: self._two_rows(popup, place), "rows in their places")
        for rank in range(6):
            self._of[page, rank] = (place.width // 2, first + rank * (second - first) - place.y)
        row = (place.x + place.width // 2, first)
        self._select(popup, row)
        for name in "Terminate", "No":
            button = popup.find("push button", name)
            self._note(page, name, button, popup.rested())
            popup.click(button)
        popup.desktop.pointer(*row, "click", "1")

    @staticmethod
    def _two_rows(popup, place):
        """How far down the screen the first two rows are; none while they are being made anew."""
        try:
            middles = [popup.find("label", rank, 2).middle()[1] for rank in "12"]
        except (DesktopError, GLib.Error):
            return None
        return middles if place.y < middles[0] < middles[1] < middles[0] + place.height // 10 else None

    @staticmethod
    def _select(popup, row):
        """A click may fall between two lists of rows, and another one too soon would take the first back."""
        def selected():
            popup.desktop.pointer(*row, "click", "1")
            try:
                return popup.find("push button", "Terminate", 5)
            except DesktopError:
                return None

        popup.program.wait_for(selected, "a selected process")

    def _find_settings(self, popup, place):
        for role, name in (("push button", "CPU % ↓"), ("push button", "CPU Bars ↑"), ("check box", "Swap Used"),
                           ("check box", "Temperature"), ("combo box", "Theme:"), ("push button", "Settings")):
            self._note("Settings", name, popup.find(role, name), place)
        button = popup.find("push button", lambda text: text.startswith(f"{COLOURED_ITEM} #"))
        self._note("Settings", "colour", button, place)
        before = set(popup.find_all("push button"))
        popup.click(button)
        time.sleep(0.5)
        fields = [widget for widget in popup.find_all() if widget.role() in SHEET_ROLES and widget not in before
                  and popup.in_view(widget)]
        for number, widget in enumerate(fields):
            self._note("sheet", number, widget, place)
        self.sheet = len(fields) - 2  # the last two go back without and with the colour
        x, y = fields[-1].middle()
        self.apply_from_corner = (place.x + place.width - x, place.y + place.height - y)
        popup.desktop.press("Escape")

    def __getitem__(self, key):
        return self._of[key]


def open_page(desktop, item, page):
    desktop.pointer(desktop.size[0] // 2, 14)
    item.click(page)


class Tour:
    """Visits to all pages of one program, one after another."""

    def __init__(self, desktop, clock, program, places):
        self._desktop = desktop
        self._clock = clock
        self._program = program
        self._places = places
        self._popup = Popup(program)
        self.openings = 0
        self.clicks = 0

    def go(self):
        self._clock.factor = 1
        for page in PAGES:
            self._open(page)
            if page in PROCESS_PAGES:
                self._work_processes(page)
            elif page == "Settings":
                self._work_settings()
            elif page == "Help":
                self._popup.wheel(3)
            self._clock.factor = STAY_FACTOR
            time.sleep(STAY_SECONDS)
            self._clock.factor = 1
            self.close()

    def open_and_close(self, page):
        self._open(page)
        self.close()

    def close(self):
        # The first Escape may only close a list or the colour sheet.
        for _ in range(4):
            self._desktop.press("Escape")
            try:
                return self._popup.wait_hidden(3)
            except DesktopError:
                continue
        raise AssertionError("the popup does not close")

    def _open(self, page):
        open_page(self._desktop, self._program.item(), page)
        wait_until(self._popup.shown, 20, f"the page {page}")
        self._place = self._popup.geometry()
        self.openings += 1

    def _click(self, *key):
        x, y = self._places[key]
        self._click_at(self._place.x + x, self._place.y + y)

    def _click_at(self, x, y):
        self._desktop.pointer(x, y, "click", "1")
        self.clicks += 1
        time.sleep(CLICK_SECONDS)

    def _work_processes(self, page):
        for column in COLUMNS:
            self._click(page, column)
        for rank in range(4):
            self._click(page, rank)
        for button in "Terminate", "No":
            self._click(page, button)
        self._click(page, 3)

    def _work_settings(self):
        for name in ("CPU % ↓", "CPU Bars ↑", "Swap Used", "Swap Used", "Temperature", "Temperature"):
            self._click("Settings", name)
        self._click("Settings", "Theme:")
        self._desktop.press("Escape")
        self._click("Settings", "colour")
        for number in self.openings % self._places.sheet, 2 * self.openings % self._places.sheet:
            self._click("sheet", number)
        # Colours taken over before make the window wider.
        place, (x, y) = self._popup.geometry(), self._places.apply_from_corner
        self._click_at(place.x + place.width - x, place.y + place.height - y)
