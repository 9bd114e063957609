#!/usr/bin/env python3
"""Whether the translations are finished, and nothing in them is what only a reader of the language would notice.

What the build refuses (placeholders, blanks at the ends, unknown keys) is tested in po_tables_test.py.
"""

import re
import sys
import unicodedata
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCE / "tools"))
sys.dont_write_bytecode = True

import po_tables  # noqa: E402

LANGUAGES = """ar bg bn ca cs da de el en es fa fi fr he hi hr hu id it ja ko lt lv ms nb ne nl pl pt ro ru sk sl sr sv
               sw th tl tr uk ur vi zh zh_TW""".split()
KEY_COUNT = 76  # of the program, beside those of the desktop

# Letters beyond ASCII that texts of the language are written with. In a script of its own a language has no ASCII
# letters but those of OWN_NAMES.
LATIN_LETTERS = {
    "ca": "àçèéíïòóúü",
    "cs": "áčďéěíňóřšťúůýž",
    "da": "æøåé",
    "de": "äöüß",
    "es": "áéíñóúü",
    "fi": "äöå",
    "fr": "àâæçèéêëîïôœùûü",
    "hr": "čćđšž",
    "hu": "áéíóöőúüű",
    "id": "",
    "it": "àèéìòù",
    "lt": "ąčęėįšųūž",
    "lv": "āčēģīķļņšūž",
    "ms": "",
    "nb": "æøåéô",
    "nl": "éëïóö",
    "pl": "ąćęłńóśźż",
    "pt": "àáâãçéêíóôõú",
    "ro": "ăâîșț",
    "sk": "áäčďéíĺľňóôŕšťúýž",
    "sl": "čšž",
    "sv": "åäöé",
    "sw": "",
    "tl": "ñ",
    "tr": "âçğıîöşüİ",
    "vi": "àáâãèéêìíòóôõùúýăđĩũơưạảấầẩẫậắằẳẵặẹẻẽếềểễệỉịọỏốồổỗộớờởỡợụủứừửữựỳỵỷỹ",
}
OTHER_LETTERS = {
    "bg": "абвгдежзийѝклмнопрстуфхцчшщъьюя",
    "el": "αάβγδεέζηήθιίϊΐκλμνξοόπρσςτυύϋΰφχψωώ",
    "ru": "абвгдеёжзийклмнопрстуфхцчшщъыьэюя",
    "sr": "абвгдђежзијклљмнњопрстћуфхцчџш",
    "uk": "абвгґдеєжзиіїйклмнопрстуфхцчшщьюя",
}
# Where letters are too many to list, the old character set that was made for the language knows them.
CHARACTER_SETS = {"he": "iso8859-8", "ja": "euc_jp", "ko": "euc_kr", "th": "iso8859-11", "zh": "gb2312",
                  "zh_TW": "big5"}
SCRIPTS = {"ar": "ARABIC", "bn": "BENGALI", "fa": "ARABIC", "hi": "DEVANAGARI", "ne": "DEVANAGARI", "ur": "ARABIC"}
# Letters of the same script that the neighbours' keyboards have in place of the language's own.
FOREIGN_LETTERS = {"ar": "یکگپچژہھےٹڈڑں", "fa": "يكىةہھےٹڈڑں", "ur": "يكىةهۀ"}

# What is called so in every language: makers, programs, licences, and the labels of the strip.
OWN_NAMES = {"AMD", "Intel", "NVIDIA", "Snap", "GTK3", "libayatana", "appindicator", "LGPL", "GNOME", "Adwaita", "CC",
             "BY", "SA", "CPU", "GPU", "MEM", "SWP", "NET"}
ENGLISH_WORDS = re.compile(r"\b(the|your|which|shows?|with|running)\b", re.IGNORECASE)

# Loanwords that desktops in other scripts write in Latin letters.
LOANWORDS = {"bg": {"swap"}, "el": {"swap", "Swap"}}

# Texts that are the same in English, by key.
SAME_AS_ENGLISH = {
    # What the page, the strip and the makers call it; the words for it are longer than their place, too.
    "settings.device.gpu": "ar bg bn ca cs da de el es fi he hi hr hu id it ja ko lt lv ms nb ne nl pl pt ro ru sk sl sr "
                           "sv sw th tl tr uk ur vi",
    "header.cpu": "bn ca da de es fa fi fr hi id it ja ko ms nb ne nl pt ro sv sw th tl ur vi zh zh_TW",
    # As the strip has it: the words for network need more than the 48 pixels there are.
    "settings.device.net": "bg hu id ja ko ms sl sw tl uk",
    # The word for no.
    "no": "ca es it",
    # Words that the language shares with English, or has taken over as they are.
    "header.process": "lv sv",
    "settings.launch.title": "da de nb sv",
    "about.disclaimer.title": "nl",
    "device": "tl",
    "help.network.title": "tl",
    "settings.network": "tl",
    # Terms of graphics programming for which there is no other word.
    "renderer": "de nl sw tl",
    "tiler": "de nl sw tl",
}

