#!/usr/bin/env python3
"""Turns the translations, one PO file a language, into the C++ tables that are compiled into the program.

    po_tables.py --msgfmt /usr/bin/msgfmt --output i18n_data.cpp po/*.po

An entry's context is its key; en.po says which keys there are. A text that is not translated yet, or marked
fuzzy, becomes the English one. Whatever would make the program show a wrong text fails the build, with all
such places named at once. Keys that begin with "desktop." are checked like all others, but left to
desktop_texts.py.
"""

import argparse
import ast
import os
import re
import subprocess
import sys
import unicodedata
from pathlib import Path
from typing import Dict, FrozenSet, List, NamedTuple

ENGLISH = "en"
DESKTOP_PREFIX = "desktop."  # of texts that the desktop shows and the program never does
LANGUAGE_CODE = re.compile(r"[a-z]{2,3}(_[A-Z]{2})?")
PLACEHOLDER = re.compile(r"%.?", re.DOTALL)
PIECE = r'"(?:[^"\\\n]|\\.)*"'
STRING = rf"(?:\s*{PIECE})+"
ENTRY = re.compile(
    rf"((?:^#.*\n)*)(?:^msgctxt({STRING})\s+)?^msgid({STRING})\s+^msgstr({STRING})", re.MULTILINE
)


class Entry(NamedTuple):
    line: int
    key: str  # empty: the file's header
    english: str
    text: str  # empty: not translated yet, or only a guess
    flags: FrozenSet[str]


class Language(NamedTuple):
    path: Path
    header: Dict[str, str]
    entries: List[Entry]

    @property
    def code(self):
        return self.path.stem


def problem(path, line, message):
    """One place where a translation can't be taken as it is, in the form that editors jump to."""
    return f"{path}:{line}: error: {message}"


class Unreadable(Exception):
    """A file of which nothing more can be said than this."""


def decode(path):
    data = path.read_bytes()
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError as error:
        line = data.count(b"\n", 0, error.start) + 1
        keys = re.findall(rb'^msgctxt "(.*)"', data[: error.start], re.MULTILINE)
        key = keys[-1].decode("utf-8", "replace") if keys else "header"
        raise Unreadable(problem(path, line, f"{key}: not UTF-8")) from error


def parse_entries(po):
    """The entries in their order, the header first. An entry in any unusual form is passed over, so that its
    key counts as missing."""

    def string(quoted):
        return "".join(ast.literal_eval(piece) for piece in re.findall(PIECE, quoted or ""))

    for match in ENTRY.finditer(po):
        comments, key, english, text = match.groups()
        line = po.count("\n", 0, match.end(1)) + 1
        flags = frozenset(re.findall(r"[\w-]+", " ".join(re.findall(r"^#,(.*)", comments, re.MULTILINE))))
        usable = "fuzzy" not in flags or not key
        yield Entry(line, string(key), string(english), string(text) if usable else "", flags)


def read_language(path, msgfmt):
    po = decode(path)
    check = [msgfmt, "--check", "-o", os.devnull, str(path)]
    if subprocess.run(check, check=False).returncode != 0:
        raise Unreadable(problem(path, 1, "msgfmt --check does not accept it"))
    entries = list(parse_entries(po))
    fields = [line.partition(": ") for e in entries if not e.key for line in e.text.splitlines()]
    return Language(path, {name: value for name, _, value in fields}, [e for e in entries if e.key])


def header_problems(language):
    if not LANGUAGE_CODE.fullmatch(language.code):
        yield f"{language.code} is no language code"
    if language.header.get("Language") != language.code:
        yield "the header's Language differs from the file's name"
    if not language.header.get("X-Native-Name"):
        yield "the header lacks X-Native-Name, the language's own name"
    if language.header.get("X-Right-To-Left") not in ("yes", "no"):
        yield "the header lacks X-Right-To-Left: yes or no"


def ends(text):
    """The white space before and after the text proper."""
    return text[: len(text) - len(text.lstrip())], text[len(text.rstrip()) :]


