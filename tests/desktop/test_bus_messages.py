"""Messages of the session bus that no well-meaning program sends: nonsense for the menu and the item, and a
portal that says anything. Warnings are fatal here, so that whatever comes through unchecked shows."""

import unittest

from gi.repository import GLib

from desktop_test_case import DesktopTestCase
from popup_test_case import PAGES, PopupTestCase
from settings_portal import APPEARANCE, COLOR_SCHEME, DARK, LIGHT, SettingsPortal
from status_item import ITEM, MENU, PROPERTIES

EMPTY = GLib.Variant("s", "")
INT_MIN, INT_MAX, UINT_MAX = -2**31, 2**31 - 1, 2**32 - 1
NO_ENTRIES = (-1, INT_MIN, INT_MAX, 9999)

# For the menu: method, signature, arguments.
MENU_NONSENSE = [
    *(("Event", "(isvu)", (number, "clicked", EMPTY, 0)) for number in NO_ENTRIES),
    *(("AboutToShow", "(i)", (number,)) for number in NO_ENTRIES),
    *(("GetLayout", "(iias)", (number, -1, [])) for number in NO_ENTRIES),
    *(("GetProperty", "(is)", (number, "label")) for number in NO_ENTRIES),
    ("Event", "(isvu)", (0, "clicked", EMPTY, 0)),
    ("Event", "(isvu)", (1, "nonsense", EMPTY, 0)),
    ("Event", "(isvu)", (1, "", GLib.Variant("a{sv}", {}), UINT_MAX)),
    ("Event", "(s)", ("clicked",)),
    ("Event", "()", ()),
    ("EventGroup", "(a(isvu))", ([(number, "clicked", EMPTY, UINT_MAX) for number in NO_ENTRIES],)),
    ("AboutToShowGroup", "(ai)", (NO_ENTRIES,)),
    ("GetLayout", "(iias)", (0, INT_MIN, ["x" * 10000])),
    ("GetGroupProperties", "(aias)", ([*NO_ENTRIES, 0, 1] * 1000, ["label", ""])),
    ("Nonsense", "(i)", (1,)),
]
ITEM_NONSENSE = [
    ("Scroll", "(is)", (INT_MAX, "sideways")),
    ("Scroll", "(is)", (INT_MIN, "")),
    ("Scroll", "(s)", ("vertical",)),
    ("SecondaryActivate", "(ii)", (INT_MIN, INT_MAX)),
    ("XAyatanaSecondaryActivate", "(u)", (UINT_MAX,)),
    ("Activate", "(ii)", (0, 0)),
]
PROPERTY_NONSENSE = [
    ("Set", "(ssv)", (ITEM, "Status", GLib.Variant("i", 5))),
    ("Set", "(ssv)", ("", "", EMPTY)),
    ("Get", "(ss)", (ITEM, "Nonsense")),
]


def nested(value, depth):
    for _ in range(depth):
        value = GLib.Variant("v", value)
    return value


class MenuAndItem(DesktopTestCase):
    desktop_options = {"panel": "none", "window_manager": "none"}

    def send(self, item, path, interface, method, signature, arguments):
        try:
            self.desktop.call(item.name, path, interface, method, GLib.Variant(signature, arguments))
        except GLib.Error as error:
            self.assertIn("GDBus.Error:", error.message, "an answer, if only that it was nonsense")

    def test_nonsense_does_nothing(self):
        program = self.start()
        item = program.item()
        before = program.wait_for(lambda: item.menu() if item.menu()[-1][1] == "Quit" else None, "the menu")
        for interface, path, messages in ((MENU, item.properties()["Menu"], MENU_NONSENSE),
                                          (ITEM, item.path, ITEM_NONSENSE),
                                          (PROPERTIES, item.path, PROPERTY_NONSENSE)):
            for message in messages:
                with self.subTest(message=str(message)[:100]):
                    self.send(item, path, interface, *message)
                    self.assertTrue(program.running())
        self.assertEqual(item.menu(), before)
        self.assertEqual(item.properties()["Status"], "Active")
        program.next_image()

    def test_entries_chosen_faster_than_pages_open(self):
        program = self.start()
        item = program.item()
        program.wait_for(lambda: item.menu()[-1][1] == "Quit", "the menu")
        numbers = [number for number, text in item.menu() if text in PAGES]
        path = item.properties()["Menu"]
        for number in numbers * 10:
            event = GLib.Variant("(isvu)", (number, "clicked", EMPTY, 0))
            self.desktop.bus.call(item.name, path, MENU, "Event", event, None, 0, -1, None, None)
        self.desktop.bus.flush_sync(None)
        program.next_image()
        self.assertEqual(item.menu()[-1][1], "Quit")


class Portal(PopupTestCase):
    REPORTS = [
        GLib.Variant("()", ()),
        GLib.Variant("(s)", (APPEARANCE,)),
        GLib.Variant("(ssu)", (APPEARANCE, COLOR_SCHEME, DARK)),
        GLib.Variant("(ssvv)", (APPEARANCE, COLOR_SCHEME, GLib.Variant("u", DARK), EMPTY)),
        GLib.Variant("(uuv)", (1, 2, EMPTY)),
        GLib.Variant("(ssv)", ("", "", EMPTY)),
        GLib.Variant("(ssv)", ("x" * 100000, COLOR_SCHEME, EMPTY)),
    ]
    # With each the portal has no preference, and the look is light.
    ANSWERS = [
        GLib.Variant("s", "prefer-dark"),
        GLib.Variant("i", DARK),
        GLib.Variant("t", DARK),
        GLib.Variant("u", UINT_MAX),
        GLib.Variant("(u)", (DARK,)),
        GLib.Variant("au", [DARK] * 1000),
        GLib.Variant("a{sv}", {}),
        nested(GLib.Variant("s", "dark"), 40),
        None,
    ]

    def test_reports_and_answers_of_wrong_types_change_nothing(self):
        with SettingsPortal(self.desktop, DARK) as portal:
            popup = self.open_page("Help")
            popup.wait_dark()
            questions = portal.questions
            for report in self.REPORTS:
                portal.emit(report)
            self.program.next_image()
            self.assertEqual(portal.questions, questions)
            for portal.answer in self.ANSWERS:
                questions = portal.questions
                portal.emit(GLib.Variant("(ssv)", (APPEARANCE, COLOR_SCHEME, EMPTY)))
                self.program.wait_for(lambda: portal.questions > questions, "the question", 5)
            popup.wait_dark(False)
            portal.set_scheme(DARK)
            popup.wait_dark()
            portal.set_scheme(LIGHT)
            popup.wait_dark(False)


if __name__ == "__main__":
    unittest.main()
