"""The settings page: what each control changes, and at once."""

import os
import signal
import time
import unittest
from pathlib import Path

from desktop_test_case import BARS_WIDTH, LOCK_FILE, REFRESH_SECONDS, Picture, process_lives, settings_text
from desktop_test_case import wait_until
from popup_test_case import FIXTURES
from settings_test_case import ITEM_NAMES, SettingsCase


class SettingsPage(SettingsCase):
    def test_page_changes_nothing_by_itself(self):
        popup = self.open_settings(settings=settings_text("cpuBars"))
        content = self.settings_file.read_bytes()
        self.shot("settings")
        time.sleep(2.5)
        self.desktop.press("Escape")
        popup.wait_hidden()
        self.assertEqual(self.settings_file.read_bytes(), content)

    def test_check_boxes_switch_items_of_the_strip(self):
        popup = self.open_settings(settings=settings_text("cpuBars"))
        self.assertEqual(self.strip().width, BARS_WIDTH)
        for name in ("Memory", "CPU %"):
            before = self.strip().width
            check = popup.find("check box", name)
            self.assertNotIn("checked", check.states())
            popup.click(check)
            self.wait_strip(lambda strip: strip.width > before, f"{name} in the strip")
            self.wait_saved("items", ITEM_NAMES[name], "true")
        wide = self.strip().width
        popup.click(popup.find("check box", "CPU Bars"))
        self.wait_strip(lambda strip: strip.width < wide, "a narrower strip")
        self.wait_saved("items", "cpuBars", "false")

    def test_all_items_off_leave_the_programs_name(self):
        popup = self.open_settings(settings=settings_text("cpuBars"))
        item = self.program.item()
        popup.click(popup.find("check box", "CPU Bars"))
        self.program.wait_for(lambda: item.properties()["XAyatanaLabel"] == "Korvalune", "the label", 2)
        self.assertEqual(item.properties()["Title"], "Korvalune")
        last = self.program.newest_image()
        content = last.read_bytes()
        self.assertEqual(Picture.load(last).width, BARS_WIDTH)
        self.assertEqual(item.image(), last)
        time.sleep(REFRESH_SECONDS + 0.5)
        self.assertEqual(item.image(), last)
        self.assertEqual(last.read_bytes(), content)
        popup.click(popup.find("check box", "CPU Bars"))
        self.program.wait_for(lambda: item.properties()["XAyatanaLabel"] == "", "no label", 2)
        self.assertRegex(item.properties()["Title"], r"^CPU \d+%$")

    def test_moving_an_item_moves_it_in_the_strip(self):
        popup = self.open_settings(settings=settings_text("cpuBars", "memoryFree"))

        def bars_at(left):
            """Whether the bars, which have no transparent spots, are there."""
            return lambda strip: strip.crop(left(strip) + 2, 2, 4, strip.height - 4).count((0, 0, 0), 0) == 0

        first, last = bars_at(lambda strip: 0), bars_at(lambda strip: strip.width - BARS_WIDTH)
        self.assertTrue(first(self.strip()))
        popup.click(popup.find("push button", "CPU Bars ↓"))
        self.wait_strip(last, "bars at the end")
        self.assertEqual(list(self.saved()["items"])[:2], ["memoryFree", "cpuBars"])
        popup.click(popup.find("push button", "CPU Bars ↑"))
        self.wait_strip(first, "bars at the front")
        self.assertEqual(list(self.saved()["items"])[:2], ["cpuBars", "memoryFree"])

    def test_first_item_can_not_go_up_nor_the_last_down(self):
        popup = self.open_settings()
        ups = popup.find_all("push button", lambda text: text.endswith(" ↑"))
        downs = popup.find_all("push button", lambda text: text.endswith(" ↓"))
        self.assertEqual(["sensitive" in up.states() for up in ups], [False] + [True] * 6)
        self.assertEqual(["sensitive" in down.states() for down in downs], [True] * 6 + [False])

    def test_an_item_travels_from_top_to_bottom_under_one_key(self):
        popup = self.open_settings()
        popup.click(popup.find("push button", "CPU % ↓"))
        for _ in range(5):
            time.sleep(0.3)
            self.desktop.press("space")
        wait_until(lambda: list(self.saved()["items"])[-1] == "cpuPercent", 5, "CPU % at the end")
        self.assertTrue(popup.shown())

    def test_autostart_entry_comes_and_goes(self):
        popup = self.open_settings()
        entry = Path(self.desktop.environment["HOME"]) / ".config/autostart/Korvalune.desktop"
        entry.unlink(missing_ok=True)
        check = popup.find("check box", "Launch at Login")
        popup.click(check)
        wait_until(entry.exists, 5, "the autostart entry")
        self.assertIn("Exec=", entry.read_text())
        self.wait_saved("general", "autostart", "true")
        popup.click(check)
        wait_until(lambda: not entry.exists(), 5, "the end of the autostart entry")
        self.wait_saved("general", "autostart", "false")

    def test_theme_changes_the_popup_at_once(self):
        popup = self.open_settings()
        combo = popup.find("combo box", "Theme:")

        for theme in ("Dark", "Light", "Dark"):
            self.choose_in(popup, combo, theme)
            popup.wait_dark(theme == "Dark")
            self.wait_saved("general", "theme", theme.lower())
            self.shot(f"settings-{theme}")
        self.check_closes(popup)

    def entries_of(self, popup, combo):
        """What a list offers; it is closed again."""
        self.scroll_to(popup, combo)
        popup.click(combo)
        entries = [item.text() for item in popup.find_all("menu item")]
        self.desktop.press("Escape")
        return entries

    def test_graphics_card_is_chosen_by_name(self):
        popup = self.open_settings(machine=FIXTURES / "gpu-two")
        combo = popup.find("combo box", "GPU:")
        entries = self.entries_of(popup, combo)
        self.assertEqual(len(entries), 2, entries)
        self.choose_in(popup, combo, entries[1])
        self.wait_saved("general", "selectedGPU", entries[1])

    def test_network_interface_is_chosen_by_name(self):
        popup = self.open_settings(machine=FIXTURES / "desktop-4core")
        combo = popup.find("combo box", "NET:")
        entries = self.entries_of(popup, combo)
        self.assertEqual(set(entries), {"enp3s0 (up)", "wlp2s0", "docker0"})
        for entry in ("wlp2s0", "enp3s0 (up)"):
            self.choose_in(popup, combo, entry)
            self.wait_saved("general", "selectedNetwork", entry.removesuffix(" (up)"))


