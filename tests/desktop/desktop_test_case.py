"""What the desktop tests share: the built program, running in a virtual desktop and looked at from outside."""

import os
import re
import signal
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))

from picture import Picture  # noqa: E402,F401
from private_session import PATIENCE, DesktopError  # noqa: E402,F401
from status_item import BusRecord  # noqa: E402,F401
from virtual_desktop import PANEL_COLOUR, PANEL_HEIGHT, VirtualDesktop, wait_until  # noqa: E402,F401

LOCK_FILE = Path(f"/tmp/Korvalune-{os.getuid()}.lock")
IMAGES = ("Korvalune_icon.png", "Korvalune_a.png", "Korvalune_b.png")
START_SECONDS = 20
END_SECONDS = 20 * PATIENCE
SANITIZED = "KORVALUNE_SANITIZED" in os.environ  # the program was built with sanitizers
REFRESH_SECONDS = 2
CORES = os.cpu_count()
BARS_WIDTH = CORES * (5 if CORES < 64 else 2) - (1 if CORES < 64 else 0) + 4
ITEMS = ("cpuPercent", "cpuBars", "temperature", "gpuPercent", "networkSpeed", "memoryFree", "swapUsed")


def binary():
    path = os.environ.get("KORVALUNE_BINARY")
    if not path:
        sys.exit("KORVALUNE_BINARY must name the program to test")
    return Path(path).resolve()


def binary_on(machine):
    """The command that runs the program on a tree of kernel files."""
    path = os.environ.get("KORVALUNE_ON_BINARY")
    if not path:
        sys.exit("KORVALUNE_ON_BINARY must name the program that takes a machine's root")
    return [Path(path).resolve(), machine]


def settings_text(*enabled):
    """A settings file with just these items enabled, in this order; one that it did not name would be shown."""
    disabled = [key for key in ITEMS if key not in enabled]
    return "\n".join(["[items]", *(f"{key}=true" for key in enabled), *(f"{key}=false" for key in disabled), ""])


class Program:
    """One started program with what it printed."""

    def __init__(self, desktop, command, environment):
        self.desktop = desktop
        self.directory = Path(environment.get("XDG_RUNTIME_DIR") or desktop.runtime)
        self._output_path = desktop.root / f"program-{len(list(desktop.root.iterdir()))}.log"
        with open(self._output_path, "wb") as output:
            self.process = desktop.run(command, environment, stdout=output, stderr=output)

    def output(self):
        return self._output_path.read_text(errors="replace")

    def pid(self):
        """The program's own process."""
        return self.process.pid

    def window_mark(self):
        """What xdotool finds its windows by."""
        return "--pid", self.pid()

    def running(self):
        return self.process.poll() is None

    def wait_for(self, condition, what, seconds=START_SECONDS, interval=0.05):
        """As wait_until, but a program that ends meanwhile is told at once."""
        answer = wait_until(lambda: condition() or not self.running(), seconds, what, interval)
        if not self.running():
            raise AssertionError(f"ended with {self.process.returncode} before {what}: {self.output()}")
        return answer

    def item(self):
        """The program's status item with its menu, waited for."""
        def first_complete():
            items = self.desktop.items()
            return items and items[0].has_menu() and items[0]

        return self.wait_for(first_complete, "the status item")

    def newest_image(self, directory=None):
        """The panel image written last, waited for: file and time of writing (ns)."""
        paths = [(directory or self.directory) / name for name in IMAGES[1:]]
        self.wait_for(lambda: any(path.exists() for path in paths), "the first panel image")
        return max((path for path in paths if path.exists()), key=lambda path: path.stat().st_mtime_ns)

    def next_image(self):
        """Waits for another refresh and returns its image file."""
        before = self.newest_image()
        stamp = before.stat().st_mtime_ns
        self.wait_for(lambda: self.newest_image().stat().st_mtime_ns > stamp, "another refresh", 10)
        return self.newest_image()

    def wait_for_strip(self):
        self.wait_for(self.desktop.strip_shows, "the strip in the panel", interval=0.25)

    def end(self, number=signal.SIGTERM):
        """Sends a signal and waits; the exit status."""
        if self.running():
            self.process.send_signal(number)
        return self.process.wait(END_SECONDS)


class DesktopTestCase(unittest.TestCase):
    """One desktop for all tests of a class; each test starts its own programs."""

    maxDiff = None  # what the program printed is shown whole
    desktop_class = VirtualDesktop
    desktop_options = {}
    # Lines that the libraries print in a test's bare surroundings, as regular expressions.
    expected_output = ()

    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.desktop_class(**cls.desktop_options)
        cls.addClassCleanup(cls.desktop.stop)
        cls.desktop.start()  # when it is this test's turn, so that no other one has a program running
        if LOCK_FILE.exists() and not LOCK_FILE.is_symlink() and process_lives(LOCK_FILE.read_text()):
            raise AssertionError(f"Quit the running program first: {LOCK_FILE} is held")

    def setUp(self):
        LOCK_FILE.unlink(missing_ok=True)
        for name in IMAGES:
            (self.desktop.runtime / name).unlink(missing_ok=True)
        self.settings_file = self.desktop.config / "Korvalune/settings.conf"
        self.settings_file.unlink(missing_ok=True)
        self.addCleanup(LOCK_FILE.unlink, missing_ok=True)

    def start(self, environment=None, settings=None, machine=None, launcher=()):
        """Starts the program, on a tree of kernel files if one is given, through a command that becomes it if
        one is given; at the test's end it is ended and its output looked through."""
        if settings is not None:
            self.settings_file.parent.mkdir(exist_ok=True)
            content = settings if isinstance(settings, bytes) else settings.encode()
            # Another program that a test has started may just be reading it.
            scratch = self.settings_file.with_suffix(".new")
            scratch.write_bytes(content)
            scratch.replace(self.settings_file)
        command = binary_on(machine) if machine else [binary()]
        return self.start_command([*launcher, *command], environment)

    def start_command(self, command, environment=None, kind=Program):
        """The same for any command that starts the program."""
        # A warning of GTK or GLib stops the program at once instead of passing unnoticed.
        variables = {"G_DEBUG": None if self.expected_output else "fatal-warnings", **(environment or {})}
        program = kind(self.desktop, command, variables)
        self.addCleanup(self.check_output, program)
        self.addCleanup(program.end)
        return program

    def check_output(self, program):
        lines = [line for line in program.output().splitlines()
                 if line and not any(re.search(known, line) for known in self.expected_output)]
        self.assertEqual(lines, [], "the program printed something")


def process_lives(pid_text):
    return pid_text.strip().isdigit() and Path(f"/proc/{pid_text.strip()}").exists()
