#!/usr/bin/env python3
"""An installation has everything where the desktop and the program look for it.

    CMAKE=cmake BUILD_DIRECTORY=build/release tests/install_test.py
"""

import configparser
import os
import subprocess
import tempfile
import unittest
from pathlib import Path


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

    def test_the_icon_is_there(self):
        icon = self.prefix / "share/icons/hicolor/scalable/apps" / (self.desktop_entry()["Icon"] + ".svg")
        self.assertIn("<svg", icon.read_text())

    def test_the_directory_of_the_pages_images_is_there(self):
        self.assertTrue((self.prefix / "share/korvalune/icons").is_dir())


if __name__ == "__main__":
    unittest.main()
