"""The command with which the program is tried where there is no desktop."""

import os
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

from desktop_test_case import LOCK_FILE, Picture, binary

COMMAND = Path(__file__).resolve().parents[2] / "scripts/virtual_desktop.py"


class VirtualDesktopCommand(unittest.TestCase):
    def test_names_its_screenshot_and_ends_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number.name), tempfile.TemporaryDirectory() as directory:
                screenshot = Path(directory) / "strip.png"
                command = subprocess.Popen([COMMAND, "--screenshot", screenshot, "--", binary()],
                                           stdout=subprocess.PIPE, text=True, start_new_session=True)
                with command.stdout as output:
                    self.assertEqual(output.readline().strip(), str(screenshot))
                    picture = Picture.load(screenshot)
                    self.assertGreater(picture.crop(picture.width // 2, 0, picture.width // 2, 28)
                                       .count((0x40, 0x90, 0xFF), 40), 5, "the labels' blue")
                    command.send_signal(number)
                    self.assertEqual(command.wait(20), 0)
                self.assertFalse(LOCK_FILE.exists(), "the program was ended by a signal it handles")
                self.assertEqual(self.left_behind(), [])

    @staticmethod
    def left_behind():
        """Processes that carry a virtual desktop's mark."""
        found = []
        for entry in Path("/proc").iterdir():
            if entry.name.isdigit() and int(entry.name) != os.getpid():
                try:
                    if b"KORVALUNE_VIRTUAL_DESKTOP=" in (entry / "environ").read_bytes():
                        found.append((entry / "cmdline").read_bytes())
                except OSError:
                    continue
        return found


if __name__ == "__main__":
    unittest.main()
