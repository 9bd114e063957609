"""Pictures as rows of pixels, for looking at screenshots and at panel images."""

import gi

gi.require_version("GdkPixbuf", "2.0")
from gi.repository import GdkPixbuf  # noqa: E402


class Picture:
    """Rows of (red, green, blue) with 0..255; transparent pixels are blended with a background."""

    def __init__(self, rows):
        self.rows = rows
        self.width = len(rows[0])
        self.height = len(rows)

    @classmethod
    def load(cls, path, background=(0, 0, 0)):
        pixbuf = GdkPixbuf.Pixbuf.new_from_file(str(path))
        data, stride, step = pixbuf.get_pixels(), pixbuf.get_rowstride(), pixbuf.get_n_channels()
        rows = []
        for y in range(pixbuf.get_height()):
            start = y * stride
            row = data[start:start + pixbuf.get_width() * step]
            pixels = zip(*(row[channel::step] for channel in range(step)))
            # A screenshot is large and has nothing to blend.
            rows.append([blend(pixel, background) for pixel in pixels] if step == 4 else list(pixels))
        return cls(rows)

    def crop(self, x, y, width, height):
        return Picture([row[x:x + width] for row in self.rows[y:y + height]])

    def count(self, colour, tolerance=3):
        """How many pixels have this colour."""
        return sum(alike(pixel, colour, tolerance) for row in self.rows for pixel in row)

    def matches(self, other):
        """Whether two pictures look the same: blending may round a channel up or down."""
        return (self.width, self.height) == (other.width, other.height) and all(
            one == two or alike(one, two, 3)
            for row, other_row in zip(self.rows, other.rows) for one, two in zip(row, other_row))

    def inked(self, background):
        """The part that holds all pixels unlike the background; the whole if there are none."""
        columns = [x for x in range(self.width) if any(row[x] != background for row in self.rows)]
        lines = [y for y, row in enumerate(self.rows) if any(pixel != background for pixel in row)]
        if not columns:
            return self
        return self.crop(columns[0], lines[0], columns[-1] - columns[0] + 1, lines[-1] - lines[0] + 1)


def blend(pixel, background):
    if len(pixel) == 3 or pixel[3] == 255:
        return pixel[:3]
    alpha = pixel[3] / 255
    return tuple(round(alpha * over + (1 - alpha) * under) for over, under in zip(pixel, background))


def alike(one, two, tolerance):
    return all(abs(a - b) <= tolerance for a, b in zip(one, two))
