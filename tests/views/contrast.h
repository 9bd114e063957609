#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <cmath>
#include <vector>

/// How well a colour stands out from another, as the Web Content Accessibility Guidelines reckon it.

/// 0 (black) to 1 (white).
inline double luminance(const GdkRGBA& color) {
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

/// 1 (the same) to 21 (black and white).
inline double contrast(const GdkRGBA& one, const GdkRGBA& other) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

/// What is seen of a colour laid over an opaque one.
inline GdkRGBA over(const GdkRGBA& below, const GdkRGBA& above, double opacity = 1) {
    const double alpha = above.alpha * opacity;
    const auto mix = [alpha](double under, double upper) { return under * (1 - alpha) + upper * alpha; };
    return {mix(below.red, above.red), mix(below.green, above.green), mix(below.blue, above.blue), 1};
}

/// A colour of a widget's style in its present state, such as "background-color".
inline GdkRGBA styleColor(GtkWidget* widget, const char* property) {
    GtkStyleContext* const style = gtk_widget_get_style_context(widget);
    GdkRGBA* color = nullptr;
    gtk_style_context_get(style, gtk_style_context_get_state(style), property, &color, nullptr);
    const GdkRGBA copy = *color;
    gdk_rgba_free(color);
    return copy;
}

/// What a widget draws in `color`, and what lies behind it, as they are seen.
struct SeenColors {
    GdkRGBA front;
    GdkRGBA back;
    double ratio() const { return contrast(front, back); }
};

/// A container may let all in it shine through to what is behind, like the rows of switched-off items.
inline SeenColors seen(GtkWidget* widget, const GdkRGBA& color) {
    std::vector<GtkWidget*> path;
    for (GtkWidget* each = widget; each != nullptr; each = gtk_widget_get_parent(each))
        path.push_back(each);
    std::ranges::reverse(path);
    GdkRGBA back{1, 1, 1, 1};
    double opacity = 1;
    GdkRGBA behind = back;
    for (GtkWidget* each : path) {
        double own = 1;
        GtkStyleContext* const style = gtk_widget_get_style_context(each);
        gtk_style_context_get(style, gtk_style_context_get_state(style), "opacity", &own, nullptr);
        if (own < 1) behind = back;
        opacity *= own;
        back = over(back, styleColor(each, "background-color"), opacity);
    }
    return {over(opacity < 1 ? behind : back, color, opacity), back};
}
