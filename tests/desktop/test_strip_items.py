"""What the settings file makes of the strip, and whether its figures follow the machine."""

import sys
import unittest
from pathlib import Path

from desktop_test_case import BARS_WIDTH, CORES, PANEL_COLOUR, REFRESH_SECONDS, DesktopTestCase, Picture
from desktop_test_case import settings_text

BAR_LEFT, BAR_TOP = 2, 2
TROUGH = (38, 38, 38)  # half grey at three tenths over black
HOSTILE_SETTINGS = {
    "binary": bytes(range(256)) * 64,
    "one endless line": b"[items]\ncpuPercent" + b"=" * 2_000_000,
    "unclosed section": b"[items\ncpuBars=true\n[\n]\n=\n==\n",
    "unknown and repeated items": b"[items]\n" + b"nonsense=true\ncpuBars=true\n" * 40,
    "endless items": b"[items]\n" + b"x=true\n" * 150_000,
    "endless values": b"[general]\nlanguage=" + b"l" * 1_000_000 + b"\nselectedNetwork=" + b"n" * 1_000_000
                      + b"\n[colors]\ncpuPercent=#" + b"0" * 1_000_000 + b"\n",
    "lines as on other systems": b"[general]\r\ntheme=dark\r\n[items]\r\ncpuBars=true\r\n",
    "zero bytes": b"[general]\nlanguage=d\0e\nselectedGPU=\0\n[items]\ncpu\0Bars=true\n[colors]\ncpuPercent=#\0F\n",
    "odd colours": b"[items]\n[colors]\ncpuPercent=\nmemoryFree=#FFF\nswapUsed=#zzzzzz\nnetworkSpeed=%n%s\n",
    "broken text": b"[general]\nlanguage=\xff\xfe\ntheme=<b>\nselectedGPU=\xc3\x28\nselectedNetwork=../../x\n",
}


def bar_heights(picture, left=0):
    """The filled height of each core's bar as a share (0..1); `left` is where the bars begin."""
    step = 5 if CORES < 64 else 2
    full = picture.height - 4
    columns = [left + BAR_LEFT + core * step for core in range(CORES)]
    return [1 - picture.crop(x, BAR_TOP, 1, full).count(TROUGH) / full for x in columns]


def figure(picture):
    """What is drawn to the right of the bars."""
    return picture.crop(BARS_WIDTH, 0, picture.width - BARS_WIDTH, picture.height)


def core_times():
    """Busy and idle time of each core since boot (ticks)."""
    lines = [line.split() for line in Path("/proc/stat").read_text().splitlines() if line.startswith("cpu")]
    times = [[int(field) for field in fields[1:9]] for fields in lines[1:]]
    return [(sum(core) - core[3] - core[4], core[3] + core[4]) for core in times]


def busy_shares(before, after):
    changes = [(late[0] - early[0], late[1] - early[1]) for early, late in zip(before, after)]
    return [busy / (busy + idle) for busy, idle in changes]


class StripItems(DesktopTestCase):
    def image(self, settings):
        program = self.start(settings=settings)
        picture = Picture.load(program.newest_image())
        program.end()
        for name in ("Korvalune_a.png", "Korvalune_b.png"):
            (self.desktop.runtime / name).unlink(missing_ok=True)
        return picture

    def test_disabled_items_make_the_strip_narrower(self):
        everything = self.image("")
        without_network = self.image("[items]\nnetworkSpeed=false\n")
        only_bars = self.image(settings_text("cpuBars"))
        self.assertLess(without_network.width, everything.width)
        self.assertLess(only_bars.width, without_network.width)
        self.assertEqual(only_bars.width, BARS_WIDTH)

    def test_items_stand_in_the_order_of_the_settings(self):
        first = self.image(settings_text("cpuBars", "cpuPercent"))
        last = self.image(settings_text("cpuPercent", "cpuBars"))
        for picture, bars_at, text_at in ((first, 0, BARS_WIDTH), (last, last.width - BARS_WIDTH, 0)):
            bar = picture.crop(bars_at + BAR_LEFT, BAR_TOP, 4, picture.height - 4)
            self.assertEqual(bar.count((0, 0, 0), tolerance=0), 0, "a bar has no holes")
            text = picture.crop(text_at, 0, picture.width - BARS_WIDTH, picture.height)
            self.assertGreater(text.count((0, 0, 0), tolerance=0), 100, "text has")

    def test_chosen_colour_is_drawn(self):
        colours = "[colors]\nmemoryFree=#12EF34\n"
        self.assertGreater(self.image(settings_text("memoryFree") + colours).count((0x12, 0xEF, 0x34), 40), 5)
        self.assertEqual(self.image(settings_text("memoryFree")).count((0x12, 0xEF, 0x34), 40), 0)

    def test_labels_are_drawn_in_their_own_blue(self):
        self.assertGreater(self.image(settings_text("memoryFree")).count((0x40, 0x90, 0xFF), 40), 5)

    def test_name_stands_in_for_a_strip_without_items(self):
        program = self.start(settings=settings_text())
        item = program.item()
        program.wait_for(lambda: item.properties()["XAyatanaLabel"] == "Korvalune", "the label")
        self.assertFalse(any((self.desktop.runtime / name).exists() for name in
                             ("Korvalune_a.png", "Korvalune_b.png")))
        background = PANEL_COLOUR
        program.wait_for(lambda: self.desktop.panel_picture().inked(background).width > 50, "the drawn name")

    def test_hostile_settings_do_no_harm(self):
        for case, content in HOSTILE_SETTINGS.items():
            with self.subTest(case):
                program = self.start(settings=content)
                program.item()
                program.next_image()
                self.assertEqual(program.end(), 0)
                self.assertEqual(self.settings_file.read_bytes(), content, "reading changes nothing")

    def test_bars_agree_with_the_kernels_count(self):
        program = self.start(settings=settings_text("cpuBars"))
        program.next_image()
        before = core_times()
        for _ in range(3):
            drawn = bar_heights(Picture.load(program.next_image()))
            now = core_times()
            for core, (height, share) in enumerate(zip(drawn, busy_shares(before, now))):
                # The bars glide, so that a sudden change shows by 85 % only; other work may delay this test.
                self.assertAlmostEqual(height, share, delta=0.25, msg=f"core {core}")
            before = now

    def test_busy_cores_show_within_two_refreshes(self):
        program = self.start(settings=settings_text("cpuBars", "cpuPercent"))
        program.next_image()
        calm = Picture.load(program.next_image())
        for _ in range(CORES):
            burner = self.desktop.run([sys.executable, "-c", "while True: pass"])
            self.addCleanup(burner.kill)
        program.next_image()  # it saw the cores busy for a part of its time only
        busy = Picture.load(program.next_image())
        self.assertGreater(min(bar_heights(busy)), 0.9)
        if max(bar_heights(calm)) < 0.5:  # otherwise the machine had no more to give
            self.assertFalse(figure(busy).matches(figure(calm)), "the drawn percentage stood still")


class RefreshTimes(DesktopTestCase):
    def test_images_come_every_two_seconds(self):
        program = self.start()
        program.next_image()
        stamps = [program.next_image().stat().st_mtime_ns / 1e9 for _ in range(4)]
        for gap in (later - earlier for earlier, later in zip(stamps, stamps[1:])):
            self.assertAlmostEqual(gap, REFRESH_SECONDS, delta=0.5)


if __name__ == "__main__":
    unittest.main()
