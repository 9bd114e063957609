"""The table of processes: its order, and what can be done to a process in it."""

import re
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from gi.repository import GLib

from desktop_test_case import DesktopError, wait_until
from popup_test_case import PopupTestCase

BUSY = Path(__file__).resolve().parent / "busy_process.py"
REFRESH_SECONDS = 5
HEADERS = {"Process": "name", "User": "user", "Mem": "memory", "CPU%": "cpu"}
UNKNOWN = "\N{REPLACEMENT CHARACTER}"
HOSTILE_NAMES = {
    b"<b>bold</b>": "<b>bold</b>",
    b"two\nlines": f"two{UNKNOWN}lines",
    "turn\u202etxt".encode(): f"turn{UNKNOWN}txt",
    b"bytes\xff\xfe": f"bytes{UNKNOWN}{UNKNOWN}",
    b"%s%n%d&amp;": "%s%n%d&amp;",
    b"tab\tbell\a": f"tab{UNKNOWN}bell{UNKNOWN}",
    b") R 1 (x": ") R 1 (x",
}


class Row:
    """One line of the table."""

    def __init__(self, widget, labels):
        self.widget = widget
        self.rank, self.name, self.user, self._memory, self._cpu = labels

    def is_whole(self):
        """False when the row was made anew while it was read."""
        return all((self.rank, self.name, self.user, self._memory, self._cpu))

    @property
    def memory(self):
        return float(self._memory[:-1]) * (1024 if self._memory.endswith("G") else 1)  # MiB

    @property
    def cpu(self):
        return float(self._cpu)


def cell_texts(row):
    """The texts of a row's labels; nothing for what is no row or has just gone."""
    try:
        boxes = row.children()
        texts = [label.name() for label in boxes[0].children()] if len(boxes) == 1 else []
    except GLib.Error:
        return []
    return texts if len(texts) == 5 and texts[0].isdigit() else []


class ProcessPageCase(PopupTestCase):
    def busy(self, name, temper="heed"):
        """A child process of this name (bytes), busy enough to be in the list."""
        process = self.desktop.run([sys.executable, BUSY, name.hex(), temper], stdout=subprocess.PIPE)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        with process.stdout as output:
            self.assertEqual(output.readline(), b"ready\n")
        return process

    def rows(self, popup):
        """All rows from top to bottom, waited for."""
        return popup.program.wait_for(lambda: self.present_rows(popup), "rows", 15, interval=0.1)

    @staticmethod
    def present_rows(popup):
        """All rows from top to bottom, read between two refreshes; none when there are none or they change."""
        first = next((widget for widget in popup.find_all("list item") if cell_texts(widget)), None)
        if first is None:
            return None
        try:
            table = first.parent()
            widgets = table.children()
            rows = [Row(widget, texts) for widget in widgets if (texts := cell_texts(widget))]
            unchanged = table.children() == widgets and all(row.is_whole() for row in rows)
        except GLib.Error:
            return None  # a refresh took the row away meanwhile
        ranks = [row.rank for row in rows]
        return rows if unchanged and ranks == [str(i + 1) for i in range(len(widgets))] else None

    def row_of(self, popup, name):
        """The row of the process with this name, waited for."""
        return popup.program.wait_for(
            lambda: next((row for row in self.rows(popup) if row.name == name), None),
            f"{name!r} in the list", 20, interval=0.5)

    def place_of(self, popup, name):
        """The middle of a process's row on the screen; none out of sight or when a refresh has just taken it away."""
        row = self.row_of(popup, name)
        try:
            return row.widget.middle() if popup.in_view(row.widget) else None
        except GLib.Error:
            return None

    def click_row(self, popup, name, *actions):
        """Clicks where a process stands now."""
        at = wait_until(lambda: self.place_of(popup, name), 10, f"{name!r} within the window")
        self.desktop.pointer(*at, *(actions or ("click", "1")))

    def select(self, popup, name, pid):
        """Clicks a process, again if another one or nothing has moved below the pointer meanwhile."""
        wanted = f"{name} ({pid})"
        for _ in range(8):
            at = self.place_of(popup, name)
            if not at:
                continue
            self.desktop.pointer(*at, "click", "1")
            try:
                shown = popup.find("label", lambda text: re.search(r" \(\d+\)$", text), 2)
            except DesktopError:
                continue
            if shown.text() == wanted:
                return
        self.fail(f"{wanted} could not be selected")

    def answer(self, popup, text):
        """Presses a button of the question, later than the double click that must not answer it."""
        button = popup.find("push button", text)
        time.sleep(0.6)
        popup.click(button)

    def wait_deselected(self, popup):
        popup.program.wait_for(lambda: not popup.find_all("push button", "Terminate")
                               and not popup.find_all("push button", "Yes"), "the end of the selection", 5)

    def header(self, popup, title):
        return popup.find("push button", lambda text: text.rstrip(" ▲▼") == title)


