#!/usr/bin/env python3
"""What tools/po_tables.py takes and refuses, on small PO files, and the state of the real ones."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
TOOL = SOURCE / "tools" / "po_tables.py"
MSGFMT = os.environ.get("MSGFMT", "msgfmt")

HEADER = """msgid ""
msgstr ""
"Project-Id-Version: Korvalune\\n"
"PO-Revision-Date: 2026-11-21 03:30+0000\\n"
"Last-Translator: none\\n"
"Language-Team: none\\n"
"Language: {code}\\n"
"MIME-Version: 1.0\\n"
"Content-Type: text/plain; charset=UTF-8\\n"
"Content-Transfer-Encoding: 8bit\\n"
"X-Native-Name: {name}\\n"
"X-Right-To-Left: no\\n"
"""


def header(code, name="Name"):
    return HEADER.format(code=code, name=name)


def entry(key, english, text, flags=""):
    flags = f"#, {flags}\n" if flags else ""
    return f'\n{flags}msgctxt "{key}"\nmsgid "{english}"\nmsgstr "{text}"\n'


QUIT = entry("quit", "Quit", "Quit")
CORES = entry("cores", "%s Cores (%d)", "%s Cores (%d)", "c-format")
UP = entry("up", " (up)", " (up)")
ENGLISH = header("en", "English") + QUIT + CORES + UP


class PoTablesTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.output = self.directory / "tables.cpp"

    def run_tool(self, files):
        """`files`: content by language code, as text or bytes."""
        paths = []
        for code, content in files.items():
            paths.append(self.directory / f"{code}.po")
            paths[-1].write_bytes(content if isinstance(content, bytes) else content.encode())
        command = [sys.executable, "-B", TOOL, "--msgfmt", MSGFMT, "--output", self.output, *paths]
        return subprocess.run(command, capture_output=True, encoding="utf-8", check=False)

    def accept(self, german, english=ENGLISH):
        """The generated source for these two languages."""
        result = self.run_tool({"en": english, "de": german})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return self.output.read_text(encoding="utf-8")

    def refuse(self, german, *wanted, english=ENGLISH, code="de"):
        result = self.run_tool({"en": english, code: german})
        self.assertNotEqual(result.returncode, 0)
        self.assertFalse(self.output.exists())
        for text in wanted:
            self.assertIn(text, result.stderr)
        self.assertNotIn("Traceback", result.stderr)
        return result.stderr

    # What becomes of good files

    def test_keys_and_languages_are_sorted_as_bytes(self):
        keys = ["b.a", "b", "a.b", "bC", "b_a", "ba"]
        english = header("en") + "".join(entry(key, key, key) for key in keys)
        german = header("de", "Deutsch") + "".join(entry(key, key, f"<{key}>") for key in reversed(keys))
        source = self.accept(german, english)
        self.assertIn('KEYS[KEY_COUNT] = {\n    "a.b",\n    "b",\n    "b.a",\n    "bC",\n    "b_a",\n    "ba",\n}', source)
        self.assertIn('VALUES_de[KEY_COUNT] = {\n    "<a.b>",\n    "<b>",', source)
        self.assertLess(source.index('{"de", "Deutsch", false, VALUES_de}'), source.index('{"en", '))
        self.assertIn("KEY_COUNT == 6", source)
        self.assertIn("LANG_COUNT == 2", source)

    def test_untranslated_and_fuzzy_texts_become_english(self):
        german = header("de") + entry("quit", "Quit", "") + entry("up", " (up)", "rauf", "fuzzy")
        german += entry("cores", "%s Cores (%d)", "%d %s", "fuzzy, c-format")
        source = self.accept(german)
        self.assertIn('VALUES_de[KEY_COUNT] = {\n    "%s Cores (%d)",\n    "Quit",\n    " (up)",\n}', source)

    def test_texts_keep_every_byte(self):
        english = header("en") + entry("a", r"one\ntwo \"three\" \\four", r"one\ntwo \"three\" \\four")
        german = header("de") + '\nmsgctxt "a"\nmsgid ""\n"one\\n"\n"two \\"three\\" \\\\four"\nmsgstr ""\n"eins\\n"\n"ö😀"\n'
        source = self.accept(german, english)
        self.assertIn(r'"one\ntwo \"three\" \\four"', source)
        self.assertIn(r'"eins\nö😀"', source)

    def test_comments_and_dropped_entries_are_no_entries(self):
        german = header("de") + "# a note\n#. about\n" + QUIT + CORES
        german += '\n#| msgid "Previous"' + UP + '\n#~ msgctxt "old"\n#~ msgid "Old"\n#~ msgstr "Alt"\n'
        self.accept(german)

    def test_texts_of_the_desktop_are_checked_but_not_compiled_in(self):
        comment = entry("desktop.comment", "In the panel", "{}")
        english = ENGLISH + comment.format("In the panel")
        source = self.accept(header("de") + QUIT + CORES + UP + comment.format("In der Leiste"), english)
        self.assertIn("KEY_COUNT == 3", source)
        self.assertNotIn("anel", source)
        self.assertNotIn("Leiste", source)
        self.output.unlink()
        self.refuse(header("de") + QUIT + CORES + UP, "desktop.comment: is missing", english=english)

    def test_direction_comes_from_the_header(self):
        hebrew = header("he").replace("Right-To-Left: no", "Right-To-Left: yes") + QUIT + CORES + UP
        self.assertEqual(self.run_tool({"en": ENGLISH, "he": hebrew}).returncode, 0)
        self.assertIn('{"he", "Name", true, VALUES_he}', self.output.read_text(encoding="utf-8"))

    # What is refused

    def test_missing_key(self):
        self.refuse(header("de") + QUIT + UP, "de.po:1: error: cores: is missing")

    def test_unknown_key(self):
        self.refuse(header("de") + QUIT + CORES + UP + entry("new", "New", ""), "de.po:27: error: new: is no key")

    def test_key_that_comes_twice(self):
        self.refuse(header("de") + QUIT + CORES + UP + QUIT, "de.po")
        self.refuse(header("de") + QUIT + CORES + UP + entry("quit", "Exit", ""), "quit: comes twice")

    def test_other_english_text(self):
        stale = header("de") + entry("quit", "Exit", "Ende") + CORES + UP
        self.refuse(stale, "de.po:14: error: quit: translates another English text")

    def test_placeholders_of_other_kind_order_or_number(self):
        for text in ("%d Kerne (%s)", "%s Kerne", "Kerne", "%s %d %d", "%s (%i)", "%2$d von %1$s", "%s (%d) 100%"):
            with self.subTest(text=text):
                german = header("de") + QUIT + entry("cores", "%s Cores (%d)", text) + UP
                self.refuse(german, "de.po:18: error: cores: has the placeholders")

    def test_placeholders_in_another_order_that_a_format_may_have(self):
        german = header("de") + QUIT + entry("cores", "%s Cores (%d)", "%2$d von %1$s", "c-format") + UP
        self.refuse(german, "de.po:19: error: cores: has the placeholders %2 %1, not %s %d")

    def test_blanks_at_the_ends(self):
        for text in ("(hoch)", " (hoch) ", "  (hoch)"):
            with self.subTest(text=text):
                self.refuse(header("de") + QUIT + CORES + entry("up", " (up)", text), "up: begins or ends with")

    def test_line_breaks_within(self):
        english = header("en") + entry("a", r"one\ntwo", r"one\ntwo")
        for text in ("eins zwei", r"eins\nzwei\ndrei"):
            with self.subTest(text=text):
                self.refuse(header("de") + entry("a", r"one\ntwo", text), "a: has other line breaks", english=english)

    def test_control_characters(self):
        for text in (r"E\tnde", r"E\rnde", "E\x1bnde", "E\x7fnde", "E\u0085nde"):
            with self.subTest(text=text):
                self.refuse(header("de") + entry("quit", "Quit", text) + CORES + UP, "quit: holds a control")

    def test_bytes_that_are_not_utf8(self):
        german = (header("de") + CORES + entry("quit", "Quit", "ENDE") + UP).encode().replace(b"ENDE", b"\xff\xfe")
        self.refuse(german, "de.po:21: error: quit: not UTF-8")

    def test_broken_syntax(self):
        for german in (header("de") + '\nmsgctxt "quit"\nmsgid "Quit\nmsgstr ""\n', "\0\1\2", "", "msgid"):
            with self.subTest(german=german[-20:]):
                self.refuse(german, "de.po")

    def test_header(self):
        rest = QUIT + CORES + UP
        self.refuse(header("fr") + rest, "header's Language differs")
        self.refuse(header("de", "") + rest, "lacks X-Native-Name")
        self.refuse(header("de").replace("Left: no", "Left: maybe") + rest, "lacks X-Right-To-Left")
        self.refuse(header("de-x") + rest, "de-x is no language code", code="de-x")

    def test_english_that_differs_from_itself(self):
        english = header("en") + entry("quit", "Quit", "Exit") + CORES + UP
        self.refuse(header("de") + QUIT + CORES + UP, "en.po:14: error: quit: the English file", english=english)

    def test_no_english_at_all(self):
        result = self.run_tool({"de": header("de") + QUIT})
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("there is no en.po", result.stderr)

    def test_all_problems_are_named_at_once(self):
        german = header("de") + entry("quit", "Quit", "Ende ") + entry("up", " (up)", "hoch")
        self.refuse(german, "quit: begins", "up: begins", "cores: is missing")


class RealFilesTest(unittest.TestCase):
    def test_msgfmt_has_nothing_to_say(self):
        files = sorted((SOURCE / "po").glob("*.po"))
        self.assertTrue(files)
        for path in files:
            with self.subTest(path.name):
                check = [MSGFMT, "--check", "-o", os.devnull, path]
                result = subprocess.run(check, capture_output=True, encoding="utf-8", check=False)
                self.assertEqual((result.returncode, result.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
