#pragma once

#include <gtk/gtk.h>

#include <chrono>
#include <functional>
#include <string>

#include "widget_tree.h"

/// The popup as it is on the screen.

/// The one that is mapped now, or null.
inline GtkWidget* shownPopup() {
    GtkWidget* shown = nullptr;
    GList* const windows = gtk_window_list_toplevels();
    for (const GList* entry = windows; entry != nullptr; entry = entry->next) {
        GtkWidget* const window = GTK_WIDGET(entry->data);
        if (gtk_window_get_window_type(GTK_WINDOW(window)) == GTK_WINDOW_POPUP &&
            !widgetsOfType(window, GTK_TYPE_STACK).empty() && gtk_widget_get_mapped(window)) {
            shown = window;
        }
    }
    g_list_free(windows);
    return shown;
}

/// Runs the main loop until the condition holds; false when it does not within `seconds`.
inline bool settlesTo(const std::function<bool()>& condition, double seconds = 10) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        settle();
        g_usleep(5'000);
    }
    return true;
}

/// What a key does in the popup; whether it was handled.
inline bool pressKey(guint key, unsigned modifiers = 0) {
    GdkEvent* const event = gdk_event_new(GDK_KEY_PRESS);
    event->key.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(shownPopup())));
    event->key.keyval = key;
    event->key.state = static_cast<GdkModifierType>(modifiers);
    GdkKeymapKey* keys = nullptr;
    int count = 0;
    gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(gdk_display_get_default()), key, &keys,
                                      &count);
    if (count > 0) event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
    g_free(keys);
    gdk_event_set_device(event,
                         gdk_seat_get_keyboard(gdk_display_get_default_seat(gdk_display_get_default())));
    gboolean handled = FALSE;
    g_signal_emit_by_name(shownPopup(), "key-press-event", event, &handled);
    gdk_event_free(event);
    return handled != FALSE;
}
