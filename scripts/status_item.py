"""A program's status item as a panel sees it on the session bus: properties, menu, messages."""

import subprocess
import time
from pathlib import Path

from gi.repository import GLib

ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
PROPERTIES = "org.freedesktop.DBus.Properties"


class StatusItem:
    def __init__(self, desktop, name, path):
        self.desktop = desktop
        self.name = name  # the program's unique name on the bus
        self.path = path

    def properties(self):
        return self.desktop.call(self.name, self.path, PROPERTIES, "GetAll", GLib.Variant("(s)", (ITEM,)))[0]

    def image(self):
        """The file of the icon shown now: a panel finds it by name in the item's own directory."""
        properties = self.properties()
        return Path(properties["IconThemePath"]) / (properties["IconName"] + ".png")

    def _menu_call(self, method, arguments):
        return self.desktop.call(self.name, self.properties()["Menu"], MENU, method, arguments)

    def menu(self):
        """The entries from top to bottom as (number, text); a separator's text is "-"."""
        _, (_, _, entries) = self._menu_call("GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(number, "-" if about.get("type") == "separator" else about.get("label", ""))
                for number, about, _ in entries]

    def has_menu(self):
        """Whether its menu can be used; it comes after the item."""
        try:
            return bool(self.menu())
        except GLib.Error:
            return False

    def open_menu(self):
        """What a panel says before it shows the menu."""
        self._menu_call("AboutToShow", GLib.Variant("(i)", (0,)))
        self._menu_call("Event", GLib.Variant("(isvu)", (0, "opened", GLib.Variant("s", ""), 0)))

    def click(self, text):
        number = next(number for number, label in self.menu() if label == text)
        self._menu_call("Event", GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("s", ""), 0)))


class BusRecord:
    """All messages on the session bus while a `with` block runs, as dbus-monitor saw them."""

    def __init__(self, desktop):
        self._desktop = desktop

    def __enter__(self):
        self._path = self._desktop.root / f"bus-{time.monotonic_ns()}"
        with open(self._path, "wb") as output:
            self._monitor = self._desktop.run(["dbus-monitor", "--profile"], stdout=output,
                                              stderr=subprocess.DEVNULL)
        # The monitor's first lines tell that it sees everything from here on.
        while not self._path.read_bytes().count(b"NameLost"):
            time.sleep(0.01)
        return self

    def __exit__(self, *_):
        self._monitor.terminate()
        self._monitor.wait()

    def messages(self):
        """As (type, seconds since 1970, sender, member); type is "sig" for a signal, "mc" for a call."""
        for line in self._path.read_text().splitlines():
            fields = line.split("\t")
            if len(fields) == 8 and not line.startswith("#"):
                yield fields[0], float(fields[1]), fields[3], fields[7]

    def signals(self, sender):
        """The names of the signals that one program sent, in order."""
        return [member for kind, _, who, member in self.messages() if kind == "sig" and who == sender]

    def time_of_call(self, member):
        """When somebody first called this method; none when nobody did."""
        return next((when for kind, when, _, name in self.messages() if kind == "mc" and name == member), None)
