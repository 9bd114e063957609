#include "widgets.h"

#include "accessible.h"
#include "icon_helper.h"
#include "l10n.h"

namespace {

constexpr int kWrappedChars = 20;  ///< of a wrapped label, at least: less than any page has room for

}  // namespace

GtkWidget* newLabel(const std::string& text, const TextAttributes& attributes, float x_align) {
    GtkWidget* label = gtk_label_new(text.c_str());
    attributes.applyTo(label);
    gtk_label_set_xalign(GTK_LABEL(label), x_align);
    return label;
}

GtkWidget* newColumn(const std::string& text, const TextAttributes& attributes, int width, float x_align) {
    GtkWidget* label = newLabel(text, attributes, x_align);
    gtk_widget_set_size_request(label, width, -1);
    return label;
}

void setText(GtkWidget* label, const std::string& text) {
    if (text != gtk_label_get_text(GTK_LABEL(label))) gtk_label_set_text(GTK_LABEL(label), text.c_str());
}

void ellipsize(GtkWidget* label) {
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
}

void ellipsizeToRoom(GtkWidget* label) {
    ellipsize(label);
    gtk_label_set_max_width_chars(GTK_LABEL(label), 1);
    gtk_widget_set_size_request(label, 1, -1);
}

void wrap(GtkWidget* label) {
    gtk_label_set_line_wrap(GTK_LABEL(label), TRUE);
    gtk_label_set_line_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    // Without the one a label asks for the width of its text in one line; without the other it tries how
    // narrow it could be made, one character a line, which takes as long as all else on a page together.
    gtk_label_set_max_width_chars(GTK_LABEL(label), kWrappedChars);
    gtk_label_set_width_chars(GTK_LABEL(label), kWrappedChars);
    gtk_widget_set_hexpand(label, TRUE);
}

GtkWidget* newParagraph(const std::string& text, const TextAttributes& attributes) {
    GtkWidget* label = newLabel(text, attributes, L10n::isRTL() ? kAtEnd : kAtStart);
    wrap(label);
    return label;
}

GtkWidget* newTextButton(const std::string& text) {
    GtkWidget* button = gtk_button_new_with_label(text.c_str());
    useLetterForms(gtk_bin_get_child(GTK_BIN(button)));
    return button;
}

GtkWidget* newRow(int spacing) {
    return gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
}

GtkWidget* newColumnBox(int spacing) {
    return gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
}

void pack(GtkWidget* box, GtkWidget* child, unsigned padding) {
    gtk_box_pack_start(GTK_BOX(box), child, FALSE, FALSE, padding);
}

void packFilling(GtkWidget* box, GtkWidget* child, unsigned padding) {
    gtk_box_pack_start(GTK_BOX(box), child, TRUE, TRUE, padding);
}

void packAtEnd(GtkWidget* box, GtkWidget* child) {
    gtk_box_pack_end(GTK_BOX(box), child, FALSE, FALSE, 0);
}

void packSeparator(GtkWidget* box, unsigned padding) {
    pack(box, gtk_separator_new(GTK_ORIENTATION_HORIZONTAL), padding);
}

namespace {

/// The theme's trough, made to stand beside whole documents, is too heavy for a small page.
void lighten(GtkWidget* scrollbar) {
    GtkCssProvider* const provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider, "scrollbar { background: transparent; border: none; }", -1,
                                    nullptr);
    gtk_style_context_add_provider(gtk_widget_get_style_context(scrollbar), GTK_STYLE_PROVIDER(provider),
                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
    g_object_unref(provider);
}

/// What does not scroll needs no place where the arrow keys scroll it.
void onRoomChanged(GtkWidget* scroller, GtkAdjustment* adjustment) {
    const bool scrolls = gtk_adjustment_get_upper(adjustment) - gtk_adjustment_get_lower(adjustment) >
                         gtk_adjustment_get_page_size(adjustment);
    if (scrolls != (gtk_widget_get_can_focus(scroller) != FALSE)) gtk_widget_set_can_focus(scroller, scrolls);
}

}  // namespace

GtkWidget* newScroller(GtkWidget* child) {
    GtkWidget* const widget = gtk_scrolled_window_new(nullptr, nullptr);
    auto* const scroller = GTK_SCROLLED_WINDOW(widget);
    gtk_scrolled_window_set_policy(scroller, GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_overlay_scrolling(scroller, FALSE);
    gtk_container_add(GTK_CONTAINER(widget), child);
    gtk_viewport_set_shadow_type(GTK_VIEWPORT(gtk_bin_get_child(GTK_BIN(widget))), GTK_SHADOW_NONE);
    lighten(gtk_scrolled_window_get_vscrollbar(scroller));
    gtk_widget_set_can_focus(widget, FALSE);
    g_signal_connect_object(gtk_scrolled_window_get_vadjustment(scroller), "changed",
                            G_CALLBACK(onRoomChanged), widget, G_CONNECT_SWAPPED);
    return widget;
}

GtkWidget* newHeader(const char* icon, const std::string& title, const TextAttributes& attributes) {
    GtkWidget* row = newRow(6);
    pack(row, newDecoration(icon, title));
    GtkWidget* label = newLabel(title, attributes);
    ellipsize(label);  // translations may be longer than the page is wide
    pack(row, label);
    return row;
}

GtkWidget* newDecoration(const char* icon, const std::string& words) {
    GtkWidget* image = load_icon(icon, GTK_ICON_SIZE_MENU);
    setDecorative(image, words);
    return image;
}

void setPageMargins(GtkWidget* page, int sides, int top) {
    gtk_widget_set_margin_start(page, sides);
    gtk_widget_set_margin_end(page, sides);
    gtk_widget_set_margin_top(page, top);
}

GtkWidget* childAt(GtkWidget* container, int index) {
    GList* const children = gtk_container_get_children(GTK_CONTAINER(container));
    auto* const child = static_cast<GtkWidget*>(g_list_nth_data(children, static_cast<guint>(index)));
    g_list_free(children);
    return child;
}

void destroyChildren(GtkWidget* container) {
    gtk_container_foreach(
        GTK_CONTAINER(container), [](GtkWidget* child, gpointer) { gtk_widget_destroy(child); }, nullptr);
}

void setActiveSilently(GtkToggleButton* check, bool active, gpointer data) {
    g_signal_handlers_block_matched(check, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, data);
    gtk_toggle_button_set_active(check, active);
    g_signal_handlers_unblock_matched(check, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, data);
}
