#include "usage_bar.h"

#include <algorithm>
#include <numbers>

namespace {

constexpr double kRadius = 3;  ///< of the corners, pixels
constexpr double kQuarter = std::numbers::pi / 2;

/// A rectangle from x = 0 whose right corners have the radius `right_radius` about x = `right_centre`.
void addRoundedPath(cairo_t* context, double height, double right_centre, double right_radius) {
    cairo_new_sub_path(context);
    cairo_arc(context, right_centre, kRadius, right_radius, -kQuarter, 0);
    cairo_arc(context, right_centre, height - kRadius, right_radius, 0, kQuarter);
    cairo_arc(context, kRadius, height - kRadius, kRadius, kQuarter, 2 * kQuarter);
    cairo_arc(context, kRadius, kRadius, kRadius, 2 * kQuarter, 3 * kQuarter);
    cairo_close_path(context);
}

}  // namespace

void drawUsageBar(cairo_t* context, double width, double height, double percent, const UsageColor& color,
                  SliverShape sliver) {
    addRoundedPath(context, height, width - kRadius, kRadius);
    cairo_set_source_rgba(context, 0.5, 0.5, 0.5, 0.2);
    cairo_fill(context);

    cairo_set_source_rgba(context, color.r, color.g, color.b, 1.0);
    // In this order what is no number becomes 1 too.
    const double filled = std::min(std::max(1.0, percent / 100 * width), std::max(1.0, width));
    if (sliver == SliverShape::Tucked && filled < kRadius) {
        cairo_save(context);
        addRoundedPath(context, height, width - kRadius, kRadius);
        cairo_clip(context);
        cairo_rectangle(context, 0, 0, filled, height);
        cairo_fill(context);
        cairo_restore(context);
        return;
    }
    const double radius = std::min(filled, kRadius);
    addRoundedPath(context, height, filled - radius, radius);
    cairo_fill(context);
}
