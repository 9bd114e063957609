"""The figures of a strip's image, taken apart so that each can be compared by itself, and a record of them."""

import tempfile
from pathlib import Path

from desktop_test_case import Picture, settings_text

# Each text in a hue of its own, that neither the labels nor the bars have: which channels are lit.
HUES = {
    "cpuPercent": (1, 0, 0),
    "temperature": (0, 1, 0),
    "gpuPercent": (1, 1, 0),
    "networkSpeed": (0, 0, 1),
    "memoryFree": (1, 0, 1),
}
MARGIN, BAR, STEP = 2, 4, 5  # pixels, of the bars of fewer than 64 cores
BLACK = (0, 0, 0)
TROUGH = (38, 38, 38)  # half grey at three tenths over black


def figures_settings():
    """Settings for a strip that can be taken apart: bars first, then a text of each hue."""
    colours = [f"{item}=#{''.join('FF' if lit else '00' for lit in hue)}" for item, hue in HUES.items()]
    return settings_text("cpuBars", *HUES) + "\n".join(["[colors]", *colours, ""])


class Strip:
    """`bars` has each core's filled share (0..1), `texts` the ink of each item's text, wherever it stands."""

    _known = {}  # by the image file's content

    def __init__(self, picture):
        self.bars = list(bar_heights(picture))
        rest = picture.crop(len(self.bars) * STEP, 0, picture.width - len(self.bars) * STEP, picture.height)
        self.texts = {item: ink(rest, hue) for item, hue in HUES.items()}

    @classmethod
    def load(cls, image):
        """From a file that the program replaces meanwhile. Equal images are taken apart once."""
        content = Path(image).read_bytes()
        if content not in cls._known:
            with tempfile.NamedTemporaryFile(suffix=".png") as copy:
                copy.write(content)
                copy.flush()
                cls._known[content] = cls(Picture.load(copy.name))
        return cls._known[content]

    def __repr__(self):
        widths = {item: len(text[0]) if text else 0 for item, text in self.texts.items()}
        return f"bars {[round(bar, 2) for bar in self.bars]}, widths of texts {widths}"


def bars_alike(one, other):
    return len(one) == len(other) and all(abs(a - b) < 0.05 for a, b in zip(one, other))


def alike(one, other):
    return bars_alike(one.bars, other.bars) and one.texts == other.texts


class StripRecord:
    """A program's strips as they come."""

    def __init__(self, program):
        self.program = program
        self.strips = []
        self._stamps = [0]  # when the images were written (ns); the first one stands for none

    def look(self):
        """Takes the image of another refresh, if there is one; to be called more often than those come."""
        if not self.program.running():
            raise AssertionError(f"ended with {self.program.process.returncode}: {self.program.output()}")
        images = [(path.stat().st_mtime_ns, path) for path in self.program.directory.glob("Korvalune_[ab].png")]
        stamp, image = max(images, default=(0, None))
        if stamp > self._stamps[-1]:
            self._stamps.append(stamp)
            self.strips.append(Strip.load(image))

    def since(self, begin):
        """Those written after this time (ns since 1970)."""
        return [strip for stamp, strip in zip(self._stamps[1:], self.strips) if stamp > begin]

    def newest(self):
        return self.strips[-1]


def bar_heights(picture):
    height = picture.height - 2 * MARGIN
    for left in range(MARGIN, picture.width - BAR + 1, STEP):
        column = picture.crop(left, MARGIN, 1, height)
        if column.count(BLACK, tolerance=0):
            return  # text has holes
        yield 1 - column.count(TROUGH) / height


def ink(picture, hue):
    """How strong each pixel of this hue is, cut to where there are any; nothing where there are none."""
    rows = [[strength(pixel, hue) for pixel in row] for row in picture.rows]
    columns = [x for x in range(picture.width) if any(row[x] for row in rows)]
    if not columns:
        return ()
    lines = [row[columns[0]:columns[-1] + 1] for row in rows if any(row)]
    return tuple(map(tuple, lines))


def strength(pixel, hue):
    lit = [channel for channel, is_lit in zip(pixel, hue) if is_lit]
    dark = [channel for channel, is_lit in zip(pixel, hue) if not is_lit]
    return lit[0] if max(dark) == 0 and min(lit) == max(lit) else 0
