#!/usr/bin/python3
"""Makes the pictures of the popup's pages in the documentation, on a made-up machine.

    scripts/page_pictures.py build/release/tests/Korvalune_on docs
"""

import argparse
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from living_machine import USER, LivingMachine
from virtual_desktop import VirtualDesktop, wait_until

PAGES = {"cpu": "CPU", "gpu": "GPU", "processes": "All Processes", "my-processes": "My Processes",
         "help": "Help", "about": "About", "settings": "Settings"}
OVERVIEW = ("cpu-dark", "processes-dark", "settings-dark")
SETTLED_SECONDS = 5  # the smoothed figures have arrived at what they rise to


def popup_window(desktop):
    """The number of the popup's window while it is shown; none otherwise."""
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "Korvalune"],
                           env=desktop.environment, capture_output=True, text=True).stdout.split()
    return found[0] if found else None


def shoot(desktop, path):
    window = wait_until(lambda: popup_window(desktop), 10, "the popup")
    time.sleep(1)  # the crossfade, and the first drawing
    subprocess.run(["import", "-silent", "-window", window, "-strip", str(path)], env=desktop.environment,
                   check=True)
    print(path, flush=True)


def make_pictures(program, directory, theme):
    with tempfile.TemporaryDirectory() as root, LivingMachine(root) as machine, \
            VirtualDesktop(size=(1280, 800)) as desktop:
        settings = desktop.config / "Korvalune/settings.conf"
        settings.parent.mkdir(parents=True)
        settings.write_text(f"[general]\ntheme={theme}\n")
        running = desktop.run([program, machine.root])
        item = wait_until(lambda: desktop.items(), 20, "the status item")[0]
        desktop.pointer(640, 10)
        time.sleep(SETTLED_SECONDS)
        for name, entry in PAGES.items():
            item.click(entry)
            shoot(desktop, directory / f"{name}-{theme}.png")
        running.terminate()
        running.wait(10)


def make_overview(directory):
    """One picture of the main pages side by side."""
    pictures = [str(directory / "pages" / f"{name}.png") for name in OVERVIEW]
    subprocess.run(["convert", *pictures, "-bordercolor", "none", "-border", "6x0", "-background", "none",
                    "+append", "-strip", str(directory / "pages.png")], check=True)
    print(directory / "pages.png", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("program", type=Path)
    parser.add_argument("directory", type=Path)
    arguments = parser.parse_args()
    pages = arguments.directory / "pages"
    pages.mkdir(parents=True, exist_ok=True)
    for theme in ("light", "dark"):
        make_pictures(arguments.program.resolve(), pages, theme)
    make_overview(arguments.directory)
    return 0


if __name__ == "__main__":
    sys.exit(main())
