"""The settings page's lists and its colours: what opens, closes and scrolls above the rest of the page."""

import time
import unittest

from desktop_test_case import settings_text, wait_until
from settings_test_case import ITEM_NAMES, SettingsCase


class ListsAndScrolling(SettingsCase):
    desktop_options = {"size": (800, 480)}

    def test_check_boxes_are_hit_where_they_are_seen(self):
        popup = self.open_settings(settings=settings_text(*ITEM_NAMES.values()))
        for name, key in [*ITEM_NAMES.items(), ("Launch at Login", None)]:
            check = popup.find("check box", name)
            self.scroll_to(popup, check)
            x, y, width, height = check.extents()
            for at in ((x + 2, y + height // 2), (x + width // 2, y + height // 2),
                       (x + width - 2, y + height // 2)):
                with self.subTest(name, at=at):
                    before = "checked" in check.states()
                    self.desktop.pointer(*at, "click", "1")
                    self.program.wait_for(lambda: ("checked" in check.states()) != before, "a toggled box", 3)
                    now = "true" if not before else "false"
                    self.wait_saved("items" if key else "general", key or "autostart", now)
        self.shot("settings-small-bottom")

    def test_wheel_over_a_combo_scrolls_the_page_and_leaves_the_choice(self):
        popup = self.open_settings(settings="[general]\ntheme=light\n")
        content = self.settings_file.read_bytes()
        combo = popup.find("combo box", "Theme:")
        self.scroll_to(popup, combo)
        before = combo.extents()
        popup.wheel(-2, combo.middle())
        self.assertNotEqual(combo.extents(), before)
        self.assertEqual(self.settings_file.read_bytes(), content)
        self.assertTrue(popup.shown())

    def open_theme_list(self):
        popup = self.open_settings()
        combo = popup.find("combo box", "Theme:")
        self.scroll_to(popup, combo)
        popup.click(combo)
        popup.find("menu item", "Dark")
        return popup

    def test_a_choice_by_mouse_leaves_pointer_and_keyboard_with_the_popup(self):
        popup = self.open_settings()
        combo = popup.find("combo box", "Theme:")
        self.scroll_to(popup, combo)
        self.choose_in(popup, combo, "Light")
        self.wait_saved("general", "theme", "light")
        time.sleep(0.5)
        self.check_closes(popup)
        self.reopen(popup, "Settings")
        combo = popup.find("combo box", "Theme:")
        self.scroll_to(popup, combo)
        self.choose_in(popup, combo, "Dark")
        time.sleep(0.5)
        self.desktop.press("Escape")
        popup.wait_hidden(5)

    def test_escape_closes_the_list_and_then_the_popup(self):
        popup = self.open_theme_list()
        self.shot("combo-open")
        self.desktop.press("Escape")
        popup.program.wait_for(lambda: not popup.find_all("menu item"), "the end of the list", 5)
        time.sleep(0.5)
        self.assertTrue(popup.shown())
        self.assertEqual(self.saved().get("general", {}).get("theme", "auto"), "auto")
        self.desktop.press("Escape")
        popup.wait_hidden(5)

    def test_click_beside_an_open_list_closes_it_and_the_next_the_popup(self):
        popup = self.open_theme_list()
        time.sleep(0.3)
        self.desktop.pointer(10, 460, "click", "1")
        popup.program.wait_for(lambda: not popup.find_all("menu item"), "the end of the list", 5)
        time.sleep(0.5)
        if popup.shown():
            self.check_closes(popup)

    def test_a_choice_by_keyboard(self):
        popup = self.open_theme_list()
        time.sleep(0.3)
        self.desktop.press("Down", "Down", "Return")
        self.wait_saved("general", "theme", "dark")
        popup.wait_dark()
        time.sleep(0.5)  # faster than that nobody clicks
        self.assertTrue(popup.shown())
        self.check_closes(popup)


class ColourSheet(SettingsCase):
    @staticmethod
    def colour_button(popup, name="Memory"):
        return popup.find("push button", lambda text: text.startswith(f"{name} #"))

    def open_sheet(self, name="Memory"):
        popup = self.open_settings(settings=settings_text("memoryFree"))
        place = popup.rested()
        popup.click(self.colour_button(popup, name))
        popup.find("push button", "Back")
        self.shot("colour-sheet")
        self.assertEqual(popup.rested()[:3], place[:3], "the popup stays in its place")
        return popup

    def chosen(self):
        text = self.saved().get("colors", {}).get("memoryFree")
        return text and tuple(int(text[i:i + 2], 16) for i in (1, 3, 5))

    def check_in_strip(self):
        wait_until(self.chosen, 5, "the colour in the file")
        self.wait_strip(lambda strip: strip.count(self.chosen(), 40) > 5, f"{self.chosen()} in the strip")

    def test_a_colour_by_mouse(self):
        popup = self.open_sheet()
        swatches = popup.find_all("radio button")
        self.assertGreater(len(swatches), 20)
        popup.click(swatches[9])
        popup.click(popup.find("push button", "Apply"))
        self.check_in_strip()
        first = self.chosen()
        popup.click(self.colour_button(popup))
        popup.click(popup.find_all("radio button")[12])
        popup.click(popup.find("push button", "Apply"))
        wait_until(lambda: self.chosen() != first, 5, "another colour")
        self.check_in_strip()
        self.check_closes(popup)

    def test_a_colour_by_keyboard(self):
        popup = self.open_sheet()
        self.desktop.press("Right", "Down", "space", "Return")
        self.check_in_strip()
        self.assertTrue(popup.shown())
        self.check_closes(popup)

    def test_cancel_and_escape_change_nothing(self):
        popup = self.open_sheet()
        popup.click(popup.find_all("radio button")[3])
        popup.click(popup.find("push button", "Back"))
        self.assertFalse(popup.find_all("push button", "Back"))
        popup.click(self.colour_button(popup))
        popup.find("push button", "Back")
        self.desktop.press("Escape")
        popup.program.wait_for(lambda: not popup.find_all("push button", "Back"), "the end of the sheet", 5)
        self.assertTrue(popup.shown())
        self.assertIsNone(self.chosen())
        self.check_closes(popup)

    def test_click_beside_the_popup_closes_it_with_the_sheet_open(self):
        popup = self.open_sheet()
        self.check_closes(popup)
        self.reopen(popup, "Settings")
        popup.find("check box", "Memory")
        self.assertFalse(popup.find_all("push button", "Back"))
        self.assertIsNone(self.chosen())


if __name__ == "__main__":
    unittest.main()
