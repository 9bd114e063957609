#pragma once

#include <gtk/gtk.h>

#include <string>

#include "text_style.h"

/// What the popup's pages are put together from: labels, boxes, separators, headers.
/// Every maker returns a new widget for the caller to pack.

/// Where a label's text stands when it has more room than it needs.
constexpr float kAtStart = 0.0F;
constexpr float kCentered = 0.5F;
constexpr float kAtEnd = 1.0F;

/// `text` must be valid UTF-8; what does not come from us goes through displayText() first.
GtkWidget* newLabel(const std::string& text, const TextAttributes& attributes, float x_align = kAtStart);

/// A label of `width` pixels at least.
GtkWidget* newColumn(const std::string& text, const TextAttributes& attributes, int width, float x_align);

/// Changes a label's text. The same text again costs no new layout.
void setText(GtkWidget* label, const std::string& text);

/// Lets a label end in an ellipsis where it does not fit.
void ellipsize(GtkWidget* label);

/// The same for a label that never asks for more room than the page has, however long its text is.
void ellipsizeToRoom(GtkWidget* label);

/// Lets a label break its text into lines of the page's width.
void wrap(GtkWidget* label);

/// A wrapped label for sentences in the program's language: its lines begin at the edge where that is read
/// from.
GtkWidget* newParagraph(const std::string& text, const TextAttributes& attributes);

/// A button with a text in the program's language.
GtkWidget* newTextButton(const std::string& text);

GtkWidget* newRow(int spacing);        ///< a horizontal box
GtkWidget* newColumnBox(int spacing);  ///< a vertical box

/// Adds a widget to a box: behind the earlier ones at its natural size, taking all the room that is left, or
/// at the far end.
void pack(GtkWidget* box, GtkWidget* child, unsigned padding = 0);
void packFilling(GtkWidget* box, GtkWidget* child, unsigned padding = 0);
void packAtEnd(GtkWidget* box, GtkWidget* child);

/// Adds a horizontal line to a vertical box.
void packSeparator(GtkWidget* box, unsigned padding = 0);

/// Lets `child` scroll vertically, with a bar that takes room of its own beside it: one laid over the page
/// would take the clicks meant for what lies below it. While there is something to scroll, and nothing in it
/// takes the keyboard's focus, it takes that itself.
GtkWidget* newScroller(GtkWidget* child);

/// The least height of a page's own scrolled part, pixels; a low monitor gets a lower one.
constexpr int kScrolledHeight = 450;

/// An icon from load_icon() with a label behind it, as its second child.
GtkWidget* newHeader(const char* icon, const std::string& title, const TextAttributes& attributes);

/// An icon beside the words that it stands for.
GtkWidget* newDecoration(const char* icon, const std::string& words);

/// Pixels of room around a page: at both sides and above.
void setPageMargins(GtkWidget* page, int sides, int top);

/// A container's child at a place counted from 0; null when it has fewer.
GtkWidget* childAt(GtkWidget* container, int index);

/// Destroys everything in a container.
void destroyChildren(GtkWidget* container);

/// Attaches a record to a widget, which frees it at its own end or when another record takes its place.
template <typename Record>
void attach(GtkWidget* widget, const char* key, const Record& record) {
    g_object_set_data_full(G_OBJECT(widget), key, new Record(record),
                           [](gpointer old) { delete static_cast<Record*>(old); });
}

/// The record attached under this key, or null. It must be one of this type.
template <typename Record>
Record* attached(GtkWidget* widget, const char* key) {
    return static_cast<Record*>(g_object_get_data(G_OBJECT(widget), key));
}

/// Sets a check button without calling the handlers that were connected with `data`.
void setActiveSilently(GtkToggleButton* check, bool active, gpointer data);

/// Owns a widget from its creation on, wherever it is packed, and destroys it at the end: no handler of it
/// can then reach the object that owned it.
class OwnedWidget {
public:
    explicit OwnedWidget(GtkWidget* widget) : widget_(static_cast<GtkWidget*>(g_object_ref_sink(widget))) {}
    ~OwnedWidget() {
        gtk_widget_destroy(widget_);
        g_object_unref(widget_);
    }
    OwnedWidget(const OwnedWidget&) = delete;
    OwnedWidget& operator=(const OwnedWidget&) = delete;

    operator GtkWidget*() const { return widget_; }  // NOLINT(google-explicit-constructor): it is one

private:
    GtkWidget* widget_;
};
