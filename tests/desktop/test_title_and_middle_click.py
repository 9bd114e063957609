"""What the item offers beside its picture and its menu: the figures as a title, the CPU page by a middle click."""

import re
import shutil
import unittest

from gi.repository import GLib

from desktop_test_case import PANEL_HEIGHT, DesktopTestCase, settings_text
from popup_test_case import FIXTURES, Popup, PopupTestCase
from status_item import ITEM, BusRecord

MEMORY, LATER_MEMORY = "MEM 6.1G/15G", "MEM 14G/15G"
NAME = "Korvalune"
DRAWINGS_PER_TITLE = 5


class Title(DesktopTestCase):
    def setUp(self):
        super().setUp()
        self.machine = self.desktop.root / "machine"
        shutil.copytree(FIXTURES / "desktop-4core", self.machine)
        self.addCleanup(shutil.rmtree, self.machine)

    def started(self, **start):
        program = self.start(machine=self.machine, **start)
        return program, program.item()

    def wait_for_title(self, program, title):
        item = program.item()
        program.wait_for(lambda: item.properties()["Title"] == title, f"the title {title!r}, not "
                         f"{item.properties()['Title']!r}")

    def use_memory(self, left):
        """Leaves so much of it, in KiB."""
        memory = self.machine / "proc/meminfo"
        memory.write_text(re.sub(r"(MemAvailable: +)\d+", rf"\g<1>{left}", memory.read_text()))

    def test_says_the_enabled_figures_in_their_order(self):
        program, _ = self.started(settings=settings_text("memoryFree", "cpuBars"))
        self.wait_for_title(program, f"{MEMORY} · CPU 0%")

    def test_is_the_name_without_figures(self):
        program, item = self.started(settings=settings_text())
        self.wait_for_title(program, NAME)
        program.wait_for(lambda: item.properties()["XAyatanaLabel"] == NAME, "the first refresh")
        self.assertEqual(item.properties()["Title"], NAME)

    def test_is_announced_when_it_changes_but_not_with_every_refresh(self):
        program, item = self.started(settings=settings_text("memoryFree"))
        self.wait_for_title(program, MEMORY)
        program.next_image()
        with BusRecord(self.desktop) as record:
            for _ in range(DRAWINGS_PER_TITLE + 1):
                program.next_image()
            self.assertEqual(set(record.signals(item.name)), {"NewIcon"})
            self.use_memory(876544)
            self.wait_for_title(program, LATER_MEMORY)
        self.assertEqual(record.signals(item.name).count("NewTitle"), 1)
        with BusRecord(self.desktop) as record:
            for refresh in range(DRAWINGS_PER_TITLE - 2):
                self.use_memory(refresh * 2000000)
                program.next_image()
        self.assertEqual(set(record.signals(item.name)), {"NewIcon"})


class MiddleClick(PopupTestCase):
    def opened(self, program):
        popup = Popup(program)
        popup.wait_shown()
        popup.wait_for_label("CPU")
        return popup

    def close(self, popup):
        self.desktop.press("Escape")
        popup.wait_hidden(5)

    def test_on_the_strip_opens_the_cpu_page(self):
        program = self.start_ready()
        program.wait_for_strip()
        popup = self.open_page("About", program=program)
        self.close(popup)
        self.desktop.pointer(self.desktop.size[0] - 30, PANEL_HEIGHT // 2, "click", "2")
        self.close(self.opened(program))

    def test_told_by_the_panel_opens_the_cpu_page(self):
        program = self.start_ready()
        item = program.item()
        for method, arguments in (("SecondaryActivate", GLib.Variant("(ii)", (0, 0))),
                                  ("XAyatanaSecondaryActivate", GLib.Variant("(u)", (0,)))):
            with self.subTest(method):
                self.desktop.pointer(700, PANEL_HEIGHT // 2)
                self.desktop.call(item.name, item.path, ITEM, method, arguments)
                popup = self.opened(program)
                self.assertEqual(popup.geometry().x, 700 - popup.geometry().width // 2)
                self.close(popup)


if __name__ == "__main__":
    unittest.main()
