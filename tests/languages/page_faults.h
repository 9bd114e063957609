#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

/// What a user would see of a text that does not fit: looked for in widgets that are shown and laid out.

/// Everything that is wrong below `page`, one line a fault: characters that no font has, texts cut off or
/// wider or higher than their label, widgets that stand out of the page at its sides or lie upon each other.
std::vector<std::string> faultsOf(GtkWidget* page);

/// Whether a text can be drawn as a widget draws its own, without boxes in place of letters.
bool isDrawable(GtkWidget* widget, const std::string& text);
