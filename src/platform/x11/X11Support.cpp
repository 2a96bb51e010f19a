#include "platform/x11/X11Support.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include "core/base/Log.h"
#include "core/base/Text.h"

namespace wordloom::x11 {

namespace {

int logProtocolError(Display* display, XErrorEvent* event) {
    std::array<char, 256> description{};
    XGetErrorText(display, event->error_code, description.data(), description.size());
    Logger("X11").debug(std::string("X protocol error ignored: ") + description.data());
    return 0;
}

int noteConnectionLoss(Display*) {
    Logger("X11").error("Lost the connection to the X server");
    return 0;
}

void markBroken(Display*, void* flag) {
    *static_cast<bool*>(flag) = true;
}

std::string readStringProperty(Display* display, Window window, Atom property) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, window, property, 0, 1024, False, AnyPropertyType, &type,
                           &format, &count, &after, &data) != Success ||
        !data) {
        return {};
    }
    std::string value(reinterpret_cast<char*>(data), format == 8 ? count : 0);
    XFree(data);
    return value;
}

// StartupWMClass → desktop id, from every applications folder, read once.
const std::map<std::string, std::string>& desktopEntriesByWindowClass() {
    static std::map<std::string, std::string> entries;
    static std::once_flag once;
    std::call_once(once, [] {
        std::string dirs = std::getenv("XDG_DATA_DIRS") ? std::getenv("XDG_DATA_DIRS")
                                                        : "/usr/local/share:/usr/share";
        if (const char* home = std::getenv("XDG_DATA_HOME")) {
            dirs = std::string(home) + ":" + dirs;
        } else if (const char* user = std::getenv("HOME")) {
            dirs = std::string(user) + "/.local/share:" + dirs;
        }
        std::stringstream list(dirs);
        std::string dir;
        while (std::getline(list, dir, ':')) {
            std::error_code error;
            const auto folder = std::filesystem::path(dir) / "applications";
            for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
                if (entry.path().extension() != ".desktop") {
                    continue;
                }
                std::ifstream file(entry.path());
                std::string line;
                while (std::getline(file, line)) {
                    if (line.rfind("StartupWMClass=", 0) == 0) {
                        entries.emplace(line.substr(15), entry.path().stem().string());
                        break;
                    }
                }
            }
        }
    });
    return entries;
}

}  // namespace

void installErrorHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        XInitThreads();
        XSetErrorHandler(logProtocolError);
        XSetIOErrorHandler(noteConnectionLoss);
    });
}

Display* openDisplay(bool* broken) {
    installErrorHandlers();
    Display* display = XOpenDisplay(nullptr);
    if (display && broken) {
        *broken = false;
        XSetIOErrorExitHandler(display, markBroken, broken);
    }
    return display;
}

bool waitReadable(int fd, Duration timeout) {
    pollfd descriptor{fd, POLLIN, 0};
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count();
    return poll(&descriptor, 1, static_cast<int>(std::max<long long>(milliseconds, 0))) > 0;
}

std::optional<Window> activeWindow(Display* display) {
    const Window root = DefaultRootWindow(display);
    const Atom netActive = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, root, netActive, 0, 1, False, XA_WINDOW, &type, &format, &count,
                           &after, &data) == Success &&
        data) {
        const Window active = count == 1 ? *reinterpret_cast<Window*>(data) : 0;
        XFree(data);
        if (active != 0) {
            return active;
        }
    }
    // No window manager keeps _NET_ACTIVE_WINDOW: climb from the focus to a window with a class.
    Window focus = 0;
    int revert = 0;
    XGetInputFocus(display, &focus, &revert);
    for (int depth = 0; focus != 0 && focus != PointerRoot && focus != root && depth < 32;
         ++depth) {
        if (!windowClass(display, focus).empty()) {
            return focus;
        }
        Window rootReturn = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned int childCount = 0;
        if (!XQueryTree(display, focus, &rootReturn, &parent, &children, &childCount)) {
            break;
        }
        if (children) {
            XFree(children);
        }
        focus = parent;
    }
    return std::nullopt;
}

std::string windowClass(Display* display, Window window) {
    XClassHint hint{};
    if (!XGetClassHint(display, window, &hint)) {
        return {};
    }
    std::string result = hint.res_class ? hint.res_class : "";
    if (hint.res_name) {
        XFree(hint.res_name);
    }
    if (hint.res_class) {
        XFree(hint.res_class);
    }
    return result;
}

std::optional<std::string> applicationId(Display* display, Window window) {
    const auto gtkId =
        readStringProperty(display, window, XInternAtom(display, "_GTK_APPLICATION_ID", False));
    if (!gtkId.empty()) {
        return gtkId;
    }
    const auto windowClassName = windowClass(display, window);
    if (windowClassName.empty()) {
        return std::nullopt;
    }
    const auto& entries = desktopEntriesByWindowClass();
    if (const auto found = entries.find(windowClassName); found != entries.end()) {
        return found->second;
    }
    return windowClassName;
}

bool isTerminalClass(const std::string& windowClassName) {
    static const std::array<const char*, 26> terminals = {
        "xterm",     "uxterm",         "urxvt",          "rxvt",
        "st",        "st-256color",    "gnome-terminal", "gnome-terminal-server",
        "konsole",   "xfce4-terminal", "terminator",     "tilix",
        "alacritty", "kitty",          "lxterminal",     "mate-terminal",
        "qterminal", "terminology",    "wezterm",        "org.wezfurlong.wezterm",
        "foot",      "sakura",         "guake",          "tilda",
        "yakuake",   "eterm"};
    const auto lowered = text::lowercased(windowClassName);
    return std::any_of(terminals.begin(), terminals.end(),
                       [&](const char* name) { return lowered == name; });
}

}  // namespace wordloom::x11
