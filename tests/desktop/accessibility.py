"""A program's widgets as a screen reader sees them: roles, texts, states and places on the screen.

Speaks AT-SPI on the desktop's own accessibility bus, without the usual library, which keeps answers that have
since become untrue.
"""

from gi.repository import Gio, GLib

ROOT = "/org/a11y/atspi/accessible/root"
NULL = "/org/a11y/atspi/null"
ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
TEXT = "org.a11y.atspi.Text"
VALUE = "org.a11y.atspi.Value"
ACTION = "org.a11y.atspi.Action"
PROPERTIES = "org.freedesktop.DBus.Properties"
TEXT_ROLES = ("label", "text")
SCREEN = 0  # coordinates that count from the screen's corner
NOWHERE = -2**31  # a coordinate
STATES = {"active": 1, "checked": 4, "defunct": 6, "focused": 12, "sensitive": 24, "visible": 30}  # bits


class Accessibility:
    """The accessibility bus of a virtual desktop."""

    def __init__(self, desktop):
        address = desktop.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0]
        flags = Gio.DBusConnectionFlags
        self._bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self._bus.set_exit_on_close(False)

    def call(self, name, path, interface, method, arguments=None):
        return self._bus.call_sync(name, path, interface, method, arguments, None,
                                   Gio.DBusCallFlags.NONE, 10000, None).unpack()

    def application(self, pid):
        """What the program's windows are the children of; none when it has not announced itself."""
        bus = "org.freedesktop.DBus"
        for name in self.call(bus, "/org/freedesktop/DBus", bus, "ListNames")[0]:
            if name.startswith(":") and self._process_of(name) == pid:
                return Widget(self, name, ROOT)
        return None

    def _process_of(self, name):
        bus = "org.freedesktop.DBus"
        try:
            return self.call(bus, "/org/freedesktop/DBus", bus, "GetConnectionUnixProcessID",
                             GLib.Variant("(s)", (name,)))[0]
        except GLib.Error:
            return None  # it has just gone


class Widget:
    def __init__(self, accessibility, name, path):
        self._accessibility = accessibility
        self._name = name
        self._path = path
        self._role = None  # what a widget is does not change

    def __repr__(self):
        return f"{self.role()} {self.text()!r}"

    def __eq__(self, other):
        return (self._name, self._path) == (other._name, other._path)

    def __hash__(self):
        return hash((self._name, self._path))

    def _call(self, interface, method, arguments=None):
        return self._accessibility.call(self._name, self._path, interface, method, arguments)

    def _property(self, interface, name):
        return self._call(PROPERTIES, "Get", GLib.Variant("(ss)", (interface, name)))[0]

    def name(self):
        return self._property(ACCESSIBLE, "Name")

    def role(self):
        if self._role is None:
            self._role = self._call(ACCESSIBLE, "GetRoleName")[0]
        return self._role

    def text(self):
        """What a label or an entry shows; other widgets' names."""
        if self.role() in TEXT_ROLES:  # asking any other one would be a mistake that the program complains of
            return self._call(TEXT, "GetText", GLib.Variant("(ii)", (0, -1)))[0]
        return self.name()

    def value(self):
        """The number that a level bar or a slider stands for."""
        return self._property(VALUE, "CurrentValue")

    def act(self):
        """Does what a widget is there for, as readers do without a pointer; whether it did."""
        return self._call(ACTION, "DoAction", GLib.Variant("(i)", (0,)))[0]

    def states(self):
        low, high = self._call(ACCESSIBLE, "GetState")[0]
        bits = low | high << 32
        return {state for state, bit in STATES.items() if bits >> bit & 1}

    def extents(self):
        """Place on the screen: x, y, width, height in pixels; x is NOWHERE for what can't be seen."""
        place = self._call(COMPONENT, "GetExtents", GLib.Variant("(u)", (SCREEN,)))[0]
        if "defunct" in self.states():
            # The toolkit answers for a destroyed widget with whatever stood in memory.
            raise GLib.Error(f"{self._path} has been destroyed")
        return place

    def middle(self):
        x, y, width, height = self.extents()
        if x == NOWHERE:
            raise GLib.Error(f"{self._path} can't be seen")
        return x + width // 2, y + height // 2

    def drawn(self):
        """Whether some of it can be seen on the screen; nothing can of what has been destroyed."""
        try:
            return self.extents()[0] != NOWHERE
        except GLib.Error:
            return False

    def children(self):
        found = self._call(ACCESSIBLE, "GetChildren")[0]
        return [Widget(self._accessibility, name, path) for name, path in found if path != NULL]

    def parent(self):
        return Widget(self._accessibility, *self._property(ACCESSIBLE, "Parent"))

    def _shown_children(self):
        """Without closed windows, closed lists and the pages behind the shown one, but with what is only
        scrolled out of sight."""
        role = self.role()
        if role in TEXT_ROLES:
            return []
        children = [child for child in self.children() if "visible" in child.states()]
        if role in ("application", "combo box"):
            return [child for child in children if child.drawn()]
        if role == "panel":  # a stack of pages, among others
            return [child for child in children if child.drawn()] or children
        return children

    def walk(self):
        """This widget and all shown below it, from top to bottom."""
        yield self
        try:
            children = self._shown_children()
        except GLib.Error:
            return  # destroyed meanwhile
        for child in children:
            yield from child.walk()

    def _matching(self, role, text):
        # An open list belongs to its combo box and is a window as well.
        seen = set()
        for widget in self.walk():
            if widget in seen:
                continue
            seen.add(widget)
            try:
                if role in (None, widget.role()) and text_fits(text, widget):
                    yield widget
            except GLib.Error:
                continue

    def find_all(self, role=None, text=None):
        """All shown widgets from this one down with this role and text; a text may be a condition on it."""
        return list(self._matching(role, text))

    def find(self, role=None, text=None):
        """The first of them; none when there is none."""
        return next(self._matching(role, text), None)


def text_fits(wanted, widget):
    if wanted is None:
        return True
    return wanted(widget.text()) if callable(wanted) else widget.text() == wanted
