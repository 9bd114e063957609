"""The desktop's settings portal, which programs ask whether the user prefers dark windows: one that a test
leads, and the real one with the settings behind it."""

import subprocess
import threading

from gi.repository import Gio, GLib

from virtual_desktop import wait_until

NAME = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
INTERFACE = "org.freedesktop.portal.Settings"
APPEARANCE = "org.freedesktop.appearance"
COLOR_SCHEME = "color-scheme"
NO_PREFERENCE, DARK, LIGHT = 0, 1, 2

DESCRIPTION = """
<node>
  <interface name="org.freedesktop.portal.Settings">
    <method name="Read">
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/>
    </method>
    <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
  </interface>
</node>
"""


class SettingsPortal:
    """Answers on a desktop's session bus inside a `with` block, in a thread of its own."""

    def __init__(self, desktop, scheme=NO_PREFERENCE):
        self.answer = GLib.Variant("u", scheme)  # None: an error
        self.nesting = 1  # variants around the answer beyond the one that every answer has
        self.delay = 0  # seconds
        self.questions = 0
        self._address = desktop.environment["DBUS_SESSION_BUS_ADDRESS"]
        self._context = GLib.MainContext.new()
        self._loop = GLib.MainLoop.new(self._context, False)
        self._connection = None
        self._owned = threading.Event()

    def __enter__(self):
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()
        if not self._owned.wait(10):
            raise AssertionError("the portal did not come up")
        return self

    def __exit__(self, *_):
        self._context.invoke_full(GLib.PRIORITY_DEFAULT, self._loop.quit)
        self._thread.join()

    def set_scheme(self, scheme):
        """Changes the preference and tells everybody."""
        self.answer = GLib.Variant("u", scheme)
        self.announce()

    def announce(self, namespace=APPEARANCE, key=COLOR_SCHEME):
        """Reports a setting as changed."""
        self.emit(GLib.Variant("(ssv)", (namespace, key, self.answer or GLib.Variant("u", 0))))

    def emit(self, parameters):
        """Sends a report with any parameters, right or wrong (a tuple's variant)."""
        self._connection.emit_signal(None, PATH, INTERFACE, "SettingChanged", parameters)
        self._connection.flush_sync(None)

    # ---- in the portal's thread ----

    def _serve(self):
        self._context.push_thread_default()
        flags = Gio.DBusConnectionFlags
        self._connection = Gio.DBusConnection.new_for_address_sync(
            self._address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        interface = Gio.DBusNodeInfo.new_for_xml(DESCRIPTION).interfaces[0]
        self._connection.register_object(PATH, interface, self._on_call, None, None)
        replace_and_be_first = GLib.Variant("(su)", (NAME, 0x2 | 0x4))
        reply = self._connection.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            replace_and_be_first, None, Gio.DBusCallFlags.NONE, 10000, None).unpack()[0]
        if reply == 1:
            self._owned.set()
            self._loop.run()
        self._connection.close_sync(None)
        self._context.pop_thread_default()

    def _on_call(self, _connection, _sender, _path, _interface, _method, parameters, invocation):
        self.questions += 1
        asked = parameters.unpack()
        if self.answer is None or asked != (APPEARANCE, COLOR_SCHEME):
            invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", f"no setting {asked}")
            return
        value = self.answer
        for _ in range(self.nesting):
            value = GLib.Variant("v", value)
        reply = GLib.Variant("(v)", (value,))
        if self.delay == 0:
            invocation.return_value(reply)
            return
        later = GLib.timeout_source_new(round(1000 * self.delay))
        later.set_callback(lambda *_: invocation.return_value(reply) or GLib.SOURCE_REMOVE)
        later.attach(self._context)


class RealPortal:
    """The portal service of the machine with its GTK back end, and the desktop settings that they pass on."""

    # The back end takes part in this desktop only; the settings lie in a file, which no other session sees.
    ENVIRONMENT = {"XDG_CURRENT_DESKTOP": "GNOME", "GSETTINGS_BACKEND": "keyfile"}

    def __init__(self, desktop):
        self._desktop = desktop
        self._services = []

    def __enter__(self):
        self.set_dark(False)
        for program in ("/usr/libexec/xdg-desktop-portal-gtk", "/usr/libexec/xdg-desktop-portal"):
            self._services.append(self._desktop.run([program, "--replace"], self.ENVIRONMENT,
                                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
            name = NAME if program.endswith("portal") else "org.freedesktop.impl.portal.desktop.gtk"
            wait_until(lambda name=name, pid=self._services[-1].pid: self._owned_by(name, pid), 20, program)
        return self

    def __exit__(self, *_):
        for service in reversed(self._services):
            service.terminate()
            service.wait()

    def set_dark(self, dark):
        """What a switch in the desktop's own settings does."""
        value = "prefer-dark" if dark else "default"
        subprocess.run(["gsettings", "set", "org.gnome.desktop.interface", COLOR_SCHEME, value], check=True,
                       env={**self._desktop.environment, **self.ENVIRONMENT})

    def scheme(self):
        """What the portal tells programs."""
        question = GLib.Variant("(ss)", (APPEARANCE, COLOR_SCHEME))
        return self._desktop.call(NAME, PATH, INTERFACE, "Read", question)[0]

    def _owned_by(self, name, pid):
        return self._desktop.owner_of(name) and self._desktop.process_of(name) == pid
