"""The real program for a minute with one page after the other. No test of its own: for programs run by a tool that
slows them down and has them print what it finds.
"""

import time
import unittest

from desktop_test_case import DesktopTestCase
from popup_test_case import PAGES

PAGE_SECONDS = 9  # several refreshes of every page


class PageThrough(DesktopTestCase):
    def test_every_page(self):
        program = self.start()
        for page in PAGES:
            program.item().click(page)
            time.sleep(PAGE_SECONDS)
            self.assertTrue(program.running(), page)


if __name__ == "__main__":
    unittest.main()
