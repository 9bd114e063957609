"""The program as packages start it: in a snap, in an AppDir and in a Flatpak's sandbox, with the panel outside."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import yaml

from desktop_test_case import START_SECONDS, Program, wait_until
from gi.repository import GdkPixbuf
from settings_test_case import SettingsCase

REPOSITORY = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests"))

from installation import build_directory, install  # noqa: E402

MANIFEST = yaml.safe_load((REPOSITORY / "packaging/flatpak/example.korvalune.korvalune.yml").read_text())
PROGRAM = "Korvalune"
MARK = (255, 0, 255)  # no colour of the program's own
SENSORS_TITLE = "Temperature, graphics or ending processes not working?"


def mark_images(directory):
    """Gives the pages' images in this directory a colour by which they are told from all others."""
    square = GdkPixbuf.Pixbuf.new(GdkPixbuf.Colorspace.RGB, True, 8, 16, 16)
    square.fill(0xff00ffff)
    for path in directory.glob("*.png"):
        square.savev(str(path), "png", [], [])


def variables_of(pid):
    """The environment that a process was started with."""
    entries = Path(f"/proc/{pid}/environ").read_bytes().decode().split("\0")
    return dict(entry.split("=", 1) for entry in entries if entry)


def name_of(pid):
    try:
        return Path(f"/proc/{pid}/comm").read_text().strip()
    except OSError:
        return None  # it has just ended


def namespace_of(pid):
    """What tells sandboxes' process numbers apart."""
    try:
        return os.readlink(f"/proc/{pid}/ns/pid")
    except OSError:
        return None


class PackagedProgram(Program):
    """A program that another one has started: a launcher, or a sandbox with process numbers of its own."""

    def pid(self):
        return self.wait_for(self.present_pid, "the program's process")

    def present_pid(self):
        return next((pid for pid in self.desktop.processes() if name_of(pid) == PROGRAM), None)

    def window_mark(self):
        return "--class", f"^{PROGRAM}$"  # in a sandbox windows do not say whose they are

    def end(self, number=signal.SIGTERM):
        while (pid := self.present_pid()) is not None:
            os.kill(pid, number)
            wait_until(lambda: self.present_pid() != pid, START_SECONDS, "the program's end")
        return self.process.wait(START_SECONDS)


class PackagedCase(SettingsCase):
    desktop_options = {"size": (800, 800)}

    def setUp(self):
        super().setUp()
        # Not below /tmp, where no package has its files: the indicator library does not take pictures from there.
        directory = tempfile.TemporaryDirectory(dir="/var/tmp", prefix="korvalune-package-", ignore_cleanup_errors=True)
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name).resolve()

    def start_packaged(self, command, environment):
        program = self.start_command(command, environment, PackagedProgram)
        program.wait_for_strip()
        program.wait_for(lambda: self.menu_texts(program)[-1:] == ["Quit"], "the menu")
        self.program = program
        return program

    def page(self, name):
        return self.open_page(name, program=self.program)

    def wait_for_marked_images(self, popup):
        place = popup.rested()
        self.program.wait_for(lambda: popup.picture(*place).count(MARK) > 16 * 16, "the package's own images", 5)

    def launch_at_login(self):
        popup = self.page("Settings")
        check = popup.find("check box", "Launch at Login")
        self.scroll_to(popup, check)
        popup.click(check)
        self.wait_saved("general", "autostart", "true")

    def speak_german(self):
        """Chooses another language, and waits until another program than before shows its strip and speaks it."""
        popup = self.page("Settings")
        before = self.program.pid()
        self.choose_in(popup, popup.find("combo box", "Language:"), "Deutsch")
        popup.click(popup.find("push button", "Apply"))
        wait_until(lambda: self.program.present_pid() not in (None, before), START_SECONDS, "a new program")
        wait_until(self.desktop.strip_shows, START_SECONDS, "the strip of the new program", interval=0.25)
        item = self.desktop.items()[0]
        wait_until(lambda: [text for _, text in item.menu()][-1:] == ["Beenden"], 5, "the German menu")