# Quotation marks as the language has them: opening and closing.
QUOTES = {
    "“”": "en id ko ms ne hi bn sw tl tr th zh pt vi",
    "„“": "de cs sk bg sr lt",
    "„”": "pl ro hu hr lv",
    "‘’": "nl",
    "”“": "ur",
    "״״": "he",
    "»«": "da sl",
    "«»": "nb fr es ca it el ru uk ar fa",
    "””": "sv fi",
    "「」": "ja zh_TW",
}
APOSTROPHE = re.compile(r"(?<=\w)’(?=\w)")
RIGHT_TO_LEFT = ("ar", "fa", "he", "ur")
# Pairs that are close enough for one to be mistaken for the other.
NEIGHBOURS = (("nb", "da"), ("nb", "sv"), ("ms", "id"), ("cs", "sk"), ("hr", "sl"), ("es", "ca"), ("es", "pt"),
              ("ru", "bg"), ("ru", "uk"), ("hi", "ne"), ("fa", "ur"), ("ar", "fa"), ("zh", "zh_TW"))
SENTENCE = 12  # characters from which on two languages do not write the same by chance

SERBIAN_IN_LATIN = dict(zip("абвгдђежзијклљмнњопрстћуфхцчџш",
                            "a b v g d đ e ž z i j k l lj m n nj o p r s t ć u f h c č dž š".split()))


def texts_of(code):
    language = po_tables.read_language(SOURCE / "po" / f"{code}.po", "msgfmt")
    return {entry.key: entry.text for entry in language.entries}


TEXTS = {code: texts_of(code) for code in LANGUAGES}
ENGLISH = TEXTS["en"]
TRANSLATIONS = [code for code in LANGUAGES if code != "en"]


def words(text):
    """Its words of ASCII letters."""
    return re.findall(r"[A-Za-z]+[0-9]*", re.sub(r"%[sd]", " ", text))


def first_strong_direction(text):
    return next((d for d in map(unicodedata.bidirectional, text) if d in ("L", "R", "AL")), None)


