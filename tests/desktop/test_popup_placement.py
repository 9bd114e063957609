"""Where each page opens and how large it is."""

import subprocess
import unittest

from desktop_test_case import PANEL_HEIGHT
from popup_test_case import FIXTURES, PAGES, TOUCH, PopupTestCase

WIDTHS = {"All Processes": 520, "My Processes": 520, "About": 450}
LEAST_HEIGHTS = {"CPU": 550, "All Processes": 550, "My Processes": 550, "Help": 500, "Settings": 600}


def width_of(page):
    return WIDTHS.get(page, 420)


def left_for(pointer, width, monitor_x, monitor_width):
    """The popup stands centred below the pointer, but always on the pointer's monitor."""
    left = min(pointer - width // 2, monitor_x + monitor_width - width - TOUCH)
    return max(left, monitor_x + TOUCH)


class PlacementCase(PopupTestCase):
    def check(self, popup, page, pointer, top, monitor=None):
        x, width = monitor or (0, self.desktop.size[0])
        place = popup.rested()
        expected = (left_for(pointer, width_of(page), x, width), top, width_of(page))
        self.assertEqual((place.x, place.y, place.width), expected)
        self.assertGreaterEqual(place.height, LEAST_HEIGHTS.get(page, 1))
        return place


class BelowTopPanel(PlacementCase):
    def test_each_page_opens_below_the_pointer_in_its_size(self):
        program = self.start_ready()
        popup = self.open_page(PAGES[0], x=700, program=program)
        for page in PAGES:
            with self.subTest(page):
                self.reopen(popup, page, x=700)
                popup.wait_for_label(page)
                self.check(popup, page, 700, PANEL_HEIGHT)
                self.shot(f"page-{page}")

    def test_first_opening_is_as_exact_as_later_ones(self):
        for page in PAGES:
            with self.subTest(page):
                popup = self.open_page(page, x=500)
                self.check(popup, page, 500, PANEL_HEIGHT)

    def test_edges_of_the_screen_hold_the_popup_back(self):
        popup = self.open_page("CPU", x=5)
        right = self.desktop.size[0] - 1
        for page in ("CPU", "All Processes", "About", "Settings"):
            for x in (0, 5, 213, 214, 215, 640, right - 214, right - 213, right - 5, right):
                with self.subTest(page, x=x):
                    self.reopen(popup, page, x=x)
                    self.check(popup, page, x, PANEL_HEIGHT)

    def test_pointers_height_does_not_matter(self):
        popup = self.open_page("CPU", x=400, y=790)
        self.check(popup, "CPU", 400, PANEL_HEIGHT)

    def test_pages_of_natural_height_show_all_they_have_and_no_more(self):
        for page in ("GPU", "About"):
            with self.subTest(page):
                popup = self.open_page(page)
                place = self.check(popup, page, self.desktop.size[0] // 2, PANEL_HEIGHT)
                lowest = max(y + height for _, y, _, height in
                             (widget.extents() for widget in popup.find_all("push button")))
                self.assertLessEqual(lowest, place.y + place.height)
                self.assertLess(place.y + place.height - lowest, 20, "empty room below the last button")

    def test_a_page_opened_by_mouse_in_the_panels_own_menu(self):
        program = self.start_ready()
        program.wait_for_strip()
        popup = self.open_page("CPU", program=program)
        self.desktop.press("Escape")
        popup.wait_hidden()
        x = self.desktop.size[0] - 30
        self.open_panel_menu()
        self.desktop.press("Down", "Down", "Return")
        place = popup.wait_shown()
        popup.wait_for_label("GPU")
        self.assertEqual((place.x, place.y), (left_for(x, 420, 0, self.desktop.size[0]), PANEL_HEIGHT))
        self.desktop.press("Escape")
        popup.wait_hidden()


class AboveBottomPanel(PlacementCase):
    desktop_options = {"panel": "bottom", "window_manager": "openbox"}

    def test_popup_hangs_from_the_screens_top(self):
        popup = self.open_page("CPU", x=640, y=790)
        self.check(popup, "CPU", 640, TOUCH)

    def test_tallest_page_stays_clear_of_the_panel(self):
        place = self.open_page("Settings", x=640, y=790).rested()
        self.assertLessEqual(place.y + place.height, self.desktop.size[1] - PANEL_HEIGHT)


class WithoutPanel(PlacementCase):
    desktop_options = {"panel": "none"}

    def test_popup_hangs_from_the_screens_top(self):
        self.check(self.open_page("Help", x=640), "Help", 640, TOUCH)


class OnMonitorToTheRight(PlacementCase):
    """The X server has one output, hence one monitor; but it does not begin in the screen's corner."""

    desktop_options = {"size": (2304, 900), "panel": "none", "monitor": (1280, 100, 1024, 800)}

    def test_popup_opens_within_the_monitor(self):
        popup = self.open_page("CPU", x=1800, y=500)
        for x in (1281, 1500, 1800, 2303):
            with self.subTest(x=x):
                self.reopen(popup, "CPU", x=x, y=500)
                self.check(popup, "CPU", x, 100 + TOUCH, (1280, 1024))
        self.reopen(popup, "Settings", x=1800, y=500)
        place = self.check(popup, "Settings", 1800, 100 + TOUCH, (1280, 1024))
        self.assertLessEqual(place.y + place.height, 900)


class OnSmallScreen(PlacementCase):
    desktop_options = {"size": (800, 480)}

    def check_fits(self, popup):
        place = popup.rested()
        self.assertEqual(place.y, PANEL_HEIGHT)
        self.assertLessEqual(place.y + place.height, self.desktop.size[1], "beyond the screen")
        return place

    def test_no_page_reaches_beyond_the_screen(self):
        popup = self.open_page("CPU")
        for page in PAGES:
            with self.subTest(page):
                self.reopen(popup, page)
                popup.wait_for_label(page)
                self.assertEqual(self.check_fits(popup).width, width_of(page))
                self.shot(f"small-{page}")

    def test_wheel_brings_the_settings_last_button_into_view(self):
        popup = self.open_page("Settings")
        self.check_fits(popup)
        apply = popup.find("push button", "Apply")
        place = popup.geometry()
        popup.wheel(30, at=(place.x + 150, place.y + 200))
        self.shot("small-settings-scrolled")
        self.assertTrue(popup.in_view(apply), f"{apply.extents()} in {place}")

    def test_wheel_brings_the_gear_into_view(self):
        popup = self.open_page("All Processes")
        self.check_fits(popup)
        lowest = max(popup.find_all("push button"), key=lambda widget: widget.extents()[1])
        popup.wheel(60)
        self.assertTrue(popup.in_view(lowest), f"{lowest} {lowest.extents()} in {popup.geometry()}")

    def test_help_can_be_read_to_its_end(self):
        popup = self.open_page("Help")
        self.check_fits(popup)
        last = popup.find_all("label", bool)[-1]
        self.assertFalse(popup.in_view(last))
        popup.wheel(100)
        self.assertTrue(popup.in_view(last), f"{last} {last.extents()} in {popup.geometry()}")


class OnTinyScreen(PlacementCase):
    desktop_options = {"size": (400, 300)}

    def test_left_margin_wins_where_the_popup_is_wider_than_the_screen(self):
        popup = self.open_page("All Processes", x=390)
        self.assertEqual(popup.rested()[:2], (TOUCH, PANEL_HEIGHT))


class OnBigMachine(PlacementCase):
    def machine(self, cores):
        """The kernel files of a machine with so many cores, two threads each."""
        root = self.desktop.root / f"machine-{cores}"
        subprocess.run([FIXTURES / "make_machine.py", root, "--cores", str(cores), "--threads", "2"], check=True)
        return root

    def test_all_cores_can_be_seen(self):
        for cores in (128, 256):
            with self.subTest(cores=cores):
                popup = self.open_page("CPU", machine=self.machine(cores))
                popup.wait_for_label(f"{cores} Cores")
                place = popup.rested()
                self.assertEqual((place.y, place.width), (PANEL_HEIGHT, 420))
                self.assertLessEqual(place.y + place.height, self.desktop.size[1])
                rows = popup.find_all("label", lambda text: text.strip().isdigit())
                self.assertEqual(len(rows), cores)
                self.shot(f"cores-{cores}")
                popup.wheel(100)
                self.assertTrue(popup.in_view(rows[-1]), f"{rows[-1].extents()} in {place}")
                self.shot(f"cores-{cores}-scrolled")


if __name__ == "__main__":
    unittest.main()
