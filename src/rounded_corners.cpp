#include "rounded_corners.h"

#include <algorithm>
#include <cmath>

#include "cairo_handles.h"

namespace {

using Region = std::unique_ptr<cairo_region_t, FreeWith<cairo_region_destroy>>;

/// How many pixels of the `row`th line from an edge lie outside a corner.
int cutOff(int row, int radius) {
    const double rise = radius - row - 0.5;
    return static_cast<int>(std::lround(radius - std::sqrt(radius * radius - rise * rise)));
}

Region roundedRegion(int width, int height, int radius) {
    radius = std::min({radius, width / 2, height / 2});
    const cairo_rectangle_int_t middle{0, radius, width, height - 2 * radius};
    Region region(cairo_region_create_rectangle(&middle));
    for (int row = 0; row < radius; ++row) {
        const int cut = cutOff(row, radius);
        for (const int y : {row, height - 1 - row}) {
            const cairo_rectangle_int_t line{cut, y, width - 2 * cut, 1};
            cairo_region_union_rectangle(region.get(), &line);
        }
    }
    return region;
}

void shape(GtkWidget* window, int radius) {
    if (gdk_screen_is_composited(gtk_widget_get_screen(window))) {
        gtk_widget_shape_combine_region(window, nullptr);
        return;
    }
    const Region region = roundedRegion(gtk_widget_get_allocated_width(window),
                                        gtk_widget_get_allocated_height(window), radius);
    gtk_widget_shape_combine_region(window, region.get());
}

void onSizeAllocate(GtkWidget* window, GdkRectangle* /*area*/, gpointer radius) {
    shape(window, GPOINTER_TO_INT(radius));
}

void onCompositedChanged(GtkWidget* window, gpointer radius) {
    shape(window, GPOINTER_TO_INT(radius));
}

}  // namespace

void roundCorners(GtkWidget* window, int radius) {
    GdkVisual* const visual = gdk_screen_get_rgba_visual(gtk_widget_get_screen(window));
    if (visual != nullptr) gtk_widget_set_visual(window, visual);
    g_signal_connect(window, "size-allocate", G_CALLBACK(onSizeAllocate), GINT_TO_POINTER(radius));
    g_signal_connect(window, "composited-changed", G_CALLBACK(onCompositedChanged), GINT_TO_POINTER(radius));
}
