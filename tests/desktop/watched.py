"""A process as the kernel sees it, whatever it says itself."""

import os
import time
from pathlib import Path

from desktop_test_case import SANITIZED

IDLE_SECONDS = 3
IDLE_SHARE = 1 / 3 if SANITIZED else 1 / 10  # of a processor


class Watched:
    def __init__(self, pid):
        self.pid = int(pid)
        self._proc = Path(f"/proc/{self.pid}")

    def lives(self):
        return self._proc.exists() and self._fields()[0] != "Z"

    def descriptors(self):
        return len(list((self._proc / "fd").iterdir()))

    def spins(self):
        """Whether it takes more than an idle program for some seconds."""
        before = self._ticks()
        time.sleep(IDLE_SECONDS)
        return self._ticks() - before > IDLE_SECONDS * IDLE_SHARE * os.sysconf("SC_CLK_TCK")

    def _ticks(self):
        user, system = self._fields()[11:13]
        return int(user) + int(system)

    def _fields(self):
        return (self._proc / "stat").read_text().rpartition(")")[2].split()
