#include <gtk/gtk.h>
#include <signal.h>
#include <unistd.h>

#include <memory>

#include "app.h"
#include "crash_handler.h"
#include "instance_lock.h"
#include "l10n.h"

int main(int argc, char** argv) {
    CrashHandler::install();
    gtk_init(&argc, &argv);
    L10n::init();

    const InstanceLock lock;
    if (lock.heldByAnother()) _exit(0);
    lock.take();
    signal(SIGTERM, cleanup);
    signal(SIGINT, cleanup);
    signal(SIGXFSZ, SIG_IGN);  // a file that may not grow further is one more that can't be written

    auto app = std::make_unique<App>();
    app->run();
    lock.release();
    app.reset();
    return 0;
}
