#!/usr/bin/env python3
"""An installation has everything where the desktop and the program look for it.

    CMAKE=cmake BUILD_DIRECTORY=build/release tests/install_test.py
"""

import configparser
import functools
import os
import struct
import sys
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from installation import InstalledCase

REPOSITORY = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(REPOSITORY / "tools"))
sys.dont_write_bytecode = True

import po_tables  # noqa: E402

ICON_SIZES = (16, 22, 24, 32, 48, 64, 96, 128, 192, 256, 512)
METAINFO = "share/metainfo/example.korvalune.korvalune.metainfo.xml"
LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"


def picture_size(path):
    """Width and height in a PNG file's header."""
    header = path.read_bytes()[:24]
    assert header.startswith(b"\x89PNG"), path
    return struct.unpack(">II", header[16:])


@functools.cache
def languages():
    return [po_tables.read_language(path, "msgfmt") for path in (REPOSITORY / "po").glob("*.po")]


def translations(key):
    """The texts of a key by language."""
    return {language.code: next(e.text for e in language.entries if e.key == key) for language in languages()}


class Installation(InstalledCase):
    def desktop_entry(self):
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str
        parser.read(self.prefix / "share/applications/korvalune.desktop")
        return parser["Desktop Entry"]

    def metainfo(self):
        return ElementTree.parse(self.prefix / METAINFO).getroot()

    def test_nothing_else_is_there(self):
        """By name, so that a new file is one that somebody meant."""
        found = {str(path.relative_to(self.prefix)) for path in self.prefix.rglob("*") if path.is_file()}
        expected = {"bin/Korvalune", "share/applications/korvalune.desktop", METAINFO, "share/man/man1/Korvalune.1",
                    "share/icons/hicolor/scalable/apps/korvalune.svg",
                    "share/icons/hicolor/symbolic/apps/korvalune-symbolic.svg"}
        expected |= {f"share/icons/hicolor/{size}x{size}/apps/korvalune.png" for size in ICON_SIZES}
        self.assertEqual({name for name in found if not name.startswith("share/korvalune/icons/")}, expected)

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

    def test_the_entry_is_in_every_language(self):
        entry = self.desktop_entry()
        for name, key in (("GenericName", "desktop.generic"), ("Comment", "desktop.comment"),
                          ("Keywords", "desktop.keywords")):
            texts = translations(key)
            localized = {field: text for field, text in entry.items() if field.startswith(f"{name}[")}
            self.assertEqual(localized, {f"{name}[{code}]": text for code, text in texts.items()})
            self.assertEqual(entry[name], texts["en"])

    def test_the_metainfo_names_what_is_installed(self):
        metainfo = self.metainfo()
        self.assertEqual(metainfo.findtext("id"), Path(METAINFO).name.removesuffix(".metainfo.xml"))
        self.assertTrue((self.prefix / "share/applications" / metainfo.findtext("launchable")).is_file())
        self.assertTrue((self.prefix / "bin" / metainfo.findtext("provides/binary")).is_file())
        self.assertEqual(metainfo.findtext("icon"), self.desktop_entry()["Icon"])
        for category in metainfo.iterfind("categories/category"):
            self.assertIn(category.text, self.desktop_entry()["Categories"].split(";"))

    def test_the_metainfo_is_in_every_language(self):
        metainfo = self.metainfo()
        summaries = {summary.get(LANGUAGE, "en"): summary.text for summary in metainfo.iterfind("summary")}
        self.assertEqual(summaries, translations("desktop.comment"))
        keywords = {}
        for keyword in metainfo.iterfind("keywords/keyword"):
            keywords.setdefault(keyword.get(LANGUAGE, "en"), []).append(keyword.text)
        self.assertEqual({code: ";".join(words) + ";" for code, words in keywords.items()},
                         translations("desktop.keywords"))

    def test_the_pages_images_are_there(self):
        installed = sorted(path.name for path in (self.prefix / "share/korvalune/icons").iterdir())
        source = sorted(path.name for path in (REPOSITORY / "assets/icons").glob("*.png"))
        self.assertIn("go-up-symbolic.png", source)
        self.assertEqual(installed, source)


if __name__ == "__main__":
    unittest.main()
