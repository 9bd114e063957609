#pragma once

#include <gtk/gtk.h>

#include <string>

/// The small symbolic images of the pages, from the program's own PNG files. Those without colours of their
/// own are shown in the dark look's text colour while that look is in force. Main thread only.

/// Where the images lie for a program that is run from the file `executable`: with the Snap or AppImage named
/// by the environment, with the installation, or in the source tree.
std::string findIconDirectory(const std::string& executable);

/// A new picture of `name`, or null when there is no such file or it is no PNG of a sensible size.
/// `recolorable`, if given, tells whether the picture follows the look.
GdkPixbuf* makeIconPixbuf(const char* name, bool* recolorable);

/// A new image of `name` in the pixel size of its file, whatever `size` says; empty when there is none.
GtkWidget* load_icon(const char* name, GtkIconSize size);

/// A new button that shows nothing but the image of `name`.
GtkWidget* icon_button(const char* name, GtkIconSize size);

/// Repaints all images that follow the look.
void refresh_recolorable_icons();
