#pragma once

#include <gtk/gtk.h>

#include <string>

/// What screen readers are told of the pages. A widget gets the object that speaks for it when that is first
/// named or asked for; what is made anew at every refresh must not be named here, but answer when asked.

/// What a widget is called that has no text of its own, or not enough of it.
void setAccessibleName(GtkWidget* widget, const std::string& name);

/// What is told of a widget besides its name.
void setAccessibleDescription(GtkWidget* widget, const std::string& text);

/// For a picture beside the words that it illustrates: readers may pass it over.
void setDecorative(GtkWidget* image, const std::string& words);

/// Ties a label to the one control that it names; costs nothing until a reader asks.
void labelControl(GtkWidget* label, GtkWidget* control);

/// For an accessible's get_name: keeps the name, made when it was asked for, for the caller.
const char* answerName(AtkObject* accessible, const std::string& name);
