#pragma once

#include <gtk/gtk.h>

#include <ostream>
#include <string>

/// How a label's or an entry's text is drawn, by its own attributes.
struct DrawnStyle {
    int points = 0;                    ///< 0: the toolkit's
    int weight = PANGO_WEIGHT_NORMAL;  ///< Pango's numbers
    std::string family;                ///< empty: the toolkit's

    bool operator==(const DrawnStyle&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const DrawnStyle& style) {
    return out << style.points << " pt, weight " << style.weight << ", family '" << style.family << "'";
}

inline DrawnStyle drawnStyle(GtkWidget* widget) {
    DrawnStyle style;
    PangoAttrList* list = GTK_IS_ENTRY(widget) ? gtk_entry_get_attributes(GTK_ENTRY(widget))
                                               : gtk_label_get_attributes(GTK_LABEL(widget));
    if (list == nullptr) return style;
    PangoAttrIterator* start = pango_attr_list_get_iterator(list);
    const auto* size = pango_attr_iterator_get(start, PANGO_ATTR_SIZE);
    const auto* weight = pango_attr_iterator_get(start, PANGO_ATTR_WEIGHT);
    const auto* family = pango_attr_iterator_get(start, PANGO_ATTR_FAMILY);
    if (size) style.points = reinterpret_cast<const PangoAttrSize*>(size)->size / PANGO_SCALE;
    if (weight) style.weight = reinterpret_cast<const PangoAttrInt*>(weight)->value;
    if (family) style.family = reinterpret_cast<const PangoAttrString*>(family)->value;
    pango_attr_iterator_destroy(start);
    return style;
}
