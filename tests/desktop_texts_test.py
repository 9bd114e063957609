#!/usr/bin/env python3
"""What tools/desktop_texts.py makes of small templates and translations."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from po_tables_test import entry, header

SOURCE = Path(__file__).resolve().parent.parent
TOOL = SOURCE / "tools" / "desktop_texts.py"
MSGFMT = os.environ.get("MSGFMT", "msgfmt")

COMMENT = entry("desktop.comment", "In the panel", "{}")
KEYWORDS = entry("desktop.keywords", "CPU;R&D;", "{}")


def language(code, comment, keywords):
    return header(code) + COMMENT.format(comment) + KEYWORDS.format(keywords)


PO = {
    "en": language("en", "In the panel", "CPU;R&D;"),
    "de": language("de", "In der Leiste", "Prozessor;F&E;"),
    "zh_TW": language("zh_TW", "面板", ""),
    "ar": language("ar", "", ""),
}


class DesktopTextsTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.output = self.directory / "data"

    def run_tool(self, template, po=None, name="a.desktop"):
        for code, content in (po or PO).items():
            (self.directory / f"{code}.po").write_text(content, encoding="utf-8")
        path = self.directory / f"{name}.in"
        path.write_text(template, encoding="utf-8")
        command = [sys.executable, "-B", TOOL, "--msgfmt", MSGFMT, "--po", *self.directory.glob("*.po"),
                   "--output", self.output, "--", path]
        return subprocess.run(command, capture_output=True, encoding="utf-8", check=False)

    def made_of(self, template, **arguments):
        result = self.run_tool(template, **arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return (self.output / "a.desktop").read_text(encoding="utf-8")

    def refuse(self, template, wanted, **arguments):
        result = self.run_tool(template, **arguments)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn(wanted, result.stderr)
        self.assertNotIn("Traceback", result.stderr)
        self.assertEqual(list(self.output.glob("*")), [])

    def test_an_entry_has_english_twice_and_what_is_translated(self):
        self.assertEqual(self.made_of("[Desktop Entry]\nName=X\nComment={desktop.comment}\nType=Y\n"),
                         "[Desktop Entry]\nName=X\nComment=In the panel\nComment[de]=In der Leiste\n"
                         "Comment[en]=In the panel\nComment[zh_TW]=面板\nType=Y\n")

    def test_a_list_stays_one_line_in_an_entry(self):
        self.assertEqual(self.made_of("Keywords={desktop.keywords}\n"),
                         "Keywords=CPU;R&D;\nKeywords[de]=Prozessor;F&E;\nKeywords[en]=CPU;R&D;\n")

    def test_a_backslash_is_no_escape(self):
        po = {"en": header("en") + entry("desktop.comment", r"a\\b", r"a\\b")}
        self.assertEqual(self.made_of("Comment={desktop.comment}\n", po=po), "Comment=a\\\\b\nComment[en]=a\\\\b\n")

    def test_xml_has_english_first_and_unmarked(self):
        self.assertEqual(self.made_of("<a>\n  <s>{desktop.comment}</s>\n</a>\n"),
                         '<a>\n  <s>In the panel</s>\n  <s xml:lang="de">In der Leiste</s>\n'
                         '  <s xml:lang="zh_TW">面板</s>\n</a>\n')

    def test_xml_has_an_element_for_each_part_of_a_list(self):
        self.assertEqual(self.made_of("<k>{desktop.keywords}</k>\n"),
                         '<k>CPU</k>\n<k>R&amp;D</k>\n<k xml:lang="de">Prozessor</k>\n<k xml:lang="de">F&amp;E</k>\n')

    def test_a_key_that_is_unknown_or_not_alone_is_refused(self):
        self.refuse("Comment={desktop.nothing}\n", "desktop.nothing is no key of en.po")
        self.refuse("Comment=Now {desktop.comment}\n", "a key must be all that a line holds: Comment=Now")

    def test_faulty_translations_are_refused(self):
        self.refuse("Name=X\n", "begins or ends with other blanks", po=PO | {"de": language("de", " Leiste", "")})


if __name__ == "__main__":
    unittest.main()
