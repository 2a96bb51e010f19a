#include "app/desktop/DesktopShell.h"

#include "core/triggers/ShortcutValidator.h"
#include "platform/x11/DesktopShortcutBindings.h"

#include <malloc.h>

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include "app/desktop/AutostartEntry.h"
#include "core/expansion/ExpansionEngine.h"
#include "core/library/SettingsStore.h"
#include "core/library/ShortcutText.h"
#include "core/library/SnippetDraft.h"
#include "core/library/SnippetStore.h"
#include "core/library/UserDefaults.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/OllamaClient.h"
#include "core/macros/OllamaEndpoint.h"
#include "platform/x11/AtspiAccessibilityService.h"
#include "platform/x11/X11WindowFocus.h"
#include "ui/HelpWindow.h"
#include "ui/OnboardingWindow.h"
#include "ui/PreferencesWindow.h"
#include "ui/QuickCreatePanel.h"
#include "ui/QuickSearchPanel.h"
#include "ui/TrayIconArt.h"

namespace wordloom {

namespace {

constexpr const char* onboardingShownKey = "onboardingShown";
// How long a desktop's tray may take to appear after log-in before Wordloom says there is none.
constexpr int trayGraceMilliseconds = 5000;
constexpr auto ollamaTestLimit = std::chrono::seconds(5);

std::string fieldValue(const std::vector<std::string>& fields, const std::string& name) {
    const std::string prefix = name + "=";
    for (const auto& field : fields) {
        if (field.rfind(prefix, 0) == 0) {
            return field.substr(prefix.size());
        }
    }
    return {};
}

bool hasField(const std::vector<std::string>& fields, const std::string& name) {
    for (const auto& field : fields) {
        if (field.rfind(name + "=", 0) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

DesktopShell::DesktopShell(DesktopShellServices services) : services_(services) {
    snippetSubscription_ = services_.snippets.observeChanges([this] {
        searchStale_ = true;
        if (quickSearch_ && quickSearch_->isVisible()) {
            quickSearch_->refresh();
        }
    });
    settingsSubscription_ = services_.settings.observeChanges([this] { refreshTray(); });
}

DesktopShell::~DesktopShell() {
    *alive_ = false;
    // Hiding saves where each window was.
    for (QWidget* window :
         std::initializer_list<QWidget*>{preferences_.get(), onboarding_.get(), help_.get()}) {
        if (window && window->isVisible()) {
            window->hide();
        }
    }
}

void DesktopShell::start() {
    buildTray();
    if (!services_.defaults.boolForKey(onboardingShownKey)) {
        services_.defaults.setBool(onboardingShownKey, true);
        openOnboarding(false);
    }
    // A desktop's panel often starts after the programs started at log-in: give it a moment,
    // then say once that there is no tray, and open the welcome window as the way in.
    QTimer::singleShot(trayGraceMilliseconds, [this, alive = std::weak_ptr<bool>(alive_)] {
        // With the icon turned off in Preferences there is nothing to say: that was the choice.
        if (alive.expired() || trayAvailable_ || !services_.settings.settings().showInMenuBar) {
            return;
        }
        logger_.error(
            "The desktop has no system tray, so Wordloom shows no icon. Open its windows with "
            "\u201cwordloom library\u201d, \u201cwordloom quick-search\u201d and "
            "\u201cwordloom quick-create\u201d.");
        if (!onboarding_ || !onboarding_->isVisible()) {
            openOnboarding(false);
        }
    });
}

void DesktopShell::buildTray() {
    menu_ = std::make_unique<QMenu>();
    menu_->setObjectName("WordloomTrayMenu");
    menu_->setAccessibleName("Wordloom");
    stateAction_ = menu_->addAction(QString());
    stateAction_->setEnabled(false);
    menu_->addSeparator();
    quickSearchAction_ = menu_->addAction("&Quick Search");
    QObject::connect(quickSearchAction_, &QAction::triggered, [this] { openQuickSearch({}); });
    QObject::connect(menu_->addAction("&New Snippet\u2026"), &QAction::triggered,
                     [this] { openQuickCreate({}); });
    libraryAction_ = menu_->addAction("Open &Library\u2026");
    libraryAction_->setEnabled(static_cast<bool>(openLibrary_));
    QObject::connect(libraryAction_, &QAction::triggered, [this] { openLibrary({}); });
    clipboardHistoryAction_ = menu_->addAction("&Clipboard History\u2026");
    clipboardHistoryAction_->setEnabled(static_cast<bool>(openClipboardHistory_));
    QObject::connect(clipboardHistoryAction_, &QAction::triggered, [this] {
        if (openClipboardHistory_) {
            openClipboardHistory_();
        }
    });
    menu_->addSeparator();
    pauseAction_ = menu_->addAction("&Pause Expansion");
    QObject::connect(pauseAction_, &QAction::triggered, [this] { setPaused(!paused_); });
    QObject::connect(menu_->addAction("Pr&eferences\u2026"), &QAction::triggered,
                     [this] { openPreferences(); });
    statisticsAction_ = menu_->addAction("&Statistics\u2026");
    statisticsAction_->setEnabled(static_cast<bool>(openStatistics_));
    QObject::connect(statisticsAction_, &QAction::triggered, [this] {
        if (openStatistics_) {
            openStatistics_();
        }
    });
    QObject::connect(menu_->addAction("&Help"), &QAction::triggered, [this] { openHelp(); });
    menu_->addSeparator();
    QObject::connect(menu_->addAction("Q&uit Wordloom"), &QAction::triggered,
                     [] { QApplication::quit(); });

    QObject::connect(menu_.get(), &QMenu::aboutToShow,
                     [this] { logger_.info("Tray menu opened"); });

    tray_ = std::make_unique<QSystemTrayIcon>();
    tray_->setContextMenu(menu_.get());
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger) {
                             openQuickSearch({});
                         }
                     });
    // The state changes outside the shell too (accessibility turned on or off); a tray may
    // also appear after Wordloom started.
    auto* poll = new QTimer(menu_.get());
    poll->setInterval(1500);
    QObject::connect(poll, &QTimer::timeout, [this] {
        refreshTray();
        releaseClosedWindows();
    });
    poll->start();
    refreshTray();
}

TrayState DesktopShell::trayState() const {
    if (paused_) {
        return TrayState::paused;
    }
    return services_.engine.isRunning() ? TrayState::running : TrayState::waitingForAccessibility;
}

void DesktopShell::refreshTray() {
    if (!tray_) {
        return;
    }
    const auto state = trayState();
    QString summary;
    switch (state) {
        case TrayState::running:
            summary = "Wordloom is expanding";
            break;
        case TrayState::paused:
            summary = "Wordloom is paused";
            break;
        case TrayState::waitingForAccessibility:
            summary = "Wordloom is waiting for accessibility: " +
                      QString::fromStdString(services_.accessibility.waitingReason());
            break;
    }
    if (shownState_ != static_cast<int>(state)) {
        tray_->setIcon(trayIcon(state));
        shownState_ = static_cast<int>(state);
    }
    tray_->setToolTip(summary);
    stateAction_->setText(summary);
    pauseAction_->setText(paused_ ? "&Resume Expansion" : "&Pause Expansion");
    const auto shortcut = shortcutText(services_.settings.settings().globalSearchShortcut);
    quickSearchAction_->setText(shortcut.empty()
                                    ? QString("&Quick Search")
                                    : "&Quick Search\t" + QString::fromStdString(shortcut));

    trayAvailable_ = QSystemTrayIcon::isSystemTrayAvailable();
    const bool wanted = services_.settings.settings().showInMenuBar && trayAvailable_;
    if (wanted != tray_->isVisible()) {
        tray_->setVisible(wanted);
        if (wanted) {
            logger_.info("Tray icon shown");
        }
    }
}

void DesktopShell::releaseClosedWindows() {
    // A window closed for half a minute is let go: opening it again costs milliseconds, and an
    // idle Wordloom should hold no window.
    constexpr int pollsBeforeRelease = 20;
    bool released = false;
    const auto consider = [&](auto& window) {
        if (!window) {
            return;
        }
        const void* key = window.get();
        if (window->isVisible()) {
            hiddenPolls_.erase(key);
            return;
        }
        if (++hiddenPolls_[key] >= pollsBeforeRelease) {
            hiddenPolls_.erase(key);
            window.reset();
            released = true;
        }
    };
    consider(quickSearch_);
    consider(quickCreate_);
    consider(preferences_);
    consider(onboarding_);
    consider(help_);
    if (released) {
        malloc_trim(0);
    }
}

std::string DesktopShell::trayWhereabouts() const {
    if (!services_.settings.settings().showInMenuBar) {
        return "The tray icon is turned off in Preferences. Open Wordloom with "
               "\u201cwordloom quick-search\u201d or \u201cwordloom quick-create\u201d, or bind "
               "them to keys.";
    }
    if (!trayAvailable_) {
        return "Your desktop shows no system tray, so Wordloom has no icon. On GNOME, the "
               "AppIndicator extension adds one. Meanwhile open Wordloom with "
               "\u201cwordloom quick-search\u201d or \u201cwordloom quick-create\u201d, or bind "
               "them to keys.";
    }
    return "Wordloom lives in the system tray of your panel: click its icon to search your "
           "snippets, or right-click it for the menu.";
}

std::pair<bool, std::string> DesktopShell::accessibilityState() const {
    const bool enabled = services_.accessibility.isAccessibilityEnabled();
    return {enabled, enabled ? std::string() : services_.accessibility.waitingReason()};
}

void DesktopShell::expansionStateChanged() {
    if (paused_ && services_.engine.isRunning()) {
        services_.engine.stop();
    }
    refreshTray();
    if (onExpansionStateChanged) {
        onExpansionStateChanged();
    }
}

void DesktopShell::setPaused(bool paused) {
    paused_ = paused;
    if (paused) {
        services_.engine.stop();
        logger_.info("Expansion paused");
    } else {
        if (services_.accessibility.isAccessibilityEnabled() && !services_.engine.isRunning()) {
            services_.engine.start();
        }
        logger_.info("Expansion resumed");
    }
    refreshTray();
    if (onExpansionStateChanged) {
        onExpansionStateChanged();
    }
}

void DesktopShell::setClipboardHistoryOpener(std::function<void()> open) {
    openClipboardHistory_ = std::move(open);
    if (clipboardHistoryAction_) {
        clipboardHistoryAction_->setEnabled(static_cast<bool>(openClipboardHistory_));
    }
}

void DesktopShell::setStatisticsOpener(std::function<void()> open) {
    openStatistics_ = std::move(open);
    if (statisticsAction_) {
        statisticsAction_->setEnabled(static_cast<bool>(openStatistics_));
    }
}

bool DesktopShell::openClipboardHistory() {
    if (!openClipboardHistory_) {
        return false;
    }
    openClipboardHistory_();
    return true;
}

void DesktopShell::tellUser(const std::string& message) {
    logger_.error(message);
    if (tray_ && tray_->isVisible()) {
        tray_->showMessage("Wordloom", QString::fromStdString(message));
    }
}

void DesktopShell::setLibraryOpener(
    std::function<std::optional<std::string>(const std::string&)> open) {
    openLibrary_ = std::move(open);
    if (libraryAction_) {
        libraryAction_->setEnabled(static_cast<bool>(openLibrary_));
    }
}

std::optional<std::string> DesktopShell::openLibrary(const std::string& snippet) {
    if (!openLibrary_) {
        return std::string("The library window is not available.");
    }
    return openLibrary_(snippet);
}

std::optional<std::string> DesktopShell::handleRequest(const std::string& command,
                                                       const std::vector<std::string>& arguments) {
    if (command == "library") {
        return openLibrary(arguments.empty() ? std::string() : arguments.front())
            .value_or(std::string());
    }
    if (command == "quick-search") {
        openQuickSearch(arguments.empty() ? std::string() : arguments.front());
        return std::string();
    }
    if (command == "quick-create") {
        if (const auto type = fieldValue(arguments, "type"); !type.empty()) {
            try {
                contentTypeNamed(type);
            } catch (const std::invalid_argument& error) {
                return std::string(error.what());
            }
        }
        openQuickCreate(arguments);
        return std::string();
    }
    return std::nullopt;
}

void DesktopShell::giveFocusBack(std::function<void()> then) {
    // Let the window manager take the panel away before focus goes back.
    QTimer::singleShot(0, [this, then = std::move(then), alive = std::weak_ptr<bool>(alive_)] {
        if (alive.expired()) {
            return;
        }
        services_.focus.restore();
        if (then) {
            then();
        }
    });
}

void DesktopShell::openQuickSearch(const std::string& query) {
    if (!quickSearch_ || !quickSearch_->isActiveWindow()) {
        services_.focus.remember();
    }
    if (!quickSearch_) {
        QuickSearchPanel::Actions actions;
        actions.search = [this](const std::string& text) {
            if (searchStale_) {
                search_.rebuild(
                    services_.snippets.snippets(), [this](const std::optional<Uuid>& group) {
                        const auto* found = group ? services_.snippets.group(*group) : nullptr;
                        return found ? found->name : std::string();
                    });
                searchStale_ = false;
            }
            return search_.search(text, 50);
        };
        actions.expand = [this](const Uuid& id) {
            giveFocusBack([this, id] {
                const auto* snippet = services_.snippets.snippet(id);
                if (!snippet) {
                    return;
                }
                if (!services_.engine.isRunning()) {
                    logger_.error(paused_ ? "Not expanding: expansion is paused"
                                          : "Not expanding: waiting for accessibility: " +
                                                services_.accessibility.waitingReason());
                    if (tray_ && tray_->isVisible()) {
                        tray_->showMessage("Wordloom", paused_ ? "Expansion is paused."
                                                               : "Wordloom is waiting for "
                                                                 "accessibility support.");
                    }
                    return;
                }
                services_.engine.expandOnRequest(*snippet);
            });
        };
        actions.openInLibrary = [this](const Uuid& id) { openLibrary(id.toString()); };
        actions.copy = [this](const Uuid& id) {
            giveFocusBack([this, id] {
                if (const auto* snippet = services_.snippets.snippet(id)) {
                    services_.engine.copyExpansion(*snippet);
                }
            });
        };
        actions.dismissed = [this] { giveFocusBack({}); };
        actions.hidden = [this] {
            // The folded library is as large as the library itself: build it again next time
            // (tens of milliseconds) rather than keep it while Wordloom idles.
            QTimer::singleShot(0, [this, alive = std::weak_ptr<bool>(alive_)] {
                if (alive.expired() || (quickSearch_ && quickSearch_->isVisible())) {
                    return;
                }
                search_ = SnippetSearch();
                searchStale_ = true;
                malloc_trim(0);
            });
        };
        quickSearch_ = std::make_unique<QuickSearchPanel>(std::move(actions));
    }
    quickSearch_->present(QString::fromStdString(query));
}

void DesktopShell::openQuickCreate(const std::vector<std::string>& fields) {
    if (!quickCreate_ || !quickCreate_->isActiveWindow()) {
        services_.focus.remember();
    }
    SnippetDraft draft;
    draft.abbreviation = fieldValue(fields, "abbreviation");
    draft.label = fieldValue(fields, "label");
    draft.groupName = fieldValue(fields, "group");
    if (const auto type = fieldValue(fields, "type"); !type.empty()) {
        draft.contentType = contentTypeNamed(type);
    }
    if (hasField(fields, "content")) {
        draft.content = fieldValue(fields, "content");
    } else if (services_.accessibility.isAccessibilityEnabled()) {
        // What the user selected in the window they were in is usually what they want kept.
        draft.content = services_.accessibility.selectedText().value_or("");
    }
    if (!quickCreate_) {
        QuickCreatePanel::Actions actions;
        actions.check = [this](const SnippetDraft& typed) {
            return typed.checkAbbreviation(services_.snippets);
        };
        actions.save = [this](const SnippetDraft& typed) -> std::optional<std::string> {
            try {
                typed.saveTo(services_.snippets, services_.settings.settings(),
                             services_.executor.now());
                logger_.info("Snippet \u201c" + typed.abbreviation + "\u201d created");
                return std::nullopt;
            } catch (const std::invalid_argument& error) {
                return std::string(error.what());
            }
        };
        actions.closed = [this] { giveFocusBack({}); };
        quickCreate_ = std::make_unique<QuickCreatePanel>(std::move(actions));
    }
    std::vector<std::string> groupNames;
    for (const auto& group : services_.snippets.groups()) {
        groupNames.push_back(group.name);
    }
    quickCreate_->present(draft, groupNames);
}

void DesktopShell::openPreferences() {
    if (!preferences_) {
        const auto autostart =
            AutostartEntry::forUser(QApplication::applicationFilePath().toStdString());
        PreferencesServices services{services_.settings, services_.defaults};
        services.launchesAtLogin = [autostart] { return autostart.isPresent(); };
        services.setLaunchAtLogin = [autostart](bool on) { return autostart.set(on); };
        services.accessibility = [this] { return accessibilityState(); };
        services.accessibilitySteps = AtspiAccessibilityService::enableInstructions();
        services.checkEndpoint = [](const std::string& endpoint) -> std::optional<std::string> {
            try {
                OllamaEndpoint::parse(endpoint);
                return std::nullopt;
            } catch (const AIServiceError& error) {
                return std::string(error.what());
            }
        };
        services.testEndpoint = [this](const std::string& endpoint,
                                       std::function<void(std::string)> done) {
            testOllama(endpoint, std::move(done));
        };
        // The desktop's and the user's own shortcuts, read once per window (a short deadline:
        // what cannot be read in time is not known).
        auto validator = std::make_shared<ShortcutValidator>(ShortcutPlatform::linuxDesktop(
            readDesktopShortcutBindings(std::chrono::milliseconds(300))));
        services.checkShortcut = [validator](const KeyboardShortcut& shortcut) {
            return validator->validate(shortcut.key, shortcut.modifiers);
        };
        preferences_ = std::make_unique<PreferencesWindow>(std::move(services));
    }
    preferences_->present();
}

void DesktopShell::testOllama(const std::string& endpoint, std::function<void(std::string)> done) {
    Executor& executor = services_.executor;
    executor.runInBackground([&executor, endpoint, done = std::move(done),
                              alive = std::weak_ptr<bool>(alive_)] {
        std::string result;
        try {
            OllamaClientOptions options;
            options.totalTimeout = ollamaTestLimit;
            options.idleTimeout = ollamaTestLimit;
            const auto models = OllamaClient(options).listModels(OllamaEndpoint::parse(endpoint));
            if (models.empty()) {
                result =
                    "The server answered but has no models yet: run \u201collama pull "
                    "llama3.2\u201d.";
            } else {
                result = "The server answered. Its models: ";
                for (std::size_t index = 0; index < models.size(); ++index) {
                    result += (index ? ", " : "") + models[index];
                }
                result += ".";
            }
        } catch (const std::exception& error) {
            result = error.what();
        }
        executor.post([done, result, alive, endpoint] {
            if (!alive.expired()) {
                Logger("DesktopShell")
                    .info("Tested the Ollama server at " + endpoint + ": " + result);
                done(result);
            }
        });
    });
}

void DesktopShell::openOnboarding(bool activate) {
    if (!onboarding_) {
        OnboardingWindow::Services services{services_.defaults};
        services.accessibility = [this] { return accessibilityState(); };
        services.accessibilitySteps = AtspiAccessibilityService::enableInstructions();
        services.trayWhereabouts = [this] { return trayWhereabouts(); };
        services.openPreferences = [this] { openPreferences(); };
        onboarding_ = std::make_unique<OnboardingWindow>(std::move(services));
    }
    onboarding_->present(activate);
}

void DesktopShell::openHelp() {
    if (!help_) {
        help_ = std::make_unique<HelpWindow>(services_.defaults);
    }
    help_->present();
}

}  // namespace wordloom