class InASnap(PackagedCase):
    def setUp(self):
        super().setUp()
        self.snap = self.root / "snap/korvalune/x1"
        install(self.snap / "usr")
        mark_images(self.snap / "usr/share/korvalune/icons")
        (self.snap / "bin").mkdir()
        self.launcher = Path(shutil.copy(REPOSITORY / "snap/local/launcher", self.snap / "bin"))
        self.home = self.root / "home/snap/korvalune/x1"
        self.home.mkdir(parents=True)
        self.runtime = self.root / "user/snap.korvalune"
        self.runtime.parent.mkdir()
        self.settings_file = self.home / ".config/Korvalune/settings.conf"

    def start_snap(self):
        """What a snap's commands find in their environment, of which the program may look at any part."""
        common = self.home.parent / "common"
        return self.start_packaged([self.launcher], {
            "SNAP": str(self.snap),
            "SNAP_NAME": "korvalune",
            "SNAP_INSTANCE_NAME": "korvalune",
            "SNAP_VERSION": "7.8",
            "SNAP_REVISION": "x1",
            "SNAP_USER_DATA": str(self.home),
            "SNAP_USER_COMMON": str(common),
            "HOME": str(self.home),
            "PATH": f"{self.snap}/usr/sbin:{self.snap}/usr/bin:{self.snap}/sbin:{self.snap}/bin:{os.environ['PATH']}",
            "XDG_CONFIG_HOME": str(self.home / ".config"),
            "XDG_CACHE_HOME": str(common / ".cache"),
            "XDG_DATA_HOME": str(self.home / ".local/share"),
            "XDG_RUNTIME_DIR": str(self.runtime),
        })

    def test_all_is_the_snaps_own_and_the_launcher_brings_another_language(self):
        program = self.start_snap()
        self.assertEqual(program.item().image().parent, self.runtime)
        self.assertEqual(self.runtime.stat().st_mode & 0o777, 0o700)

        popup = self.page("Help")
        popup.find("label", SENSORS_TITLE)
        self.wait_for_marked_images(popup)
        self.shot("snap-help")
        self.page("About").find("label", "Snap 7.8 (Revision x1)")

        self.launch_at_login()
        # The one folder that the snap system looks through at login. What the entry starts it replaces by the snap's
        # own command.
        entry = self.home / ".config/autostart/Korvalune.desktop"
        wait_until(entry.exists, 5, "the autostart entry")
        self.assertIn("Exec=Korvalune\n", entry.read_text())

        self.speak_german()
        self.assertTrue(program.running(), "the launcher is still the first")
        program.item().click("Beenden")
        self.assertEqual(program.process.wait(START_SECONDS), 0)
        self.assertEqual(list(self.runtime.iterdir()), [])


class InAnAppDir(PackagedCase):
    def test_it_runs_from_wherever_it_lies(self):
        made = self.root / "made"
        subprocess.run([REPOSITORY / "packaging/appdir/build", made, build_directory()], check=True)
        folder = made.rename(self.root / "put elsewhere")
        for name in ("korvalune.desktop", "korvalune.svg", ".DirIcon"):
            self.assertTrue((folder / name).resolve(strict=True).is_relative_to(folder), name)
        mark_images(folder / "usr/share/korvalune/icons")
        link = self.root / "run"
        link.symlink_to(folder / "AppRun")

        # As from a terminal that is such a folder itself.
        program = self.start_packaged([link], {"APPDIR": "/somebody/elses"})
        self.assertEqual(variables_of(program.pid())["APPDIR"], str(folder))
        self.wait_for_marked_images(self.page("Help"))
        self.shot("appdir-help")


def can_sandbox():
    try:
        return subprocess.run(["bwrap", "--ro-bind", "/", "/", "--unshare-pid", "--unshare-net", "--proc", "/proc",
                               "true"], stderr=subprocess.DEVNULL).returncode == 0
    except FileNotFoundError:
        return False


