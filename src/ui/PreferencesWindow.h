#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/library/AppSettings.h"
#include "ui/WindowPlacement.h"

class QTabWidget;
class QLabel;

#include "core/library/Snippet.h"

namespace wordloom {

class SettingsStore;
class UserDefaults;

/// What the preferences window needs from the rest of the app.
struct PreferencesServices {
    SettingsStore& settings;
    UserDefaults& defaults;
    /// Whether the autostart entry exists, and creating or removing it (the error, if any).
    std::function<bool()> launchesAtLogin;
    std::function<std::optional<std::string>(bool)> setLaunchAtLogin;
    /// Whether accessibility support is on, and if not, why expansion waits.
    std::function<std::pair<bool, std::string>()> accessibility;
    /// How to turn accessibility support on, step by step.
    std::string accessibilitySteps;
    /// Why an Ollama endpoint would be refused, or nullopt when the AI service would use it.
    std::function<std::optional<std::string>(const std::string&)> checkEndpoint;
    /// Asks the server at the endpoint for its models, off the main thread; `done` runs on the
    /// main thread with what to show.
    std::function<void(const std::string& endpoint, std::function<void(std::string)> done)>
        testEndpoint;
    /// Why a recorded shortcut cannot be a global shortcut, or nullopt when it can.
    std::function<std::optional<std::string>(const KeyboardShortcut&)> checkShortcut;
};

/// The preferences, in four tabs (General, Expansion, AI, Advanced). Every change is saved at
/// once through the settings store; nothing waits for an OK button.
class PreferencesWindow final : public QWidget {
  public:
    explicit PreferencesWindow(PreferencesServices services);

    void present();

  protected:
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    QWidget* buildGeneral();
    QWidget* buildExpansion();
    QWidget* buildAI();
    QWidget* buildAdvanced();
    void change(const std::function<void(AppSettings&)>& edit);
    void refreshAccessibility();

    PreferencesServices services_;
    WindowPlacement placement_;
    QTabWidget* tabs_ = nullptr;
    QLabel* accessibilityState_ = nullptr;
    QLabel* accessibilitySteps_ = nullptr;
    std::vector<std::function<void()>> reloaders_;
};

}  // namespace wordloom
