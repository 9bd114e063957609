"""What the tests of the settings page share: the file, the strip, lists to choose from, scrolling."""

import time

from desktop_test_case import Picture, wait_until
from popup_test_case import PopupTestCase

# The strip's items by the names that the page gives them.
ITEM_NAMES = {
    "CPU %": "cpuPercent",
    "CPU Bars": "cpuBars",
    "Temperature": "temperature",
    "GPU %": "gpuPercent",
    "Network": "networkSpeed",
    "Memory": "memoryFree",
    "Swap Used": "swapUsed",
}


class SettingsCase(PopupTestCase):
    def open_settings(self, **start):
        popup = self.open_page("Settings", **start)
        self.program.newest_image()
        return popup

    def saved(self):
        """The settings file: for each section its keys and values, in their order."""
        sections, values = {}, {}
        if not self.settings_file.exists():
            return sections
        for line in self.settings_file.read_text().splitlines():
            if line.startswith("["):
                values = sections.setdefault(line.strip("[]"), {})
            elif "=" in line:
                key, _, value = line.partition("=")
                values[key] = value
        return sections

    def wait_saved(self, section, key, value):
        wait_until(lambda: self.saved().get(section, {}).get(key) == value, 5,
                   f"{key}={value} in the file, which has {self.saved().get(section)}")

    def wait_strip(self, condition, what, seconds=1.5):
        """A change of the strip, which has to come with the click and not with the next refresh."""
        return self.program.wait_for(lambda: condition(self.strip()), what, seconds)

    def strip(self):
        return Picture.load(self.program.newest_image())

    def scroll_to(self, popup, widget):
        """Turns the wheel until the whole widget can be seen."""
        for turn in range(40):
            # A page that has no room scrolls as a whole, and within it what the page itself scrolls.
            panes = [pane.extents() for pane in popup.find_all("scroll pane")]
            top, bottom = max(y for _, y, _, _ in panes), min(y + height for _, y, _, height in panes)
            x, _, width, _ = panes[0]
            at = (x + 150 if turn % 2 else x + width - 4, top + 30)  # the page, or its scroll bar
            if not widget.drawn():
                popup.wheel(2, at)
                continue
            _, y, _, height = widget.extents()
            if top <= y and y + height <= bottom:
                return
            popup.wheel(-1 if y < top else 1, at)
        self.fail(f"{widget} can't be scrolled into view: {widget.extents()}")

    def choose_in(self, popup, combo, entry):
        """Chooses an entry of a combo box with the mouse."""
        popup.click(combo)
        item = popup.find("menu item", entry)
        time.sleep(0.3)  # the list is placed and drawn
        self.desktop.pointer(*item.middle(), "click", "1")
        popup.program.wait_for(lambda: not popup.find_all("menu item"), "the end of the list")

    def check_closes(self, popup):
        """A click beside the popup still closes it."""
        self.desktop.pointer(self.desktop.size[0] - 15, self.desktop.size[1] - 15, "click", "1")
        popup.wait_hidden(5)
