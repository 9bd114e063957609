#!/usr/bin/env python3
"""What the documents point to is there: links, pictures, headings, files and commands."""

import re
import unittest
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[1]
PICTURES = REPOSITORY / "docs/pictures"
# Links and pictures of Markdown, and of the HTML in it.
LINK = re.compile(r"\]\(([^)\s]+)\)|\b(?:href|src)=\"([^\"]+)\"")
ELSEWHERE = re.compile(r"[a-z]+:")
HEADING = re.compile(r"^#+ (.+)$", re.MULTILINE)
# A name that stands for itself, without the signs that stand for others.
FILE = re.compile(r"(?<![\w./-])((?:scripts|docs|cmake|tools|\.ci)/[\w./-]*\w)(?![*<{\w])")
CODE = re.compile(r"^```.*?^```|`[^`\n]+`|^    [^\n]+$", re.DOTALL | re.MULTILINE)


def documents():
    tops = [path for path in REPOSITORY.iterdir() if path.is_dir() and path.name[0] != "." and path.name != "build"]
    return sorted([*REPOSITORY.glob("*.md"), *(path for top in tops for path in top.rglob("*.md"))])


def links(text):
    return [one or other for one, other in LINK.findall(re.sub(CODE, "", text))]


def anchors(text):
    """The headings' names as forges make them."""
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in HEADING.findall(text)}


class Documents(unittest.TestCase):
    def setUp(self):
        self.texts = {path: path.read_text() for path in documents()}
        self.assertIn(REPOSITORY / "README.md", self.texts)

    def test_every_link_leads_somewhere(self):
        followed = 0
        for document, text in self.texts.items():
            for link in links(text):
                if ELSEWHERE.match(link):
                    continue
                followed += 1
                path, _, anchor = link.partition("#")
                target = document.parent / path if path else document
                with self.subTest(document=document.name, link=link):
                    self.assertTrue(target.exists())
                    if anchor:
                        self.assertIn(anchor, anchors(target.read_text()))
        self.assertGreater(followed, 40)

    def test_every_file_that_is_named_exists(self):
        found = 0
        for document, text in self.texts.items():
            for name in FILE.findall(text):
                found += 1
                with self.subTest(document=document.name, name=name):
                    self.assertTrue((REPOSITORY / name).exists() or (document.parent / name).exists())
        self.assertGreater(found, 10)

    def test_every_picture_is_shown(self):
        shown = {(document.parent / link).resolve() for document, text in self.texts.items() for link in links(text)}
        self.assertEqual(sorted(set(PICTURES.iterdir()) - shown), [])

    def test_the_forge_runs_what_continuous_integration_runs(self):
        local = re.findall(r"^scripts/.+$", (REPOSITORY / ".ci/run").read_text(), re.MULTILINE)
        self.assertGreater(len(local), 1)
        forge = (REPOSITORY / ".github/workflows/ci.yml").read_text()
        self.assertEqual(set(local) - set(re.findall(r"(?:- |run: )(scripts/.+)$", forge, re.MULTILINE)), set())


if __name__ == "__main__":
    unittest.main()
