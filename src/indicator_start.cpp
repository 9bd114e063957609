#include "indicator_start.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>

namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr std::string_view kHosts = "org.kde.StatusNotifierWatcher";

/// Where messages from the bus wait, in the thread of GDBus that reads them.
class Gate {
public:
    void open() {
        {
            const std::lock_guard lock(mutex_);
            open_ = true;
        }
        opened_.notify_all();
    }

    /// A message on its way out.
    void watch(GDBusMessage* message) {
        const char* const about = g_dbus_message_get_arg0(message);
        asked_ = asked_ || (about != nullptr && about == kHosts);
    }

    /// A message on its way in.
    void pass() {
        if (!asked_) return;
        std::unique_lock lock(mutex_);
        open_ = open_ || !opened_.wait_for(lock, kPatience, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
    bool asked_ = false;  ///< touched by that thread alone
};

/// What is needed until the library has the bus.
struct Start {
    GDBusConnection* bus = nullptr;
    guint filter = 0;
    std::shared_ptr<Gate> gate = std::make_shared<Gate>();
};

GDBusMessage* onMessage(GDBusConnection* /*bus*/, GDBusMessage* message, gboolean incoming, gpointer gate) {
    Gate& at = **static_cast<std::shared_ptr<Gate>*>(gate);
    if (incoming != FALSE) {
        at.pass();
    } else {
        at.watch(message);
    }
    return message;
}

/// While it asks for the bus, the library holds the indicator too. What it does with the bus is then done.
void onReferences(gpointer data, GObject* indicator, gboolean ours_is_the_last) {
    if (ours_is_the_last == FALSE) return;
    const std::unique_ptr<Start> start(static_cast<Start*>(data));
    start->gate->open();
    g_dbus_connection_remove_filter(start->bus, start->filter);
    g_object_unref(start->bus);
    g_object_ref(indicator);
    g_object_remove_toggle_ref(indicator, onReferences, data);
}

}  // namespace

AppIndicator* newIndicator(GDBusConnection* bus, const char* id, const char* icon) {
    AppIndicator* const indicator = app_indicator_new(id, icon, APP_INDICATOR_CATEGORY_SYSTEM_SERVICES);
    if (bus == nullptr) return indicator;
    auto start = std::make_unique<Start>();
    start->bus = static_cast<GDBusConnection*>(g_object_ref(bus));
    start->filter =
        g_dbus_connection_add_filter(bus, onMessage, new std::shared_ptr<Gate>(start->gate),
                                     [](gpointer gate) { delete static_cast<std::shared_ptr<Gate>*>(gate); });
    g_object_add_toggle_ref(G_OBJECT(indicator), onReferences, start.release());
    g_object_unref(indicator);
    return indicator;
}
