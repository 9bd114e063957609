#include "usage_bar.h"

#include <gtk/gtk-a11y.h>

#include <algorithm>
#include <numbers>

#include "accessible.h"
#include "short_text.h"

namespace {

constexpr const char* kReader = "reader";
constexpr double kWhole = 100;  // percent

/// Of a bar that is gone, for which a reader still asks, nothing is known.
UsageReading readingOf(gpointer accessible) {
    GtkWidget* const bar = gtk_accessible_get_widget(GTK_ACCESSIBLE(accessible));
    if (bar == nullptr) return {};
    const auto read =
        reinterpret_cast<UsageReading (*)(GtkWidget*)>(g_object_get_data(G_OBJECT(bar), kReader));
    UsageReading reading = read(bar);
    reading.percent = std::min(std::max(0.0, reading.percent), kWhole);
    return reading;
}

void answerReading(AtkValue* accessible, double* percent, char** text) {
    const UsageReading reading = readingOf(accessible);
    if (percent != nullptr) *percent = reading.percent;
    if (text != nullptr) *text = g_strdup(shortText("%d%%", static_cast<int>(reading.percent)).c_str());
}

GType barAccessibleType() {
    static const GType type = [] {
        const GType made = g_type_register_static_simple(
            GTK_TYPE_WIDGET_ACCESSIBLE, "KorvaluneBarAccessible", sizeof(GtkWidgetAccessibleClass),
            [](gpointer accessible_class, gpointer /*data*/) {
                ATK_OBJECT_CLASS(accessible_class)->get_name = [](AtkObject* accessible) {
                    return answerName(accessible, readingOf(accessible).name);
                };
            },
            sizeof(GtkWidgetAccessible), nullptr, GTypeFlags{});
        const GInterfaceInfo value{[](gpointer interface, gpointer /*data*/) {
                                       auto* const reads = static_cast<AtkValueIface*>(interface);
                                       reads->get_value_and_text = answerReading;
                                       reads->get_range = [](AtkValue*) {
                                           return atk_range_new(0, kWhole, nullptr);
                                       };
                                   },
                                   nullptr, nullptr};
        g_type_add_interface_static(made, ATK_TYPE_VALUE, &value);
        return made;
    }();
    return type;
}

GType barType() {
    static const GType type = g_type_register_static_simple(
        GTK_TYPE_DRAWING_AREA, "KorvaluneBar", sizeof(GtkDrawingAreaClass),
        [](gpointer bar_class, gpointer /*data*/) {
            gtk_widget_class_set_accessible_type(GTK_WIDGET_CLASS(bar_class), barAccessibleType());
            gtk_widget_class_set_accessible_role(GTK_WIDGET_CLASS(bar_class), ATK_ROLE_LEVEL_BAR);
        },
        sizeof(GtkDrawingArea), nullptr, GTypeFlags{});
    return type;
}

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

GtkWidget* newUsageBar(UsageReading (*read)(GtkWidget* bar)) {
    auto* const bar = static_cast<GtkWidget*>(g_object_new(barType(), nullptr));
    g_object_set_data(G_OBJECT(bar), kReader, reinterpret_cast<gpointer>(read));
    return bar;
}

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
