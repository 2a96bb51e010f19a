#include "platform/x11/X11HotkeyMonitor.h"

#include "core/library/Snippet.h"
#include "core/triggers/HotkeyKeyTable.h"
#include "platform/x11/X11Support.h"

namespace wordloom {
namespace {

// The error handler is the process's; while grabbing it notes BadAccess on our connection and
// hands everything else to the handler it replaced.
Display* grabbingDisplay = nullptr;
bool grabRefused = false;
XErrorHandler previousHandler = nullptr;

int noteRefusedGrab(Display* display, XErrorEvent* error) {
    if (display == grabbingDisplay && error->error_code == BadAccess) {
        grabRefused = true;
        return 0;
    }
    return previousHandler ? previousHandler(display, error) : 0;
}

unsigned xModifiers(std::uint32_t modifiers) {
    unsigned mask = 0;
    if (modifiers & modifier::shift) {
        mask |= ShiftMask;
    }
    if (modifiers & modifier::control) {
        mask |= ControlMask;
    }
    if (modifiers & modifier::option) {
        mask |= Mod1Mask;
    }
    if (modifiers & modifier::command) {
        mask |= Mod4Mask;
    }
    return mask;
}

// Caps Lock, Num Lock and both: a grab is for exact modifiers, and these change nothing.
constexpr unsigned lockVariants[] = {0, LockMask, Mod2Mask, LockMask | Mod2Mask};
constexpr unsigned relevantModifiers = ShiftMask | ControlMask | Mod1Mask | Mod4Mask;

}  // namespace

std::optional<std::string> X11HotkeyMonitor::keysymName(std::uint16_t keyCode) {
    const auto name = hotkeyKeys::name(keyCode);
    if (!name) {
        return std::nullopt;
    }
    static const std::pair<std::string_view, std::string_view> named[] = {
        {"return", "Return"},  {"tab", "Tab"},
        {"space", "space"},    {"backspace", "BackSpace"},
        {"escape", "Escape"},  {"delete", "Delete"},
        {"home", "Home"},      {"end", "End"},
        {"pageup", "Prior"},   {"pagedown", "Next"},
        {"left", "Left"},      {"right", "Right"},
        {"up", "Up"},          {"down", "Down"},
        {"=", "equal"},        {"-", "minus"},
        {"]", "bracketright"}, {"[", "bracketleft"},
        {"'", "apostrophe"},   {";", "semicolon"},
        {"\\", "backslash"},   {",", "comma"},
        {"/", "slash"},        {".", "period"},
        {"`", "grave"},
    };
    for (const auto& [key, symbol] : named) {
        if (*name == key) {
            return std::string(symbol);
        }
    }
    if (name->size() > 1 && name->front() == 'f') {
        return "F" + name->substr(1);
    }
    return *name;  // letters and digits are their own names
}

X11HotkeyMonitor::X11HotkeyMonitor() {
    display_ = x11::openDisplay(&broken_);
    if (!display_) {
        logger_.error("Global shortcuts are off: the X display cannot be opened.");
        return;
    }
    notifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { processEvents(); });
}

X11HotkeyMonitor::~X11HotkeyMonitor() {
    notifier_.reset();
    if (display_) {
        if (!broken_) {
            releaseAll();
        }
        XCloseDisplay(display_);
    }
}

void X11HotkeyMonitor::releaseAll() {
    if (!display_ || broken_) {
        grabs_.clear();
        return;
    }
    const Window root = DefaultRootWindow(display_);
    for (const auto& grab : grabs_) {
        for (const auto lock : lockVariants) {
            XUngrabKey(display_, static_cast<int>(grab.keycode), grab.modifiers | lock, root);
        }
    }
    grabs_.clear();
    XSync(display_, False);
}

std::vector<std::string> X11HotkeyMonitor::hold(const std::vector<HotkeyBinding>& bindings) {
    std::vector<std::string> problems;
    if (!display_ || broken_) {
        return problems;
    }
    releaseAll();
    const Window root = DefaultRootWindow(display_);
    previousHandler = XSetErrorHandler(noteRefusedGrab);
    grabbingDisplay = display_;
    for (const auto& binding : bindings) {
        const auto name = keysymName(binding.keyCode);
        const KeySym symbol = name ? XStringToKeysym(name->c_str()) : NoSymbol;
        const KeyCode keycode = symbol == NoSymbol ? 0 : XKeysymToKeycode(display_, symbol);
        const auto shown = hotkeyDisplayForm(binding.keyCode, binding.modifiers);
        if (keycode == 0) {
            problems.push_back(shown + " (the shortcut of " + binding.owner +
                               ") has no key on this keyboard layout.");
            continue;
        }
        const unsigned modifiers = xModifiers(binding.modifiers);
        grabRefused = false;
        for (const auto lock : lockVariants) {
            XGrabKey(display_, keycode, modifiers | lock, root, False, GrabModeAsync,
                     GrabModeAsync);
        }
        XSync(display_, False);
        if (grabRefused) {
            for (const auto lock : lockVariants) {
                XUngrabKey(display_, keycode, modifiers | lock, root);
            }
            XSync(display_, False);
            problems.push_back(shown + " (the shortcut of " + binding.owner +
                               ") is taken by another program; choose another one, or free it "
                               "there.");
            continue;
        }
        grabs_.push_back({binding, keycode, modifiers});
    }
    grabbingDisplay = nullptr;
    XSetErrorHandler(previousHandler);
    for (const auto& problem : problems) {
        logger_.error(problem);
    }
    return problems;
}

void X11HotkeyMonitor::processEvents() {
    if (!display_ || broken_) {
        return;
    }
    while (XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        if (event.type != KeyPress) {
            continue;
        }
        const auto state = event.xkey.state & relevantModifiers;
        for (const auto& grab : grabs_) {
            if (grab.keycode == event.xkey.keycode && grab.modifiers == state) {
                const auto binding = grab.binding;
                if (onPressed) {
                    onPressed(binding);
                }
                break;
            }
        }
    }
}

}  // namespace wordloom
