"""A session of its own for programs under test: home, settings, runtime directory and session bus.

Nothing of the user's own session is touched: all directories are fresh ones below a temporary directory, and
every process ends with the session. Which screen there is, the desktops built on it say.
"""

import fcntl
import os
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

from status_item import StatusItem  # noqa: E402

WATCHER = "org.kde.StatusNotifierWatcher"

ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
TURN_SECONDS = 300
# More of it for a program that a tool slows down, or on a busy machine.
PATIENCE = float(os.environ.get("KORVALUNE_PATIENCE", "1"))
CALL_MILLISECONDS = 60_000  # for a program that a tool slows down

# Marks every process of a desktop, so that also those which the session bus started are found at the end.
MARK = "KORVALUNE_VIRTUAL_DESKTOP"


class DesktopError(Exception):
    """A part of the desktop did not come up, or something awaited did not happen."""


def wait_until(condition, seconds, what, interval=0.05):
    """The first true answer of `condition`, which is asked again and again for so long; longer with patience."""
    seconds *= PATIENCE
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise DesktopError(f"waited {seconds} s in vain for {what}")
        time.sleep(interval)


class PrivateSession:
    """The session runs inside a `with` block (or between start and stop)."""

    KIND = {}  # variables that tell programs what session this is

    def __init__(self, environment=None):
        self.extra_environment = environment or {}
        self.bus = None  # Gio.DBusConnection to the private session bus
        self._bus_process = None
        self.environment = {}  # what programs in this session are started with
        self._processes = []
        self._log = None
        self._turn = None

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
        self._start_parts()

    def _start_parts(self):
        """A desktop starts its screen and then, when all of the environment is set, the bus."""
        raise NotImplementedError

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
        self.environment.update({MARK: str(self.root), "LC_ALL": "C.UTF-8", **self.KIND, **self.extra_environment})

    def _service(self, command, **options):
        return self.run(command, **{"stdout": self._log, "stderr": self._log, **options})

    def _first_line(self, command):
        """Starts a server that announces itself with one line on its standard output."""
        process = self._service(command, stdout=subprocess.PIPE)
        with process.stdout as output:
            line = output.readline().decode().strip()
        if not line:
            raise DesktopError(f"{command[0]} did not start: {self.log()}")
        return line

    def _start_bus(self):
        """Services that the bus starts on demand inherit its environment: all of it must be set by now."""
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={self.runtime}/bus"
        self.start_bus()

    def start_bus(self):
        """A new bus at the session's address, whose old one is gone."""
        address = self.environment["DBUS_SESSION_BUS_ADDRESS"]
        self._first_line(["dbus-daemon", "--session", "--nofork", "--print-address", f"--address={address}"])
        self._bus_process = self._processes[-1]
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)

    def stop_bus(self):
        """Kills the session bus as a crash would."""
        self._bus_process = self._kill(self._bus_process)

    def stop_accessible_bus(self):
        """Kills the bus of the widgets, with its services; the next program to ask for it gets a new one."""
        for pid in self.processes():
            if b"at-spi" in Path(f"/proc/{pid}/cmdline").read_bytes():
                os.kill(pid, signal.SIGKILL)

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
                                  Gio.DBusCallFlags.NONE, CALL_MILLISECONDS, None).unpack()

    def items(self):
        """The registered status items; not those of programs that have just ended."""
        if not self.owner_of(WATCHER):
            return []
        try:
            answer = self.call(WATCHER, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get",
                               GLib.Variant("(ss)", (WATCHER, "RegisteredStatusNotifierItems")))[0]
        except GLib.Error:
            return []  # it has just gone
        parts = (item.partition("/") for item in answer)
        return [StatusItem(self, name, "/" + path) for name, _, path in parts if self._is_served(name)]

    def _is_served(self, name):
        try:
            return Path(f"/proc/{self.process_of(name)}").exists()
        except GLib.Error:
            return False

    def process_of(self, name):
        """The number of the process behind a bus name."""
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]

    def processes(self):
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

    # ---- the end ----

    @staticmethod
    def _kill(process):
        """Kills a service with its helpers as a crash would; none is what is left of it."""
        if process and process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def _end_marked_processes(self):
        if not self._log:
            return
        for number, patience in ((signal.SIGTERM, 3), (signal.SIGKILL, 3)):
            deadline = time.monotonic() + patience
            for pid in self.processes():
                try:
                    os.kill(pid, number)
                except ProcessLookupError:
                    pass
            while self.processes() and time.monotonic() < deadline:
                time.sleep(0.05)
