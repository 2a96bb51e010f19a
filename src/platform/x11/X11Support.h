#pragma once

// Xlib's macros (Bool, None, Status, KeyPress, ...) break Qt headers: include Qt first, then
// this header, and keep Xlib out of headers other code includes.
#include <X11/Xlib.h>

#include <functional>
#include <optional>
#include <string>

#include "core/base/Executor.h"

namespace wordloom::x11 {

/// Makes Xlib report protocol errors (a window that vanished between two calls) to the log
/// instead of exiting, and lets a lost connection be survived. Idempotent.
void installErrorHandlers();

/// Opens a connection to $DISPLAY whose loss sets `*broken` instead of ending the process.
/// nullptr when the display cannot be opened.
Display* openDisplay(bool* broken);

/// Waits until `fd` is readable or `timeout` passes.
bool waitReadable(int fd, Duration timeout);

/// The window the user is typing into: the one the window manager calls active, or (with no
/// window manager) the top-level window around the input focus. nullopt when none.
std::optional<Window> activeWindow(Display* display);

/// WM_CLASS's class part ("XTerm", "Gedit"), or empty.
std::string windowClass(Display* display, Window window);

/// The application id of `window`: its _GTK_APPLICATION_ID, else the desktop entry whose
/// StartupWMClass names its class, else its class.
std::optional<std::string> applicationId(Display* display, Window window);

/// Whether windows of `windowClass` are terminals, which paste with Shift+Insert.
bool isTerminalClass(const std::string& windowClass);

}  // namespace wordloom::x11
