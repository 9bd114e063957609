#include "popup_grab.h"

#include <gdk/gdkx.h>

namespace {

constexpr unsigned kRetryMs = 20;
constexpr int kTries = 100;
constexpr unsigned kPatientRetryMs = 500;
constexpr unsigned kLastLookMs = 1280;

constexpr auto kPointer = GDK_SEAT_CAPABILITY_ALL_POINTING;
constexpr auto kPointerAndKeyboard =
    static_cast<GdkSeatCapabilities>(GDK_SEAT_CAPABILITY_ALL_POINTING | GDK_SEAT_CAPABILITY_KEYBOARD);

}  // namespace

bool isX11(GdkDisplay* display) {
    return GDK_IS_X11_DISPLAY(display);
}

PopupGrab::PopupGrab(GtkWidget* window) : window_(window), on_x11_(isX11(gtk_widget_get_display(window))) {
    g_signal_connect(window, "grab-notify", G_CALLBACK(onGrabNotify), this);
    g_signal_connect(window, "key-release-event", G_CALLBACK(onKeyRelease), this);
    g_signal_connect(window, "hide", G_CALLBACK(onHide), this);
}

PopupGrab::~PopupGrab() {
    stopTrying();
    g_signal_handlers_disconnect_by_data(window_, this);
}

void PopupGrab::take() {
    stopTrying();
    if (!on_x11_ || tryOnce()) return;
    tryAgain();
}

void PopupGrab::release() {
    stopTrying();
    if (held_ && seat() != nullptr) gdk_seat_ungrab(seat());
    held_ = false;
    keyboard_held_ = false;
}

bool PopupGrab::tryOnce() {
    keyboard_held_ = grab(kPointerAndKeyboard);
    held_ = keyboard_held_ || grab(kPointer);
    return keyboard_held_;
}

bool PopupGrab::grab(GdkSeatCapabilities capabilities) const {
    GdkWindow* const window = gtk_widget_get_window(window_);
    if (seat() == nullptr || window == nullptr) return false;
    return gdk_seat_grab(seat(), window, capabilities, TRUE, nullptr, nullptr, nullptr, nullptr) ==
           GDK_GRAB_SUCCESS;
}

GdkSeat* PopupGrab::seat() const {
    return gdk_display_get_default_seat(gtk_widget_get_display(window_));
}

/// Whether nobody in the program holds pointer and keyboard: not this window, nor one of its menus.
bool PopupGrab::isLost() const {
    GdkDisplay* const display = gtk_widget_get_display(window_);
    return gtk_grab_get_current() == nullptr && seat() != nullptr &&
           !(keyboard_held_ && gdk_display_device_is_grabbed(display, gdk_seat_get_pointer(seat())) &&
             gdk_display_device_is_grabbed(display, gdk_seat_get_keyboard(seat())));
}

void PopupGrab::tryAgain() {
    stopTrying();
    tries_left_ = kTries;
    next_look_ = 2 * kRetryMs;
    retry_ = g_timeout_add(kRetryMs, onRetry, this);
}

void PopupGrab::stopTrying() {
    if (retry_ != 0) g_source_remove(retry_);
    retry_ = 0;
}

gboolean PopupGrab::onRetry(gpointer self) {
    auto* const grab = static_cast<PopupGrab*>(self);
    const bool shown = gtk_widget_get_visible(grab->window_) != FALSE;
    if (shown && !grab->isLost()) {
        grab->lookLater();
        return G_SOURCE_REMOVE;
    }
    if (shown && !grab->tryOnce()) {
        if (--grab->tries_left_ != 0) return G_SOURCE_CONTINUE;
        grab->retry_ = g_timeout_add(kPatientRetryMs, onRetry, grab);
        return G_SOURCE_REMOVE;
    }
    grab->retry_ = 0;
    return G_SOURCE_REMOVE;
}

/// That a menu of ours has let go the toolkit learns with the next event of the X server, which may be a
/// while when the machine is busy; nobody tells us then.
void PopupGrab::lookLater() {
    retry_ = next_look_ <= kLastLookMs ? g_timeout_add(next_look_, onRetry, this) : 0;
    next_look_ *= 2;
}

void PopupGrab::onGrabNotify(GtkWidget* /*window*/, gboolean was_grabbed, gpointer self) {
    auto* const grab = static_cast<PopupGrab*>(self);
    // The menu that has closed still has to give back what it holds.
    if (was_grabbed != FALSE && grab->on_x11_) grab->tryAgain();
}

gboolean PopupGrab::onKeyRelease(GtkWidget* /*window*/, GdkEventKey* /*event*/, gpointer self) {
    auto* const grab = static_cast<PopupGrab*>(self);
    // Whoever handles the release may be the one that drops the grab: look afterwards.
    if (grab->on_x11_) grab->tryAgain();
    return GDK_EVENT_PROPAGATE;
}

void PopupGrab::onHide(GtkWidget* /*window*/, gpointer self) {
    static_cast<PopupGrab*>(self)->stopTrying();
}
