"""Another program's window beside the popup."""

import re
import subprocess
import time

from virtual_desktop import wait_until


class OtherWindow:
    """Another program's window, which tells what it is sent."""

    def __init__(self, desktop, x=40, y=400, width=240, height=160):
        self.desktop = desktop
        self._path = desktop.root / f"other-{time.monotonic_ns()}.log"
        with open(self._path, "wb") as output:
            self.process = desktop.run(
                ["stdbuf", "-oL", "xev", "-event", "keyboard", "-event", "button", "-event", "focus",
                 "-geometry", f"{width}x{height}+{x}+{y}", "-name", "other"], stdout=output)
        wait_until(self.window, 20, "the other window")
        self.middle = None  # where it is clicked: the window manager has a say in its place
        wait_until(self._placed, 10, "a window that stays where it is", interval=0.2)

    def _xdotool(self, *words):
        done = subprocess.run(["xdotool", *words], env=self.desktop.environment, text=True,
                              capture_output=True)
        return done.stdout.split()

    def window(self):
        found = self._xdotool("search", "--onlyvisible", "--name", "^other$")
        return found[-1] if found else None

    def _placed(self):
        words = dict(word.split("=") for word in self._xdotool("getwindowgeometry", "--shell", self.window()))
        x, y, width, height = (int(words[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))
        before, self.middle = self.middle, (x + width // 2, y + height // 2)
        return before == self.middle

    def take_keyboard(self):
        self.desktop.pointer(*self.middle, "click", "1")
        wait_until(self.has_keyboard, 10, "the other window's focus")

    def has_keyboard(self):
        return self._xdotool("getwindowfocus") == [self.window()]

    def _events(self):
        """What the window was told, as paragraphs."""
        return [part.lstrip() for part in self._path.read_text(errors="replace").split("\n\n")]

    def clicks(self):
        return sum(event.startswith("ButtonPress") for event in self._events())

    def keys(self):
        """The keys that were pressed here, by name."""
        return re.findall(r"^KeyPress.*?\(keysym \w+, (\w+)\)", "\n\n".join(self._events()), re.M | re.S)

    def wait_for_key(self, key):
        """Presses a key, which must reach this window and only it."""
        before = self.keys()
        self.desktop.press(key)
        wait_until(lambda: self.keys() == [*before, key], 5, f"the key {key} in the other window")
