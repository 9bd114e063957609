#pragma once

#include <gtk/gtk.h>

#include <string>

/// The rounded bars of the CPU and GPU pages: a pale track and on it a fill that grows from the left.

/// Fractions 0..1.
struct UsageColor {
    double r = 0, g = 0, b = 0;
};

/// How a fill is drawn that is narrower than the corners of its track.
enum class SliverShape {
    Rounded,  ///< with smaller corners of its own
    Tucked,   ///< as a strip that the track's rounded end cuts off
};

/// What a bar shows, for those who do not see it.
struct UsageReading {
    std::string name;
    double percent = 0;
};

/// A widget to draw such a bar in. To screen readers it is a level bar; when one asks what it shows, the
/// answer comes from `read`.
GtkWidget* newUsageBar(UsageReading (*read)(GtkWidget* bar));

/// Fills a rectangle of `width` x `height` pixels at the origin; `percent` below one pixel's worth is drawn
/// as one pixel, as is what is no number; above 100 as 100.
void drawUsageBar(cairo_t* context, double width, double height, double percent, const UsageColor& color,
                  SliverShape sliver);
