#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <utility>

#include "ui/WindowPlacement.h"

class QLabel;
class QLineEdit;

namespace wordloom {

/// The first-start welcome: what Wordloom does, whether accessibility support is on (checked
/// live), a field to try a snippet in, and where the tray icon is.
class OnboardingWindow final : public QWidget {
  public:
    struct Services {
        UserDefaults& defaults;
        /// Whether accessibility support is on, and if not, why expansion waits.
        std::function<std::pair<bool, std::string>()> accessibility;
        std::string accessibilitySteps;
        /// Where the tray icon went, or why there is none.
        std::function<std::string()> trayWhereabouts;
        std::function<void()> openPreferences;
    };

    explicit OnboardingWindow(Services services);
    /// Shows the window; `activate` false leaves the keyboard where it is (a window Wordloom
    /// opens by itself must not take the keys from what the user is typing in).
    void present(bool activate = true);

  protected:
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void refresh();

    Services services_;
    WindowPlacement placement_;
    QLabel* accessibilityIcon_ = nullptr;
    QLabel* accessibilityState_ = nullptr;
    QLabel* steps_ = nullptr;
    QLabel* tray_ = nullptr;
    QLineEdit* tryField_ = nullptr;
};

}  // namespace wordloom
