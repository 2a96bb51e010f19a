#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/expansion/SpecialKey.h"

namespace wordloom {

/// One key-down as the platform saw it, before it is sorted into text or a special key.
struct KeyDown {
    /// The special key this key is, if any.
    std::optional<SpecialKey> special;
    /// Control, Alt/Option or Super/Command was held (Shift and Caps Lock do not count).
    bool modified = false;
    /// The text the key produced with the live layout; empty for a dead key still composing or
    /// a key that types nothing.
    std::string text;
};

/// Watches every key-down of the user's session, without ever changing, delaying or swallowing
/// one, and reports each as typed text or as a special key. Lives on the main queue: callbacks
/// arrive there.
///
/// A platform monitor derives from this, installs its listener in start() and hands each
/// key-down to dispatch().
class KeyboardMonitor {
  public:
    virtual ~KeyboardMonitor() = default;

    /// Text produced by a plain key-down.
    std::function<void(const std::string&)> onKeyPress;
    /// A special key, or any key pressed with a command modifier (as `escape`).
    std::function<void(SpecialKey)> onSpecialKey;
    /// Told whenever isMonitoring() changes (for instance when the listener was lost).
    std::function<void(bool)> onMonitoringChanged;

    /// Installs the listener; a healthy one is kept, a broken one is reinstalled. The outcome
    /// shows in isMonitoring() and the log.
    virtual void start() = 0;
    virtual void stop() = 0;
    virtual bool isMonitoring() const = 0;
    /// Reports at once the key-downs that have reached the process but not been handled yet.
    virtual void processPendingKeys() {}

  protected:
    /// Sorts one key-down: a modified key is `escape` (so a shortcut resets typing state),
    /// an unmodified special key is itself, anything else is its text, if it has any.
    void dispatch(const KeyDown& key) const;
};

}  // namespace wordloom
