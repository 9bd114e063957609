"""A Wayland desktop of its own for one program: the sway compositor without a screen, and waybar's tray.

As in virtual_desktop.py, nothing of the user's own session is touched and every process ends with the desktop.
"""

import json
import os
import subprocess
from collections import namedtuple

from picture import Picture
from private_session import WATCHER, PrivateSession, wait_until
from virtual_desktop import INDICATOR_SERVICE
from wayland_input import WaylandInput

PANEL_HEIGHT = 28  # pixels
NOBODY = 65534
SWAY_SETTINGS = """\
output HEADLESS-1 resolution {width}x{height}
xwayland disable
exec echo $XDG_RUNTIME_DIR/$WAYLAND_DISPLAY
"""
PANEL_SETTINGS = {"layer": "top", "position": "top", "height": PANEL_HEIGHT, "modules-right": ["tray"]}


# What the compositor knows of a window: its place on the screen in pixels, whether it
# floats above the tiles, how high a title bar it was given.
Window = namedtuple("Window", "pid name floating focused x y width height title_height")


def window_of(node):
    """A window's node in the compositor's tree."""
    frame, inside = node["rect"], node["window_rect"]
    return Window(node["pid"], node["name"], node["type"] == "floating_con", node["focused"],
                  frame["x"] + inside["x"], frame["y"] + inside["y"], inside["width"], inside["height"],
                  node["deco_rect"]["height"])


class WaylandDesktop(PrivateSession):
    """The desktop runs inside a `with` block (or between start and stop)."""

    KIND = {
        "GDK_BACKEND": "wayland",
        "XDG_CURRENT_DESKTOP": "sway",
        "XDG_SESSION_TYPE": "wayland",
        "WLR_BACKENDS": "headless",
        "WLR_RENDERER": "pixman",
        "WLR_LIBINPUT_NO_DEVICES": "1",
    }

    def __init__(self, size=(1280, 800), environment=None):
        super().__init__(environment)
        self.size = size
        self._input = None

    def stop(self):
        if self._input:
            self._input.close()
        super().stop()

    def _start_parts(self):
        sockets = self.root / "compositor"
        self.environment["SWAYSOCK"] = str(sockets / "sway.sock")
        self.environment["WAYLAND_DISPLAY"] = self._first_line(self._compositor(sockets))
        self._input = WaylandInput(self.environment["WAYLAND_DISPLAY"], self.size)
        self._start_bus()
        self._start_panel()

    def _compositor(self, sockets):
        settings = self.root / "sway.conf"
        settings.write_text(SWAY_SETTINGS.format(width=self.size[0], height=self.size[1]))
        sockets.mkdir(mode=0o700)
        command = ["env", f"XDG_RUNTIME_DIR={sockets}", "sway", "--config", settings]
        if os.getuid() != 0:
            return command
        # It refuses to run as root.
        self.root.chmod(0o711)
        os.chown(sockets, NOBODY, NOBODY)
        return ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", "--pdeathsig=TERM", "--",
                *command]

    def _start_panel(self):
        settings = self.root / "waybar.json"
        settings.write_text(json.dumps(PANEL_SETTINGS))
        style = self.root / "waybar.css"
        style.touch()
        self._service(["waybar", "--config", settings, "--style", style])
        wait_until(lambda: self.owner_of(WATCHER), 20, "the panel's tray")

    # ---- acting ----

    def pointer(self, x, y, click=False):
        """Moves the pointer there and clicks, if wanted."""
        self._input.move(x, y)
        if click:
            self._input.click()

    def press(self, *keys):
        """Presses keys one after another, by their X names."""
        for key in keys:
            self._input.key(key)

    def switch_screen(self, on):
        """Without a screen, as behind a closed lid, windows are nowhere."""
        self._sway("output", "HEADLESS-1", "enable" if on else "disable")

    # ---- asking ----

    def _sway(self, *words):
        """The compositor's answer to a message."""
        answer = subprocess.run(["swaymsg", "--raw", *words], env=self.environment, check=True, capture_output=True)
        return json.loads(answer.stdout)

    def windows(self):
        """All windows, without the frames that the compositor draws around them."""
        found = []
        pending = [self._sway("--type", "get_tree")]
        while pending:
            node = pending.pop()
            pending += node["nodes"] + node["floating_nodes"]
            if node.get("pid"):
                found.append(window_of(node))
        return found

    def screenshot(self, path):
        subprocess.run(["grim", str(path)], env=self.environment, check=True)
        return path

    def picture(self):
        """The screen as it is now."""
        return Picture.load(self.screenshot(self.root / "screen.png"))


class SeatlessDesktop(PrivateSession):
    """A compositor that knows of no pointer and no keyboard: weston without a screen, and an indicator service."""

    KIND = {"GDK_BACKEND": "wayland", "XDG_CURRENT_DESKTOP": "weston", "XDG_SESSION_TYPE": "wayland"}

    def _start_parts(self):
        socket = self.runtime / "seatless"
        self._service(["weston", "--backend=headless-backend.so", "--shell=kiosk-shell.so", "--no-config",
                       f"--socket={socket.name}"])
        wait_until(socket.exists, 20, "the compositor")
        self.environment["WAYLAND_DISPLAY"] = socket.name
        self._start_bus()
        self._service([INDICATOR_SERVICE])
        wait_until(lambda: self.owner_of(WATCHER), 20, "the indicator service")
