#include "platform/x11/X11WindowFocus.h"

#include <chrono>
#include <thread>

#include "platform/x11/X11Support.h"

namespace wordloom {

X11WindowFocus::X11WindowFocus() {
    display_ = x11::openDisplay(&broken_);
}

X11WindowFocus::~X11WindowFocus() {
    if (display_) {
        XCloseDisplay(display_);
    }
}

void X11WindowFocus::remember() {
    if (display_ && !broken_) {
        remembered_ = x11::activeWindow(display_);
    }
}

void X11WindowFocus::restore() {
    if (!display_ || broken_ || !remembered_) {
        return;
    }
    const Window window = *remembered_;
    const Window root = DefaultRootWindow(display_);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display_, "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2;  // from a pager-like tool: window managers honour it
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(display_, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XSync(display_, False);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (std::chrono::steady_clock::now() < deadline) {
        if (x11::activeWindow(display_) == window) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // No window manager acted on the request: focus the window directly.
    XSetInputFocus(display_, window, RevertToParent, CurrentTime);
    XSync(display_, False);
}

}  // namespace wordloom
