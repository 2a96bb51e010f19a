#include "app/desktop/DesktopApplication.h"

#include <sys/socket.h>
#include <unistd.h>
#include <QApplication>
#include <QSocketNotifier>
#include <QThreadPool>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <mutex>

#include "app/desktop/DesktopLinks.h"
#include "app/desktop/DesktopShell.h"
#include "app/desktop/GlobalHotkeys.h"
#include "app/desktop/MemoryPolicy.h"
#include "app/desktop/QtExecutor.h"
#include "app/desktop/RequestChannel.h"
#include "app/desktop/StoreExpansionLibrary.h"
#include "core/base/Log.h"
#include "core/expansion/AbbreviationDetector.h"
#include "core/expansion/ExpansionEngine.h"
#include "core/expansion/LatencyTrace.h"
#include "core/expansion/MainHopGate.h"
#include "core/expansion/SnippetCache.h"
#include "core/expansion/StoreDetectionSources.h"
#include "core/expansion/TextInserter.h"
#include "core/library/LibraryBackup.h"
#include "core/library/LibraryStatistics.h"
#include "core/library/PersistenceService.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UsageHistory.h"
#include "core/library/UserDefaults.h"
#include "core/macros/AIService.h"
#include "core/macros/JavaScriptRunner.h"
#include "core/macros/MacroEvaluator.h"
#include "core/macros/ScriptUse.h"
#include "core/sync/SyncScheduler.h"
#include "core/sync/iCloudSyncService.h"
#include "platform/x11/AlsaSoundPlayer.h"
#include "platform/x11/AtspiAccessibilityService.h"
#include "platform/x11/InjectedKeyLedger.h"
#include "platform/x11/SecretServiceTokenStore.h"
#include "platform/x11/X11FrontmostApplicationMonitor.h"
#include "platform/x11/X11HotkeyMonitor.h"
#include "platform/x11/X11KeyInjector.h"
#include "platform/x11/X11KeyboardMonitor.h"
#include "platform/x11/X11MouseClickMonitor.h"
#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11WindowFocus.h"
#include "ui/ExpansionNotificationWindow.h"
#include "ui/FillInFormWindow.h"
#include "ui/LibraryWindow.h"
#include "ui/StatisticsWindow.h"

namespace wordloom {

namespace {

int signalPipe[2] = {-1, -1};

void forwardSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = write(signalPipe[1], &byte, 1);
}

/// Settings for the AI service, which reads them on its own thread.
class SharedAISettings {
  public:
    void update(const AppSettings& settings) {
        std::lock_guard lock(mutex_);
        value_ = AIServiceSettings::from(settings);
    }
    AIServiceSettings get() const {
        std::lock_guard lock(mutex_);
        return value_;
    }

  private:
    mutable std::mutex mutex_;
    AIServiceSettings value_;
};

/// How long quitting waits for an insertion to finish its paste and put the user's clipboard
/// back, with the main queue still answering its hops...
constexpr auto finishLimit = std::chrono::milliseconds(2000);
/// ...and then for whatever is left, once every hop is refused.
constexpr auto cancelLimit = std::chrono::milliseconds(1000);

/// Waits, within the limits above, for the background work that uses the services (evaluation,
/// insertion, the sound and AI threads). True when none is left.
bool drainBackgroundWork(ExecutorMainQueueHop& mainQueue, AlsaSoundPlayer& sound, AIService& ai,
                         const Logger& logger) {
    auto* pool = QThreadPool::globalInstance();
    const auto finishBy = std::chrono::steady_clock::now() + finishLimit;
    while (!pool->waitForDone(10) && std::chrono::steady_clock::now() < finishBy) {
        // The main queue keeps answering the inserter's hops, so that a paste under way ends
        // with the user's clipboard put back.
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
    }
    mainQueue.close();
    const bool poolDone = pool->waitForDone(static_cast<int>(cancelLimit.count()));
    if (!poolDone) {
        logger.error("An evaluation or insertion is still running");
    }
    const bool soundDone = sound.stopAndJoin(std::chrono::milliseconds(200));
    const bool aiDone = ai.stopAndJoin(std::chrono::milliseconds(200));
    return poolDone && soundDone && aiDone;
}

}  // namespace

