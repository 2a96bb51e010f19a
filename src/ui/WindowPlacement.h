#pragma once

#include <string>

class QWidget;

namespace wordloom {

class UserDefaults;

/// Puts a window back where the user left it, and remembers where that is, in the user
/// defaults (key "windowGeometry.<name>").
class WindowPlacement {
  public:
    WindowPlacement(UserDefaults& defaults, std::string name)
        : defaults_(defaults), key_("windowGeometry." + std::move(name)) {}

    /// Restores the saved geometry; returns false when there is none (place it yourself).
    bool restore(QWidget& window) const;
    void save(const QWidget& window) const;

  private:
    UserDefaults& defaults_;
    std::string key_;
};

}  // namespace wordloom
