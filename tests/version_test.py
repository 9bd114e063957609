#!/usr/bin/env python3
"""CMakeLists.txt alone says which version this is; whatever else has to name it says the same.

    BUILD_DIRECTORY=build/release tests/version_test.py
"""

import os
import re
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent

# Files that name it in a form of their own: what stands around it, of which the first place counts, and what may
# stand there instead.
PLACES = (
    ("CHANGELOG.md", r"^## \[?v?([0-9][^\] \n]*)", r"^## Unreleased$"),
    ("debian/changelog", r"\Akorvalune \(([^-)]+)", None),
    ("snap/snapcraft.yaml", r"^version: *['\"]?([^'\"\n]+)", r"^adopt-info: "),
)

# Where people and scripts may write the program's name with a version, such as a package's file name.
PROSE = ("*.md", "docs/**/*.md", "packaging/**/*", "snap/**/*", "debian/*", "debian/tests/*", "scripts/*", ".ci/*",
         ".github/**/*")
NAME_AND_VERSION = re.compile(r"\bkorvalune[-_ ]v?([0-9]+(?:\.[0-9]+)+)", re.IGNORECASE)
# What tells of older versions.
HISTORIES = ("CHANGELOG.md", "debian/changelog")


def project(field):
    """What CMakeLists.txt says of the project, by a regular expression."""
    return re.search(field, (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8"), re.MULTILINE)[1]


VERSION = project(r"^project\(\w+ VERSION ([0-9.]+) ")
RELEASE_DATE = project(r"^set\(KORVALUNE_RELEASE_DATE ([0-9-]+)\)")


def text_of(path):
    return path.read_bytes().decode("utf-8", "replace")


def prose_files():
    found = {path for pattern in PROSE for path in SOURCE.glob(pattern) if path.is_file()}
    return sorted(found - {SOURCE / name for name in HISTORIES})


class VersionTest(unittest.TestCase):
    def test_every_place_names_this_version(self):
        for name, version, instead in PLACES:
            with self.subTest(name):
                path = SOURCE / name
                named = re.search(version, text_of(path), re.MULTILINE)
                if named:
                    self.assertEqual(named[1], VERSION)
                else:
                    self.assertRegex(text_of(path), re.compile(instead or version, re.MULTILINE))

    def test_the_name_comes_with_no_other_version(self):
        self.assertIn(SOURCE / "README.md", prose_files())
        for path in prose_files():
            with self.subTest(path.name):
                named = set(NAME_AND_VERSION.findall(text_of(path)))
                self.assertEqual(named - {VERSION}, set())


class BuiltTest(unittest.TestCase):
    """What is generated has the version from there."""

    def built(self, name):
        return Path(os.environ["BUILD_DIRECTORY"]) / name

    def test_the_program_is_told_it(self):
        self.assertIn(f'kVersion = "v{VERSION}";', text_of(self.built("generated/maker.h")))

    def test_the_metainfo_has_it_as_its_newest_release(self):
        metainfo = ElementTree.parse(next(self.built("data").glob("*.metainfo.xml")))
        release = metainfo.find("releases/release")
        self.assertEqual((release.get("version"), release.get("date")), (VERSION, RELEASE_DATE))

    def test_the_man_page_has_it_in_its_title(self):
        title = next(line for line in text_of(self.built("data/Korvalune.1")).splitlines() if line.startswith(".TH"))
        self.assertIn(f'"{RELEASE_DATE}" "Korvalune {VERSION}"', title)


if __name__ == "__main__":
    unittest.main()
