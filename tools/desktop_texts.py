#!/usr/bin/env python3
"""Puts the translations into the files by which desktops and software centres know the program.

    desktop_texts.py --msgfmt /usr/bin/msgfmt --po po/*.po --output build/data -- korvalune.desktop.in a.metainfo.xml.in

A template's line with a key in braces, such as "Comment={desktop.comment}" in a desktop entry or
"<summary>{desktop.comment}</summary>" in XML, becomes the line in English and one more for each language that has
the text. In XML each part of a list becomes an element of its own. A result has its template's name without ".in".
"""

import argparse
import re
import sys
from pathlib import Path
from xml.sax.saxutils import escape

import po_tables

KEY = rf"\{{({re.escape(po_tables.DESKTOP_PREFIX)}\w+)\}}"
ENTRY_LINE = re.compile(rf"(\w+)={KEY}")
XML_LINE = re.compile(rf"(\s*)<(\w+)>{KEY}</\2>")
SEPARATOR = ";"  # behind every part of a list


def entry_lines(name, texts):
    """English once more under its own code: it must not lose to a language that its user ranks lower."""
    yield f"{name}={escaped_entry_value(texts[po_tables.ENGLISH])}"
    for code, text in texts.items():
        yield f"{name}[{code}]={escaped_entry_value(text)}"


def escaped_entry_value(text):
    return text.replace("\\", "\\\\")


def xml_lines(indent, element, texts):
    """What has no language is English."""
    for code in sorted(texts, key=lambda code: (code != po_tables.ENGLISH, code)):
        language = "" if code == po_tables.ENGLISH else f' xml:lang="{code}"'
        for part in texts[code].removesuffix(SEPARATOR).split(SEPARATOR):
            yield f"{indent}<{element}{language}>{escape(part)}</{element}>"


def filled(template, texts):
    """`texts`: by key, then by language code. Raises KeyError for a key that en.po lacks."""
    lines = []
    for line in template.splitlines():
        if match := ENTRY_LINE.fullmatch(line):
            lines += entry_lines(match[1], texts[match[2]])
        elif match := XML_LINE.fullmatch(line):
            lines += xml_lines(match[1], match[2], texts[match[3]])
        elif "{" + po_tables.DESKTOP_PREFIX in line:
            raise ValueError(line)
        else:
            lines.append(line)
    return "\n".join([*lines, ""])


def texts_by_key(languages):
    texts = {}
    for language in sorted(languages, key=lambda language: language.code):
        for entry in language.entries:
            if entry.text:
                texts.setdefault(entry.key, {})[language.code] = entry.text
    return texts


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--msgfmt", default="msgfmt")
    parser.add_argument("--po", type=Path, nargs="+", required=True)
    parser.add_argument("--output", type=Path, required=True, help="the directory of the results")
    parser.add_argument("template", type=Path, nargs="+")
    arguments = parser.parse_args()

    languages, _ = po_tables.read_checked(arguments.po, arguments.msgfmt)
    texts = texts_by_key(languages)
    arguments.output.mkdir(parents=True, exist_ok=True)
    for path in arguments.template:
        try:
            result = filled(path.read_text(encoding="utf-8"), texts)
        except KeyError as error:
            sys.exit(f"{path}: error: {error.args[0]} is no key of {po_tables.ENGLISH}.po")
        except ValueError as error:
            sys.exit(f"{path}: error: a key must be all that a line holds: {error.args[0].strip()}")
        (arguments.output / path.name.removesuffix(".in")).write_text(result, encoding="utf-8")


if __name__ == "__main__":
    main()
