"""The popup under a Wayland compositor, which places windows itself and lends nobody the pointer."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))

from accessibility import Accessibility  # noqa: E402
from desktop_test_case import DesktopTestCase  # noqa: E402
from wayland_desktop import PANEL_HEIGHT, SeatlessDesktop, WaylandDesktop  # noqa: E402

WIDTHS = {"CPU": 420, "GPU": 420, "All Processes": 520, "My Processes": 520, "Help": 420, "About": 450,
          "Settings": 420}
BACK = "◀ Back"


class Wayland(DesktopTestCase):
    desktop_class = WaylandDesktop

    def setUp(self):
        super().setUp()
        self.program = self.start()
        self.program.item()

    def popup(self):
        """The program's only window; none while it is hidden."""
        windows = [window for window in self.desktop.windows() if window.pid == self.program.process.pid]
        self.assertLessEqual(len(windows), 1)
        return windows[0] if windows else None

    def open(self, page):
        """The popup with this page, opened by its menu entry."""
        self.program.item().click(page)
        return self.rested()

    def rested(self):
        """The popup once it has stayed the same for a while."""
        seen = []

        def at_rest():
            seen.append(self.popup())
            return seen[-1] and len(seen) > 3 and len(set(seen[-4:])) == 1

        self.program.wait_for(at_rest, "a popup at rest", interval=0.1)
        return seen[-1]

    def find(self, role, text=None):
        """The first shown widget with this role and text, waited for."""
        application = self.program.wait_for(self.widgets, "the program's widgets")
        return self.program.wait_for(lambda: application.find(role, text), f"{role} {text!r}")

    def widgets(self):
        return Accessibility(self.desktop).application(self.program.process.pid)

    def click(self, widget):
        """Clicks a widget's middle. Wayland tells programs no places but those in their own windows."""
        popup = self.popup()
        x, y = widget.middle()
        self.desktop.pointer(popup.x + x, popup.y + y, click=True)

    def wait_hidden(self):
        self.program.wait_for(lambda: not self.popup(), "the end of the popup")

    def saved(self):
        return self.settings_file.read_text() if self.settings_file.exists() else ""

    def press_escape(self):
        self.desktop.press("Escape")
        self.wait_hidden()

    def test_every_page_floats_on_the_screen_in_its_own_width(self):
        screen_width, screen_height = self.desktop.size
        for page, width in WIDTHS.items():
            with self.subTest(page):
                popup = self.open(page)
                self.assertTrue(popup.floating)
                self.assertTrue(popup.focused)
                self.assertEqual(popup.width, width)
                self.assertGreaterEqual(popup.x, 0)
                self.assertGreaterEqual(popup.y, PANEL_HEIGHT)
                self.assertLessEqual(popup.x + popup.width, screen_width)
                self.assertLessEqual(popup.y + popup.height, screen_height)
                self.press_escape()

    def test_a_page_of_natural_height_is_lower(self):
        about = self.open("About")
        self.press_escape()
        self.assertLess(about.height, self.open("CPU").height)

    def test_another_page_takes_the_place_of_the_one_shown(self):
        self.open("CPU")
        self.program.item().click("My Processes")

        def other_page_is_shown():
            popup = self.popup()
            return popup and popup.width == 520

        self.program.wait_for(other_page_is_shown, "the other page")
        self.assertTrue(self.rested().floating)

    def test_back_closes_it(self):
        self.open("CPU")
        self.click(self.find("push button", BACK))
        self.wait_hidden()

    def test_it_has_no_title_bar(self):
        self.assertEqual(self.open("CPU").title_height, 0)

    def test_the_gear_opens_the_settings(self):
        self.open("CPU")
        self.click(self.find("push button", "Settings"))
        self.find("check box")
        self.assertEqual(self.rested().width, 420)

    def test_a_list_of_choices_opens_above_the_popup(self):
        self.open("Settings")
        self.click(self.find("combo box", "Theme:"))
        self.find("menu item", "Dark")
        self.desktop.press("Escape")
        self.program.wait_for(lambda: not self.widgets().find("menu item", "Dark"), "the end of the list")
        self.assertIsNotNone(self.popup())
        self.press_escape()

    def test_a_choice_can_be_made(self):
        self.open("Settings")
        self.click(self.find("combo box", "Theme:"))
        self.find("menu item", "Dark")
        self.desktop.press("Down", "Down", "Return")
        self.program.wait_for(lambda: "theme=dark" in self.saved(), "the saved choice")
        self.assertIsNotNone(self.popup())

    def test_it_opens_again_and_again(self):
        for _ in range(10):
            self.assertEqual(self.open("CPU").width, 420)
            self.press_escape()

    def test_it_lives_through_a_time_without_a_screen(self):
        self.open("CPU")
        item = self.program.item()
        self.desktop.switch_screen(False)
        self.program.next_image()
        for page in WIDTHS:
            item.click(page)
        self.program.next_image()
        self.desktop.switch_screen(True)
        self.program.next_image()
        self.press_escape()
        self.assertEqual(self.open("CPU").width, WIDTHS["CPU"])


class WithoutASeat(DesktopTestCase):
    """Where there is no pointer to open the popup at."""

    desktop_class = SeatlessDesktop
    # GTK asks for the keyboard by itself, at start and with the first menu.
    expected_output = (r"Gdk-CRITICAL .*gdk_seat_get_keyboard: assertion 'GDK_IS_SEAT",)

    def test_menu_entries_do_nothing(self):
        program = self.start()
        item = program.item()
        for page in WIDTHS:
            item.click(page)
        program.next_image()
        program.next_image()
        application = Accessibility(self.desktop).application(program.process.pid)
        self.assertEqual(application.find_all(), [application], "it shows a window")
        item.click("Quit")
        self.assertEqual(program.process.wait(10), 0)


if __name__ == "__main__":
    unittest.main()