class ProcessPage(ProcessPageCase):
    def test_each_column_sorts_both_ways(self):
        popup = self.open_page("All Processes")
        self.assertEqual(self.header(popup, "CPU%").text(), "CPU% ▼")
        for title, field in HEADERS.items():
            if title == "CPU%":
                popup.click(self.header(popup, "Mem"))  # so that the next click chooses it anew
            for arrow in " ▼", " ▲", " ▼":
                with self.subTest(title + arrow):
                    popup.click(self.header(popup, title))
                    popup.find("push button", title + arrow, 5)
                    values = [getattr(row, field) for row in self.rows(popup)]
                    keys = [value.encode() if isinstance(value, str) else value for value in values]
                    self.assertEqual(keys, sorted(keys, reverse=arrow == " ▼"))
                    self.assertGreater(len(keys), 5)
            arrows = [button.text() for button in popup.find_all("push button") if button.text()[-1:] in "▲▼"]
            self.assertEqual(len(arrows), 1, arrows)
        self.shot("processes-sorted")

    def test_own_processes_are_those_of_this_user(self):
        popup = self.open_page("My Processes")
        self.assertEqual(len({row.user for row in self.rows(popup)}), 1)

    def test_selection_shows_what_can_be_done_and_a_second_click_takes_it_back(self):
        child = self.busy(b"select-me")
        popup = self.open_page("All Processes")
        self.assertEqual(popup.find_all("push button", "Terminate"), [])
        self.select(popup, "select-me", child.pid)
        self.assertTrue(popup.find_all("push button", "Terminate") and popup.find_all("push button", "Kill"))
        self.assertEqual(popup.find_all("push button", "Yes"), [])
        self.shot("process-selected")
        self.click_row(popup, "select-me")
        self.wait_deselected(popup)

    def test_buttons_are_in_sight_as_soon_as_a_process_is_selected(self):
        child = self.busy(b"at-once")
        popup = self.open_page("All Processes")
        self.row_of(popup, "at-once")
        place = popup.rested()
        self.select(popup, "at-once", child.pid)
        kill = popup.find("push button", "Kill")
        wait_until(lambda: popup.in_view(kill), 0.7, "the buttons in sight")
        self.assertEqual(popup.rested()[:3], place[:3])

    def test_double_click_selects_and_deselects(self):
        self.busy(b"double-me")
        popup = self.open_page("All Processes")
        self.click_row(popup, "double-me", "click", "--repeat", "2", "--delay", "60", "1")
        time.sleep(0.7)
        self.wait_deselected(popup)

    def test_terminate_asks_and_ends_the_process(self):
        child = self.busy(b"end-me")
        popup = self.open_page("My Processes")
        self.select(popup, "end-me", child.pid)
        popup.click(popup.find("push button", "Terminate"))
        popup.wait_for_label("Terminate end-me?")
        self.assertEqual(popup.find_all("push button", "Kill"), [])
        self.assertIsNone(child.poll(), "it only asks yet")
        self.shot("process-terminate")
        self.answer(popup, "Yes")
        self.assertEqual(child.wait(5), -signal.SIGTERM)
        self.wait_deselected(popup)

    def test_kill_ends_what_ignores_polite_requests(self):
        child = self.busy(b"stubborn", "ignore")
        popup = self.open_page("All Processes")
        self.select(popup, "stubborn", child.pid)
        popup.click(popup.find("push button", "Terminate"))
        self.answer(popup, "Yes")
        self.wait_deselected(popup)
        time.sleep(0.5)
        self.assertIsNone(child.poll())
        self.select(popup, "stubborn", child.pid)
        popup.click(popup.find("push button", "Kill"))
        popup.wait_for_label("Kill stubborn?")
        self.shot("process-kill")
        self.answer(popup, "Yes")
        self.assertEqual(child.wait(5), -signal.SIGKILL)
        self.wait_deselected(popup)

    def test_no_keeps_process_and_selection(self):
        child = self.busy(b"keep-me")
        popup = self.open_page("All Processes")
        self.select(popup, "keep-me", child.pid)
        for button in "Terminate", "Kill":
            popup.click(popup.find("push button", button))
            popup.wait_for_label(f"{button} keep-me?")
            self.answer(popup, "No")
            popup.wait_for_label(f"keep-me ({child.pid})")
            popup.find("push button", button)
        time.sleep(0.5)
        self.assertIsNone(child.poll())

    def test_yes_on_an_ended_process_only_clears(self):
        child = self.busy(b"gone-soon")
        popup = self.open_page("All Processes")
        self.select(popup, "gone-soon", child.pid)
        popup.click(popup.find("push button", "Kill"))
        child.kill()
        child.wait()
        self.answer(popup, "Yes")
        self.wait_deselected(popup)
        self.assertTrue(popup.shown())

    def test_selection_outlives_closing(self):
        child = self.busy(b"still-there")
        popup = self.open_page("All Processes")
        self.select(popup, "still-there", child.pid)
        self.desktop.press("Escape")
        popup.wait_hidden()
        self.reopen(popup, "All Processes")
        popup.wait_for_label(f"still-there ({child.pid})")
        popup.find("push button", "Terminate")

    def test_hostile_names_are_shown_harmlessly(self):
        for name, shown in HOSTILE_NAMES.items():
            with self.subTest(name):
                child = self.busy(name)
                popup = self.open_page("All Processes")
                self.select(popup, shown, child.pid)
                self.shot(f"hostile-{name.hex()}")
                popup.click(popup.find("push button", "Terminate"))
                popup.wait_for_label(f"Terminate {shown}?")
                self.answer(popup, "Yes")
                self.assertEqual(child.wait(5), -signal.SIGTERM)


