#pragma once

#include <gtk/gtk.h>

#include <ostream>
#include <string>
#include <tuple>

#include "widgets.h"

/// The style that a label's attributes spell out; what they leave open is as TextStyle has it.
inline TextStyle textStyleOf(GtkWidget* label) {
    TextStyle style;
    PangoAttrList* list = gtk_label_get_attributes(GTK_LABEL(label));
    if (list == nullptr) return style;
    GSList* attributes = pango_attr_list_get_attributes(list);
    for (GSList* each = attributes; each != nullptr; each = each->next) {
        auto* attribute = static_cast<PangoAttribute*>(each->data);
        if (const auto* number = pango_attribute_as_int(attribute)) {
            if (attribute->klass->type == PANGO_ATTR_WEIGHT) style.weight = number->value;
        } else if (const auto* size = pango_attribute_as_size(attribute)) {
            style.points = size->size / PANGO_SCALE;
        } else if (const auto* family = pango_attribute_as_string(attribute)) {
            if (std::string("monospace") == family->value) style.family = FontFamily::Monospace;
        } else if (const auto* color = pango_attribute_as_color(attribute)) {
            style.color = TextColor{color->color.red, color->color.green, color->color.blue};
        }
    }
    g_slist_free_full(attributes,
                      [](gpointer each) { pango_attribute_destroy(static_cast<PangoAttribute*>(each)); });
    return style;
}

inline bool operator==(const TextColor& a, const TextColor& b) {
    return std::tie(a.red, a.green, a.blue) == std::tie(b.red, b.green, b.blue);
}

inline bool operator==(const TextStyle& a, const TextStyle& b) {
    return std::tie(a.points, a.weight, a.family, a.color) == std::tie(b.points, b.weight, b.family, b.color);
}

/// For the messages of failed expectations.
inline std::ostream& operator<<(std::ostream& out, const TextStyle& style) {
    out << style.points << " pt, weight " << style.weight
        << (style.family == FontFamily::Monospace ? ", monospace" : "");
    if (style.color) out << ", " << style.color->red << '/' << style.color->green << '/' << style.color->blue;
    return out;
}
