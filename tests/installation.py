"""The build under test as users get it: installed.

    CMAKE=cmake BUILD_DIRECTORY=build/release

name the tool and the build.
"""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path


def install(prefix):
    subprocess.run([os.environ["CMAKE"], "--install", build_directory(), "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL)


def build_directory():
    return Path(os.environ["BUILD_DIRECTORY"]).resolve()


class InstalledCase(unittest.TestCase):
    """`prefix` holds an installation."""

    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        cls.prefix = Path(directory.name)
        install(cls.prefix)

    def check_installed(self, path):
        self.assertTrue((self.prefix / path).is_file(), path)
