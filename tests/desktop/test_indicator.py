"""The strip as the panel gets it: the status item, its menu, its images."""

import unittest
from pathlib import Path

from desktop_test_case import IMAGES, PANEL_HEIGHT, REFRESH_SECONDS, BusRecord, DesktopTestCase, Picture
from desktop_test_case import wait_until
from popup_test_case import FIXTURES


class IndicatorInTopPanel(DesktopTestCase):
    def test_registers_one_active_item_under_its_id(self):
        program = self.start()
        properties = program.item().properties()
        self.assertEqual(len(self.desktop.items()), 1)
        self.assertEqual(properties["Id"], "korva-lune")
        self.assertEqual(properties["Category"], "SystemServices")
        self.assertEqual(properties["Status"], "Active")
        self.assertEqual(properties["IconThemePath"], str(self.desktop.runtime))
        self.assertEqual(properties["XAyatanaLabel"], "")

    def test_menu_holds_the_pages_settings_and_quit_in_order(self):
        menu = self.start().item().menu()
        self.assertEqual([text for _, text in menu], ["CPU", "GPU", "All Processes", "My Processes", "Help",
                                                      "About", "-", "Settings", "-", "Quit"])

    def test_images_alternate_and_are_as_high_as_the_panel(self):
        program = self.start()
        self.assertEqual(program.newest_image().name, "Korvalune_b.png")
        names = []
        for _ in range(4):
            image = program.next_image()
            names.append(image.name)
            self.assertEqual(Picture.load(image).height, PANEL_HEIGHT)
        self.assertEqual(set(names), set(IMAGES[1:]))
        self.assertTrue(all(one != two for one, two in zip(names, names[1:])), names)

    def test_item_follows_the_alternating_images(self):
        program = self.start()
        item = program.item()
        for _ in range(3):
            image = program.next_image()
            wait_until(lambda: item.image() == image, 1, f"icon {image.name}")
            self.assertEqual(item.properties()["IconAccessibleDesc"], "Korvalune")

    def test_one_signal_per_refresh_and_no_other(self):
        program = self.start(machine=FIXTURES / "desktop-4core")  # where the title stays as it is
        item = program.item()
        program.wait_for_strip()
        image = program.next_image()
        wait_until(lambda: item.image() == image, 1, "the end of this refresh")
        with BusRecord(self.desktop) as record:
            for _ in range(4):
                program.next_image()
            wait_until(lambda: len(record.signals(item.name)) >= 4, REFRESH_SECONDS / 2, "the last signal")
            self.assertEqual(record.signals(item.name), ["NewIcon"] * 4)

    def test_panel_shows_the_image_pixel_for_pixel(self):
        self.start().wait_for_strip()

    def test_strip_comes_back_with_a_new_panel(self):
        program = self.start()
        program.wait_for_strip()
        self.desktop.restart_panel()
        program.wait_for_strip()

    def test_strip_comes_back_with_a_new_panel_service(self):
        program = self.start()
        program.wait_for_strip()
        self.desktop.restart_panel(with_watcher=True)
        program.wait_for_strip()

    def test_strip_shows_when_the_panel_comes_later(self):
        self.desktop.stop_panel()
        self.addCleanup(self.desktop.start_panel)
        program = self.start()
        program.next_image()
        self.desktop.start_panel()
        program.wait_for_strip()

    def test_image_keeps_its_height_when_the_panel_goes(self):
        program = self.start()
        program.wait_for_strip()
        self.desktop.stop_panel()
        self.addCleanup(self.desktop.start_panel)
        wait_until(lambda: self.desktop.work_area()[1] == 0, 10, "the panel's room")
        for _ in range(2):
            self.assertEqual(Picture.load(program.next_image()).height, PANEL_HEIGHT)

    def test_click_on_the_strip_opens_the_menu_down_to_quit(self):
        program = self.start()
        program.wait_for_strip()
        width, height = self.desktop.size

        def below_panel():
            return self.desktop.picture().crop(0, PANEL_HEIGHT, width, height - PANEL_HEIGHT)

        bare = below_panel()
        self.addCleanup(self.desktop.pointer, width // 2, height // 2)  # the panel lights up under it
        self.desktop.pointer(width - 30, PANEL_HEIGHT // 2, "click", "1")
        program.wait_for(lambda: not below_panel().matches(bare), "the menu", interval=0.25)
        self.desktop.press("Up", "Return")
        self.assertEqual(program.process.wait(10), 0)

    def test_refreshes_leave_no_open_files_and_no_children(self):
        program = self.start()
        program.wait_for_strip()
        proc = Path(f"/proc/{program.process.pid}")

        def held():
            children = (proc / f"task/{program.process.pid}/children").read_text()
            return len(list((proc / "fd").iterdir())), children

        program.next_image()
        before = held()
        for _ in range(3):
            program.next_image()
        wait_until(lambda: held() == before, 1, f"the same open files as before, {before}")


class IndicatorInBottomPanel(DesktopTestCase):
    desktop_options = {"panel": "bottom", "window_manager": "openbox"}

    def test_image_is_as_high_as_the_panel_and_shown_whole(self):
        program = self.start()
        self.assertEqual(Picture.load(program.next_image()).height, PANEL_HEIGHT)
        program.wait_for_strip()


class IndicatorWithoutPanel(DesktopTestCase):
    desktop_options = {"panel": "none"}

    def test_height_falls_back_where_no_panel_takes_space(self):
        self.assertEqual(Picture.load(self.start().next_image()).height, 26)


if __name__ == "__main__":
    unittest.main()
