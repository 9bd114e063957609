"""A running program that finds no room any more: no directory to write to, a full disk, no descriptors, no
memory. Whatever it can't do meanwhile comes back with the room."""

import os
import re
import resource
import signal
import time
import unittest
from pathlib import Path

from desktop_test_case import END_SECONDS, IMAGES, REFRESH_SECONDS, SANITIZED, DesktopTestCase, settings_text
from desktop_test_case import wait_until
from failing_kernel import FailingKernel
from popup_test_case import PAGES
from settings_portal import DARK, LIGHT, SettingsPortal
from settings_test_case import SettingsCase
from watched import Watched

# Root may write everywhere, unless it gives that up.
NO_PRIVILEGES = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if os.geteuid() == 0 else []
HAS_CORES = re.compile(r"CPU Cores \([1-9]").match


def limit(program, kind, value):
    """Sets a soft limit of a running program; none takes it away again."""
    _, hard = resource.prlimit(program.process.pid, kind)
    resource.prlimit(program.process.pid, kind, (hard if value is None else value, hard))


def descriptors(program):
    return len(list(Path(f"/proc/{program.process.pid}/fd").iterdir()))


class RuntimeDirectory(DesktopTestCase):
    """Where the panel's images should go."""

    def start_in(self, directory):
        program = self.start({"XDG_RUNTIME_DIR": str(directory)}, launcher=NO_PRIVILEGES)
        item = program.item()
        time.sleep(REFRESH_SECONDS + 1)  # it has tried to draw
        self.assertTrue(program.running())
        self.assertEqual(item.properties()["IconName"], "korvalune", "the program's own icon in the images' place")
        return program

    def test_one_that_comes_later_is_used_then(self):
        missing = self.desktop.root / "missing"
        locked = self.desktop.root / "locked"
        locked.mkdir(0o500)
        for directory, repair in ((missing, missing.mkdir), (locked, lambda: locked.chmod(0o700))):
            with self.subTest(directory.name):
                program = self.start_in(directory)
                repair()
                program.wait_for_strip()
                self.assertEqual(program.end(), 0)

    def test_one_that_can_not_be_used_costs_only_the_images(self):
        file = self.desktop.root / "file"
        file.touch()
        for directory in (file, Path("/proc")):
            with self.subTest(directory):
                self.assertEqual(self.start_in(directory).end(), 0)


class HomeDirectory(SettingsCase):
    """Where the settings should go."""

    # What keeps its own files there says once that it can't.
    expected_output = (r"dconf-(WARNING|CRITICAL) ",)

    def home(self, name, mode):
        home = self.desktop.root / name
        home.mkdir(mode)
        return home

    def switch(self, popup, name):
        popup.click(popup.find("check box", name))

    def checked(self, popup, name):
        return "checked" in popup.find("check box", name).states()

    def test_choices_hold_for_the_session_where_nothing_can_be_written(self):
        home = self.home("locked-home", 0o500)
        popup = self.open_settings(environment={"HOME": str(home), "XDG_CONFIG_HOME": str(home / ".config"),
                                                "XDG_CACHE_HOME": None, "XDG_DATA_HOME": None},
                                   launcher=NO_PRIVILEGES)
        before = self.strip().width
        self.switch(popup, "Memory")
        self.wait_strip(lambda strip: strip.width < before, "a narrower strip", 3)
        popup.click(popup.find("push button", "CPU % ↓"))
        self.switch(popup, "Launch at Login")
        popup.find("label", "CPU Bars")
        self.desktop.press("Escape")
        popup.wait_hidden()
        self.reopen(popup, "Settings")
        self.assertFalse(self.checked(popup, "Memory"))
        self.assertFalse(self.checked(popup, "Launch at Login"), "what is to outlive the session is not promised")
        self.assertEqual(list(home.iterdir()), [])

        # As soon as there is room, the next choice saves them all.
        home.chmod(0o700)
        self.switch(popup, "Swap Used")
        saved = home / ".config/Korvalune/settings.conf"
        wait_until(saved.exists, 5, "the file")
        text = saved.read_text()
        for line in ("memoryFree=false", "swapUsed=false"):
            self.assertIn(line, text)
        self.assertLess(text.index("cpuBars="), text.index("cpuPercent="))

    def test_without_a_home_the_configuration_directory_is_enough(self):
        popup = self.open_settings(environment={"HOME": None}, launcher=NO_PRIVILEGES)
        self.switch(popup, "Launch at Login")
        self.wait_saved("general", "autostart", "true")
        self.switch(popup, "Memory")
        self.wait_saved("items", "memoryFree", "false")


