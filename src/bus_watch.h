#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

/// Looks after the connection to the session bus that the whole process shares. The libraries behind the
/// indicator and its menu keep to the one they found when they were set up, so a program whose bus has died
/// stays out of the panel until it starts anew. Main thread only.
class BusWatch {
public:
    /// From here on the end of the connection no longer ends the process, which is what GDBus does by itself.
    /// While there is none, its address is asked every few seconds, in another thread; as long as a bus
    /// answers there, `on_return` is called, from the main loop.
    explicit BusWatch(std::function<void()> on_return);
    ~BusWatch();
    BusWatch(const BusWatch&) = delete;
    BusWatch& operator=(const BusWatch&) = delete;

    /// The connection found at the start; null when there was none.
    GDBusConnection* connection() const { return connection_; }

    /// Whether there was a connection and it has ended.
    bool lost() const { return lost_; }

private:
    void startAsking();
    void ask();
    static void onAnswer(GObject* source, GAsyncResult* result, gpointer asker);

    std::function<void()> on_return_;
    GDBusConnection* connection_ = nullptr;  ///< null without a bus at the start
    gulong closed_handler_ = 0;
    std::string address_;
    bool lost_ = false;
    bool asking_ = false;                                                  ///< an answer is still to come
    guint timer_ = 0;                                                      ///< source id, 0 = not running
    std::shared_ptr<BusWatch*> self_ = std::make_shared<BusWatch*>(this);  ///< what a late answer finds
};