class Language(SettingsCase):
    def end_successor(self):
        """Ends the program that started itself anew."""
        if LOCK_FILE.exists() and process_lives(LOCK_FILE.read_text()):
            pid = int(LOCK_FILE.read_text())
            if Path(f"/proc/{pid}/exe").resolve() == Path(os.environ["KORVALUNE_BINARY"]).resolve():
                os.kill(pid, signal.SIGTERM)
                wait_until(lambda: not LOCK_FILE.exists(), 10, "the end of the restarted program")

    def test_apply_restarts_in_the_new_language(self):
        popup = self.open_settings()
        first = popup.program.process.pid
        self.addCleanup(self.end_successor)
        self.choose_in(popup, popup.find("combo box", "Language:"), "Deutsch")
        self.assertNotEqual(self.saved().get("general", {}).get("language"), "de", "it waits for Apply")
        popup.click(popup.find("push button", "Apply"))
        self.assertEqual(popup.program.process.wait(20), 0)
        self.assertEqual(self.saved()["general"]["language"], "de")
        wait_until(lambda: LOCK_FILE.exists() and LOCK_FILE.read_text() not in ("", str(first)), 20,
                   "a new program")
        wait_until(self.desktop.strip_shows, 20, "the strip of the new program", interval=0.25)
        items = self.desktop.items()
        self.assertEqual(str(self.desktop.process_of(items[0].name)), LOCK_FILE.read_text())

    def test_apply_without_a_change_restarts_nothing(self):
        popup = self.open_settings()
        popup.click(popup.find("push button", "Apply"))
        time.sleep(1.5)
        self.assertTrue(popup.program.running() and popup.shown())


if __name__ == "__main__":
    unittest.main()
