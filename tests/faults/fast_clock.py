"""The clocks of one program: how fast its time runs, and by how much each of them has jumped.

What the preloaded library (fast_clock.cpp) does with the figures is written there.
"""

import mmap
import struct

from preload import preloaded  # one of the scripts

FIELDS = ("factor", "monotonic", "boottime", "wall", "skipped", "heap")
LAYOUT = struct.Struct("=dqqqqq")
NANOSECONDS = 10**9


class FastClock:
    def __init__(self, library, path, factor=1):
        self._library = library
        self._path = path
        path.write_bytes(LAYOUT.pack(factor, 0, 0, 0, 0, 0))
        with open(path, "r+b") as file:
            self._memory = mmap.mmap(file.fileno(), LAYOUT.size)

    def command(self, *program):
        """The command that starts a program under this clock."""
        variables = {**preloaded(self._library), "FAST_CLOCK": self._path}
        return ["env", *(f"{name}={value}" for name, value in variables.items()), *program]

    def _get(self, field):
        return LAYOUT.unpack(self._memory)[FIELDS.index(field)]

    def _set(self, field, value):
        kind = "=d" if field == "factor" else "=q"
        struct.pack_into(kind, self._memory, 8 * FIELDS.index(field), value)

    @property
    def factor(self):
        return self._get("factor")

    @factor.setter
    def factor(self, value):
        self._set("factor", value)

    def jump(self, **seconds):
        """Sets clocks forward, or back for a negative number: monotonic, boottime, wall."""
        for field, by in seconds.items():
            self._set(field, self._get(field) + int(by * NANOSECONDS))

    def skipped(self):
        """Seconds that the shortened waits have taken the program ahead."""
        return self._get("skipped") / NANOSECONDS

    def heap(self):
        """Bytes that the program has allocated, as of its last wait that was not shortened."""
        return self._get("heap")
