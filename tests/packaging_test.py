#!/usr/bin/env python3
"""What the packages' descriptions say agrees with what is installed and with each other.

    CMAKE=cmake BUILD_DIRECTORY=build/release tests/packaging_test.py
"""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import yaml

from installation import InstalledCase, build_directory

REPOSITORY = Path(__file__).resolve().parents[1]
FLATPAK = REPOSITORY / "packaging/flatpak/example.korvalune.korvalune.yml"


def read(path):
    return yaml.safe_load(path.read_text())


def project_version():
    lines = (REPOSITORY / "CMakeLists.txt").read_text()
    return re.search(r"^project\(Korvalune VERSION ([\d.]+)", lines, re.MULTILINE).group(1)


class Flatpak(InstalledCase):
    def setUp(self):
        self.manifest = read(FLATPAK)

    def test_what_is_renamed_is_there(self):
        self.assertEqual(self.manifest["id"], FLATPAK.stem)
        self.check_installed(f"share/applications/{self.manifest['rename-desktop-file']}")
        self.check_installed(f"share/icons/hicolor/scalable/apps/{self.manifest['rename-icon']}.svg")
        self.check_installed(f"bin/{self.manifest['command']}")

    def test_every_download_has_a_checksum_or_a_revision(self):
        for module in self.manifest["modules"]:
            for source in module["sources"]:
                with self.subTest(module["name"], kind=source["type"]):
                    if source["type"] == "archive":
                        self.assertRegex(source["sha256"], "^[0-9a-f]{64}$")
                        self.assertTrue(source["url"].startswith("https://"))
                    elif source["type"] == "bzr":
                        self.assertTrue(source["revision"])
                    elif source["type"] == "dir":
                        self.assertTrue((FLATPAK.parent / source["path"] / "CMakeLists.txt").is_file())
                    else:
                        self.assertEqual(source["type"], "script")

    def test_every_permission_says_what_it_is_for(self):
        lines = FLATPAK.read_text().splitlines()
        permissions = [number for number, line in enumerate(lines) if line.startswith("  - --")]
        self.assertEqual(len(permissions), len(self.manifest["finish-args"]))
        for number in permissions:
            self.assertTrue(lines[number - 1].startswith("  # "), lines[number])


class Snap(InstalledCase):
    def setUp(self):
        self.snap = read(REPOSITORY / "snap/snapcraft.yaml")
        self.part = self.snap["parts"]["korvalune"]
        self.app = self.snap["apps"]["korvalune"]

    def test_the_version_is_the_builds(self):
        with tempfile.TemporaryDirectory() as programs:
            control = Path(programs) / "craftctl"
            control.write_text('#!/bin/sh\n[ "$1" = default ] || echo "$@"\n')
            control.chmod(0o755)
            printed = subprocess.run(
                ["bash", "-euc", self.part["override-build"]], text=True, stdout=subprocess.PIPE, check=True,
                env={**os.environ, "PATH": f"{programs}:{os.environ['PATH']}",
                     "CRAFT_PART_BUILD": str(build_directory())})
        self.assertEqual(printed.stdout, f"set version={project_version()}\n")
        self.assertNotIn("version", self.snap)
        self.assertEqual(self.snap["adopt-info"], "korvalune")

    def test_what_it_starts_and_shows_is_there(self):
        self.assertEqual(self.app["command"], "bin/launcher")
        self.assertEqual(self.snap["parts"]["launcher"]["organize"], {"launcher": "bin/launcher"})
        self.assertTrue(os.access(REPOSITORY / self.snap["parts"]["launcher"]["source"] / "launcher", os.X_OK))
        self.assertIn("-DCMAKE_INSTALL_PREFIX=/usr", self.part["cmake-parameters"])
        self.check_installed(self.app["desktop"].removeprefix("usr/"))
        self.assertTrue((REPOSITORY / self.snap["icon"]).is_file())

    def test_at_login_it_finds_what_the_settings_page_writes(self):
        self.assertIn(f'directory + "/{self.app["autostart"]}"', (REPOSITORY / "src/autostart.cpp").read_text())

    def test_the_permissions_that_the_help_page_names_can_be_given(self):
        help_page = (REPOSITORY / "src/help_view.cpp").read_text()
        named = re.findall(r"sudo snap connect (\w+):([\w-]+)", help_page)
        self.assertEqual(len(named), 2)
        for snap, plug in named:
            self.assertEqual(snap, self.snap["name"])
            self.assertIn(plug, self.app["plugs"])
            self.assertIn(f"sudo snap connect {snap}:{plug}", self.snap["description"])

    def test_it_can_be_built_with_what_its_base_has(self):
        lines = (REPOSITORY / "CMakeLists.txt").read_text()
        needed = re.search(r"cmake_minimum_required\(VERSION ([\d.]+)\)", lines).group(1)
        base_has = {"core22": (3, 22), "core24": (3, 28)}
        self.assertGreaterEqual(base_has[self.snap["base"]], tuple(map(int, needed.split("."))))

    def test_the_maker_is_the_programs(self):
        maker = (REPOSITORY / "cmake/Maker.cmake").read_text()
        self.assertIn(f'SITE "{self.snap["website"]}"', maker)
        self.assertIn(f'CONTACT "{self.snap["contact"].removeprefix("mailto:")}"', maker)


if __name__ == "__main__":
    unittest.main()
