"""One program per user: the lock file, the second start, and the ways to end."""

import os
import signal
import subprocess
import time
import unittest

from desktop_test_case import IMAGES, LOCK_FILE, DesktopTestCase, wait_until


def ended_process():
    """The number of a process that has just ended."""
    process = subprocess.Popen(["true"])
    process.wait()
    return process.pid


class SingleInstance(DesktopTestCase):
    def started(self):
        program = self.start()
        program.item()
        program.newest_image()
        return program

    def images(self):
        return [name for name in IMAGES if (self.desktop.runtime / name).exists()]

    def test_lock_file_holds_the_process_id_and_nothing_else(self):
        program = self.started()
        self.assertEqual(LOCK_FILE.read_text(), str(program.process.pid))

    def test_quit_removes_lock_and_images(self):
        program = self.started()
        program.next_image()
        program.item().click("Quit")
        self.assertEqual(program.process.wait(10), 0)
        self.assertFalse(LOCK_FILE.exists())
        self.assertEqual(self.images(), [])
        wait_until(lambda: not self.desktop.items(), 5, "the end of the item")

    def test_signals_remove_the_lock_and_leave_the_images(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number.name):
                program = self.started()
                program.next_image()
                self.assertEqual(program.end(number), 0)
                self.assertFalse(LOCK_FILE.exists())
                self.assertEqual(self.images(), ["Korvalune_a.png", "Korvalune_b.png"])

    def test_second_start_ends_at_once_and_shows_nothing(self):
        first = self.started()
        begin = time.monotonic()
        second = self.start()
        self.assertEqual(second.process.wait(10), 0)
        self.assertLess(time.monotonic() - begin, 5)
        self.assertEqual(len(self.desktop.items()), 1)
        self.assertTrue(first.running())
        self.assertEqual(LOCK_FILE.read_text(), str(first.process.pid))

    def test_lock_of_any_living_process_blocks_the_start(self):
        LOCK_FILE.write_text(str(os.getpid()))
        program = self.start()
        self.assertEqual(program.process.wait(10), 0)
        self.assertEqual(self.desktop.items(), [])
        self.assertEqual(LOCK_FILE.read_text(), str(os.getpid()))

    def test_stale_lock_files_are_taken_over(self):
        contents = {"ended process": str(ended_process()), "garbage": "abc", "empty": "", "zero": "0",
                    "minus one": "-1", "beyond any process": "99999999999999999999"}
        for case, content in contents.items():
            with self.subTest(case):
                LOCK_FILE.write_text(content)
                program = self.started()
                self.assertEqual(LOCK_FILE.read_text(), str(program.process.pid))
                program.end()

    def test_lock_file_of_a_killed_program_is_taken_over(self):
        killed = self.started()
        killed.end(signal.SIGKILL)
        self.assertTrue(LOCK_FILE.exists())
        self.started()

    def test_planted_link_is_not_followed(self):
        target = self.desktop.root / "precious"
        for case, content in {"existing target": "precious", "missing target": None}.items():
            with self.subTest(case):
                target.unlink(missing_ok=True)
                if content:
                    target.write_text(content)
                LOCK_FILE.unlink(missing_ok=True)
                LOCK_FILE.symlink_to(target)
                program = self.started()
                self.assertEqual(target.read_text() if target.exists() else None, content)
                program.end()

    def test_directory_in_place_of_the_lock_does_not_stop_the_program(self):
        LOCK_FILE.mkdir()
        self.addCleanup(LOCK_FILE.rmdir)
        self.started().end()


if __name__ == "__main__":
    unittest.main()
