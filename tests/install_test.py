#!/usr/bin/env python3
"""An installation has everything where the desktop and the program look for it.

    CMAKE=cmake BUILD_DIRECTORY=build/release tests/install_test.py
"""

import configparser
import os
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[1]
ICON_SIZES = (16, 22, 24, 32, 48, 64, 96, 128, 192, 256, 512)


def picture_size(path):
    """Width and height in a PNG file's header."""
    header = path.read_bytes()[:24]
    assert header.startswith(b"\x89PNG"), path
    return struct.unpack(">II", header[16:])


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.prefix = Path(directory.name)
        subprocess.run([os.environ["CMAKE"], "--install", os.environ["BUILD_DIRECTORY"], "--prefix", cls.prefix],
                       check=True, stdout=subprocess.DEVNULL)

    def desktop_entry(self):
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str
        parser.read(self.prefix / "share/applications/korvalune.desktop")
        return parser["Desktop Entry"]

    def test_the_command_is_there(self):
        command = self.prefix / "bin" / self.desktop_entry()["Exec"]
        self.assertTrue(os.access(command, os.X_OK))
        self.assertEqual(command.name, "Korvalune")

    def test_the_icon_is_there_in_every_size(self):
        theme = self.prefix / "share/icons/hicolor"
        name = self.desktop_entry()["Icon"]
        self.assertIn("<svg", (theme / f"scalable/apps/{name}.svg").read_text())
        self.assertIn("<svg", (theme / f"symbolic/apps/{name}-symbolic.svg").read_text())
        for size in ICON_SIZES:
            self.assertEqual(picture_size(theme / f"{size}x{size}/apps/{name}.png"), (size, size))

    def test_the_pages_images_are_there(self):
        installed = sorted(path.name for path in (self.prefix / "share/korvalune/icons").iterdir())
        source = sorted(path.name for path in (REPOSITORY / "assets/icons").glob("*.png"))
        self.assertIn("go-up-symbolic.png", source)
        self.assertEqual(installed, source)


if __name__ == "__main__":
    unittest.main()