class TranslationsTest(unittest.TestCase):
    def for_each_text(self, check, codes=None):
        for code in codes or TRANSLATIONS:
            for key, text in TEXTS[code].items():
                with self.subTest(language=code, key=key, text=text):
                    check(code, key, text)

    def test_every_language_has_every_text(self):
        self.assertEqual(sorted(path.stem for path in (SOURCE / "po").glob("*.po")), sorted(LANGUAGES))
        self.assertEqual(len([key for key in ENGLISH if not key.startswith(po_tables.DESKTOP_PREFIX)]), KEY_COUNT)
        for code in LANGUAGES:
            with self.subTest(code):
                self.assertEqual(TEXTS[code].keys(), ENGLISH.keys())
                self.assertEqual([key for key, text in TEXTS[code].items() if not text], [])

    def test_nothing_is_left_in_english(self):
        def check(code, key, text):
            if text == ENGLISH[key]:
                self.assertIn(code, SAME_AS_ENGLISH.get(key, "").split())
            else:
                self.assertNotRegex(text, ENGLISH_WORDS)
        self.for_each_text(check)

    def test_no_exception_outlives_its_reason(self):
        for key, codes in SAME_AS_ENGLISH.items():
            for code in codes.split():
                with self.subTest(key=key, language=code):
                    self.assertEqual(TEXTS[code][key], ENGLISH[key])

    def test_texts_are_written_with_the_letters_of_their_language(self):
        def check(code, key, text):
            letters = {c for c in text if unicodedata.category(c)[0] == "L" and c != "ʼ"}
            foreign = {c for c in letters if ord(c) > 0x7F and not self.belongs(c, code)}
            self.assertEqual(foreign, set())
            if code not in LATIN_LETTERS:
                own = OWN_NAMES | LOANWORDS.get(code, set())
                self.assertEqual([word for word in words(text) if word not in own], [])
                if set(words(ENGLISH[key])) - OWN_NAMES:
                    self.assertTrue(any(ord(c) > 0x7F for c in letters), "no letter of the language")
        self.for_each_text(check)

    @staticmethod
    def belongs(letter, code):
        if code in LATIN_LETTERS:
            return letter.lower() in LATIN_LETTERS[code] or letter in LATIN_LETTERS[code]
        if code in OTHER_LETTERS:
            return letter.lower() in OTHER_LETTERS[code]
        if code in CHARACTER_SETS:
            try:
                return bool(letter.encode(CHARACTER_SETS[code]))
            except UnicodeEncodeError:
                return False
        return unicodedata.name(letter).startswith(SCRIPTS[code]) and letter not in FOREIGN_LETTERS.get(code, "")

    def test_letters_are_whole_characters(self):
        self.for_each_text(lambda code, key, text: self.assertEqual(unicodedata.normalize("NFC", text), text))

    def test_line_breaks_arrows_and_names_are_kept(self):
        def check(_, key, text):
            english = ENGLISH[key]
            self.assertEqual(text.count("\n"), english.count("\n"))
            self.assertEqual([c for c in text if c in "↑↓"], [c for c in english if c in "↑↓"])
            for name in OWN_NAMES - {"CPU", "GPU", "NET", "CC", "BY", "SA"}:
                self.assertEqual(text.count(name), english.count(name), name)
        self.for_each_text(check)

    def test_typewriter_marks_are_not_used(self):
        self.for_each_text(lambda code, key, text: self.assertNotRegex(text, r"\.\.\.|[\"'`´]| - | --|  "))

    def test_quotation_marks_are_those_of_the_language(self):
        pairs = {code: pair for pair, codes in QUOTES.items() for code in codes.split()}

        def check(code, key, text):
            known = "“”„«»「」『』״‚‘‹›" + ("’" if code == "nl" else "")
            marks = "".join(c for c in APOSTROPHE.sub("", text) if c in known)
            self.assertEqual(marks, pairs[code] * (len(marks) // 2))
            if key == "help.processes.text":
                self.assertEqual(len(marks), 4, "the two tabs")
        self.for_each_text(check)

    def test_the_help_quotes_the_tabs_as_they_are_called(self):
        for code in LANGUAGES:
            for tab in ("tab.all.short", "tab.my.short"):
                with self.subTest(language=code, tab=tab):
                    self.assertEqual(TEXTS[code]["help.processes.text"].count(TEXTS[code][tab]), 1)

    def test_what_is_called_the_same_is_called_the_same(self):
        for code in LANGUAGES:
            texts = TEXTS[code]
            with self.subTest(code):
                self.assertEqual(texts["help.settings.title"], texts["tab.settings"])
                self.assertEqual(texts["help.menubar.title"], texts["settings.menubar.title"])

    def test_harsh_and_gentle_are_told_apart(self):
        pairs = (("kill", "terminate"), ("confirm.kill", "confirm.terminate"), ("yes", "no"),
                 ("settings.theme.light", "settings.theme.dark"), ("tab.all.short", "tab.my.short"),
                 ("help.copy", "help.copied"), ("cpu.logical", "cpu.physical"), ("settings.memory", "settings.swap"))
        for code in LANGUAGES:
            for one, other in pairs:
                with self.subTest(language=code, texts=(one, other)):
                    self.assertNotEqual(TEXTS[code][one].casefold(), TEXTS[code][other].casefold())

    def test_the_desktop_gets_texts_of_the_usual_form(self):
        for code in LANGUAGES:
            with self.subTest(code):
                self.assertRegex(TEXTS[code]["desktop.comment"], r"^.{20,90}[^.。।۔]$")
                self.assertLess(len(TEXTS[code]["desktop.generic"]), 30)
                *keywords, rest = TEXTS[code]["desktop.keywords"].split(";")
                self.assertEqual(rest, "")
                self.assertEqual([word for word in keywords if not word or word != word.strip()], [])
                self.assertEqual(len(keywords), len(set(keywords)))

    def test_right_to_left_texts_begin_so(self):
        """The first letter decides which way a paragraph runs."""
        def check(_, __, text):
            if any(unicodedata.bidirectional(c) in ("R", "AL") for c in text) and not text.startswith(" "):
                self.assertIn(first_strong_direction(text), ("R", "AL"))
        self.for_each_text(check, RIGHT_TO_LEFT)

    def test_names_keep_their_direction_in_right_to_left_questions(self):
        for code in RIGHT_TO_LEFT:
            for key in ("confirm.kill", "confirm.terminate"):
                with self.subTest(language=code, key=key):
                    self.assertIn("\u2068%s\u2069", TEXTS[code][key])

    def test_invisible_characters_have_a_purpose(self):
        useful = {code: "\u00a0\u202f\u00ad" for code in TRANSLATIONS}
        useful["th"] = "\u00a0\u200b"
        useful.update({code: "\u200c\u200f\u2068\u2069\u00a0" for code in RIGHT_TO_LEFT})
        useful.update({code: "\u200c\u200d\u00a0" for code in ("bn", "hi", "ne")})

        def check(code, _, text):
            found = {c for c in text if unicodedata.category(c) in ("Cf", "Zs", "Zl", "Zp", "Co", "Cn")}
            self.assertEqual({hex(ord(c)) for c in found - set(" \u3000" + useful[code])}, set())
        self.for_each_text(check)

    def test_neighbours_are_not_copies_of_each_other(self):
        for one, other in NEIGHBOURS:
            with self.subTest(languages=(one, other)):
                alike = [key for key, text in TEXTS[one].items()
                         if len(text) >= SENTENCE and text == TEXTS[other][key] != ENGLISH[key]]
                self.assertLess(len(alike), 8, alike)

    def test_croatian_is_not_serbian_in_latin_letters(self):
        def in_latin(text):
            return "".join(SERBIAN_IN_LATIN.get(c, SERBIAN_IN_LATIN.get(c.lower(), c)) for c in text).lower()
        alike = [key for key, text in TEXTS["hr"].items()
                 if len(text) >= SENTENCE and text.lower() == in_latin(TEXTS["sr"][key])]
        self.assertLess(len(alike), 12, alike)


if __name__ == "__main__":
    unittest.main()
