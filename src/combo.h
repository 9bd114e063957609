#pragma once

#include <gtk/gtk.h>

#include <string>
#include <vector>

/// A drop-down list of texts that is never wider than its room and leaves the mouse wheel to the page.
GtkWidget* newCombo();

/// Replaces the texts, which must be valid UTF-8, and makes one the active one; -1 for none.
void fillCombo(GtkWidget* combo, const std::vector<std::string>& texts, int active);

/// Hands the wheel to the nearest scrolled window around the widget, so that a page that is scrolled with
/// the pointer over a list changes no choice. Always TRUE: handled.
gboolean onComboScroll(GtkWidget* widget, GdkEvent* event);