class ProcessPageOverTime(ProcessPageCase):
    desktop_options = {"size": (800, 480)}

    def test_new_processes_appear_by_themselves(self):
        popup = self.open_page("All Processes")
        self.rows(popup)
        self.busy(b"newcomer")
        begin = time.monotonic()
        self.row_of(popup, "newcomer")
        self.assertLess(time.monotonic() - begin, 2 * REFRESH_SECONDS + 1)

    def test_refresh_keeps_scroll_position_and_selection(self):
        child = self.busy(b"hold-on")
        popup = self.open_page("All Processes")
        popup.click(self.header(popup, "Process"))  # an order that stays; "hold-on" is not among the first
        self.select_in_view(popup, "hold-on", child.pid)
        popup.wheel(2)
        before = self.header(popup, "Process").extents()
        rows = [row.widget for row in self.rows(popup)]
        changes = 0
        for _ in range(2):
            self.wait_rebuilt(popup, rows)
            rows = [row.widget for row in self.rows(popup)]
            changes += 1
            self.assertEqual(self.header(popup, "Process").extents(), before)
            popup.find("label", f"hold-on ({child.pid})", 1)
        self.assertEqual(changes, 2)

    def select_in_view(self, popup, name, pid):
        for _ in range(12):
            if self.place_of(popup, name):
                break
            popup.wheel(1)
        self.select(popup, name, pid)

    def wait_rebuilt(self, popup, rows):
        """Until the list is no longer made of the same widgets."""
        def rebuilt():
            present = self.rows(popup)
            return len(present) != len(rows) or present[0].widget != rows[0]

        wait_until(rebuilt, 2 * REFRESH_SECONDS + 2, "another refresh", interval=0.3)


if __name__ == "__main__":
    unittest.main()