class FullDisk(SettingsCase):
    ROOM = 100  # bytes that a file may still have: less than an image or the settings take

    def test_images_and_settings_stay_whole_and_are_replaced_when_there_is_room(self):
        popup = self.open_settings(settings=settings_text("cpuBars", "memoryFree", "swapUsed"))
        program = self.program
        program.next_image()
        program.wait_for_strip()
        wide = self.strip().width
        settings = self.settings_file.read_bytes()

        limit(program, resource.RLIMIT_FSIZE, self.ROOM)
        time.sleep(1)  # a refresh under way has ended
        item, shown = program.item(), program.newest_image()
        images = {name: (self.desktop.runtime / name).read_bytes() for name in IMAGES[1:]}
        popup.click(popup.find("check box", "Memory"))
        for _ in range(3):
            time.sleep(REFRESH_SECONDS)
            self.assertTrue(self.desktop.strip_shows())
        self.assertTrue(item.image() in (shown, *(self.desktop.runtime / name for name in images)))
        self.assertEqual({name: (self.desktop.runtime / name).read_bytes() for name in images}, images)
        self.assertFalse((self.desktop.runtime / IMAGES[0]).exists(), "no part of an image is left")
        self.assertEqual(self.settings_file.read_bytes(), settings)
        self.assertEqual(os.listdir(self.settings_file.parent), [self.settings_file.name])

        limit(program, resource.RLIMIT_FSIZE, None)
        self.wait_strip(lambda strip: strip.width < wide, "a narrower strip", 2 * REFRESH_SECONDS)
        program.wait_for_strip()
        popup.click(popup.find("check box", "CPU %"))
        self.wait_saved("items", "cpuPercent", "true")
        self.wait_saved("items", "memoryFree", "false")


class Descriptors(SettingsCase):
    # Letters of fonts that were not needed before can't be drawn without any.
    expected_output = (r"Pango-WARNING", r"Gtk-WARNING .*Could not load a pixbuf", r"^This may indicate that pixbuf")

    def test_a_start_with_few(self):
        program = self.start({"G_DEBUG": "fatal-warnings"}, launcher=["prlimit", "--nofile=24:4096"])
        program.wait_for_strip()
        program.next_image()
        program.next_image()
        self.assertEqual(program.output(), "")

    def test_without_any_it_goes_on_and_recovers(self):
        with SettingsPortal(self.desktop, LIGHT) as portal:
            program = self.start_ready()
            program.wait_for_strip()
            before = descriptors(program)

            limit(program, resource.RLIMIT_NOFILE, 4)
            popup = self.open_page("CPU", program=program)
            popup.find("label", "CPU Cores (0)")
            portal.set_scheme(DARK)  # the answer can't be waited for
            for page in PAGES:
                self.choose(program, page)
                popup.wait_for_label(page)
            popup.wait_dark(False)
            self.assertTrue(self.desktop.strip_shows())
            self.assertFalse(Watched(program.process.pid).spins())

            limit(program, resource.RLIMIT_NOFILE, None)
            program.next_image()
            program.wait_for_strip()
            popup.wait_dark(seconds=5)  # it asks by itself
            self.desktop.press("Escape")
            popup.wait_hidden()
            popup = self.open_page("CPU", program=program)  # whose pages had been made without pictures
            popup.find("label", HAS_CORES)
            program.wait_for(lambda: descriptors(program) <= before, f"{before} descriptors", 5)
            recovered = self.page_headings(popup)
        popup = self.open_page("CPU", settings="[general]\ntheme=dark\n")
        self.assertTrue(recovered.matches(self.page_headings(popup)), "fonts and icons that could not be opened are opened again")

    def page_headings(self, popup):
        """The top of a page that draws with several fonts."""
        self.choose(popup.program, "Settings")
        popup.wait_for_label("Settings")
        time.sleep(1)  # it is drawn
        place = popup.rested()
        return popup.picture(place.x, place.y, place.width, 80)


class Memory(DesktopTestCase):
    ENDS = (-signal.SIGSEGV, -signal.SIGABRT, -signal.SIGTRAP, -signal.SIGBUS)
    expected_output = (r"GLib-ERROR", r"failed to allocate", r"std::bad_alloc", r"^terminate called", r"^\s+what\(\):")

    @staticmethod
    def kibibytes(program, name):
        return int(re.search(name + r":\s+(\d+)", Path(f"/proc/{program.process.pid}/status").read_text())[1])

    def limit_growth(self, program, kibibytes):
        limit(program, resource.RLIMIT_AS, (self.kibibytes(program, "VmSize") + kibibytes) * 1024)

    def test_the_strip_needs_no_more_than_it_has(self):
        program = self.start()
        program.wait_for_strip()
        program.next_image()
        self.limit_growth(program, 512)
        for _ in range(3):
            program.next_image()
        program.wait_for_strip()

    @unittest.skipIf(SANITIZED, "the address sanitizer maps memory of its own before it can tell of anything")
    def test_without_any_it_ends_with_a_report(self):
        # Not by a page that is opened: Pango waits for ever for a font that could not be looked for.
        huge = self.desktop.root / "huge"
        huge.write_text("cpu 1 2 3 4 5\n" * 1_000_000)
        kernel = FailingKernel(self.desktop.root)
        program = self.start(kernel.environment())
        program.wait_for_strip()
        report = self.desktop.runtime / "Korvalune_crash.txt"
        # Unlike the whole space, this counts what the heap has reserved only once it is used.
        limit(program, resource.RLIMIT_DATA, self.kibibytes(program, "VmData") * 1024)
        kernel.put(f"instead {huge} /proc/stat")
        self.assertIn(program.process.wait(END_SECONDS), self.ENDS)
        self.assertIn("=== Korvalune Crash Report ===", report.read_text())


if __name__ == "__main__":
    unittest.main()
