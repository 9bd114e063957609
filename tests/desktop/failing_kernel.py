"""Makes the kernel files fail that a program reads, while it runs."""

import errno
import os
import sys
from pathlib import Path

from preload import preloaded  # one of the scripts


class FailingKernel:
    """Faults for one program. Paths are the kernel's own; `root` is where its files lie."""

    def __init__(self, directory, root=""):
        self._file = Path(directory) / "faults"
        self._root = root
        self.heal()

    def environment(self):
        """The variables with which the program is to be started."""
        library = os.environ.get("FAILING_KERNEL_LIBRARY")
        if not library:
            sys.exit("FAILING_KERNEL_LIBRARY must name the library that lets files fail")
        return {**preloaded(library), "FAILING_KERNEL": str(self._file)}

    def put(self, *faults):
        """Puts faults in force instead of those before, such as "open EIO /proc/stat"; errors go by name."""
        scratch = self._file.with_suffix(".new")
        scratch.write_text("".join(self._line(fault) for fault in faults))
        scratch.rename(self._file)

    def heal(self):
        self.put()

    def _line(self, fault):
        *words, pattern = fault.split(" ")
        words = [str(getattr(errno, word, word)) if word.startswith("E") else word for word in words]
        return " ".join([*words, f"{self._root}{pattern}\n"])
