#include "accessible.h"

void setAccessibleName(GtkWidget* widget, const std::string& name) {
    atk_object_set_name(gtk_widget_get_accessible(widget), name.c_str());
}

void setAccessibleDescription(GtkWidget* widget, const std::string& text) {
    atk_object_set_description(gtk_widget_get_accessible(widget), text.c_str());
}

void setDecorative(GtkWidget* image, const std::string& words) {
    setAccessibleName(image, words);
    atk_object_set_role(gtk_widget_get_accessible(image), ATK_ROLE_REDUNDANT_OBJECT);
}

void labelControl(GtkWidget* label, GtkWidget* control) {
    gtk_label_set_mnemonic_widget(GTK_LABEL(label), control);
}

const char* answerName(AtkObject* accessible, const std::string& name) {
    g_free(accessible->name);
    accessible->name = g_strdup(name.c_str());
    return accessible->name;
}
