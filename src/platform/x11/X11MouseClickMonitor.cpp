#include "platform/x11/X11MouseClickMonitor.h"

#include <array>

#include "platform/x11/X11Support.h"
// After Xlib.
#include <X11/extensions/XInput2.h>

#include "core/base/Log.h"

namespace wordloom {

X11MouseClickMonitor::~X11MouseClickMonitor() {
    stop();
}

void X11MouseClickMonitor::start(std::function<void()> onClick) {
    onClick_ = std::move(onClick);
    if (display_) {
        return;
    }
    display_ = x11::openDisplay(&broken_);
    int event = 0, error = 0;
    if (!display_ || !XQueryExtension(display_, "XInputExtension", &opcode_, &event, &error)) {
        Logger("ExpansionEngine").error("No XInput2: clicks cannot cancel a held match");
        if (display_)
            XCloseDisplay(display_);
        display_ = nullptr;
        return;
    }
    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> mask{};
    XISetMask(mask.data(), XI_RawButtonPress);
    XIEventMask eventMask{XIAllMasterDevices, static_cast<int>(mask.size()), mask.data()};
    XISelectEvents(display_, DefaultRootWindow(display_), &eventMask, 1);
    XSync(display_, False);
    notifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { processEvents(); });
}

void X11MouseClickMonitor::stop() {
    notifier_.reset();
    if (display_) {
        XCloseDisplay(display_);
        display_ = nullptr;
    }
}

void X11MouseClickMonitor::processEvents() {
    if (!display_ || broken_) {
        stop();
        return;
    }
    bool clicked = false;
    while (display_ && XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        XGenericEventCookie* cookie = &event.xcookie;
        if (cookie->type == GenericEvent && cookie->extension == opcode_ &&
            XGetEventData(display_, cookie)) {
            if (cookie->evtype == XI_RawButtonPress) {
                const auto* raw = static_cast<XIRawEvent*>(cookie->data);
                clicked = clicked || raw->detail < 4 || raw->detail > 7;
            }
            XFreeEventData(display_, cookie);
        }
    }
    if (clicked && onClick_) {
        onClick_();
    }
}

}  // namespace wordloom
