"""The real program in every language: from the settings file or the environment to the menu in the panel."""

import subprocess
import sys
import unittest
from pathlib import Path

from desktop_test_case import DesktopTestCase, Picture

SOURCE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tools"))

from po_tables import read_language  # noqa: E402

ENTRIES = ("CPU", "GPU", "tab.all.short", "tab.my.short", "tab.help", "tab.about", "-", "tab.settings", "-", "quit")
NO_LANGUAGE = {"LANGUAGE": None, "LC_ALL": None, "LC_MESSAGES": None, "LANG": None}


def menu_in(code):
    texts = {entry.key: entry.text for entry in read_language(SOURCE / "po" / f"{code}.po", "msgfmt").entries}
    return [texts.get(entry, entry) for entry in ENTRIES]


def codes():
    return sorted(path.stem for path in (SOURCE / "po").glob("*.po"))


class LanguageTestCase(DesktopTestCase):
    # The machine need not have the locales whose languages are asked for.
    expected_output = (r"Locale not supported by C library", r"Using the fallback 'C' locale")

    def expect_menu(self, code, environment=None, settings=None):
        program = self.start({**NO_LANGUAGE, **(environment or {})}, settings)
        try:
            self.assertEqual([text for _, text in program.item().menu()], menu_in(code))
        finally:
            program.end()
            self.settings_file.unlink(missing_ok=True)


class SettingsLanguage(LanguageTestCase):
    expected_output = ()

    def test_the_language_of_the_settings_comes_first(self):
        self.assertEqual(len(codes()), 44)
        for code in codes():
            with self.subTest(code):
                self.expect_menu(code, {"LANGUAGE": "fr"}, f"[general]\nlanguage={code}\n")

    def test_a_language_that_there_is_not_is_english(self):
        for value in (b"xx", b"de_AT", b"../../etc/passwd", b"%s%n", b"\xff\xfe", b"x" * 1_000_000):
            with self.subTest(value[:20]):
                self.expect_menu("en", {"LANGUAGE": "de"}, b"[general]\nlanguage=" + value + b"\n")

    def test_an_empty_language_follows_the_environment(self):
        for value in ("", "auto"):
            with self.subTest(value):
                self.expect_menu("de", {"LANGUAGE": "de"}, f"[general]\nlanguage={value}\n")


class EnvironmentLanguage(LanguageTestCase):
    def test_the_environment_decides_without_settings(self):
        for variables, code in (
            ({"LANG": "de_AT.UTF-8"}, "de"),
            ({"LANG": "pt_BR.UTF-8"}, "pt"),
            ({"LANG": "zh_TW.UTF-8"}, "zh_TW"),
            ({"LANG": "zh_HK.UTF-8"}, "zh"),
            ({"LANG": "sr_RS@latin"}, "sr"),
            ({"LANG": "de_DE@euro"}, "de"),
            ({"LANG": "no_NO.UTF-8"}, "en"),
            ({"LANG": "iw_IL.UTF-8"}, "en"),
            ({"LANG": "C.UTF-8"}, "en"),
            ({"LANG": "POSIX"}, "en"),
            ({"LANGUAGE": "eo:fr:de", "LANG": "ja_JP.UTF-8"}, "fr"),
        ):
            with self.subTest(**variables):
                self.expect_menu(code, variables)


class FiguresInOtherLocales(DesktopTestCase):
    """Fonts of many languages have digits of their own, in another size and height than the letters beside them."""

    def first_strip(self, machine, locale):
        environment = {"LOCPATH": str(self.desktop.root), "LC_ALL": locale}
        program = self.start(environment, "[general]\nlanguage=en\n", machine)
        item = program.item()
        program.next_image()
        program.next_image()
        picture = Picture.load(item.image())
        program.end()
        return picture

    def test_the_strip_is_the_same(self):
        machine = SOURCE / "tests/fixtures/desktop-4core"
        for locale in ("ko_KR.UTF-8", "th_TH.UTF-8", "ur_PK.UTF-8", "ja_JP.UTF-8"):
            subprocess.run(["localedef", "-i", locale.partition(".")[0], "-f", "UTF-8", self.desktop.root / locale],
                           check=True)
        wanted = self.first_strip(machine, "C.UTF-8")
        for locale in ("ko_KR.UTF-8", "th_TH.UTF-8", "ur_PK.UTF-8", "ja_JP.UTF-8"):
            with self.subTest(locale):
                self.assertTrue(self.first_strip(machine, locale).matches(wanted))


if __name__ == "__main__":
    unittest.main()
