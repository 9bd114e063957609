#pragma once

#include <gtk/gtk.h>

/// A small square button that shows a colour. It is a GtkColorButton in all but one thing: a click on it
/// opens no dialog, since that would come up below the popup. Whoever connects to "clicked" sees to a new
/// colour, as a dialog would: sets it and emits "color-set".
GtkWidget* newColorButton();
