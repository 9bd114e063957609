#include "color_button.h"

namespace {

constexpr int kSide = 28;        // pixels
constexpr int kSwatchSide = 18;  // the colour itself, at least

GType colorButtonType() {
    static const GType type = g_type_register_static_simple(
        GTK_TYPE_COLOR_BUTTON, "KorvaluneColorButton", sizeof(GtkColorButtonClass),
        [](gpointer button_class, gpointer /*data*/) { GTK_BUTTON_CLASS(button_class)->clicked = nullptr; },
        sizeof(GtkColorButton), nullptr, GTypeFlags{});
    return type;
}

/// Themes give buttons the room for a text.
void shrink(GtkWidget* button) {
    GtkCssProvider* const style = gtk_css_provider_new();
    gtk_css_provider_load_from_data(style, "* { padding: 4px; min-width: 0; min-height: 0; }", -1, nullptr);
    gtk_style_context_add_provider(gtk_widget_get_style_context(button), GTK_STYLE_PROVIDER(style),
                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
    g_object_unref(style);
    gtk_widget_set_size_request(gtk_bin_get_child(GTK_BIN(button)), kSwatchSide, kSwatchSide);
    gtk_widget_set_size_request(button, kSide, kSide);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
}

}  // namespace

GtkWidget* newColorButton() {
    auto* const button = static_cast<GtkWidget*>(g_object_new(colorButtonType(), nullptr));
    gtk_drag_source_unset(button);  // a drag would take the pointer from the popup
    shrink(button);
    return button;
}