def text_problems(text, english):
    if any(unicodedata.category(c) == "Cc" and c != "\n" for c in text):
        yield "holds a control character"
    if ends(text) != ends(english.english):
        yield "begins or ends with other blanks than the English text"
    if text.count("\n") != english.english.count("\n"):
        yield "has other line breaks than the English text"
    if "c-format" in english.flags:
        wanted, found = PLACEHOLDER.findall(english.english), PLACEHOLDER.findall(text)
        if found != wanted:
            yield f"has the placeholders {' '.join(found) or '(none)'}, not {' '.join(wanted)}"


def entry_problems(entry, english):
    if english is None:
        yield "is no key of en.po"
    elif entry.english != english.english:
        yield "translates another English text than that of en.po"
    elif entry.text:
        yield from text_problems(entry.text, english)


def language_problems(language, english):
    """`english`: the entries of en.po by key."""
    for message in header_problems(language):
        yield problem(language.path, 1, message)
    seen = set()
    for entry in language.entries:
        messages = list(entry_problems(entry, english.get(entry.key)))
        if entry.key in seen:
            messages.append("comes twice")
        if language.code == ENGLISH and entry.text != entry.english:
            messages.append("the English file repeats the text as its translation")
        for message in messages:
            yield problem(language.path, entry.line, f"{entry.key}: {message}")
        seen.add(entry.key)
    for key in sorted(english.keys() - seen):
        yield problem(language.path, 1, f"{key}: is missing")


def literal(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'


def array(declaration, elements):
    return [f"{declaration} = {{", *(f"    {element}," for element in elements), "};", ""]


def values(language, english):
    """By key: the translation, or the English text where there is none yet."""
    texts = {key: entry.english for key, entry in english.items()}
    texts.update((e.key, e.text) for e in language.entries if e.text)
    return texts


def language_row(language):
    name, rtl = language.header["X-Native-Name"], language.header["X-Right-To-Left"] == "yes"
    fields = [literal(language.code), literal(name), str(rtl).lower(), f"VALUES_{language.code}"]
    return "{" + ", ".join(fields) + "}"


def source(languages, english):
    """The C++ source. Keys and codes are sorted as bytes: keys are found by binary search."""
    keys = sorted((key for key in english if not key.startswith(DESKTOP_PREFIX)), key=str.encode)
    languages = sorted(languages, key=lambda language: language.code.encode())
    lines = [
        "// Made from the translations when the program is built.",
        '#include "i18n_data.h"',
        "",
        "namespace i18n_data {",
        "",
        f'static_assert(KEY_COUNT == {len(keys)}, "not the number of keys in en.po");',
        f'static_assert(LANG_COUNT == {len(languages)}, "not the number of PO files");',
        "",
    ]
    lines += array("const char* const KEYS[KEY_COUNT]", map(literal, keys))
    for language in languages:
        texts = values(language, english)
        lines += array(
            f"static const char* const VALUES_{language.code}[KEY_COUNT]",
            (literal(texts[key]) for key in keys),
        )
    lines += array("const LangEntry LANGS[LANG_COUNT]", map(language_row, languages))
    return "\n".join([*lines, "}  // namespace i18n_data", ""])


def read_all(paths, msgfmt):
    """All languages that can be read, and what is wrong with the others."""
    languages, problems = [], []
    for path in paths:
        try:
            languages.append(read_language(path, msgfmt))
        except Unreadable as error:
            problems.append(str(error))
    return languages, problems


def read_checked(paths, msgfmt):
    """All languages, and the entries of en.po by key; ends the program where anything is wrong with them."""
    languages, problems = read_all(paths, msgfmt)
    english = {e.key: e for language in languages if language.code == ENGLISH for e in language.entries}
    if not english:
        problems.append(f"error: there is no {ENGLISH}.po with the keys and English texts")
    else:
        for language in languages:
            problems.extend(language_problems(language, english))
    if problems:
        sys.exit("\n".join(problems))
    return languages, english


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--msgfmt", default="msgfmt")
    parser.add_argument("--output", type=Path, required=True)
    parser.add_argument("po", type=Path, nargs="+")
    arguments = parser.parse_args()

    languages, english = read_checked(arguments.po, arguments.msgfmt)
    arguments.output.write_text(source(languages, english), encoding="utf-8")


if __name__ == "__main__":
    main()
