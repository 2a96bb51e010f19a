#include "platform/x11/X11FrontmostApplicationMonitor.h"

#include "platform/x11/X11Support.h"
// After Xlib.
#include <X11/Xatom.h>

namespace wordloom {

X11FrontmostApplicationMonitor::X11FrontmostApplicationMonitor() {
    display_ = x11::openDisplay(&broken_);
    if (!display_) {
        return;
    }
    XSelectInput(display_, DefaultRootWindow(display_), PropertyChangeMask);
    XSync(display_, False);
    notifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { processEvents(); });
    focusPoll_.setInterval(500);
    QObject::connect(&focusPoll_, &QTimer::timeout, [this] { refresh(); });
    refresh();
}

X11FrontmostApplicationMonitor::~X11FrontmostApplicationMonitor() {
    notifier_.reset();
    if (display_) {
        XCloseDisplay(display_);
    }
}

std::optional<std::string> X11FrontmostApplicationMonitor::frontmostApplicationId() {
    refresh();
    return current_;
}

std::optional<long> X11FrontmostApplicationMonitor::activeWindowProcessId() {
    refresh();
    if (currentWindow_ == 0) {
        return std::nullopt;
    }
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::optional<long> pid;
    if (XGetWindowProperty(display_, currentWindow_, XInternAtom(display_, "_NET_WM_PID", False), 0,
                           1, False, XA_CARDINAL, &type, &format, &count, &after,
                           &data) == Success &&
        data && count == 1 && format == 32) {
        pid = static_cast<long>(*reinterpret_cast<unsigned long*>(data));
    }
    if (data)
        XFree(data);
    return pid;
}

std::optional<std::string> X11FrontmostApplicationMonitor::activeWindowIdentity() {
    refresh();
    if (currentWindow_ == 0) {
        return std::nullopt;
    }
    return std::to_string(currentWindow_);
}

void X11FrontmostApplicationMonitor::processEvents() {
    if (broken_) {
        notifier_.reset();
        return;
    }
    const Atom netActive = XInternAtom(display_, "_NET_ACTIVE_WINDOW", False);
    bool changed = false;
    while (XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        changed = changed || (event.type == PropertyNotify && event.xproperty.atom == netActive);
    }
    if (changed) {
        refresh();
    }
}

void X11FrontmostApplicationMonitor::refresh() {
    if (!display_ || broken_) {
        return;
    }
    // A window manager that keeps _NET_ACTIVE_WINDOW tells us of changes; otherwise poll.
    const Atom netActive = XInternAtom(display_, "_NET_ACTIVE_WINDOW", True);
    const bool managed = netActive != 0 && [&] {
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        const bool present =
            XGetWindowProperty(display_, DefaultRootWindow(display_), netActive, 0, 1, False,
                               AnyPropertyType, &type, &format, &count, &after, &data) == Success &&
            type != 0;
        if (data)
            XFree(data);
        return present;
    }();
    if (managed && focusPoll_.isActive()) {
        focusPoll_.stop();
    } else if (!managed && !focusPoll_.isActive()) {
        focusPoll_.start();
    }

    const auto window = x11::activeWindow(display_);
    const unsigned long windowId = window.value_or(0);
    if (windowId == currentWindow_ && current_) {
        return;
    }
    currentWindow_ = windowId;
    auto id = window ? x11::applicationId(display_, *window) : std::nullopt;
    if (id != current_) {
        current_ = std::move(id);
        if (onApplicationActivated) {
            onApplicationActivated(current_);
        }
    }
}

}  // namespace wordloom
