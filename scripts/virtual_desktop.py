#!/usr/bin/python3
"""A desktop of its own for one program: X server, session bus, window manager and a panel with indicators.

Nothing of the user's own session is touched: home, settings and runtime directories are fresh ones below a
temporary directory, and every process ends with the desktop.

    scripts/virtual_desktop.py --screenshot strip.png -- build/release/Korvalune

starts the program in such a desktop, waits until the panel shows it and writes a screenshot.
"""

import argparse
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

from picture import Picture
from private_session import ENDING_SIGNALS, WATCHER, DesktopError, PrivateSession, wait_until

PANEL_HEIGHT = 28  # pixels
PANEL_COLOUR = (32, 32, 32)
INDICATOR_SERVICE = "/usr/libexec/ayatana-indicator-application/ayatana-indicator-application-service"
WINDOW_MANAGERS = {
    "xfwm4": ["xfwm4", "--compositor=off"],
    "openbox": ["openbox", "--sm-disable"],
    "none": [],
}
# The panel's own numbers for "the whole upper edge" and "the whole lower edge" of the screen.
PANEL_POSITIONS = {"top": "p=6;x=0;y=0", "bottom": "p=10;x=0;y=0"}
# Who shows the item: the plugin that takes it whole from the indicator service, or the tray, which needs no service
# and squeezes it.
PLUGINS = ("indicator", "systray")


class VirtualDesktop(PrivateSession):
    """The desktop runs inside a `with` block (or between start and stop)."""

    KIND = {"GDK_BACKEND": "x11", "XDG_CURRENT_DESKTOP": "XFCE", "XDG_SESSION_TYPE": "x11"}

    def __init__(self, panel="top", size=(1280, 800), window_manager="xfwm4", environment=None, monitor=None,
                 panel_colour=PANEL_COLOUR, plugin="indicator"):
        super().__init__(environment)
        self.panel = panel
        self.panel_colour = panel_colour
        self.size = size
        self.monitor = monitor  # the part of the screen that can be seen, as (x, y, width, height); none: all
        self.window_manager = window_manager
        self.plugin = plugin
        self._display_process = None
        self._panel_process = None
        self._watcher_process = None

    def _start_parts(self):
        if self.panel != "none":
            self._write_panel_settings()
        self.environment["DISPLAY"] = ":" + self._first_line(self._x_server())
        self._display_process = self._processes[-1]
        if self.monitor:
            self._place_monitor(*self.monitor)
        self._start_bus()
        self._start_window_manager()
        if self.panel == "none":
            self._start_watcher()
        else:
            self.start_panel()

    def start_panel(self):
        if self.plugin == "indicator":
            self._start_watcher()
        if self._panel_process:
            return
        self._run_panel()
        wait_until(lambda: self.owner_of(WATCHER), 20, "whoever takes items")

    def _run_panel(self):
        # On a busy machine panel and window manager, both just started, may miss each other.
        for last in (False, True):
            self._panel_process = self._service(["xfce4-panel", "--disable-wm-check"])
            if self.window_manager == "none":
                return
            try:
                wait_until(lambda: self.work_area()[3] == self.size[1] - PANEL_HEIGHT, 20, "the panel")
                return
            except DesktopError as error:
                if last:
                    raise DesktopError(f"{error}: {self.log()}") from error
                self._panel_process = self._kill(self._panel_process)

    def stop_panel(self, with_watcher=True):
        """Kills the panel as a crash would, and the service behind it as well if wanted."""
        self._panel_process = self._kill(self._panel_process)
        if with_watcher:
            self._watcher_process = self._kill(self._watcher_process)

    def restart_panel(self, with_watcher=False):
        self.stop_panel(with_watcher)
        self.start_panel()

    def stop_display(self):
        """Kills the X server, as the last thing before the desktop ends."""
        self._display_process = self._kill(self._display_process)

    def pointer(self, x, y, *actions):
        """Moves the pointer there; further words are xdotool's, such as "click", "1"."""
        subprocess.run(["xdotool", "mousemove", str(x), str(y), *actions], env=self.environment, check=True)

    def press(self, *keys):
        """Presses keys one after another, by their X names."""
        subprocess.run(["xdotool", "key", "--delay", "200", *keys], env=self.environment, check=True)

    # ---- parts ----

    def _write_panel_settings(self):
        red, green, blue = (channel / 255 for channel in self.panel_colour)
        template = (Path(__file__).resolve().parent / "virtual_panel.xml").read_text()
        directory = self.config / "xfce4/xfconf/xfce-perchannel-xml"
        directory.mkdir(parents=True)
        (directory / "xfce4-panel.xml").write_text(template.format(
            plugin=self.plugin, position=PANEL_POSITIONS[self.panel], height=PANEL_HEIGHT,
            red=red, green=green, blue=blue))

    def _x_server(self):
        width, height = self.size
        return ["Xvfb", "-displayfd", "1", "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp",
                "-noreset"]

    def _place_monitor(self, x, y, width, height):
        geometry = f"{width}/{width // 4}x{height}/{height // 4}+{x}+{y}"
        subprocess.run(["xrandr", "--setmonitor", "part", geometry, "screen"], env=self.environment,
                       stdout=subprocess.DEVNULL, check=True)

    def _start_window_manager(self):
        command = WINDOW_MANAGERS[self.window_manager]
        if not command:
            return
        self._service(command)
        wait_until(lambda: "window id" in self.root_property("_NET_SUPPORTING_WM_CHECK"), 20,
                   "the window manager")

    def _start_watcher(self):
        if self._watcher_process is None:
            self._watcher_process = self._service([INDICATOR_SERVICE])
            wait_until(lambda: self.owner_of(WATCHER), 20, "the indicator service")

    # ---- asking ----

    def root_property(self, name):
        found = subprocess.run(["xprop", "-root", name], env=self.environment, capture_output=True, text=True)
        return found.stdout

    def work_area(self):
        """What panels leave free of the screen: x, y, width, height."""
        numbers = re.findall(r"\d+", self.root_property("_NET_WORKAREA").partition("=")[2])
        return tuple(int(number) for number in numbers[:4]) if len(numbers) >= 4 else (0, 0, 0, 0)

    def screenshot(self, path):
        subprocess.run(["import", "-silent", "-window", "root", str(path)], env=self.environment, check=True)
        return path

    def picture(self):
        """The screen as it is now."""
        return Picture.load(self.screenshot(self.root / "screen.ppm"))

    def panel_picture(self):
        top = 0 if self.panel == "top" else self.size[1] - PANEL_HEIGHT
        return self.picture().crop(0, top, self.size[0], PANEL_HEIGHT)

    def panel_shows(self, image):
        """Whether the panel shows this image file and nothing else, pixel for pixel."""
        if self.panel == "none" or not image.exists():
            return False
        strip = Picture.load(image, self.panel_colour).inked(self.panel_colour)
        return self.panel_picture().inked(self.panel_colour).matches(strip)

    def strip_shows(self):
        """Whether the panel shows the only item's present image."""
        items = self.items()
        return len(items) == 1 and self.panel_shows(items[0].image())

