"""Whether the program finds out what the desktop prefers, dark or light, and hears of a change."""

import os
import select
import subprocess
import time
import unittest

from desktop_test_case import VirtualDesktop
from settings_portal import APPEARANCE, DARK, LIGHT, NO_PREFERENCE, GLib, RealPortal, SettingsPortal

SECONDS = 20  # for a sanitized program on a busy machine


class Probe:
    """The part of the program in question, run alone; see look_probe.cpp."""

    def __init__(self, desktop, environment):
        self._errors_path = desktop.root / "probe.log"
        variables = {"G_DEBUG": "fatal-warnings", "NO_AT_BRIDGE": "1", **environment}
        with open(self._errors_path, "wb") as errors:
            self._process = desktop.run([os.environ["LOOK_PROBE"]], variables, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=errors)

    def say(self, word):
        self._process.stdin.write(f"{word}\n".encode())
        self._process.stdin.flush()

    def hears(self, seconds):
        """Whether it has something to tell within that time."""
        return bool(select.select([self._process.stdout], [], [], seconds)[0])

    def answer(self):
        if not self.hears(SECONDS):
            raise AssertionError("no answer")
        return self._process.stdout.readline().decode().strip()

    def ask(self, word="ask"):
        self.say(word)
        return self.answer()

    def end(self):
        """The exit status and what it printed besides its answers."""
        self._process.stdin.close()
        status = self._process.wait(SECONDS)
        self._process.stdout.close()
        return status, self._errors_path.read_text()


class DesktopLook(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = VirtualDesktop(panel="none", window_manager="none")
        cls.addClassCleanup(cls.desktop.stop)
        cls.desktop.start()

    def start(self, gtk_settings="", **environment):
        """The probe, for a user with these lines in the GTK settings file."""
        settings_file = self.desktop.config / "gtk-3.0/settings.ini"
        settings_file.parent.mkdir(exist_ok=True)
        settings_file.write_text(f"[Settings]\n{gtk_settings}\n")
        probe = Probe(self.desktop, environment)
        self.addCleanup(lambda: self.assertEqual(probe.end(), (0, "")))
        return probe

    def start_without_portal(self, gtk_settings=""):
        return self.start(gtk_settings, DBUS_SESSION_BUS_ADDRESS="disabled:")

    # ---- what the portal says ----

    def test_the_portals_preference_counts(self):
        with SettingsPortal(self.desktop) as portal:
            probe = self.start()
            for scheme, look in ((DARK, "dark"), (LIGHT, "light"), (DARK, "dark"), (NO_PREFERENCE, "light")):
                portal.set_scheme(scheme)
                self.assertEqual(probe.ask(), look)
            self.assertEqual(portal.questions, 4)

    def test_the_answer_may_be_wrapped_any_number_of_times(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            probe = self.start()
            for portal.nesting in (0, 1, 5):
                self.assertEqual(probe.ask(), "dark")

    def test_the_portal_wins_over_the_gtk_settings(self):
        with SettingsPortal(self.desktop, LIGHT):
            probe = self.start("gtk-theme-name=Adwaita-dark\ngtk-application-prefer-dark-theme=1")
            self.assertEqual(probe.ask(), "light")

    def test_an_answer_without_a_preference_leaves_it_to_the_gtk_settings(self):
        answers = [GLib.Variant("u", NO_PREFERENCE), GLib.Variant("u", 3), GLib.Variant("i", LIGHT),
                   GLib.Variant("s", "prefer-light"), GLib.Variant("(u)", (LIGHT,)), None]
        with SettingsPortal(self.desktop) as portal:
            probe = self.start("gtk-theme-name=Adwaita-dark")
            for portal.answer in answers:
                self.assertEqual(probe.ask(), "dark", portal.answer)

    def test_a_slow_portal_is_not_waited_for(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            probe = self.start()
            portal.delay = 5
            began = time.monotonic()
            self.assertEqual(probe.ask(), "light")  # the answer would have been dark
            self.assertGreater(time.monotonic() - began, 0.4)

    # ---- without the portal ----

    def test_without_any_word_it_is_light(self):
        self.assertEqual(self.start_without_portal().ask(), "light")

    def test_a_dark_theme_name_in_any_letter_case_counts(self):
        for name, look in (("Adwaita-dark", "dark"), ("NightDARKness", "dark"), ("Adwaita", "light")):
            self.assertEqual(self.start_without_portal(f"gtk-theme-name={name}").ask(), look, name)

    def test_the_users_wish_for_dark_windows_counts_whatever_the_program_looks_like(self):
        probe = self.start_without_portal("gtk-application-prefer-dark-theme=1")
        self.assertEqual([probe.ask(), probe.ask("light"), probe.ask()], ["dark", "applied", "dark"])

    def test_the_programs_own_look_is_not_taken_for_the_users_wish(self):
        probe = self.start_without_portal()
        self.assertEqual([probe.ask("dark"), probe.ask()], ["applied", "light"])

    def test_no_bus_is_found_out_silently_and_at_once(self):
        for address in (None, "disabled:", "unix:path=/nonexistent", "nonsense", ""):
            with self.subTest(address):
                # GDBus would wait for a bus for longer than this is patient.
                self.assertEqual(self.start(DBUS_SESSION_BUS_ADDRESS=address).ask(), "light")

    # ---- changes ----

    def test_only_a_change_of_the_look_is_reported(self):
        with SettingsPortal(self.desktop, LIGHT) as portal:
            probe = self.start()
            self.assertEqual(probe.ask(), "light")
            portal.emit(GLib.Variant("(s)", ("x",)))
            portal.emit(GLib.Variant("(ssu)", (APPEARANCE, "color-scheme", DARK)))
            portal.emit(GLib.Variant("()", ()))
            portal.announce(key="accent-color")
            portal.announce(namespace="org.gnome.desktop.interface")
            probe.say("wait")
            self.assertFalse(probe.hears(0.5))
            portal.set_scheme(DARK)
            self.assertEqual(probe.answer(), "changed")
            self.assertEqual(probe.ask(), "dark")

    def test_the_desktops_own_switch_is_followed(self):
        with RealPortal(self.desktop) as portal:
            probe = self.start()
            self.assertEqual(probe.ask(), "light")
            for dark, look in ((True, "dark"), (False, "light")):
                portal.set_dark(dark)
                self.assertEqual(probe.ask("wait"), "changed")
                self.assertEqual(probe.ask(), look)


if __name__ == "__main__":
    unittest.main()
