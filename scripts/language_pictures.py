#!/usr/bin/python3
"""Shows what the translations look like: every page and the menu, in the languages named (all without any).

    scripts/language_pictures.py de ar        pictures into build/languages/de and build/languages/ar

Installs what is missing, builds what changed, and names every text that does not fit its place; then it ends
with 1. The pages are drawn in a window of their own, the menu by a real panel.
"""

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[1]
BUILD = SOURCE / "build/release"
# The pages side by side, as the overview has them.
ROWS = (("menu", "cpu", "gpu", "no-gpu", "settings-whole", "about"),
        ("processes", "processes-kill", "my-processes-terminate", "help"))
BETWEEN = "#808080"
CLICKS = 4
CLICK_SECONDS = 3
AWAY = (20, 700)  # of the screen


def languages():
    return sorted(path.stem for path in (SOURCE / "po").glob("*.po"))


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, **options)


def build():
    run(SOURCE / "scripts/setup", "build", "desktop", "test")
    run("cmake", "--preset", "release", "-DKORVALUNE_TESTS=ON", cwd=SOURCE, stdout=subprocess.DEVNULL)
    run("cmake", "--build", BUILD, "--target", "pages_in_language", "Korvalune_on")


def draw_pages(code, directory):
    """The faults found, as the test prints them."""
    command = [SOURCE / "tests/views/with_display", BUILD / "tests/pages_in_language", code, directory]
    result = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False,
                            env={**os.environ, "G_DEBUG": "fatal-warnings"})
    if result.returncode == 0:
        return ""
    return "\n".join(line for line in result.stdout.splitlines() if not line.startswith("["))


def changed_area(before, after, top=0):
    """Where two screenshots differ from a height on: width, height, left, top; nothing when they are the same."""
    found = run("convert", before, after, "-compose", "difference", "-composite", "-crop", f"+0+{top}", "+repage",
                "-format", "%@", "info:", stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    width, height, left, offset = (int(number) for number in found.replace("x", "+").split("+"))
    return (width, height, left, top + offset) if width and height else None


def draw_menus(codes, directory):
    """The menu as a panel shows it after a click on the strip."""
    from living_machine import LivingMachine
    from virtual_desktop import PANEL_HEIGHT, DesktopError, VirtualDesktop, wait_until

    with tempfile.TemporaryDirectory() as root, LivingMachine(root) as machine, \
            VirtualDesktop(size=(1280, 800)) as desktop:
        empty = desktop.screenshot(desktop.root / "empty.png")
        closed, opened = desktop.root / "closed.png", desktop.root / "opened.png"
        settings = desktop.config / "Korvalune/settings.conf"
        settings.parent.mkdir(parents=True)

        def menu_area():
            area = changed_area(closed, desktop.screenshot(opened), PANEL_HEIGHT)
            return area if area and area[1] > 3 * PANEL_HEIGHT else None  # no tooltip

        def open_menu(x, y):
            """Where it is. The panel passes over a click that comes before it has learned of the menu."""
            for _ in range(CLICKS):
                desktop.pointer(x, y, "click", "1")
                try:
                    return wait_until(menu_area, CLICK_SECONDS, "the menu", 0.2)
                except DesktopError:
                    continue
            raise DesktopError("no click on the strip opens the menu")

        for code in codes:
            desktop.pointer(*AWAY)  # from the panel, which lights up what the pointer is on
            settings.write_text(f"[general]\nlanguage={code}\ntheme=dark\n")
            program = desktop.run([BUILD / "tests/Korvalune_on", machine.root])
            wait_until(desktop.strip_shows, 20, "the strip", 0.1)
            width, height, left, top = changed_area(empty, desktop.screenshot(closed))
            width, height, left, top = open_menu(left + width // 2, top + height // 2)
            run("convert", opened, "-crop", f"{width}x{height}+{left}+{top}", "+repage", directory / code / "menu.png")
            desktop.press("Escape")
            program.terminate()
            program.wait(10)
            wait_until(lambda: not desktop.items(), 10, "the end of the item")


def make_overview(directory):
    rows = []
    for row in ROWS:
        pictures = [directory / f"{name}.png" for name in row]
        rows += ["(", *pictures, "-bordercolor", BETWEEN, "-border", "4", "-gravity", "north", "+append", ")"]
    run("convert", "-background", BETWEEN, *rows, "-gravity", "west", "-append", "-strip", directory / "all.png")
    print(directory / "all.png", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("codes", metavar="CODE", nargs="*", help="languages by their codes, such as zh_TW")
    parser.add_argument("--directory", type=Path, default=SOURCE / "build/languages")
    arguments = parser.parse_args()
    codes = arguments.codes or languages()
    unknown = sorted(set(codes) - set(languages()))
    if unknown:
        parser.error(f"no translation is called {', '.join(unknown)}")
    build()

    faulty = []
    for code in codes:
        (arguments.directory / code).mkdir(parents=True, exist_ok=True)
        faults = draw_pages(code, arguments.directory / code)
        if faults:
            print(f"{code}: texts that do not fit\n{faults}")
            faulty.append(code)
    draw_menus(codes, arguments.directory)
    for code in codes:
        make_overview(arguments.directory / code)
    return 1 if faulty else 0


if __name__ == "__main__":
    sys.exit(main())
