#!/usr/bin/python3
"""A desktop of its own for one program: X server, session bus, window manager and a panel with indicators.

Nothing of the user's own session is touched: home, settings and runtime directories are fresh ones below a
temporary directory, and every process ends with the desktop.

    scripts/virtual_desktop.py --screenshot strip.png -- build/release/Korvalune

starts the program in such a desktop, waits until the panel shows it and writes a screenshot.
"""

import argparse
import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from picture import Picture  # noqa: E402
from status_item import StatusItem  # noqa: E402

PANEL_HEIGHT = 28  # pixels
PANEL_COLOUR = (32, 32, 32)
INDICATOR_SERVICE = "/usr/libexec/ayatana-indicator-application/ayatana-indicator-application-service"
WATCHER = "org.kde.StatusNotifierWatcher"
WINDOW_MANAGERS = {
    "xfwm4": ["xfwm4", "--compositor=off"],
    "openbox": ["openbox", "--sm-disable"],
    "none": [],
}
# The panel's own numbers for "the whole upper edge" and "the whole lower edge" of the screen.
PANEL_POSITIONS = {"top": "p=6;x=0;y=0", "bottom": "p=10;x=0;y=0"}

ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
TURN_SECONDS = 300

# Marks every process of a desktop, so that also those which the session bus started are found at the end.
MARK = "KORVALUNE_VIRTUAL_DESKTOP"


class DesktopError(Exception):
    """A part of the desktop did not come up, or something awaited did not happen."""


