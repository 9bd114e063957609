"""What programs hold at one moment: memory, descriptors, threads, children, and what others keep for them."""

import os
import re
from pathlib import Path

from gi.repository import GLib

from x_resources import XResources

BUS = "org.freedesktop.DBus"
STATISTICS = "org.freedesktop.DBus.Debug.Stats"


def memory_kib(pid):
    """Resident and private memory (KiB)."""
    text = Path(f"/proc/{pid}/smaps_rollup").read_text()
    sizes = {key: int(size) for key, size in re.findall(r"^(\w+):\s+(\d+) kB", text, re.MULTILINE)}
    return sizes["Rss"], sizes["Private_Clean"] + sizes["Private_Dirty"]


def children(pid):
    """All direct children, ended ones that nobody has waited for included."""
    return sum(len((task / "children").read_text().split()) for task in Path(f"/proc/{pid}/task").iterdir())


def entries(path):
    return len(os.listdir(path))


class Holdings:
    """Asks after one program, and after the hosts that show its item, by name."""

    def __init__(self, desktop, program, clock):
        self._desktop = desktop
        self._pid = program.process.pid
        self._name = program.item().name
        self._clock = clock
        self._x = XResources(desktop.environment["DISPLAY"])
        self._hosts = self._find_hosts()

    def now(self):
        """The figures by name; "kib" memory, "heap" bytes, everything else numbers of things."""
        figures = {"heap": self._clock.heap(), **self._memory("", self._pid)}
        figures["descriptors"] = entries(f"/proc/{self._pid}/fd")
        figures["threads"] = entries(f"/proc/{self._pid}/task")
        figures["children"] = children(self._pid)
        figures["files"] = entries(self._desktop.runtime)
        figures.update(self._bus_figures())
        figures.update(self._x_figures("", self._pid))
        for name, pid in self._hosts.items():
            figures.update(self._memory(name + " ", pid))
            figures[name + " descriptors"] = entries(f"/proc/{pid}/fd")
        figures.update(self._x_figures("plugin ", self._hosts["plugin"]))
        return figures

    def _find_hosts(self):
        words = {"panel": "xfce4-panel", "plugin": "panel/wrapper", "bus": "dbus-daemon\0--session",
                 "service": "ayatana-indicator-application-service"}
        found = {}
        for pid in self._desktop.processes():
            command = Path(f"/proc/{pid}/cmdline").read_text()
            for name, word in words.items():
                if word in command and "setpriv" not in command:
                    found.setdefault(name, pid)
        return found

    @staticmethod
    def _memory(prefix, pid):
        resident, private = memory_kib(pid)
        return {prefix + "resident kib": resident, prefix + "private kib": private}

    def _bus_figures(self):
        mine = self._ask("GetConnectionStats", GLib.Variant("(s)", (self._name,)))
        everybody = self._ask("GetStats")
        return {"match rules": mine["MatchRules"], "bus names": mine["BusNames"],
                "bus connections": everybody["ActiveConnections"], "all match rules": everybody["MatchRules"]}

    def _ask(self, method, arguments=None):
        return self._desktop.call(BUS, "/org/freedesktop/DBus", STATISTICS, method, arguments)[0]

    def _x_figures(self, prefix, pid):
        held = self._x.of(pid)
        pixels = held.pop("bytes")
        parts = {name.lower(): held.pop(name, 0) for name in ("WINDOW", "PIXMAP", "GC", "PICTURE")}
        figures = {f"{prefix}x {name}s": count for name, count in parts.items()}
        figures[prefix + "x others"] = held.total()
        figures[prefix + "x pixmap kib"] = pixels // 1024
        return figures
