#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/macros/FillInField.h"

namespace wordloom {

/// Which application the user is typing into. Lives on the main queue.
class FrontmostApplicationMonitor {
  public:
    virtual ~FrontmostApplicationMonitor() = default;
    /// The application id of the active window (a desktop-entry id where one is known, else
    /// its window class), or nullopt when unknown.
    virtual std::optional<std::string> frontmostApplicationId() = 0;
    /// Called on the main queue whenever another application becomes active.
    std::function<void(std::optional<std::string>)> onApplicationActivated;
};

/// Mouse-button presses anywhere on the desktop, installed only while something needs them.
class MouseClickMonitor {
  public:
    virtual ~MouseClickMonitor() = default;
    /// Calls `onClick` on the main queue for each press of a mouse button until stop().
    virtual void start(std::function<void()> onClick) = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
};

/// The short sounds Wordloom ships ("Tink", "Pop", "Morse").
class SoundPlayer {
  public:
    virtual ~SoundPlayer() = default;
    /// Starts playing without waiting for it; no sound device is not an error.
    virtual void play(const std::string& soundName) = 0;
};

enum class NotificationKind { expansion, copy };

/// The small window that tells an expansion happened. Never takes focus.
class NotificationPresenter {
  public:
    virtual ~NotificationPresenter() = default;
    /// `popup` is true for the larger presentation, false for the subtle one.
    virtual void show(NotificationKind kind, const std::string& snippetLabel, bool popup) = 0;
};

/// Asks the user for the values of fill-in fields before an expansion.
class FillInFormPresenter {
  public:
    virtual ~FillInFormPresenter() = default;
    /// Shows the form for `fields` (one control per distinct value key) and calls `done` on the
    /// main queue with the values by value key, or with nullopt when the user cancelled.
    virtual void present(const std::string& title, const std::vector<FillInField>& fields,
                         std::function<void(std::optional<std::vector<FillInField>>)> done) = 0;
};

}  // namespace wordloom