# ---- as a command ----


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--screenshot", type=Path, metavar="FILE", help="write a picture of the whole screen")
    parser.add_argument("--seconds", type=float, help="end after so long (otherwise with Ctrl+C)")
    parser.add_argument("--panel", choices=[*PANEL_POSITIONS, "none"], default="top")
    parser.add_argument("--plugin", choices=PLUGINS, default="indicator", help="what shows the strip")
    parser.add_argument("--window-manager", choices=list(WINDOW_MANAGERS), default="xfwm4")
    parser.add_argument("program", nargs="+", help="the program and its arguments, after --")
    return parser.parse_args()


def take_screenshot(desktop, program, path):
    whole = desktop.panel != "none" and desktop.plugin == "indicator"
    shown = desktop.strip_shows if whole else desktop.items
    wait_until(lambda: shown() or program.poll() is not None, 20, "the strip in the panel",
               interval=0.25)
    if program.poll() is not None:
        raise DesktopError(f"the program ended with {program.returncode} before the panel showed it")
    print(desktop.screenshot(path), flush=True)


def end_program(program):
    """Before its desktop goes: a program whose X server dies can't clean up."""
    program.terminate()
    try:
        program.wait(5)
    except subprocess.TimeoutExpired:
        program.kill()


def show(desktop, arguments):
    """Runs the program until it ends, the time is up or somebody presses Ctrl+C; the exit status."""
    program = desktop.run(arguments.program)
    print("running in a virtual desktop until Ctrl+C", file=sys.stderr)
    started = time.monotonic()
    try:
        if arguments.screenshot:
            take_screenshot(desktop, program, arguments.screenshot)
        left = None if arguments.seconds is None else max(0, arguments.seconds - (time.monotonic() - started))
        return program.wait(left)
    except subprocess.TimeoutExpired:
        return 0
    finally:
        end_program(program)


def main():
    arguments = parse_arguments()
    for number in ENDING_SIGNALS:  # set also for SIGINT, without which a shell's background jobs start
        signal.signal(number, lambda *_: sys.exit(0))
    try:
        with VirtualDesktop(panel=arguments.panel, plugin=arguments.plugin,
                            window_manager=arguments.window_manager) as desktop:
            return show(desktop, arguments)
    except DesktopError as error:
        print(error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
