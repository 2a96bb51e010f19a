#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Log.h"
#include "core/base/Uuid.h"
#include "core/expansion/AbbreviationDetector.h"
#include "core/expansion/AccessibilityService.h"
#include "core/expansion/DesktopServices.h"
#include "core/expansion/ExpansionLibrary.h"
#include "core/expansion/InsertionPlan.h"
#include "core/expansion/KeyboardMonitor.h"
#include "core/expansion/Pasteboard.h"
#include "core/expansion/TextInserter.h"
#include "core/macros/MacroEvaluator.h"

namespace wordloom {

/// The services the engine conducts. All outlive it.
struct ExpansionEngineServices {
    Executor& executor;
    AccessibilityService& accessibility;
    KeyboardMonitor& keyboard;
    AbbreviationDetector& detector;
    TextInserter& inserter;
    ExpansionLibrary& library;
    const SettingsSource& settings;
    const MacroEvaluator& evaluator;
    Pasteboard& pasteboard;
    FrontmostApplicationMonitor& frontmost;
    MouseClickMonitor& clicks;
    SoundPlayer& sound;
    NotificationPresenter& notifications;
    FillInFormPresenter& fillInForm;
    JavaScriptExecuting* javaScriptRunner = nullptr;
    AITextGenerating* aiService = nullptr;
};

/// The conductor of expansion: feeds typed keys to the detector, and for each detected
/// snippet adapts its case, evaluates its macros (asking for fill-in values when it has
/// fields), has the inserter replace the typed abbreviation in the focused application, then
/// counts the use and plays the sound and notification the settings ask for.
///
/// Lives on the main queue; evaluation and insertion run in the background. One expansion at a
/// time: a snippet detected while another is being inserted runs right after it, and text typed
/// after its abbreviation meanwhile is erased with it and typed again after its expansion; a
/// Backspace or another special key in between drops it, and the typed text stays.
class ExpansionEngine {
  public:
    explicit ExpansionEngine(ExpansionEngineServices services);
    ~ExpansionEngine();
    ExpansionEngine(const ExpansionEngine&) = delete;
    ExpansionEngine& operator=(const ExpansionEngine&) = delete;

    void start();
    void stop();
    /// Quitting: stops, and lets no evaluation still running start an insertion.
    void stopForQuit();
    bool isRunning() const { return running_; }

    /// Expands `snippet` at the caret without erasing anything (quick search, hotkeys, links).
    /// `arguments` fill its fields as inline arguments typed after the abbreviation would.
    void expandOnRequest(const Snippet& snippet, std::vector<std::string> arguments = {});
    /// Evaluates `snippet` and puts the result on the clipboard instead of inserting it.
    void copyExpansion(const Snippet& snippet, std::vector<std::string> arguments = {});

    const std::optional<Snippet>& lastExpandedSnippet() const { return lastExpandedSnippet_; }
    std::int64_t expansionCount() const { return expansionCount_; }
    std::int64_t dailyExpansionCount() const { return dailyExpansionCount_; }
    const std::string& dailyCountDate() const { return dailyCountDate_; }
    bool hasActiveExpansion() const { return activeSession_.has_value(); }
    std::size_t pendingNotificationCount() const { return pendingNotifications_.size(); }
    /// Whether Backspace now would take the last expansion back.
    bool canUndoExpansion() const { return undo_.has_value(); }

    /// How long after an expansion Backspace takes it back.
    static constexpr std::chrono::seconds undoWindow{3};

    /// Called on the main queue after every expansion attempt ends (true: inserted).
    std::function<void(bool)> onExpansionFinished;
    /// Called on the main queue for every expansion inserted, with the characters the user had
    /// typed for it (erased) and the characters it inserted: what usage statistics count.
    std::function<void(const Snippet&, std::size_t typed, std::size_t inserted)>
        onExpansionRecorded;

  private:
    struct Request {
        SnippetRef snippet;
        std::string typedAbbreviation;
        std::size_t charactersToErase = 0;
        std::string trailingText;
        std::vector<std::string> arguments;
        bool copyOnly = false;
        /// The content to evaluate, case already adapted.
        std::string content;
        bool fillInCollected = false;
        /// Read the clipboard's text before evaluating (once, on the evaluating thread).
        bool captureClipboard = false;
        /// Text typed after the abbreviation while the request waited for another expansion.
        std::string typedSince;
        /// A key other than text came while it waited: the abbreviation may be gone.
        bool interrupted = false;
        /// Characters of the expanded text, once evaluated.
        std::size_t insertedCharacters = 0;
        /// The characters erased for the abbreviation, as typed (before the delimiter).
        std::string typedText;
        /// Puts an undone expansion's abbreviation back: nothing is recorded.
        bool undoing = false;
        /// The insertion pressed no key and left the caret at its end: Backspace may undo it.
        bool undoable = false;
        /// keyEvents_ when the insertion started.
        std::uint64_t keyEventsAtInsert = 0;
    };
    /// What Backspace would take back: the expansion (and delimiter) just inserted.
    struct UndoChance {
        std::string restoredText;
        /// Characters to erase once the user's own Backspace has erased the last one.
        std::size_t charactersToErase = 0;
        Timestamp until;
    };
    struct Session {
        Uuid id;
        SnippetRef snippet;
    };

    void wireCallbacks();
    void handleKeyPress(const std::string& text);
    void handleSpecialKey(SpecialKey key);
    /// An expansion is coming for what was just typed: hold what is typed next.
    void beginDetected(Request request);
    bool undoOnBackspace();
    void endUndoChance();
    void offerUndo(const Request& request);
    /// From now on, notes what is typed until the insertion takes it (typedMeanwhile).
    void collectSlippedKeys();
    void begin(Request request);
    void evaluate(Request request, EvaluationContext context);
    void evaluated(Request request, EvaluationContext context, MacroEvaluationResult result);
    void insert(const Request& request, const MacroEvaluationResult& result);
    void startInsertion(Request request, InsertionPlan plan);
    void finish(const Request& request, bool inserted);
    std::vector<PasteboardItem> formatsFor(const Request& request,
                                           const MacroEvaluationResult& result);
    void recordSuccess(const Snippet& snippet, NotificationKind kind);
    void scheduleNotification(NotificationKind kind, const Snippet& snippet);
    std::string todayString() const;

    ExpansionEngineServices services_;
    Logger logger_{"ExpansionEngine"};
    bool running_ = false;
    bool quitting_ = false;
    std::optional<Snippet> lastExpandedSnippet_;
    std::int64_t expansionCount_ = 0;
    std::int64_t dailyExpansionCount_ = 0;
    std::string dailyCountDate_;
    std::optional<Session> activeSession_;
    bool awaitingFillIn_ = false;
    std::deque<Request> queued_;
    // Every key the monitor reported, special keys included.
    std::uint64_t keyEvents_ = 0;
    std::optional<UndoChance> undo_;
    // Text fed since the active expansion's abbreviation, until its insertion asks for it;
    // nullopt when not collecting. slippedInterrupted_: a key other than text came meanwhile.
    std::optional<std::string> slipped_;
    bool slippedInterrupted_ = false;
    // The text last handed to the detector: the delimiter, when a delimiter fired a match.
    std::string lastFedText_;
    // The image snippet being expanded, in every form it is offered in.
    std::vector<PasteboardItem> imageFormats_;
    std::map<Uuid, ScheduledTask> pendingNotifications_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
