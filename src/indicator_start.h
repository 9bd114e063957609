#pragma once

#include <gio/gio.h>
#include <libayatana-appindicator/app-indicator.h>

/// As app_indicator_new() for the category of system services, but sure to reach a panel.
///
/// The library asks for the session bus, in a thread, and meanwhile for who shows status items. On a machine
/// too busy to run that thread the second answer may come first; the library complains then and never shows
/// the item. So that answer, and all that comes from `bus` (null for none) behind it, is let in only when the
/// library has the bus, or after five seconds. Nothing is held up before the main loop runs. Main thread
/// only.
AppIndicator* newIndicator(GDBusConnection* bus, const char* id, const char* icon);