@unittest.skipUnless(can_sandbox(), "this system allows no sandbox")
class InAFlatpak(PackagedCase):
    """A sandbox as Flatpak makes it from the manifest, without its runtime: this system's libraries stand in for that.

    What is granted is read from the manifest; the session bus is behind Flatpak's own filter.
    """

    def setUp(self):
        super().setUp()
        install(self.root / "app")
        mark_images(self.root / "app/share/korvalune/icons")
        self.home = self.root / "home"
        self.data = self.home / ".var/app" / MANIFEST["id"]
        for name in ("cache", "config", "data"):
            (self.data / name).mkdir(parents=True)
        (self.root / "tmp").mkdir()  # all sandboxes of a program share theirs
        self.runtime = f"/run/user/{os.getuid()}"
        self.settings_file = self.data / "config/Korvalune/settings.conf"

    def granted(self, kind):
        """The values of one of the manifest's permissions; an unknown kind would be one that this test leaves out."""
        grants = [grant.removeprefix("--").split("=", 1) for grant in MANIFEST["finish-args"]]
        self.assertLessEqual({name for name, _ in grants}, {"socket", "share", "talk-name"})
        return [value for name, value in grants if name == kind]

    def filtered_bus(self):
        """The socket of a bus on which only what is granted can be seen."""
        socket = self.root / "bus"
        self.desktop.run(["xdg-dbus-proxy", self.desktop.environment["DBUS_SESSION_BUS_ADDRESS"], socket, "--filter",
                          "--call=org.freedesktop.portal.*=*",
                          "--broadcast=org.freedesktop.portal.*=@/org/freedesktop/portal/*",
                          *(f"--talk={name}" for name in self.granted("talk-name"))])
        wait_until(socket.exists, 5, "the filtered bus")
        return socket

    def accessible_bus(self):
        """The socket of the widgets' bus, by which a test sees them."""
        address = self.desktop.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0]
        return address.split(",")[0].removeprefix("unix:path=")

    def system(self):
        """The libraries, fonts and settings of this system, read-only."""
        words = ["--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc",
                 "--ro-bind-try", "/var/cache/fontconfig", "/var/cache/fontconfig"]
        for name in ("bin", "sbin", "lib", "lib64"):
            path = Path("/") / name
            if path.is_symlink():
                words += ["--symlink", os.readlink(path), path]
            elif path.exists():
                words += ["--ro-bind", path, path]
        return words

    def sandbox(self):
        info = self.root / "flatpak-info"
        info.write_text(f"[Application]\nname={MANIFEST['id']}\n")
        words = ["bwrap", *self.system(), "--ro-bind", self.root / "app", "/app",
                 "--proc", "/proc", "--unshare-pid", "--dev", "/dev", "--bind", self.root / "tmp", "/tmp", "--dir", "/var/tmp",
                 "--perms", "0700", "--dir", self.runtime,
                 "--ro-bind", info, "/.flatpak-info", "--ro-bind", info, f"{self.runtime}/flatpak-info",
                 "--bind", self.data, self.data,
                 "--ro-bind", self.filtered_bus(), "/run/flatpak/bus",
                 "--ro-bind", self.accessible_bus(), "/run/flatpak/at-spi-bus"]
        for name in ("block", "bus", "class", "dev", "devices"):
            words += ["--ro-bind", f"/sys/{name}", f"/sys/{name}"]
        for share, without in (("network", "--unshare-net"), ("ipc", "--unshare-ipc")):
            if share not in self.granted("share"):
                words.append(without)
        if {"x11", "fallback-x11"} & set(self.granted("socket")):
            display = f"/tmp/.X11-unix/X{self.desktop.environment['DISPLAY'].removeprefix(':')}"
            words += ["--ro-bind", display, display]
        return words

    def start_flatpak(self):
        return self.start_packaged([*self.sandbox(), f"/app/bin/{MANIFEST['command']}"], {
            "FLATPAK_ID": MANIFEST["id"],
            "container": "flatpak",
            "HOME": str(self.home),
            "PATH": "/app/bin:/usr/bin",
            "XDG_CACHE_HOME": str(self.data / "cache"),
            "XDG_CONFIG_HOME": str(self.data / "config"),
            "XDG_DATA_HOME": str(self.data / "data"),
            "XDG_RUNTIME_DIR": self.runtime,
            "DBUS_SESSION_BUS_ADDRESS": "unix:path=/run/flatpak/bus",
            "AT_SPI_BUS_ADDRESS": "unix:path=/run/flatpak/at-spi-bus",
        })

    def in_sandbox(self):
        """The names of all processes that have numbers there, in order."""
        namespace = namespace_of(self.program.present_pid())
        self.assertNotIn(namespace, (None, namespace_of("self")))
        pids = [path.name for path in Path("/proc").iterdir() if path.name.isdigit()]
        return sorted(name_of(pid) for pid in pids if namespace_of(pid) == namespace)

    def test_the_panel_finds_the_pictures_and_the_pages_show_what_there_is(self):
        program = self.start_flatpak()
        pictures = program.item().image().parent
        self.assertEqual(pictures, self.data / "cache/Korvalune")
        self.assertEqual(pictures.stat().st_mode & 0o777, 0o700)
        self.assertFalse(Path(f"/proc/{program.pid()}/root/{self.desktop.runtime}").exists(), "it has its own")

        popup = self.page("Help")
        self.assertFalse(popup.find_all("label", SENSORS_TITLE), "that is for snaps")
        self.wait_for_marked_images(popup)

        # The sandbox's own processes and no others, the machine's network, a home for this run only.
        popup = self.page("All Processes")
        popup.wait_for_label(PROGRAM)
        self.shot("flatpak-processes")
        names = self.in_sandbox()
        self.assertEqual(len(names), 2)
        self.assertEqual(sorted(text for text in popup.labels() if text in {*names, "Xvfb", "xfwm4"}), names)
        self.assertEqual(os.readlink(f"/proc/{program.pid()}/ns/net"), os.readlink("/proc/self/ns/net"))
        self.launch_at_login()
        self.assertEqual([path.name for path in self.home.iterdir()], [".var"])

        self.speak_german()
        self.assertIn("language=de\n", self.settings_file.read_text())
        self.assertEqual(len(self.in_sandbox()), 2)
        self.desktop.items()[0].click("Beenden")
        wait_until(lambda: self.program.present_pid() is None, START_SECONDS, "the end")
        self.assertEqual(list(pictures.iterdir()), [])
        self.assertEqual(list((self.root / "tmp").glob("Korvalune*")), [], "the lock")


if __name__ == "__main__":
    unittest.main()
