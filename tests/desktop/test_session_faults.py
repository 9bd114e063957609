"""Parts of the session that die while the program runs: the buses, the panel, the display."""

import os
import signal
import time
import unittest

from desktop_test_case import END_SECONDS, LOCK_FILE, START_SECONDS, DesktopTestCase, wait_until
from popup_test_case import Popup, PopupTestCase
from watched import Watched

from preload import preloaded  # one of the scripts

ASK_SECONDS = 3  # between two looks for a bus
PATIENCE_SECONDS = 5  # for which the panel is not heard at the start while the bus is missing


class SessionBus(PopupTestCase):
    desktop_options = {"window_manager": "openbox"}  # which needs no bus
    # The accessible bus dies with the session bus but leaves its address at the X server.
    expected_output = (r"dbind-WARNING .*Couldn't connect to accessibility bus",)

    def tearDown(self):
        # What came in the started program's place is not the test case's own to end.
        if LOCK_FILE.exists():
            successor = Watched(LOCK_FILE.read_text())
            if successor.pid != self.program.process.pid and successor.lives():
                os.kill(successor.pid, signal.SIGTERM)
                wait_until(lambda: not successor.lives(), START_SECONDS, "the end of the program")

    def bus_dies(self, program):
        self.desktop.stop_bus()
        self.desktop.stop_panel()  # most panels die with their bus
        time.sleep(1)
        self.assertTrue(program.lives())

    def bus_is_back_after(self, program):
        """The program that is then in the panel."""
        self.desktop.start_bus()
        self.desktop.start_panel()
        wait_until(lambda: not program.lives(), START_SECONDS, "the end of the program without a bus")
        wait_until(self.desktop.strip_shows, START_SECONDS, "the strip in the new panel", interval=0.25)
        return Watched(self.desktop.process_of(self.desktop.items()[0].name))

    def test_the_strip_is_back_with_the_bus(self):
        first = Watched(self.start_ready().process.pid)
        self.program.wait_for_strip()
        self.bus_dies(first)
        second = self.bus_is_back_after(first)
        self.assertEqual(self.program.process.wait(), 0)
        self.assertEqual(LOCK_FILE.read_text(), str(second.pid))

        # The one that came can do it again, with its popup open as well.
        self.desktop.pointer(600, 14)
        self.desktop.items()[0].click("Help")
        popup = Popup(self.program)
        windows = wait_until(lambda: popup.xdotool("search", "--onlyvisible", "--pid", second.pid), 10, "the popup")
        self.bus_dies(second)
        self.assertEqual(popup.xdotool("search", "--onlyvisible", "--pid", second.pid), windows)
        self.desktop.press("Escape")
        wait_until(lambda: not popup.xdotool("search", "--onlyvisible", "--pid", second.pid), 5, "a closed popup")
        self.bus_is_back_after(second)
        self.assertEqual(len(self.desktop.items()), 1)


class LateBus(DesktopTestCase):
    desktop_options = {"window_manager": "openbox"}
    expected_output = (r"libayatana-appindicator-WARNING .*Unable to get the session bus",
                       r"LIBDBUSMENU-GLIB-WARNING .*Unable to get session bus",
                       r"dbind-WARNING .*Couldn't connect to accessibility bus")

    def test_the_strip_comes_with_the_bus(self):
        self.desktop.stop_bus()
        self.desktop.stop_panel()
        program = self.start()
        program.next_image()
        self.desktop.start_bus()
        self.assertEqual(program.process.wait(END_SECONDS), 0)
        self.addCleanup(lambda: os.kill(int(LOCK_FILE.read_text()), signal.SIGTERM))
        self.desktop.start_panel()
        wait_until(self.desktop.strip_shows, START_SECONDS, "the strip in the panel", interval=0.25)


class BusyStart(DesktopTestCase):
    """What it does to the libraries: they ask for the bus in threads, which may run when all else is known."""

    def start_with_bus_after(self, milliseconds):
        return self.start({**preloaded(os.environ["LATE_BUS_LIBRARY"]), "LATE_BUS": str(milliseconds)})


class SlowStart(BusyStart):
    def test_the_host_is_not_missed(self):
        program = self.start_with_bus_after(500)
        program.wait_for_strip()
        self.assertEqual(program.item().image(), program.newest_image())


class EndlessStart(BusyStart):
    expected_output = (r"GLib-GIO-CRITICAL .*g_dbus_proxy_new: assertion 'G_IS_DBUS_CONNECTION",)

    def test_nothing_is_held_up_for_ever(self):
        program = self.start_with_bus_after(1000 * (PATIENCE_SECONDS + 1))
        program.next_image()
        program.wait_for(lambda: "CRITICAL" in program.output(), "a host that was missed")
        time.sleep(1)
        self.assertEqual(self.desktop.items(), [])
        self.desktop.restart_panel(with_watcher=True)
        program.wait_for_strip()


class Logout(DesktopTestCase):
    desktop_options = {"panel": "none", "window_manager": "none"}

    def test_without_a_bus_it_ends_with_the_display(self):
        program = self.start()
        program.next_image()
        self.desktop.stop_bus()
        time.sleep(ASK_SECONDS + 1)
        self.assertFalse(Watched(program.process.pid).spins())
        self.assertTrue(program.running())
        self.desktop.stop_display()
        program.process.wait(5)


class AccessibleBus(PopupTestCase):
    def test_its_end_leaves_the_program_and_its_popup_alone(self):
        popup = self.open_page("CPU")
        process = Watched(self.program.process.pid)
        self.desktop.stop_accessible_bus()
        self.assertFalse(process.spins())
        self.program.next_image()
        self.desktop.press("Escape")
        popup.wait_hidden()
        self.reopen(popup, "Help")
        self.program.wait_for_strip()


class Panel(DesktopTestCase):
    CRASHES = 10

    def match_rules(self, item):
        """The signals that the program has asked the bus for."""
        rules = self.desktop.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Debug.Stats",
                                  "GetAllMatchRules")[0]
        return sorted(rules[item.name])

    def held(self, process, item):
        return process.descriptors(), self.match_rules(item)

    def test_its_crashes_leave_one_item_and_nothing_behind(self):
        program = self.start()
        process = Watched(program.process.pid)
        program.wait_for_strip()
        item = program.item()
        before = None
        for crash in range(self.CRASHES):
            self.desktop.restart_panel(with_watcher=crash % 2 == 1)
            program.wait_for_strip()
            self.assertEqual([again.name for again in self.desktop.items()], [item.name])
            before = before or self.held(process, item)  # after the first: it may keep something for all
        wait_until(lambda: self.held(process, item) == before, 5, f"no more than {before}")

    def test_a_long_absence_of_every_panel_costs_nothing(self):
        program = self.start()
        process = Watched(program.process.pid)
        program.wait_for_strip()
        item = program.item()
        before = self.held(process, item)
        self.desktop.stop_panel()
        self.addCleanup(self.desktop.start_panel)
        for _ in range(3):
            program.next_image()
        self.assertFalse(process.spins())
        self.desktop.start_panel()
        program.wait_for_strip()
        self.assertEqual(item.image(), program.newest_image())
        wait_until(lambda: self.held(process, item) == before, 5, f"no more than {before}")


if __name__ == "__main__":
    unittest.main()
