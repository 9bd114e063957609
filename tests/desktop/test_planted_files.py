"""Things that lie where the program keeps its files and are not what it left there: nothing is waited for,
followed or overwritten."""

import os
import unittest
from pathlib import Path

from desktop_test_case import BARS_WIDTH, IMAGES, LOCK_FILE, START_SECONDS, Picture, settings_text, wait_until
from settings_test_case import SettingsCase

TMP = Path("/tmp")
PRECIOUS = b"precious"


class PlantedFiles(SettingsCase):
    def setUp(self):
        super().setUp()
        self.precious = self.desktop.root / "precious"
        self.precious.write_bytes(PRECIOUS)
        self.addCleanup(lambda: self.assertEqual(self.precious.read_bytes(), PRECIOUS))

    def put(self, path, kind):
        """Puts a thing of this kind at `path`, which is empty again at the test's end."""
        path.parent.mkdir(parents=True, exist_ok=True)
        self.addCleanup(self.clear, path)
        self.clear(path)
        if kind == "pipe":
            os.mkfifo(path)
        elif kind == "directory":
            path.mkdir()
        else:
            path.symlink_to({"link": self.precious, "link to nothing": self.desktop.root / "absent",
                             "link to itself": path, "endless device": "/dev/zero", "terminal": "/dev/tty"}[kind])

    @staticmethod
    def clear(path):
        if path.is_dir() and not path.is_symlink():
            path.rmdir()
        else:
            path.unlink(missing_ok=True)

    def test_in_the_lock_files_place(self):
        for kind in ("pipe", "link to itself", "endless device"):
            with self.subTest(kind):
                self.put(LOCK_FILE, kind)
                program = self.start()
                program.newest_image()
                self.assertEqual(program.end(), 0)
                self.clear_images()

    def clear_images(self):
        for name in IMAGES:
            (self.desktop.runtime / name).unlink(missing_ok=True)

    def test_in_the_images_places(self):
        for kind in ("link", "link to nothing", "pipe"):
            with self.subTest(kind):
                for name in IMAGES:
                    self.put(TMP / name, kind)
                program = self.start({"XDG_RUNTIME_DIR": None})
                program.wait_for_strip()
                shown = program.item().image()
                self.assertEqual(shown.parent, TMP)
                self.assertTrue(shown.is_file() and not shown.is_symlink())
                self.assertEqual(program.end(), 0)
        self.assertFalse((self.desktop.root / "absent").exists())

    def test_in_the_settings_place(self):
        for kind in ("pipe", "directory", "link to itself", "endless device", "terminal"):
            with self.subTest(kind):
                self.put(self.settings_file, kind)
                popup = self.open_settings()
                self.program.next_image()  # the one at the start has no figures yet
                before = Picture.load(self.program.next_image()).width
                popup.click(popup.find("check box", "Memory"))
                self.wait_strip(lambda strip, before=before: strip.width < before, "a narrower strip", START_SECONDS)
                self.assertFalse(self.settings_file.is_file() and not self.settings_file.is_symlink())

    def test_settings_behind_a_link_are_read_and_written_where_they_are(self):
        elsewhere = self.desktop.root / "dotfiles.conf"
        elsewhere.write_text(settings_text("cpuBars"))
        self.settings_file.parent.mkdir(exist_ok=True)
        self.settings_file.symlink_to(elsewhere)
        popup = self.open_settings()
        self.assertEqual(self.strip().width, BARS_WIDTH)
        popup.click(popup.find("check box", "Memory"))
        wait_until(lambda: "memoryFree=true" in elsewhere.read_text(), 5, "the choice in the file")
        self.assertTrue(self.settings_file.is_symlink())

    def test_settings_of_any_size_start_the_program(self):
        contents = {"one endless line": b"[items]\ncpuBars=true\n" + b"x" * 60_000_000,
                    "endlessly many items": b"[items]\n" + b"cpuBars=true\n" * 4_000_000,
                    "endlessly many colours": b"[colors]\n" + b"".join(b"%d=#FFFFFF\n" % n for n in range(300_000)),
                    "zeros": bytes(60_000_000),
                    "beyond all measure": b"[items]\n" + b"cpuBars=true\n" * 6_000_000}
        for case, content in contents.items():
            with self.subTest(case):
                program = self.start(settings=content)
                self.assertGreater(Picture.load(program.newest_image()).width, 0)
                self.assertEqual(program.end(), 0)
                self.assertEqual(self.settings_file.stat().st_size, len(content))
                self.clear_images()


if __name__ == "__main__":
    unittest.main()
