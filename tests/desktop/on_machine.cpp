#include <glib-unix.h>
#include <gtk/gtk.h>
#include <signal.h>

#include <cstdio>

#include "app.h"
#include "l10n.h"

/// The program on another machine: its kernel files are those below the directory named as the only argument.
/// It takes no lock, and SIGTERM ends it as its Quit entry does.
int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: Korvalune_on DIRECTORY\n");
        return 2;
    }
    L10n::init();
    App app(argv[1]);
    g_unix_signal_add(
        SIGTERM,
        [](gpointer) -> gboolean {
            gtk_main_quit();
            return G_SOURCE_REMOVE;
        },
        nullptr);
    app.run();
    return 0;
}
