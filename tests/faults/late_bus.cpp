// Preloaded into the program, it has those who ask GLib for the session bus wait for it, as many milliseconds
// as LATE_BUS says. GLib's own watches of names on the bus do not pass through here.

#include <dlfcn.h>
#include <gio/gio.h>

#include <cstdlib>

namespace {

using BusGet = void (*)(GBusType, GCancellable*, GAsyncReadyCallback, gpointer);

struct Question {
    GBusType type;
    GCancellable* cancellable;
    GAsyncReadyCallback callback;
    gpointer data;
};

gboolean ask(gpointer asked) {
    static const auto real = reinterpret_cast<BusGet>(dlsym(RTLD_NEXT, "g_bus_get"));
    const auto* const question = static_cast<Question*>(asked);
    real(question->type, question->cancellable, question->callback, question->data);
    delete question;
    return G_SOURCE_REMOVE;
}

}  // namespace

extern "C" void g_bus_get(GBusType type, GCancellable* cancellable, GAsyncReadyCallback callback,
                          gpointer data) {
    const char* const delay = std::getenv("LATE_BUS");
    g_timeout_add(delay != nullptr ? static_cast<guint>(std::strtoul(delay, nullptr, 10)) : 0, ask,
                  new Question{type, cancellable, callback, data});
}
