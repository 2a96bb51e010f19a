#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Log.h"
#include "core/base/ObserverList.h"
#include "core/library/SnippetSearch.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace wordloom {

class AtspiAccessibilityService;
class ExpansionEngine;
class HelpWindow;
class OnboardingWindow;
class PreferencesWindow;
class QuickCreatePanel;
class QuickSearchPanel;
class SettingsStore;
class SnippetStore;
class UserDefaults;
class X11WindowFocus;
enum class TrayState;

/// What the shell shows and drives. All outlive it.
struct DesktopShellServices {
    Executor& executor;
    SnippetStore& snippets;
    SettingsStore& settings;
    UserDefaults& defaults;
    ExpansionEngine& engine;
    AtspiAccessibilityService& accessibility;
    X11WindowFocus& focus;
};

/// The part of Wordloom a person sees: the tray icon and its menu, and the panels and windows
/// it opens (quick search, new snippet, preferences, welcome, help), each built the first time
/// it is needed so that an idle Wordloom stays small. Pausing stops the engine for real.
class DesktopShell {
  public:
    explicit DesktopShell(DesktopShellServices services);
    ~DesktopShell();
    DesktopShell(const DesktopShell&) = delete;
    DesktopShell& operator=(const DesktopShell&) = delete;

    /// Shows the tray icon (or, without a tray, says so and opens a window instead) and the
    /// welcome window on the first start.
    void start();

    /// Answers `wordloom quick-search` and `wordloom quick-create`: empty when taken, else why
    /// not. Returns nullopt for a command that is not the shell's.
    std::optional<std::string> handleRequest(const std::string& command,
                                             const std::vector<std::string>& arguments);

    /// Whether the user paused expansion: then the engine stays stopped even when
    /// accessibility support comes on.
    bool isPaused() const { return paused_; }
    /// The engine started or stopped outside the shell (accessibility came on).
    void expansionStateChanged();
    /// Called after expansion was paused, resumed, started or stopped.
    std::function<void()> onExpansionStateChanged;

    /// Plugs in the clipboard history window when it exists: enables its menu entry.
    void setClipboardHistoryOpener(std::function<void()> open);
    /// Plugs in the statistics window: enables its menu entry.
    void setStatisticsOpener(std::function<void()> open);
    /// Plugs in the library window: `open` brings it forward with a snippet (id or
    /// abbreviation, or none) chosen, and says why not when that snippet isn't there.
    void setLibraryOpener(std::function<std::optional<std::string>(const std::string&)> open);
    /// Opens the library window (`wordloom library`, the tray, Ctrl+E in quick search).
    std::optional<std::string> openLibrary(const std::string& snippet);

    /// Opens the clipboard history window; false while none is plugged in.
    bool openClipboardHistory();
    /// Tells the user why something asked from outside (a link) did not happen: in the tray's
    /// balloon when there is a tray; the log has it either way.
    void tellUser(const std::string& message);

    void openQuickSearch(const std::string& query);
    void openQuickCreate(const std::vector<std::string>& fields);
    void openPreferences();
    /// `activate` false when Wordloom opens it by itself: it then does not take the keyboard.
    void openOnboarding(bool activate = true);
    void openHelp();
    void setPaused(bool paused);

  private:
    void buildTray();
    void refreshTray();
    TrayState trayState() const;
    std::string trayWhereabouts() const;
    std::pair<bool, std::string> accessibilityState() const;
    void giveFocusBack(std::function<void()> then);
    void testOllama(const std::string& endpoint, std::function<void(std::string)> done);
    void releaseClosedWindows();

    DesktopShellServices services_;
    Logger logger_{"DesktopShell"};
    bool paused_ = false;
    bool trayAvailable_ = false;
    int shownState_ = -1;  // the TrayState the icon shows
    std::function<void()> openClipboardHistory_;
    std::function<void()> openStatistics_;
    std::function<std::optional<std::string>(const std::string&)> openLibrary_;

    std::unique_ptr<QSystemTrayIcon> tray_;
    std::unique_ptr<QMenu> menu_;
    QAction* quickSearchAction_ = nullptr;
    QAction* clipboardHistoryAction_ = nullptr;
    QAction* statisticsAction_ = nullptr;
    QAction* libraryAction_ = nullptr;
    QAction* pauseAction_ = nullptr;
    QAction* stateAction_ = nullptr;

    SnippetSearch search_;
    bool searchStale_ = true;
    Subscription snippetSubscription_;
    Subscription settingsSubscription_;

    std::unique_ptr<QuickSearchPanel> quickSearch_;
    std::unique_ptr<QuickCreatePanel> quickCreate_;
    std::unique_ptr<PreferencesWindow> preferences_;
    std::unique_ptr<OnboardingWindow> onboarding_;
    std::unique_ptr<HelpWindow> help_;
    /// Polls each window has been hidden for, by window.
    std::map<const void*, int> hiddenPolls_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
