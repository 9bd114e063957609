#include "combo.h"

#include "text_style.h"

GtkWidget* newCombo() {
    GtkWidget* const combo = gtk_combo_box_text_new();
    GList* const cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(combo));
    g_object_set(cells->data, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
    useLetterForms(cells->data);
    g_list_free(cells);
    g_signal_connect(combo, "scroll-event", G_CALLBACK(onComboScroll), nullptr);
    return combo;
}

void fillCombo(GtkWidget* combo, const std::vector<std::string>& texts, int active) {
    gtk_combo_box_text_remove_all(GTK_COMBO_BOX_TEXT(combo));
    for (const std::string& text : texts)
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), text.c_str());
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), active);
}

gboolean onComboScroll(GtkWidget* widget, GdkEvent* event) {
    if (GtkWidget* const scrolled = gtk_widget_get_ancestor(widget, GTK_TYPE_SCROLLED_WINDOW)) {
        gtk_widget_event(scrolled, event);
    }
    return TRUE;
}
