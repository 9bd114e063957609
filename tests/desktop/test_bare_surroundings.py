"""Starting where something of an ordinary session is missing or different."""

import shutil
import time
import unittest
from pathlib import Path

from desktop_test_case import BARS_WIDTH, END_SECONDS, IMAGES, LOCK_FILE, REFRESH_SECONDS, DesktopTestCase, Picture
from desktop_test_case import settings_text, wait_until


class BareSurroundings(DesktopTestCase):
    def draws_into(self, directory, environment):
        """Runs the program, sees its images in `directory` and ends it."""
        for name in IMAGES:
            (directory / name).unlink(missing_ok=True)
            self.addCleanup((directory / name).unlink, missing_ok=True)
        program = self.start(environment)
        program.newest_image(directory)
        self.assertEqual(program.end(), 0)
        self.assertFalse(LOCK_FILE.exists())

    def test_without_runtime_directory_images_go_to_tmp(self):
        self.draws_into(Path("/tmp"), {"XDG_RUNTIME_DIR": None})

    def test_sandboxed_images_go_to_a_private_cache_directory(self):
        cache = self.desktop.root / "sandbox/cache"
        self.draws_into(cache / "Korvalune", {"FLATPAK_ID": "example", "XDG_CACHE_HOME": str(cache)})
        self.assertEqual((cache / "Korvalune").stat().st_mode & 0o777, 0o700)

    def test_sandboxed_images_go_below_home_without_a_cache_variable(self):
        cache = Path(self.desktop.environment["HOME"]) / ".cache"
        self.draws_into(cache / "Korvalune", {"FLATPAK_ID": "example", "XDG_CACHE_HOME": None})

    def test_settings_come_from_home_without_a_config_variable(self):
        program = self.start({"XDG_CONFIG_HOME": None}, settings=settings_text("cpuBars"))
        self.assertEqual(Picture.load(program.newest_image()).width, BARS_WIDTH)
        self.assertEqual(program.end(), 0)

    def test_a_picture_that_cannot_be_put_in_place_is_not_shown(self):
        planted = [Path("/tmp") / name for name in IMAGES[1:]]
        for path in planted:
            path.mkdir()  # what a rename can't replace
            self.addCleanup(path.rmdir)
        program = self.start({"XDG_RUNTIME_DIR": None})
        item = program.item()
        wait_until(lambda: Path("/tmp/Korvalune_icon.png").exists(), 10, "a drawn image")
        self.assertEqual(item.properties()["IconName"], "korvalune")
        program.item().click("Quit")
        self.assertEqual(program.process.wait(END_SECONDS), 0)
        self.assertFalse(Path("/tmp/Korvalune_icon.png").exists())

    def test_pictures_that_can_not_be_replaced_go_on_taking_turns(self):
        program = self.start()
        item = program.item()
        program.next_image()  # both are there, and the next is not begun
        (self.desktop.runtime / IMAGES[0] / "x").mkdir(parents=True)  # where each is drawn first
        self.addCleanup(shutil.rmtree, self.desktop.runtime / IMAGES[0], ignore_errors=True)

        def pictures():
            paths = [self.desktop.runtime / name for name in IMAGES[1:]]
            return {path: (path.stat().st_mtime_ns, path.read_bytes()) for path in paths}

        last = pictures()
        shown = [item.properties()["IconName"]]
        for _ in range(3):
            program.wait_for(lambda: item.properties()["IconName"] != shown[-1], "the other picture", 10)
            shown.append(item.properties()["IconName"])
        self.assertEqual(set(shown), {"Korvalune_a", "Korvalune_b"})
        self.assertEqual(pictures(), last)
        shutil.rmtree(self.desktop.runtime / IMAGES[0])
        program.next_image()

    def test_a_directory_for_pictures_that_can_not_be_made_only_leaves_them_out(self):
        cache = self.desktop.root / "full/cache"
        cache.parent.mkdir()
        cache.write_text("a file")
        program = self.start({"FLATPAK_ID": "example", "XDG_CACHE_HOME": str(cache)})
        item = program.item()
        time.sleep(REFRESH_SECONDS + 0.5)
        self.assertEqual(item.properties()["IconName"], "korvalune")
        self.assertEqual(cache.read_text(), "a file")
        cache.unlink()
        (cache / "Korvalune").mkdir(parents=True)
        picture = program.newest_image(cache / "Korvalune")  # refreshes have gone on
        program.wait_for(lambda: item.image() == picture, "the picture in the panel", 5)


class WithoutSessionBus(DesktopTestCase):
    # The indicator and menu libraries and the accessibility bridge each say once that there is no bus.
    expected_output = (r"libayatana-appindicator-WARNING .*Unable to get the session bus",
                       r"LIBDBUSMENU-GLIB-WARNING .*Unable to get session bus",
                       r"dbind-WARNING .*Couldn't connect to accessibility bus")

    def test_refreshes_go_on_and_a_signal_ends_it(self):
        absent = f"unix:path={self.desktop.runtime}/absent"
        program = self.start({"DBUS_SESSION_BUS_ADDRESS": absent})
        program.next_image()
        program.next_image()
        self.assertEqual(self.desktop.items(), [])
        self.assertEqual(program.end(), 0)
        self.assertFalse(LOCK_FILE.exists())


if __name__ == "__main__":
    unittest.main()