def wait_until(condition, seconds, what, interval=0.05):
    """The first true answer of `condition`, which is asked again and again for so long."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise DesktopError(f"waited {seconds} s in vain for {what}")
        time.sleep(interval)


class VirtualDesktop:
    """The desktop runs inside a `with` block (or between start and stop)."""

    def __init__(self, panel="top", size=(1280, 800), window_manager="xfwm4", environment=None):
        self.panel = panel
        self.size = size
        self.window_manager = window_manager
        self.extra_environment = environment or {}
        self.bus = None  # Gio.DBusConnection to the private session bus
        self.environment = {}  # what programs in this desktop are started with
        self._processes = []
        self._log = None
        self._turn = None
        self._panel_process = None
        self._watcher_process = None

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    # ---- life ----

    def start(self):
        self._take_turn()
        self.root = Path(tempfile.mkdtemp(prefix="korvalune-desktop-"))
        self._log = open(self.root / "desktop.log", "ab", buffering=0)
        self._make_home()
        self.environment["DISPLAY"] = ":" + self._first_line(self._x_server())
        # Services that the bus starts on demand inherit its environment: all of it must be set by now.
        self._start_bus()
        self._start_window_manager()
        if self.panel == "none":
            self._start_watcher()
        else:
            self.start_panel()

    def stop(self):
        # A second Ctrl+C must not leave half of the desktop behind.
        hurry = {number: signal.signal(number, signal.SIG_IGN) for number in ENDING_SIGNALS}
        try:
            self._stop()
        finally:
            for number, handler in hurry.items():
                signal.signal(number, handler)

    def _stop(self):
        try:
            if self.bus and not self.bus.is_closed():
                self.bus.close_sync(None)
        except GLib.Error:
            pass  # the bus itself has died
        self._end_marked_processes()
        for process in self._processes:
            process.wait()
        self._processes.clear()
        if self._log:
            self._log.close()
            shutil.rmtree(self.root, ignore_errors=True)
        if self._turn is not None:
            os.close(self._turn)
            self._turn = None

    def run(self, command, environment=None, **options):
        """Starts a program in the desktop; a value of None in `environment` takes that variable away."""
        variables = {**self.environment, **(environment or {})}
        variables = {name: value for name, value in variables.items() if value is not None}
        options.setdefault("stdin", subprocess.DEVNULL)
        # The death signal ends the children even when this process is killed outright.
        process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", *map(str, command)],
            env=variables, start_new_session=True, **options)
        self._processes.append(process)
        return process

    def start_panel(self):
        self._start_watcher()
        if self._panel_process:
            return
        self._panel_process = self._service(["xfce4-panel", "--disable-wm-check"])
        if self.window_manager != "none":
            wait_until(lambda: self.work_area()[3] == self.size[1] - PANEL_HEIGHT, 20, "the panel")

    def stop_panel(self, with_watcher=True):
        """Kills the panel as a crash would, and the service behind it as well if wanted."""
        self._panel_process = self._kill(self._panel_process)
        if with_watcher:
            self._watcher_process = self._kill(self._watcher_process)

    def restart_panel(self, with_watcher=False):
        self.stop_panel(with_watcher)
        self.start_panel()

    def pointer(self, x, y, *actions):
        """Moves the pointer there; further words are xdotool's, such as "click", "1"."""
        subprocess.run(["xdotool", "mousemove", str(x), str(y), *actions], env=self.environment, check=True)

    def press(self, *keys):
        """Presses keys one after another, by their X names."""
        subprocess.run(["xdotool", "key", "--delay", "200", *keys], env=self.environment, check=True)

    def log(self):
        """What the desktop's own programs printed: for a look when something went wrong."""
        return (self.root / "desktop.log").read_text(errors="replace")

    # ---- parts ----

    def _take_turn(self):
        """One desktop of a user at a time: the program itself runs only once per user."""
        flags = os.O_CREAT | os.O_RDWR | os.O_NOFOLLOW | os.O_CLOEXEC
        self._turn = os.open(f"/tmp/korvalune-desktop-{os.getuid()}.turn", flags, 0o600)
        if not self._turn_taken():
            print("waiting for another virtual desktop to end", file=sys.stderr, flush=True)
            wait_until(self._turn_taken, TURN_SECONDS, "another virtual desktop to end", interval=0.5)

    def _turn_taken(self):
        try:
            fcntl.flock(self._turn, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        return True

    def _make_home(self):
        keep = ("PATH", "USER", "LOGNAME", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
        self.environment = {name: os.environ[name] for name in keep if name in os.environ}
        directories = {
            "HOME": "home",
            "XDG_CONFIG_HOME": "home/.config",
            "XDG_CACHE_HOME": "home/.cache",
            "XDG_DATA_HOME": "home/.local/share",
            "XDG_STATE_HOME": "home/.local/state",
            "XDG_RUNTIME_DIR": "runtime",
        }
        for name, relative in directories.items():
            path = self.root / relative
            path.mkdir(mode=0o700, parents=True)
            self.environment[name] = str(path)
        self.runtime = self.root / "runtime"
        self.config = self.root / "home/.config"
        self.environment.update({
            MARK: str(self.root),
            "LC_ALL": "C.UTF-8",
            "GDK_BACKEND": "x11",
            "XDG_CURRENT_DESKTOP": "XFCE",
            "XDG_SESSION_TYPE": "x11",
        }, **self.extra_environment)
        if self.panel != "none":
            self._write_panel_settings()

    def _write_panel_settings(self):
        red, green, blue = (channel / 255 for channel in PANEL_COLOUR)
        template = (Path(__file__).resolve().parent / "virtual_panel.xml").read_text()
        directory = self.config / "xfce4/xfconf/xfce-perchannel-xml"
        directory.mkdir(parents=True)
        (directory / "xfce4-panel.xml").write_text(template.format(
            position=PANEL_POSITIONS[self.panel], height=PANEL_HEIGHT, red=red, green=green, blue=blue))

    def _service(self, command, **options):
        return self.run(command, **{"stdout": self._log, "stderr": self._log, **options})

    def _x_server(self):
        width, height = self.size
        return ["Xvfb", "-displayfd", "1", "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp",
                "-noreset"]

    def _first_line(self, command):
        """Starts a server that announces itself with one line on its standard output."""
        process = self._service(command, stdout=subprocess.PIPE)
        with process.stdout as output:
            line = output.readline().decode().strip()
        if not line:
            raise DesktopError(f"{command[0]} did not start: {self.log()}")
        return line

    def _start_bus(self):
        address = self._first_line(["dbus-daemon", "--session", "--nofork", "--print-address"])
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)

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

    def owner_of(self, name):
        """The unique bus name behind a well-known one; none when nobody has it."""
        try:
            return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetNameOwner", GLib.Variant("(s)", (name,)))[0]
        except GLib.Error:
            return None

    def call(self, name, path, interface, method, arguments=None):
        """The unpacked answer to a method call on the private bus."""
        return self.bus.call_sync(name, path, interface, method, arguments, None,
                                  Gio.DBusCallFlags.NONE, 10000, None).unpack()

    def items(self):
        """The registered status items."""
        if not self.owner_of(WATCHER):
            return []
        try:
            answer = self.call(WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get",
                               GLib.Variant("(ss)", (WATCHER, "RegisteredStatusNotifierItems")))[0]
        except GLib.Error:
            return []  # it has just gone
        parts = (item.partition("/") for item in answer)
        return [StatusItem(self, name, "/" + path) for name, _, path in parts]

    def process_of(self, name):
        """The number of the process behind a bus name."""
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]

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
        return Picture.load(self.screenshot(self.root / "screen.png"))

    def panel_picture(self):
        top = 0 if self.panel == "top" else self.size[1] - PANEL_HEIGHT
        return self.picture().crop(0, top, self.size[0], PANEL_HEIGHT)

    def panel_shows(self, image):
        """Whether the panel shows this image file and nothing else, pixel for pixel."""
        if self.panel == "none" or not image.exists():
            return False
        strip = Picture.load(image, PANEL_COLOUR).inked(PANEL_COLOUR)
        return self.panel_picture().inked(PANEL_COLOUR).matches(strip)

    def strip_shows(self):
        """Whether the panel shows the only item's present image."""
        items = self.items()
        return len(items) == 1 and self.panel_shows(items[0].image())

    # ---- the end ----

    @staticmethod
    def _kill(process):
        """Kills a service with its helpers as a crash would; none is what is left of it."""
        if process and process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def _marked_processes(self):
        """All processes of this desktop that still run, whoever started them."""
        mark = f"{MARK}={self.root}\0".encode()
        found = []
        for entry in Path("/proc").iterdir():
            if not entry.name.isdigit():
                continue
            try:
                if mark in (entry / "environ").read_bytes():
                    found.append(int(entry.name))
            except OSError:
                continue
        return found

    def _end_marked_processes(self):
        if not self._log:
            return
        for number, patience in ((signal.SIGTERM, 3), (signal.SIGKILL, 3)):
            deadline = time.monotonic() + patience
            for pid in self._marked_processes():
                try:
                    os.kill(pid, number)
                except ProcessLookupError:
                    pass
            while self._marked_processes() and time.monotonic() < deadline:
                time.sleep(0.05)


# ---- as a command ----


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--screenshot", type=Path, metavar="FILE", help="write a picture of the whole screen")
    parser.add_argument("--seconds", type=float, help="end after so long (otherwise with Ctrl+C)")
    parser.add_argument("--panel", choices=[*PANEL_POSITIONS, "none"], default="top")
    parser.add_argument("--window-manager", choices=list(WINDOW_MANAGERS), default="xfwm4")
    parser.add_argument("program", nargs="+", help="the program and its arguments, after --")
    return parser.parse_args()


def take_screenshot(desktop, program, path):
    shown = desktop.items if desktop.panel == "none" else desktop.strip_shows
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
        with VirtualDesktop(panel=arguments.panel, window_manager=arguments.window_manager) as desktop:
            return show(desktop, arguments)
    except DesktopError as error:
        print(error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
