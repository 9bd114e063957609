#pragma once

#include <gtk/gtk.h>

/// Whether the desktop prefers dark windows, and how our own windows get their look. Needs a display; main
/// thread only. Without a session bus, or with nobody on it who knows, GTK's settings decide, silently.

/// Asks the desktop's settings portal, which has 500 ms to answer; where it has no preference, the user's GTK
/// settings. The first call connects to the session bus, without a limit of time: a bus that takes the
/// connection and never answers holds it up.
bool desktopPrefersDark();

/// Gives all our windows the dark or the light look: style sheet, GTK's own widgets and the images shown.
/// `provider` is what the last call returned, null at the first one; it lives until the process ends.
GtkCssProvider* applyLook(bool dark, GtkCssProvider* provider);

/// Has `handler` called for every setting that the desktop's portal reports as changed, until the process
/// ends. Returns the subscription's number on the session bus, 0 without a bus.
guint watchDesktopLook(GDBusSignalCallback handler, gpointer data);

/// Whether the parameters of such a report, which may be anything, tell of the desktop's dark preference.
bool isDesktopLookChange(GVariant* parameters);
