"""The ways to close the popup, and who has pointer and keyboard while it is open and afterwards."""

import time
import unittest

from desktop_test_case import PANEL_HEIGHT, wait_until
from other_window import OtherWindow
from popup_test_case import PAGES, PopupTestCase


class Closing:
    """The tests, for more than one window manager."""

    def other_window(self, **place):
        other = OtherWindow(self.desktop, **place)
        self.addCleanup(other.process.wait)
        self.addCleanup(other.process.terminate)
        return other

    def opened_over(self, other, page="CPU"):
        """The popup, opened while another window has the keyboard."""
        program = self.start_ready()
        other.take_keyboard()
        return self.open_page(page, x=900, program=program)

    def check_given_back(self, popup, other):
        """Pointer and keyboard belong to the others again."""
        popup.wait_hidden(5)
        self.assertTrue(other.has_keyboard())
        other.wait_for_key("a")
        clicks = other.clicks()
        self.desktop.pointer(*other.middle, "click", "1")
        wait_until(lambda: other.clicks() == clicks + 1, 5, "a click in the other window")

    def test_back_button(self):
        other = self.other_window()
        popup = self.opened_over(other)
        popup.click(popup.find("push button", "◀ Back"))
        self.check_given_back(popup, other)

    def test_escape_without_a_click_before(self):
        other = self.other_window()
        popup = self.opened_over(other)
        self.desktop.press("Escape")
        self.check_given_back(popup, other)
        self.assertNotIn("Escape", other.keys())

    def test_keys_do_not_reach_the_window_below(self):
        other = self.other_window()
        self.opened_over(other)
        before = other.keys()
        self.desktop.press("x", "Tab", "F5")
        time.sleep(0.5)
        self.assertEqual(other.keys(), before)

    def test_click_on_the_desktop(self):
        other = self.other_window()
        popup = self.opened_over(other)
        width, height = self.desktop.size
        self.desktop.pointer(width - 20, height - 60, "click", "1")
        self.check_given_back(popup, other)

    def test_click_right_beside_each_edge(self):
        popup = self.open_page("CPU", x=640)
        for side in ("left", "right", "bottom"):
            with self.subTest(side):
                place = self.reopen(popup, "CPU", x=640)
                x, y, width, height = place
                at = {"left": (x - 2, y + 100), "right": (x + width + 2, y + 100),
                      "bottom": (x + 200, y + height + 2)}[side]
                self.desktop.pointer(*at, "click", "1")
                popup.wait_hidden(5)

    def test_click_on_its_border_keeps_it_open(self):
        popup = self.open_page("CPU", x=640)
        x, y, width, height = popup.rested()
        right, bottom = x + width - 2, y + height - 2
        for at in ((x + 1, y + 1), (right, y + 1), (x + 1, bottom), (x + 200, y + height // 2)):
            self.desktop.pointer(*at, "click", "1")
            time.sleep(0.3)
            self.assertTrue(popup.shown(), at)

    def test_click_on_another_window_closes_and_does_not_reach_it(self):
        other = self.other_window()
        popup = self.opened_over(other)
        clicks = other.clicks()
        self.desktop.pointer(*other.middle, "click", "1")
        popup.wait_hidden(5)
        time.sleep(0.3)
        self.assertEqual(other.clicks(), clicks)
        self.check_given_back(popup, other)

    def test_click_on_the_panel(self):
        other = self.other_window()
        popup = self.opened_over(other)
        self.desktop.pointer(300, PANEL_HEIGHT // 2, "click", "1")
        self.check_given_back(popup, other)

    def test_each_mouse_button_beside_it(self):
        popup = self.open_page("CPU", x=640)
        for button in ("1", "2", "3"):
            with self.subTest(button):
                self.reopen(popup, "CPU", x=640)
                self.desktop.pointer(100, 600, "click", button)
                popup.wait_hidden(5)
                self.desktop.press("Escape")  # a menu of the desktop, if any

    def test_another_menu_entry_changes_the_page(self):
        other = self.other_window()
        popup = self.opened_over(other)
        for page in PAGES[1:]:
            self.reopen(popup, page, x=900)
            popup.wait_for_label(page)
        self.desktop.press("Escape")
        self.check_given_back(popup, other)

    def test_click_on_the_strip_closes_and_the_next_opens_the_menu(self):
        program = self.start_ready()
        program.wait_for_strip()
        popup = self.open_page("CPU", x=640, program=program)
        self.click_strip()
        popup.wait_hidden(5)
        self.open_panel_menu()
        self.desktop.press("Up", "Return")
        self.assertEqual(program.process.wait(10), 0, "Quit is the last entry")

    def test_opened_and_closed_again_and_again(self):
        other = self.other_window()
        popup = self.opened_over(other)
        ways = (lambda: self.desktop.press("Escape"),
                lambda: self.desktop.pointer(1200, 700, "click", "1"),
                lambda: popup.click(popup.find("push button", "◀ Back")))
        for turn in range(12):
            self.reopen(popup, PAGES[turn % len(PAGES)], x=900)
            ways[turn % len(ways)]()
            popup.wait_hidden(5)
        self.check_given_back(popup, other)

    def test_popup_from_the_panels_own_menu_has_pointer_and_keyboard(self):
        other = self.other_window()
        program = self.start_ready()
        program.wait_for_strip()
        other.take_keyboard()
        popup = self.open_page("GPU", program=program)
        self.desktop.press("Escape")
        popup.wait_hidden(5)
        for close in (lambda: self.desktop.press("Escape"),
                      lambda: self.desktop.pointer(*other.middle, "click", "1")):
            self.open_panel_menu()
            self.desktop.press("Down", "Return")
            popup.wait_shown()
            popup.wait_for_label("CPU")
            self.shot("from-panel-menu")
            time.sleep(0.5)
            close()
            self.check_given_back(popup, other)

    def test_quit_with_the_popup_open(self):
        popup = self.open_page("CPU", x=640)
        for page in PAGES[::-1]:  # under sanitizers, what these leave behind is told at the end
            self.reopen(popup, page, x=640)
        popup.program.item().click("Quit")
        self.assertEqual(popup.program.process.wait(20), 0)

    def test_gear_toggles_between_settings_and_cpu_page(self):
        popup = self.open_page("My Processes", x=640)
        gear = popup.find("push button", "Settings")
        popup.click(gear)
        popup.rested()
        self.shot("gear")
        popup.click(popup.find("push button", "Settings"))
        popup.rested()
        self.assertIn("My Processes", popup.labels(), "the title stays")
        self.desktop.pointer(100, 600, "click", "1")
        popup.wait_hidden(5)


class ClosingUnderXfwm4(Closing, PopupTestCase):
    desktop_options = {"window_manager": "xfwm4"}


class ClosingUnderOpenbox(Closing, PopupTestCase):
    desktop_options = {"window_manager": "openbox"}


if __name__ == "__main__":
    unittest.main()
