"""Dark and light: the popup as the desktop and the settings want it, also while it is open."""

import time
import unittest

from desktop_test_case import START_SECONDS
from popup_test_case import PAGES, PopupTestCase
from settings_portal import DARK, LIGHT, NO_PREFERENCE, SettingsPortal


class PopupLook(PopupTestCase):
    def gear(self, popup):
        """The darkest and the lightest grey (0..255) of the gear in the footer."""
        x, y, width, height = popup.find("push button", "Settings").extents()
        picture = popup.picture(x + width // 2 - 7, y + height // 2 - 7, 14, 14)
        greys = [sum(pixel) / 3 for row in picture.rows for pixel in row]
        return min(greys), max(greys)

    def check_look(self, popup, dark):
        popup.wait_dark(dark)
        time.sleep(0.3)  # the theme's own fading
        darkest, lightest = self.gear(popup)
        if dark:
            self.assertGreater(lightest, 180, "a light gear")
        else:
            self.assertLess(darkest, 110, "a dark gear")

    def test_the_open_popup_follows_the_desktop(self):
        with SettingsPortal(self.desktop, LIGHT) as portal:
            popup = self.open_page("CPU")
            self.check_look(popup, dark=False)
            place = popup.rested()
            for scheme in (DARK, LIGHT, DARK, NO_PREFERENCE):
                portal.set_scheme(scheme)
                self.check_look(popup, dark=scheme == DARK)
                self.shot(f"look-{scheme}")
            self.assertEqual(popup.rested(), place)

    def test_a_hidden_popup_follows_as_well(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            popup = self.open_page("Settings")
            self.check_look(popup, dark=True)
            self.desktop.press("Escape")
            popup.wait_hidden()
            portal.set_scheme(LIGHT)
            self.reopen(popup, "Settings")
            self.check_look(popup, dark=False)

    def test_chosen_themes_hold_against_the_desktop(self):
        for theme, against in (("dark", LIGHT), ("light", DARK)):
            with self.subTest(theme), SettingsPortal(self.desktop, against) as portal:
                popup = self.open_page("Help", settings=f"[general]\ntheme={theme}\n")
                self.check_look(popup, dark=theme == "dark")
                for scheme in (NO_PREFERENCE, against):
                    portal.set_scheme(scheme)
                    time.sleep(0.7)
                    self.check_look(popup, dark=theme == "dark")

    def test_an_unknown_theme_counts_as_automatic(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            popup = self.open_page("Help", settings="[general]\ntheme=purple\n")
            for scheme in (DARK, LIGHT):
                portal.set_scheme(scheme)
                self.check_look(popup, dark=scheme == DARK)

    def test_gtk_theme_decides_without_a_portal(self):
        for theme, dark in (("Adwaita-dark", True), ("Adwaita", False)):
            with self.subTest(theme):
                gtk = self.desktop.config / "gtk-3.0/settings.ini"
                gtk.parent.mkdir(exist_ok=True)
                gtk.write_text(f"[Settings]\ngtk-theme-name={theme}\n")
                self.addCleanup(gtk.unlink, missing_ok=True)
                popup = self.open_page("CPU")
                self.check_look(popup, dark)

    def test_a_silent_portal_does_not_hold_up_the_start(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            portal.delay = 2 * START_SECONDS  # longer than the item is waited for
            self.start().item()

    def test_every_page_in_both_looks(self):
        with SettingsPortal(self.desktop, LIGHT) as portal:
            popup = self.open_page(PAGES[0])
            for scheme, name in ((LIGHT, "light"), (DARK, "dark")):
                portal.set_scheme(scheme)
                popup.wait_dark(scheme == DARK)
                for page in PAGES:
                    with self.subTest(page, look=name):
                        self.reopen(popup, page)
                        self.check_look(popup, dark=scheme == DARK)
                        self.shot(f"{name}-{page}")


if __name__ == "__main__":
    unittest.main()
