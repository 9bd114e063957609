"""The program as a package has installed it: seen in a panel, worked with, ended; and what it leaves behind.

debian/tests/installed-program starts it.
"""

import os
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "desktop"))

from desktop_test_case import IMAGES, LOCK_FILE, DesktopTestCase, binary, wait_until  # noqa: E402
from popup_test_case import PopupTestCase  # noqa: E402

SETTINGS = ".config/Korvalune/settings.conf"


class InstalledProgram(PopupTestCase):
    def test_it_is_seen_and_used_and_leaves_nothing_but_its_settings(self):
        # The desktop's own programs write into the session's home.
        home = self.desktop.root / "users-home"
        home.mkdir()
        variables = {"HOME": str(home), "G_DEBUG": None}
        for name in ("CONFIG_HOME", "CACHE_HOME", "DATA_HOME", "STATE_HOME"):
            variables[f"XDG_{name}"] = None  # all of them below the home
        program = self.start_ready(environment=variables)
        program.wait_for_strip()
        self.shot("strip")

        self.open_panel_menu()
        self.shot("menu")
        self.desktop.press("Escape")

        popup = self.open_page("Settings", program=program)
        self.shot("settings")
        popup.click(popup.find("check box", "Memory"))
        wait_until((home / SETTINGS).exists, 5, "the settings file")
        self.desktop.press("Escape")
        popup.wait_hidden()

        program.item().click("Quit")
        self.assertEqual(program.process.wait(10), 0)
        self.assertFalse(LOCK_FILE.exists())
        self.assertEqual([name for name in IMAGES if (self.desktop.runtime / name).exists()], [])
        left = [str(path.relative_to(home)) for path in home.rglob("*") if not path.is_dir()]
        self.assertEqual(left, [SETTINGS])


class DebugSymbols(DesktopTestCase):
    """With the package of debug symbols beside it."""

    def test_they_name_what_a_crash_report_lists(self):
        report = self.desktop.runtime / "Korvalune_crash.txt"
        program = self.start({"G_DEBUG": None})
        program.item()
        self.assertEqual(program.end(signal.SIGSEGV), -signal.SIGSEGV)
        offsets = re.findall(rf"^{re.escape(str(binary()))}\(\w*\+(0x[0-9a-f]+)\)", report.read_text(), re.MULTILINE)
        self.assertGreater(len(offsets), 1, report.read_text())
        named = subprocess.run(["addr2line", "--demangle", "--functions", "--exe", binary(), *offsets],
                               env={**os.environ, "LC_ALL": "C"}, check=True, capture_output=True, text=True).stdout
        self.assertRegex(named, r"(?m)^crashHandler\(int\)\n\S*src/crash_handler\.cpp:\d+")
        self.assertRegex(named, r"(?m)^main\n\S*src/main\.cpp:\d+")


if __name__ == "__main__":
    unittest.main()
