#include "platform/x11/X11KeyHold.h"

#include <array>
#include <cstring>

#include "platform/x11/X11Support.h"
// After Xlib.
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

namespace wordloom {

namespace {

// XTest's own devices are named "<master> XTEST keyboard"; our keys come through them, so they
// must never be held.
bool isXTestDevice(const char* name) {
    return name && std::strstr(name, "XTEST") != nullptr;
}

/// Whether a key bound to a modifier is down: a modifier released while held would stay down
/// for the core keyboard until the replay, and every key we type meanwhile would carry it.
bool modifierDown(Display* display) {
    XModifierKeymap* map = XGetModifierMapping(display);
    if (!map) {
        return true;
    }
    std::array<char, 32> keys{};
    XQueryKeymap(display, keys.data());
    bool down = false;
    for (int index = 0; index < 8 * map->max_keypermod && !down; ++index) {
        const KeyCode code = map->modifiermap[index];
        down = code != 0 && (keys[code / 8] & (1 << (code % 8))) != 0;
    }
    XFreeModifiermap(map);
    return down;
}

}  // namespace

X11KeyHold::X11KeyHold() = default;

X11KeyHold::~X11KeyHold() {
    {
        std::lock_guard lock(mutex_);
        releaseLocked();
        stopping_ = true;
    }
    changed_.notify_all();
    if (watchdog_.joinable()) {
        watchdog_.join();
    }
    if (display_) {
        XCloseDisplay(display_);
    }
}

bool X11KeyHold::ensureDisplay() {
    if (display_ && broken_) {
        XCloseDisplay(display_);
        display_ = nullptr;
        grabbed_.clear();
    }
    if (display_) {
        return true;
    }
    display_ = x11::openDisplay(&broken_);
    if (!display_) {
        return false;
    }
    int event = 0;
    int error = 0;
    int major = 2;
    int minor = 0;
    int xtestEvent = 0;
    int xtestError = 0;
    int xtestMajor = 0;
    int xtestMinor = 0;
    if (!XQueryExtension(display_, "XInputExtension", &inputOpcode_, &event, &error) ||
        XIQueryVersion(display_, &major, &minor) != Success ||
        !XTestQueryExtension(display_, &xtestEvent, &xtestError, &xtestMajor, &xtestMinor)) {
        logger_.error("No XInput 2 or XTest on this display: typed keys cannot be held");
        XCloseDisplay(display_);
        display_ = nullptr;
        return false;
    }
    return true;
}

std::vector<int> X11KeyHold::physicalKeyboards() {
    std::vector<int> keyboards;
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(display_, XIAllDevices, &count);
    for (int i = 0; devices && i < count; ++i) {
        if (devices[i].use == XISlaveKeyboard && devices[i].enabled &&
            !isXTestDevice(devices[i].name)) {
            keyboards.push_back(devices[i].deviceid);
        }
    }
    if (devices) {
        XIFreeDeviceInfo(devices);
    }
    return keyboards;
}

bool X11KeyHold::hold(Duration limit) {
    std::unique_lock lock(mutex_);
    if (!grabbed_.empty()) {
        return true;
    }
    if (!ensureDisplay()) {
        return false;
    }
    if (modifierDown(display_)) {
        logger_.debug("A modifier is down: not holding the keyboard yet");
        return false;
    }
    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> bits{};
    XISetMask(bits.data(), XI_KeyPress);
    XISetMask(bits.data(), XI_KeyRelease);
    XIEventMask mask{XIAllDevices, static_cast<int>(bits.size()), bits.data()};
    for (const int device : physicalKeyboards()) {
        mask.deviceid = device;
        const Status status =
            XIGrabDevice(display_, device, DefaultRootWindow(display_), CurrentTime, 0,
                         XIGrabModeAsync, XIGrabModeAsync, False, &mask);
        if (status == Success) {
            grabbed_.push_back(device);
        } else {
            logger_.info("Keyboard device " + std::to_string(device) +
                         " is grabbed by another program: its keys are not held (status " +
                         std::to_string(status) + ")");
        }
    }
    if (broken_ || grabbed_.empty()) {
        grabbed_.clear();
        return false;
    }
    deadline_ = std::chrono::steady_clock::now() + limit;
    ++counts_.holds;
    if (!watchdog_.joinable()) {
        watchdog_ = std::thread([this] { watch(); });
    }
    lock.unlock();
    changed_.notify_all();
    return true;
}

void X11KeyHold::release() {
    std::lock_guard lock(mutex_);
    releaseLocked();
}

bool X11KeyHold::isHolding() {
    std::lock_guard lock(mutex_);
    return !grabbed_.empty();
}

X11KeyHold::Counts X11KeyHold::counts() {
    std::lock_guard lock(mutex_);
    return counts_;
}

void X11KeyHold::releaseLocked() {
    if (grabbed_.empty() || !display_) {
        return;
    }
    // Post what arrived so far while still holding, so that a key typed during the release
    // cannot overtake the held ones; then let go and post whatever came in meanwhile.
    XSync(display_, False);
    replayArrived();
    for (const int device : grabbed_) {
        XIUngrabDevice(display_, device, CurrentTime);
    }
    grabbed_.clear();
    XSync(display_, False);
    replayArrived();
    XFlush(display_);
    changed_.notify_all();
}

void X11KeyHold::replayArrived() {
    while (!broken_ && XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        XGenericEventCookie* cookie = &event.xcookie;
        if (cookie->type != GenericEvent || cookie->extension != inputOpcode_ ||
            !XGetEventData(display_, cookie)) {
            continue;
        }
        if (cookie->evtype == XI_KeyPress || cookie->evtype == XI_KeyRelease) {
            const auto* key = static_cast<const XIDeviceEvent*>(cookie->data);
            // An auto-repeated press comes as another press, and is posted as one.
            XTestFakeKeyEvent(display_, static_cast<unsigned>(key->detail),
                              cookie->evtype == XI_KeyPress ? True : False, CurrentTime);
            ++counts_.keysReplayed;
        }
        XFreeEventData(display_, cookie);
    }
}

void X11KeyHold::watch() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (grabbed_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto deadline = deadline_;
        changed_.wait_until(lock, deadline);
        if (!stopping_ && !grabbed_.empty() && std::chrono::steady_clock::now() >= deadline_) {
            ++counts_.expired;
            logger_.info("Typed keys were held until the deadline; letting them through");
            releaseLocked();
        }
    }
}

}  // namespace wordloom
