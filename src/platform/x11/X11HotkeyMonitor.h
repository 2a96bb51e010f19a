#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Log.h"
#include "core/triggers/HotkeyRegistry.h"

struct _XDisplay;

namespace wordloom {

/// Global shortcuts on X11: each binding grabbed on the root window (with every combination of
/// Caps Lock and Num Lock, which would otherwise make the shortcut miss), pressed keys reported
/// on the Qt main loop. A combination another program holds cannot be grabbed; it is reported
/// by name instead of failing silently.
class X11HotkeyMonitor {
  public:
    X11HotkeyMonitor();
    ~X11HotkeyMonitor();
    X11HotkeyMonitor(const X11HotkeyMonitor&) = delete;
    X11HotkeyMonitor& operator=(const X11HotkeyMonitor&) = delete;

    bool isAvailable() const { return display_ != nullptr; }

    /// Holds exactly `bindings` (releasing the rest). Returns one message per binding that
    /// could not be held ("Shift+Super+T is taken by another program, ...").
    std::vector<std::string> hold(const std::vector<HotkeyBinding>& bindings);
    void releaseAll();

    /// Called on the main loop when a held shortcut is pressed.
    std::function<void(const HotkeyBinding&)> onPressed;

    /// The X key symbol name of a key of the files' table ("a", "F5", "Prior", "semicolon"), or
    /// nothing for a key X does not name.
    static std::optional<std::string> keysymName(std::uint16_t keyCode);

  private:
    struct Grab {
        HotkeyBinding binding;
        unsigned keycode = 0;
        unsigned modifiers = 0;
    };
    void processEvents();

    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    std::vector<Grab> grabs_;
    std::unique_ptr<QSocketNotifier> notifier_;
    Logger logger_{"X11HotkeyMonitor"};
};

}  // namespace wordloom
