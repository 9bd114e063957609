"""What the item offers beside its picture and its menu: the figures as a title, the CPU page by a middle click."""

import re
import shutil
import time
import unittest

from gi.repository import GLib

from desktop_test_case import PANEL_HEIGHT, DesktopTestCase, settings_text
from popup_test_case import FIXTURES, Popup, PopupTestCase
from status_item import ITEM, BusRecord

MEMORY, LATER_MEMORY = "MEM 6.1G/15G", "MEM 14G/15G"
NAME = "Korvalune"
DRAWINGS_PER_TITLE = 5


class Machine:
    """A copy of a fixture machine, whose memory can be used."""

    def __init__(self, directory):
        self.root = directory / "machine"
        shutil.copytree(FIXTURES / "desktop-4core", self.root)

    def use_memory(self, left):
        """Leaves so much of it, in KiB."""
        memory = self.root / "proc/meminfo"
        scratch = memory.with_name("meminfo.new")  # a reader never sees half a file
        scratch.write_text(re.sub(r"(MemAvailable: +)\d+", rf"\g<1>{left}", memory.read_text()))
        scratch.rename(memory)

    def remove(self):
        shutil.rmtree(self.root)


def wait_for_title(program, title):
    item = program.item()
    program.wait_for(lambda: item.properties()["Title"] == title, f"the title {title!r}")


class Title(DesktopTestCase):
    def setUp(self):
        super().setUp()
        self.machine = Machine(self.desktop.root)
        self.addCleanup(self.machine.remove)

    def started(self, **start):
        program = self.start(machine=self.machine.root, **start)
        return program, program.item()

    def test_says_the_enabled_figures_in_their_order(self):
        program, _ = self.started(settings=settings_text("memoryFree", "cpuBars"))
        wait_for_title(program, f"{MEMORY} · CPU 0%")

    def test_is_the_name_without_figures(self):
        program, item = self.started(settings=settings_text())
        wait_for_title(program, NAME)
        program.wait_for(lambda: item.properties()["XAyatanaLabel"] == NAME, "the first refresh")
        self.assertEqual(item.properties()["Title"], NAME)

    def test_is_announced_when_it_changes_but_not_with_every_refresh(self):
        program, item = self.started(settings=settings_text("memoryFree"))
        wait_for_title(program, MEMORY)
        program.next_image()
        with BusRecord(self.desktop) as record:
            for _ in range(DRAWINGS_PER_TITLE + 1):
                program.next_image()
            self.assertEqual(set(record.signals(item.name)), {"NewIcon"})
            self.machine.use_memory(876544)
            wait_for_title(program, LATER_MEMORY)
        self.assertEqual(record.signals(item.name).count("NewTitle"), 1)
        with BusRecord(self.desktop) as record:
            for refresh in range(DRAWINGS_PER_TITLE - 2):
                self.machine.use_memory(refresh * 2000000)
                program.next_image()
        self.assertEqual(set(record.signals(item.name)), {"NewIcon"})


class StripCase(PopupTestCase):
    def opened(self, program):
        popup = Popup(program)
        popup.wait_shown()
        popup.wait_for_label("CPU")
        return popup

    def close(self, popup):
        self.desktop.press("Escape")
        popup.wait_hidden(5)


class MiddleClick(StripCase):
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


class InTray(StripCase):
    """Where the strip is squeezed into the panel's last square."""

    desktop_options = {"plugin": "systray"}

    def setUp(self):
        super().setUp()
        self.strip = (self.desktop.size[0] - PANEL_HEIGHT // 2, PANEL_HEIGHT // 2)
        self.machine = Machine(self.desktop.root)
        self.addCleanup(self.machine.remove)

    def tooltip(self):
        """The place below the strip, when the pointer has come and the panel has shown its tooltip there."""
        width, height = self.desktop.size
        self.desktop.pointer(width // 2, height // 2)
        self.program.wait_for(lambda: not self.panel_windows() - self.panel, "the end of the last tooltip")
        self.desktop.pointer(self.strip[0] - 1, self.strip[1])
        self.desktop.pointer(*self.strip)
        self.program.wait_for(lambda: self.panel_windows() - self.panel, "the tooltip")
        time.sleep(0.2)  # it is drawn
        return self.desktop.picture().crop(width // 2, PANEL_HEIGHT, width // 2, 100)

    def test_pointer_shows_the_title_and_middle_click_the_cpu_page(self):
        program = self.start_ready(machine=self.machine.root, settings=settings_text("memoryFree"))
        wait_for_title(program, MEMORY)
        self.panel = self.panel_windows()
        before = self.tooltip()
        self.assertTrue(self.tooltip().matches(before))
        self.machine.use_memory(876544)
        wait_for_title(program, LATER_MEMORY)
        self.assertFalse(self.tooltip().matches(before))
        self.desktop.pointer(*self.strip, "click", "2")
        self.close(self.opened(program))


if __name__ == "__main__":
    unittest.main()