int runDesktopApplication(const DesktopLocation& location, int argc, char** argv) {
    memoryPolicy::configureAllocator();
    QApplication application(argc, argv);
    QApplication::setApplicationName("Wordloom");
    QApplication::setQuitOnLastWindowClosed(false);
    QThreadPool::globalInstance()->setMaxThreadCount(8);
    // Idle pool threads end soon: each keeps its stack and thread-local buffers (the library
    // loader's JSON parser keeps the whole parsed file's) for as long as it lives. Starting a
    // thread again costs tens of microseconds.
    QThreadPool::globalInstance()->setExpiryTimeout(2000);
    const Logger logger("Wordloom");

    // SIGTERM and SIGINT end the event loop, so that pending saves are written.
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) == 0) {
        std::signal(SIGTERM, forwardSignal);
        std::signal(SIGINT, forwardSignal);
    }
    QSocketNotifier signalNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, [] { QApplication::quit(); });

    QtExecutor executor;
    PersistenceService persistence(location.dataFolder, executor);
    persistence.cleanUpInterruptedWork();
    UserDefaults defaults(location.configFolder / UserDefaults::fileName);
    SnippetImageStore images(persistence.imagesFolder());
    SnippetVersionStore versions(executor, persistence);
    SettingsStore settingsStore(executor, persistence);
    SnippetStore snippetStore(executor, persistence, images, versions, defaults);
    iCloudSyncService sync(executor, snippetStore, versions, images, defaults, location.dataFolder);
    SyncScheduler syncScheduler(
        executor, sync, snippetStore, settingsStore, defaults,
        [&defaults](const SyncConfiguration& configuration) -> std::shared_ptr<WebAuthTokenStore> {
            return std::make_shared<SecretServiceTokenStore>(
                configuration.container, configuration.environment,
                SyncConfiguration::tokenFile(defaults));
        });

    SnippetCache cache(executor);
    SnippetStoreGroupLookup groups(snippetStore);
    SettingsStoreSource settings(settingsStore);

    X11FrontmostApplicationMonitor frontmost;
    AtspiAccessibilityService accessibility(
        executor, [&] { return frontmost.activeWindowProcessId(); },
        [&] { return frontmost.activeWindowIdentity(); });
    accessibility.onBusLost = [] { QApplication::exit(restartExitStatus); };
    AbbreviationDetector detector(groups, settings, accessibility, cache, executor);

    InjectedKeyLedger ledger;
    X11KeyboardMonitor keyboard(ledger);
    X11KeyInjector keys(ledger);
    X11Pasteboard pasteboard;
    ExecutorMainQueueHop mainQueue(executor);
    ThreadSleeper sleeper;
    TextInserter inserter(pasteboard, keys, accessibility, mainQueue, sleeper);
    X11MouseClickMonitor clicks;
    AlsaSoundPlayer sound;
    QtNotificationPresenter notifications;
    X11WindowFocus focus;
    QtFillInFormPresenter fillInForm([&] { focus.restore(); });
    StoreExpansionLibrary library(snippetStore, images, cache);
    MacroEvaluator evaluator;

    JavaScriptRunnerOptions scriptOptions;
    scriptOptions.helperPath = JavaScriptRunner::defaultHelperPath();
    // A waiting helper and its zygote hold more memory than the rest of the app: only a library
    // with scripts gets them ahead of need (libraryChanged below).
    scriptOptions.keepSpareHelper = false;
    JavaScriptRunner scripts(scriptOptions);
    SharedAISettings aiSettings;
    AIService ai([&aiSettings] { return aiSettings.get(); });

    // The form takes focus from the window typed into; remember it before the form shows.
    class RememberingForm final : public FillInFormPresenter {
      public:
        RememberingForm(FillInFormPresenter& form, X11WindowFocus& focus)
            : form_(form), focus_(focus) {}
        void present(const std::string& title, const std::vector<FillInField>& fields,
                     std::function<void(std::optional<std::vector<FillInField>>)> done) override {
            focus_.remember();
            form_.present(title, fields, std::move(done));
        }

      private:
        FillInFormPresenter& form_;
        X11WindowFocus& focus_;
    } rememberingForm(fillInForm, focus);

    ExpansionEngine engine({executor, accessibility, keyboard, detector, inserter, library,
                            settings, evaluator, pasteboard, frontmost, clicks, sound,
                            notifications, rememberingForm, &scripts, &ai});

    // Expansions per day, for the statistics window.
    UsageHistory usage(executor, location.dataFolder / UsageHistory::fileName);
    engine.onExpansionRecorded = [&](const Snippet&, std::size_t typed, std::size_t inserted) {
        usage.record(localDay(executor.now()), static_cast<std::int64_t>(typed),
                     static_cast<std::int64_t>(inserted));
    };

    // The tray icon and the windows, each built when first opened.
    DesktopShell shell(
        {executor, snippetStore, settingsStore, defaults, engine, accessibility, focus});
    std::unique_ptr<StatisticsWindow> statistics;
    shell.setStatisticsOpener([&] {
        if (!statistics) {
            statistics = std::make_unique<StatisticsWindow>(snippetStore, usage, [&engine] {
                return StatisticsWindow::EngineCounters{engine.expansionCount(),
                                                        engine.dailyExpansionCount()};
            });
        }
        statistics->show();
        statistics->raise();
        statistics->activateWindow();
    });

    // The library window, built when first opened and kept, so that edits it could not save
    // yet are still there when it comes back.
    std::unique_ptr<LibraryWindow> libraryWindow;
    shell.setLibraryOpener([&](const std::string& snippet) -> std::optional<std::string> {
        if (!libraryWindow) {
            LibraryWindowServices services{executor, snippetStore, versions, settingsStore,
                                           defaults, nullptr,      nullptr};
            services.makeBackup = [&](const std::string& file) {
                return makeLibraryBackup(persistence, snippetStore, settingsStore, images, file);
            };
            services.restoreBackup = [&](const std::string& file) {
                return restoreLibraryBackup(persistence, snippetStore, settingsStore, file,
                                            executor.now());
            };
            libraryWindow = std::make_unique<LibraryWindow>(std::move(services));
        }
        return libraryWindow->present(snippet);
    });

    // A library load or change allocates copies of the whole library for a moment.
    MemoryTrimmer trimmer(executor, std::chrono::seconds(5));
    // wordloom:// links, handed over by `wordloom open-url` (the desktop entry's handler).
    DesktopLinks links(snippetStore, settingsStore, engine, shell, accessibility);
    // A link that names a snippet shows it in the library window.
    const auto linkedSnippets = links.selectSnippetFromURL.subscribe([&shell](const Uuid& id) {
        if (const auto refused = shell.openLibrary(id.toString())) {
            shell.tellUser(*refused);
        }
    });
    // `wordloom expand-now` and `wordloom copy`, typed or bound to a desktop shortcut.
    const char* display = std::getenv("DISPLAY");
    RequestListener requests(
        requestChannel::socketPath(display ? display : ""),
        [&](const std::string& command,
            const std::vector<std::string>& arguments) -> RequestListener::Answer {
            if (auto answer = shell.handleRequest(command, arguments)) {
                return *answer;
            }
            if (command == "open-url" && arguments.size() == 1) {
                const auto outcome = links.open(arguments.front());
                return RequestListener::Answer::taken(
                    {std::string(routeOutcomeName(outcome.kind)), outcome.message});
            }
            if ((command != "expand-now" && command != "copy") || arguments.size() != 1) {
                return "Unknown request \u201c" + command + "\u201d.";
            }
            const std::string& abbreviation = arguments.front();
            const auto snippet = library.snippetWithAbbreviation(abbreviation);
            if (!snippet) {
                return "No enabled snippet has the abbreviation \u201c" + abbreviation + "\u201d.";
            }
            if (command == "copy") {
                engine.copyExpansion(*snippet);
                return {};
            }
            if (!engine.isRunning()) {
                return "Wordloom is waiting for accessibility: " + accessibility.waitingReason();
            }
            engine.expandOnRequest(*snippet);
            return {};
        });

    bool scriptHelperWaiting = false;
    const auto libraryChanged = [&] {
        trimmer.schedule();
        if (library.isRecordingUse()) {
            // Every expansion counts a use; rebuilding the detection index for it would copy
            // and index the whole library each time (tens of milliseconds at 10,000 snippets).
            return;
        }
        cache.rebuild(snippetStore.snippets());
        detector.prewarmRegexes(snippetStore.snippets());
        if (!scriptHelperWaiting && libraryUsesScripts(snippetStore.snippets())) {
            scriptHelperWaiting = scripts.prepareAhead();
        }
    };
    const auto snippetSubscription = snippetStore.observeChanges(libraryChanged);
    const auto settingsChanged = [&] {
        aiSettings.update(settingsStore.settings());
        logging::setDebugEnabled(settingsStore.settings().debugLoggingEnabled);
        latencyTrace::setEnabled(settingsStore.settings().debugLoggingEnabled);
    };
    const auto settingsSubscription = settingsStore.observeChanges(settingsChanged);
    settingsChanged();
    versions.startHydration();
    settingsStore.startHydration();
    snippetStore.startHydration();

    keyboard.onMonitoringChanged = [&](bool monitoring) {
        if (!monitoring) {
            logger.error("Keyboard monitoring stopped; waiting for the X display to reinstall it");
        }
    };
    const auto startEngine = [&] {
        if (!shell.isPaused()) {
            engine.start();
            logger.info("Wordloom is running: expanding snippets");
        }
        shell.expansionStateChanged();
    };
    if (accessibility.isAccessibilityEnabled()) {
        startEngine();
    } else {
        logger.error("Waiting for accessibility: " + accessibility.waitingReason());
        logger.info(AtspiAccessibilityService::enableInstructions());
        accessibility.setOnAccessibilityGranted(startEngine);
    }

    X11HotkeyMonitor hotkeyMonitor;
    GlobalHotkeys hotkeys(hotkeyMonitor, snippetStore, settingsStore, engine, shell);
    shell.onExpansionStateChanged = [&hotkeys] { hotkeys.update(); };
    hotkeys.update();

    shell.start();
    const int status = QApplication::exec();
    shell.onExpansionStateChanged = nullptr;
    // Background evaluations and insertions use the services above, which die when this
    // function returns: stop them before anything else.
    engine.stopForQuit();
    inserter.stopSoon();
    scripts.cancelAll();
    libraryWindow.reset();  // saves what its editor holds
    snippetStore.flush();
    settingsStore.flush();
    versions.flush();
    usage.flush();
    if (!drainBackgroundWork(mainQueue, sound, ai, logger)) {
        // Tearing the services down now would pull them from under a thread still using them;
        // the user's changes are written, and the system reclaims the rest.
        logger.error("Background work did not end in time; leaving without cleaning up");
        std::_Exit(status);
    }
    return status;
}

}  // namespace wordloom
