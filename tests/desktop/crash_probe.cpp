#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crash_handler.h"
#include "exhaust_stack.h"

/// Crashes in a callback of the main loop, in the way named by the only argument, with the program's own
/// handler.

namespace {

/// Not for the sanitizer to end it first.
__attribute__((no_sanitize("undefined"))) gboolean crash(gpointer way) {
    const auto* const name = static_cast<const char*>(way);
    if (std::strcmp(name, "abort") == 0) std::abort();
    if (std::strcmp(name, "glib") == 0) g_error("a fatal error of GLib");
    if (std::strcmp(name, "stack") == 0) return exhaustStack() != 0;
    volatile int* volatile nowhere = nullptr;
    if (std::strcmp(name, "null") == 0) *nowhere = 1;
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    CrashHandler::install();
    gtk_init(&argc, &argv);
    if (argc != 2) {
        std::fputs("usage: crash_probe abort|glib|stack|null\n", stderr);
        return 2;
    }
    g_idle_add(crash, argv[1]);
    gtk_main();
    return 0;
}
