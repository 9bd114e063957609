#pragma once

#include <gtk/gtk.h>

/// Whether windows can be placed and can grab on this display; a Wayland compositor keeps both to itself.
bool isX11(GdkDisplay* display);

/// Holds the pointer and the keyboard for an override-redirect window while it is shown. No window manager
/// gives such a window the focus: without the keyboard's grab no key would reach it, and without the
/// pointer's no click beside it. The window that has the focus keeps it, and gets the keys again afterwards.
///
/// Only X11 has such grabs; elsewhere nothing is grabbed.
class PopupGrab {
public:
    /// `window` must outlive the object.
    explicit PopupGrab(GtkWidget* window);
    ~PopupGrab();
    PopupGrab(const PopupGrab&) = delete;
    PopupGrab& operator=(const PopupGrab&) = delete;

    /// Takes pointer and keyboard for the shown window, at least the pointer. A menu that is just closing may
    /// still hold them: what could not be had is tried for again, often for two seconds, then now and then. A
    /// menu of the window itself, such as a combo box's list, takes them away and drops them, as does a
    /// button that is pressed with a key; they are taken back then, even when the end of the other grab
    /// becomes known only a second later.
    void take();

    /// Gives both back.
    void release();

private:
    bool tryOnce();
    bool grab(GdkSeatCapabilities capabilities) const;
    GdkSeat* seat() const;
    bool isLost() const;
    void tryAgain();
    void lookLater();
    void stopTrying();
    static gboolean onRetry(gpointer self);
    static void onGrabNotify(GtkWidget* window, gboolean was_grabbed, gpointer self);
    static gboolean onKeyRelease(GtkWidget* window, GdkEventKey* event, gpointer self);
    static void onHide(GtkWidget* window, gpointer self);

    GtkWidget* window_;
    bool on_x11_;
    bool held_ = false;
    bool keyboard_held_ = false;
    int tries_left_ = 0;
    unsigned next_look_ = 0;  ///< milliseconds
    guint retry_ = 0;
};
