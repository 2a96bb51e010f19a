#include "platform/x11/X11KeyInjector.h"

#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <array>
#include <thread>
#include <vector>

#include "platform/x11/X11Support.h"

namespace wordloom {

namespace {

unsigned long keysymFor(VirtualKeyCode key) {
    switch (key) {
        case virtualKey::returnKey:
            return XK_Return;
        case virtualKey::keypadEnter:
            return XK_KP_Enter;
        case virtualKey::tab:
            return XK_Tab;
        case virtualKey::space:
            return XK_space;
        case virtualKey::backspace:
            return XK_BackSpace;
        case virtualKey::escape:
            return XK_Escape;
        case virtualKey::forwardDelete:
            return XK_Delete;
        case virtualKey::left:
            return XK_Left;
        case virtualKey::right:
            return XK_Right;
        case virtualKey::down:
            return XK_Down;
        case virtualKey::up:
            return XK_Up;
        case virtualKey::v:
            return XK_v;
        default:
            return NoSymbol;
    }
}

}  // namespace

X11KeyInjector::X11KeyInjector(InjectedKeyLedger& ledger) : ledger_(ledger) {}

X11KeyInjector::~X11KeyInjector() {
    if (display_) {
        XCloseDisplay(display_);
    }
}

bool X11KeyInjector::ensureDisplay() {
    if (display_ && broken_) {
        XCloseDisplay(display_);
        display_ = nullptr;
    }
    if (!display_) {
        display_ = x11::openDisplay(&broken_);
        int event = 0, error = 0, major = 0, minor = 0;
        if (display_ && !XTestQueryExtension(display_, &event, &error, &major, &minor)) {
            logger_.error("The X server has no XTest extension: cannot type");
            XCloseDisplay(display_);
            display_ = nullptr;
        }
    }
    return display_ != nullptr;
}

bool X11KeyInjector::beginInjection(Duration limit) {
    std::lock_guard lock(mutex_);
    if (!ensureDisplay()) {
        return false;
    }
    // A modifier the user still holds (Shift from the abbreviation's capital, AltGr) would
    // combine with our keys. Other keys would not: the last letter of the abbreviation, usually
    // still down when its expansion starts, is not waited for, which would add the time a
    // finger rests on a key (often 100 ms) to every expansion.
    const auto modifiers = modifierKeys();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        std::array<char, 32> keys{};
        XQueryKeymap(display_, keys.data());
        bool modifierDown = false;
        for (std::size_t byte = 0; byte < keys.size(); ++byte) {
            modifierDown = modifierDown || (keys[byte] & modifiers[byte]) != 0;
        }
        if (!modifierDown) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline || broken_) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void X11KeyInjector::endInjection() {}

std::array<char, 32> X11KeyInjector::modifierKeys() {
    // The same bit layout as XQueryKeymap's answer.
    std::array<char, 32> mask{};
    XModifierKeymap* map = XGetModifierMapping(display_);
    if (!map) {
        mask.fill(static_cast<char>(0xff));  // unknown: wait for every key, as is safe
        return mask;
    }
    for (int index = 0; index < 8 * map->max_keypermod; ++index) {
        const KeyCode code = map->modifiermap[index];
        if (code != 0) {
            mask[code / 8] = static_cast<char>(mask[code / 8] | (1 << (code % 8)));
        }
    }
    XFreeModifiermap(map);
    return mask;
}

bool X11KeyInjector::postKeysym(unsigned long keysym, bool down) {
    if (!ensureDisplay() || keysym == NoSymbol) {
        return false;
    }
    const KeyCode keycode = XKeysymToKeycode(display_, keysym);
    if (keycode == 0) {
        return false;
    }
    ledger_.expect(keycode, down);
    XTestFakeKeyEvent(display_, keycode, down ? True : False, CurrentTime);
    // Sent, not waited for: the server handles our events in order, and a round trip per key
    // would add the server's reply time to every fixed wait of the sequence. A broken
    // connection still shows at once, through the I/O error handler.
    XFlush(display_);
    return !broken_;
}

bool X11KeyInjector::postKey(VirtualKeyCode key, bool down) {
    std::lock_guard lock(mutex_);
    return postKeysym(keysymFor(key), down);
}

bool X11KeyInjector::postPasteChord(PasteChord chord, bool down) {
    std::lock_guard lock(mutex_);
    std::vector<unsigned long> modifiers = {XK_Control_L};
    unsigned long key = XK_v;
    if (chord == PasteChord::shiftInsert) {
        modifiers = {XK_Shift_L};
        key = XK_Insert;
    } else if (chord == PasteChord::controlShiftV) {
        modifiers = {XK_Control_L, XK_Shift_L};
    }
    if (down) {
        bool posted = true;
        for (const auto modifier : modifiers) {
            posted = postKeysym(modifier, true) && posted;
        }
        return postKeysym(key, true) && posted;
    }
    bool released = postKeysym(key, false);
    for (auto modifier = modifiers.rbegin(); modifier != modifiers.rend(); ++modifier) {
        released = postKeysym(*modifier, false) && released;
    }
    return released;
}

bool X11KeyInjector::holdTypedKeys(Duration limit) {
    return hold_.hold(limit);
}

void X11KeyInjector::releaseTypedKeys() {
    {
        // The held keys are posted from another connection: our last events must have been
        // handled by the server first, or a held key could overtake them.
        std::lock_guard lock(mutex_);
        if (display_ && !broken_) {
            XSync(display_, False);
        }
    }
    hold_.release();
}

PasteChord X11KeyInjector::pasteChordForFocusedApplication() {
    std::lock_guard lock(mutex_);
    if (!ensureDisplay()) {
        return PasteChord::controlV;
    }
    const auto window = x11::activeWindow(display_);
    if (window && x11::isTerminalClass(x11::windowClass(display_, *window))) {
        return PasteChord::shiftInsert;
    }
    return PasteChord::controlV;
}

}  // namespace wordloom
