#include "page_faults.h"

#include "widget_tree.h"

namespace {

struct Box {
    int left = 0, top = 0, right = 0, bottom = 0;
};

/// Where a widget is on the page.
Box boxOf(GtkWidget* widget, GtkWidget* page) {
    Box box;
    gtk_widget_translate_coordinates(widget, page, 0, 0, &box.left, &box.top);
    box.right = box.left + gtk_widget_get_allocated_width(widget);
    box.bottom = box.top + gtk_widget_get_allocated_height(widget);
    return box;
}

bool overlap(const Box& a, const Box& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

std::vector<GtkWidget*> shownChildren(GtkWidget* container) {
    std::vector<GtkWidget*> shown;
    GList* const children = gtk_container_get_children(GTK_CONTAINER(container));
    for (const GList* child = children; child != nullptr; child = child->next) {
        if (gtk_widget_get_child_visible(GTK_WIDGET(child->data)) &&
            gtk_widget_get_mapped(GTK_WIDGET(child->data)))
            shown.push_back(GTK_WIDGET(child->data));
    }
    g_list_free(children);
    return shown;
}

/// A widget as a message names it: by the text on it, if it has one.
std::string nameOf(GtkWidget* widget) {
    if (GTK_IS_LABEL(widget)) return std::string("\"") + gtk_label_get_text(GTK_LABEL(widget)) + "\"";
    for (const std::string& text : labelTexts(widget)) {
        if (!text.empty()) return std::string(G_OBJECT_TYPE_NAME(widget)) + " with \"" + text + "\"";
    }
    return G_OBJECT_TYPE_NAME(widget);
}

void lookAtLabel(GtkWidget* label, std::vector<std::string>& faults) {
    PangoLayout* const layout = gtk_label_get_layout(GTK_LABEL(label));
    const int missing = pango_layout_get_unknown_glyphs_count(layout);
    if (missing > 0)
        faults.push_back(nameOf(label) + ": " + std::to_string(missing) + " characters in no font");
    if (pango_layout_is_ellipsized(layout) != FALSE) faults.push_back(nameOf(label) + " is cut off");
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    const int room_across = gtk_widget_get_allocated_width(label);
    const int room_down = gtk_widget_get_allocated_height(label);
    if (width > room_across) {
        faults.push_back(nameOf(label) + " is " + std::to_string(width) + " pixels wide in " +
                         std::to_string(room_across));
    }
    if (height > room_down) {
        faults.push_back(nameOf(label) + " is " + std::to_string(height) + " pixels high in " +
                         std::to_string(room_down));
    }
}

void lookAtPlace(GtkWidget* widget, GtkWidget* page, std::vector<std::string>& faults) {
    const Box box = boxOf(widget, page);
    const int width = gtk_widget_get_allocated_width(page);
    if (box.left < 0 || box.right > width) {
        faults.push_back(nameOf(widget) + " stands out of the page: " + std::to_string(box.left) + " to " +
                         std::to_string(box.right) + " of " + std::to_string(width));
    }
}

void lookAtNeighbours(GtkWidget* container, std::vector<std::string>& faults) {
    const auto children = shownChildren(container);
    for (std::size_t i = 0; i < children.size(); ++i) {
        for (std::size_t j = i + 1; j < children.size(); ++j) {
            if (overlap(boxOf(children[i], container), boxOf(children[j], container)))
                faults.push_back(nameOf(children[i]) + " lies upon " + nameOf(children[j]));
        }
    }
}

/// A combo box draws the chosen text in a cell, not in a label.
void lookAtCell(GtkWidget* cell, std::vector<std::string>& faults) {
    int wanted = 0;
    gtk_widget_get_preferred_width(cell, nullptr, &wanted);
    const int room = gtk_widget_get_allocated_width(cell);
    if (wanted > room) {
        faults.push_back("the text chosen in a list is " + std::to_string(wanted) + " pixels wide in " +
                         std::to_string(room));
    }
}

}  // namespace

std::vector<std::string> faultsOf(GtkWidget* page) {
    std::vector<std::string> faults;
    for (GtkWidget* widget : allWidgets(page)) {
        if (!gtk_widget_get_mapped(widget)) continue;
        lookAtPlace(widget, page, faults);
        if (GTK_IS_LABEL(widget)) lookAtLabel(widget, faults);
        if (GTK_IS_BOX(widget)) lookAtNeighbours(widget, faults);
        if (GTK_IS_CELL_VIEW(widget)) lookAtCell(widget, faults);
    }
    return faults;
}

bool isDrawable(GtkWidget* widget, const std::string& text) {
    PangoLayout* const layout = gtk_widget_create_pango_layout(widget, text.c_str());
    const bool drawable = pango_layout_get_unknown_glyphs_count(layout) == 0;
    g_object_unref(layout);
    return drawable;
}
