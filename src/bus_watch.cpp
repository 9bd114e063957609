#include "bus_watch.h"

#include <utility>

#include "descriptors.h"

namespace {

constexpr guint kAskSeconds = 3;
/// A connection takes a socket and the means to wake the threads that use it.
constexpr int kDescriptorsNeeded = 8;

std::string sessionBusAddress() {
    char* const found = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    std::string address = found ? found : "";
    g_free(found);
    return address;
}

}  // namespace

BusWatch::BusWatch(std::function<void()> on_return)
    : on_return_(std::move(on_return)),
      connection_(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)),
      address_(sessionBusAddress()) {
    if (!connection_) {
        startAsking();
        return;
    }
    g_dbus_connection_set_exit_on_close(connection_, FALSE);
    const auto on_closed = +[](BusWatch* watch) {
        watch->lost_ = true;
        watch->startAsking();
    };
    closed_handler_ = g_signal_connect_swapped(connection_, "closed", G_CALLBACK(on_closed), this);
}

BusWatch::~BusWatch() {
    if (timer_ != 0) g_source_remove(timer_);
    if (!connection_) return;
    g_signal_handler_disconnect(connection_, closed_handler_);
    g_object_unref(connection_);
}

void BusWatch::startAsking() {
    if (timer_ != 0 || address_.empty()) return;
    timer_ = g_timeout_add_seconds(
        kAskSeconds,
        [](gpointer self) -> gboolean {
            static_cast<BusWatch*>(self)->ask();
            return G_SOURCE_CONTINUE;
        },
        this);
}

void BusWatch::ask() {
    if (asking_ || !descriptorsLeft(kDescriptorsNeeded)) return;
    asking_ = true;
    // No cancellable: it would take a descriptor of its own.
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    g_dbus_connection_new_for_address(address_.c_str(), flags, nullptr, nullptr, onAnswer,
                                      new std::weak_ptr<BusWatch*>(self_));
}

void BusWatch::onAnswer(GObject* /*source*/, GAsyncResult* result, gpointer asker) {
    const std::unique_ptr<std::weak_ptr<BusWatch*>> who(static_cast<std::weak_ptr<BusWatch*>*>(asker));
    GDBusConnection* const answered = g_dbus_connection_new_for_address_finish(result, nullptr);
    if (answered) g_object_unref(answered);
    const auto self = who->lock();
    if (!self) return;
    (*self)->asking_ = false;
    if (answered) (*self)->on_return_();
}
