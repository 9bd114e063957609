"""What reaches a screen reader over its bus, and the keyboard's way through the popup on a real screen.

What every page says in words is tested within the program (tests/views/accessibility_test.cpp).
"""

import re
import unittest

from desktop_test_case import CORES
from gi.repository import GLib
from popup_test_case import PopupTestCase


class ScreenReader(PopupTestCase):
    def test_bars_rows_and_focus_are_told(self):
        popup = self.open_page("CPU")
        self.check_bars(popup)
        self.check_focus(popup)
        self.reopen(popup, "My Processes")
        self.check_rows(popup)

    def check_bars(self, popup):
        bars = popup.find_all("level bar")
        self.assertEqual(len(bars), CORES)
        names = [bar.name() for bar in bars]
        self.assertEqual(len(set(names)), CORES)
        for name in names:
            self.assertRegex(name, r"^(CPU Cores|Physical|Logical) \d+$")
        for bar in bars:
            popup.program.wait_for(lambda bar=bar: self.percent_beside(bar) == int(bar.value()), f"the value of {bar}")

    @staticmethod
    def percent_beside(bar):
        return int(bar.parent().children()[2].text().rstrip("%"))

    def check_focus(self, popup):
        """It begins at the top; Tab leads to the bottom and round again."""
        for name in ("◀ Back", "Settings", "◀ Back"):
            popup.program.wait_for(lambda name=name: self.focused(popup) == [name], f"the focus on {name}", 5)
            self.desktop.press("Tab")
        self.assertIn("active", popup.find("window", "CPU").states())

    @staticmethod
    def focused(popup):
        found = []
        for widget in popup.find_all():
            try:
                if "focused" in widget.states():
                    found.append(widget.name())
            except GLib.Error:
                continue
        return found

    def check_rows(self, popup):
        name = popup.program.wait_for(lambda: self.choose_row(popup), "a row that can be chosen", 15)
        self.assertRegex(name, r"^.+ \(\d+\), \S+, Mem [\d.]+[MG], CPU% [\d.]+$")
        popup.wait_for_label(name[:name.index(", ")], 5)
        popup.find("push button", "Terminate", 5)

    @staticmethod
    def choose_row(popup):
        """Chooses the first process without pointer and keys; what its row says, or nothing when that has just gone."""
        try:
            row = next(iter(popup.find_all("list item")), None)
            name = row and row.name()
            return name if row and row.parent().role() == "list" and row.act() else None
        except GLib.Error:
            return None


if __name__ == "__main__":
    unittest.main()
