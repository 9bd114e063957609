#include "rival_client.h"

#include <X11/Xlib.h>

#include <stdexcept>

struct RivalClient::Connection {
    Display* display = XOpenDisplay(nullptr);
    Window root() const { return DefaultRootWindow(display); }
};

RivalClient::RivalClient() : connection_(new Connection) {
    if (connection_->display == nullptr) throw std::runtime_error("no second connection to the X server");
}

RivalClient::~RivalClient() {
    XCloseDisplay(connection_->display);
    delete connection_;
}

bool RivalClient::pointerIsFree() {
    const int got = XGrabPointer(connection_->display, connection_->root(), False, ButtonPressMask,
                                 GrabModeAsync, GrabModeAsync, None, None, CurrentTime);
    letGo();
    return got == GrabSuccess;
}

bool RivalClient::keyboardIsFree() {
    const bool got = takeKeyboard();
    letGo();
    return got;
}

bool RivalClient::takeKeyboard() {
    return XGrabKeyboard(connection_->display, connection_->root(), False, GrabModeAsync, GrabModeAsync,
                         CurrentTime) == GrabSuccess;
}

void RivalClient::letGo() {
    XUngrabPointer(connection_->display, CurrentTime);
    XUngrabKeyboard(connection_->display, CurrentTime);
    XSync(connection_->display, False);
}
