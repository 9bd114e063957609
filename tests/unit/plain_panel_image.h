#pragma once

#include <pango/pangocairo.h>

#include <algorithm>
#include <string>
#include <vector>

#include "color.h"
#include "panel_image.h"

/// The panel image drawn the plain way, with everything made afresh for each frame: what PanelImage's
/// pictures must equal and what its cost is compared with.
class PlainPanelImage {
public:
    /// A new surface, or none without segments.
    CairoSurface draw(const std::vector<LabelSegment>& segments, const std::vector<CoreUsage>& cores,
                      const PanelMetrics& metrics) {
        if (segments.empty()) return nullptr;
        const int h = metrics.height;
        const int fs = metrics.font_size;
        PangoFontDescription* font =
            pango_font_description_from_string(("monospace " + std::to_string(fs)).c_str());

        cairo_surface_t* measuring = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
        cairo_t* cr = cairo_create(measuring);
        PangoLayout* layout = newLayout(cr);
        pango_layout_set_font_description(layout, font);
        const auto widthOf = [&](const std::string& text) {
            int width = 0;
            setText(layout, text);
            pango_layout_get_pixel_size(layout, &width, nullptr);
            return width;
        };

        const int n = static_cast<int>(cores.size());
        const int bar_width = n < 64 ? 4 : 2;
        const int bar_gap = n < 64 ? 1 : 0;
        const int bars_width = n * (bar_width + bar_gap) - bar_gap + 4;

        if (locked_value_widths.size() != segments.size()) locked_value_widths.assign(segments.size(), 0);
        std::vector<int> label_widths;
        std::vector<int> value_widths;
        std::vector<int> raw_widths;
        int total = 0;
        for (std::size_t i = 0; i < segments.size(); ++i) {
            label_widths.push_back(segments[i].label.empty() ? 0 : widthOf(segments[i].label) + 3);
            if (segments[i].value == "\x01") {
                raw_widths.push_back(bars_width);
                value_widths.push_back(bars_width);
            } else {
                raw_widths.push_back(widthOf(segments[i].value));
                locked_value_widths[i] = std::max(locked_value_widths[i], raw_widths[i]);
                value_widths.push_back(locked_value_widths[i]);
            }
            total += label_widths[i] + value_widths[i] + 8;
        }
        total -= 8;
        const int count = static_cast<int>(segments.size());
        if (count != locked_seg_count) {
            locked_width = total;
            locked_seg_count = count;
        } else {
            locked_width = std::max(locked_width, total);
        }
        g_object_unref(layout);
        cairo_destroy(cr);
        cairo_surface_destroy(measuring);

        CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, locked_width, h));
        cr = cairo_create(surface.get());
        cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_rgba(cr, 0, 0, 0, 0);
        cairo_paint(cr);
        cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
        layout = newLayout(cr);
        pango_layout_set_font_description(layout, font);
        const double y = (h - fs * 1.4) * 0.5 - 1.0;
        const auto show = [&](const std::string& text, const std::string& hex, double x) {
            double r = 0, g = 0, b = 0;
            parseHex(hex, r, g, b);
            cairo_set_source_rgba(cr, r, g, b, 1.0);
            cairo_move_to(cr, x, y);
            setText(layout, text);
            pango_cairo_show_layout(cr, layout);
        };
        double x = 0;
        for (std::size_t i = 0; i < segments.size(); ++i) {
            if (!segments[i].label.empty()) {
                show(segments[i].label, "#4090FF", x);
                x += label_widths[i];
            }
            if (segments[i].value == "\x01")
                drawBars(cr, cores, x, h, bar_width, bar_gap);
            else
                show(segments[i].value, segments[i].color_hex, x + value_widths[i] - raw_widths[i]);
            x += value_widths[i] + 8;
        }
        g_object_unref(layout);
        pango_font_description_free(font);
        cairo_destroy(cr);
        cairo_surface_flush(surface.get());
        return surface;
    }

private:
    static PangoLayout* newLayout(cairo_t* cr) {
        PangoLayout* layout = pango_cairo_create_layout(cr);
        pango_context_set_language(pango_layout_get_context(layout), pango_language_from_string("en"));
        return layout;
    }

    static void setText(PangoLayout* layout, const std::string& text) {
        char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
        pango_layout_set_text(layout, valid, -1);
        g_free(valid);
    }

    static void drawBars(cairo_t* cr, const std::vector<CoreUsage>& cores, double x, int h, int bar_width,
                         int bar_gap) {
        double bx = x + 2.0;
        const double bh = h - 4;
        for (const CoreUsage& core : cores) {
            const double filled = std::max(1.0, core.usage / 100 * bh);
            cairo_set_source_rgba(cr, 0.5, 0.5, 0.5, 0.3);
            cairo_rectangle(cr, bx, 2.0, bar_width, bh);
            cairo_fill(cr);
            if (core.perfLevel == 0) {
                if (core.usage < 50)
                    cairo_set_source_rgba(cr, 0.0, 0.8, 0.8, 1.0);
                else if (core.usage < 80)
                    cairo_set_source_rgba(cr, 0.2, 0.4, 1.0, 1.0);
                else
                    cairo_set_source_rgba(cr, 0.6, 0.2, 0.8, 1.0);
            } else {
                if (core.usage < 50)
                    cairo_set_source_rgba(cr, 0.2, 0.8, 0.2, 1.0);
                else if (core.usage < 80)
                    cairo_set_source_rgba(cr, 0.9, 0.8, 0.0, 1.0);
                else
                    cairo_set_source_rgba(cr, 1.0, 0.6, 0.0, 1.0);
            }
            cairo_rectangle(cr, bx, 2.0 + bh - filled, bar_width, filled);
            cairo_fill(cr);
            bx += bar_width + bar_gap;
        }
    }

    std::vector<int> locked_value_widths;
    int locked_width = 0;
    int locked_seg_count = 0;
};
