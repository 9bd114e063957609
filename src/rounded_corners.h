#pragma once

#include <gtk/gtk.h>

/// Gives a borderless window the rounded corners of its style sheet (see build_css()): see-through ones where
/// the screen is composited, else cut out of the window's shape. `radius` in pixels. To be called before the
/// window is realised.
void roundCorners(GtkWidget* window, int radius);
