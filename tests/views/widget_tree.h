#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

/// Looking into a page from outside: its widgets in the order in which they are packed.

/// All widgets below `root`, itself included, depth first; hidden ones too.
inline std::vector<GtkWidget*> allWidgets(GtkWidget* root) {
    std::vector<GtkWidget*> found{root};
    if (GTK_IS_CONTAINER(root)) {
        gtk_container_forall(
            GTK_CONTAINER(root),
            [](GtkWidget* child, gpointer data) {
                const auto below = allWidgets(child);
                auto* widgets = static_cast<std::vector<GtkWidget*>*>(data);
                widgets->insert(widgets->end(), below.begin(), below.end());
            },
            &found);
    }
    return found;
}

/// Those of a GTK type, such as GTK_TYPE_LABEL.
inline std::vector<GtkWidget*> widgetsOfType(GtkWidget* root, GType type) {
    std::vector<GtkWidget*> found;
    for (GtkWidget* widget : allWidgets(root)) {
        if (g_type_is_a(G_OBJECT_TYPE(widget), type)) found.push_back(widget);
    }
    return found;
}

/// The texts of all labels, hidden ones too.
inline std::vector<std::string> labelTexts(GtkWidget* root) {
    std::vector<std::string> texts;
    for (GtkWidget* label : widgetsOfType(root, GTK_TYPE_LABEL)) {
        texts.emplace_back(gtk_label_get_text(GTK_LABEL(label)));
    }
    return texts;
}

/// The first label with this text, or null.
inline GtkWidget* labelWithText(GtkWidget* root, const std::string& text) {
    for (GtkWidget* label : widgetsOfType(root, GTK_TYPE_LABEL)) {
        if (text == gtk_label_get_text(GTK_LABEL(label))) return label;
    }
    return nullptr;
}

/// The first button with this label, or null.
inline GtkWidget* buttonWithText(GtkWidget* root, const std::string& text) {
    for (GtkWidget* button : widgetsOfType(root, GTK_TYPE_BUTTON)) {
        const char* label = gtk_button_get_label(GTK_BUTTON(button));
        if (label != nullptr && text == label) return button;
    }
    return nullptr;
}

/// Runs the main loop until nothing is left to do at once.
inline void settle() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}
