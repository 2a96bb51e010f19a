#include "core/expansion/ExpansionEngine.h"

#include <ctime>
#include <set>
#include <utility>

#include "core/base/Text.h"
#include "core/expansion/InsertionPlan.h"
#include "core/expansion/LatencyTrace.h"
#include "core/expansion/SmartCase.h"
#include "core/macros/InlineParameterParser.h"

namespace wordloom {

namespace {

constexpr auto notificationDelay = std::chrono::milliseconds(50);
// An image has no text; it counts as one character where it lands.
constexpr const char* objectReplacementCharacter = "\xEF\xBF\xBC";

bool takesPartInSmartCase(ContentType type) {
    return type == ContentType::plainText || type == ContentType::markdown ||
           type == ContentType::code;
}

const char* soundName(ExpansionSound sound) {
    switch (sound) {
        case ExpansionSound::click:
            return "Tink";
        case ExpansionSound::pop:
            return "Pop";
        case ExpansionSound::typewriter:
            return "Morse";
        case ExpansionSound::none:
            return nullptr;
    }
    return nullptr;
}

std::string imageType(const Bytes& bytes) {
    if (bytes.size() >= 8 && bytes[0] == 0x89 && bytes[1] == 'P' && bytes[2] == 'N') {
        return pasteboardType::png;
    }
    if (bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8)
        return "image/jpeg";
    if (bytes.size() >= 4 && (bytes[0] == 'I' || bytes[0] == 'M') && bytes[1] == bytes[0]) {
        return "image/tiff";
    }
    if (bytes.size() >= 3 && bytes[0] == 'G' && bytes[1] == 'I' && bytes[2] == 'F')
        return "image/gif";
    return pasteboardType::png;
}

PasteChord pasteChordFor(PasteShortcut shortcut) {
    switch (shortcut) {
        case PasteShortcut::shiftInsert:
            return PasteChord::shiftInsert;
        case PasteShortcut::controlShiftV:
            return PasteChord::controlShiftV;
        case PasteShortcut::controlV:
            return PasteChord::controlV;
    }
    return PasteChord::controlV;
}

std::string label(const Snippet& snippet) {
    return snippet.label.empty() ? snippet.abbreviation : snippet.label;
}

}  // namespace

ExpansionEngine::ExpansionEngine(ExpansionEngineServices services) : services_(services) {
    wireCallbacks();
}

ExpansionEngine::~ExpansionEngine() {
    *alive_ = false;
    stop();
    services_.keyboard.onKeyPress = nullptr;
    services_.keyboard.onSpecialKey = nullptr;
    services_.detector.onAbbreviationDetected = nullptr;
    services_.detector.onPendingExpansionFlushed = nullptr;
    services_.detector.onPendingExpansionChanged = nullptr;
    services_.frontmost.onApplicationActivated = nullptr;
}

void ExpansionEngine::wireCallbacks() {
    services_.keyboard.onKeyPress = [this](const std::string& text) { handleKeyPress(text); };
    services_.keyboard.onSpecialKey = [this](SpecialKey key) { handleSpecialKey(key); };

    services_.detector.onAbbreviationDetected = [this](const DetectedAbbreviation& match) {
        Request request;
        request.snippet = match.snippet;
        request.typedAbbreviation = match.typedAbbreviation;
        request.charactersToErase = text::characterCount(match.typedText);
        request.typedText = match.typedText;
        request.arguments = match.arguments;
        if (match.trigger == DetectionTrigger::delimiter) {
            // The delimiter already reached the document: erase it too and type it again after.
            request.trailingText = lastFedText_;
            request.charactersToErase += text::characterCount(lastFedText_);
        }
        beginDetected(std::move(request));
    };
    services_.detector.onPendingExpansionFlushed = [this](const SnippetRef& snippet,
                                                          const std::string& abbreviation,
                                                          const std::string& trailing) {
        Request request;
        request.snippet = snippet;
        request.typedAbbreviation = abbreviation;
        request.trailingText = trailing;
        request.charactersToErase =
            text::characterCount(abbreviation) + text::characterCount(trailing);
        request.typedText = abbreviation;
        beginDetected(std::move(request));
    };
    services_.detector.onPendingExpansionChanged = [this](bool pending) {
        if (pending) {
            // The caret may move with any click: the held match no longer ends the text.
            services_.clicks.start([this] { services_.detector.cancelPending(); });
        } else {
            services_.clicks.stop();
        }
    };
    services_.frontmost.onApplicationActivated = [this](std::optional<std::string> id) {
        endUndoChance();
        if (running_) {
            services_.detector.setCurrentAppBundleId(std::move(id));
        }
    };
}

void ExpansionEngine::start() {
    if (running_) {
        return;
    }
    running_ = true;
    services_.keyboard.start();
    services_.detector.setCurrentAppBundleId(services_.frontmost.frontmostApplicationId());
    logger_.info("Expansion engine started");
}

void ExpansionEngine::stop() {
    if (!running_) {
        return;
    }
    running_ = false;
    services_.keyboard.stop();
    services_.detector.cancelPending();
    services_.clicks.stop();
    undo_.reset();
    queued_.clear();
    services_.inserter.releaseTypedKeys();
    for (auto& [id, task] : pendingNotifications_) {
        task.cancel();
    }
    pendingNotifications_.clear();
}

void ExpansionEngine::stopForQuit() {
    quitting_ = true;
    stop();
}

void ExpansionEngine::handleKeyPress(const std::string& text) {
    // Keys typed into our own fill-in form are not the user's text. Keys typed while the
    // inserter works are (the platform already left out the keys it injected).
    if (!running_ || awaitingFillIn_) {
        return;
    }
    ++keyEvents_;
    endUndoChance();
    for (auto& waiting : queued_) {
        waiting.typedSince += text;
    }
    if (slipped_) {
        *slipped_ += text;
    }
    lastFedText_ = text;
    services_.detector.processTypedText(text);
}

void ExpansionEngine::handleSpecialKey(SpecialKey key) {
    if (!running_ || awaitingFillIn_) {
        return;
    }
    ++keyEvents_;
    if (key == SpecialKey::backspace && undoOnBackspace()) {
        return;
    }
    endUndoChance();
    switch (key) {
        case SpecialKey::space:
            handleKeyPress(" ");
            break;
        case SpecialKey::returnKey:
            handleKeyPress("\n");
            break;
        case SpecialKey::tab:
            handleKeyPress("\t");
            break;
        case SpecialKey::backspace:
            for (auto& waiting : queued_) {
                waiting.interrupted = true;
            }
            if (slipped_) {
                slippedInterrupted_ = true;
            }
            services_.detector.handleBackspace();
            break;
        default:
            for (auto& waiting : queued_) {
                waiting.interrupted = true;
            }
            if (slipped_) {
                slippedInterrupted_ = true;
            }
            services_.detector.reset();
            break;
    }
}

void ExpansionEngine::beginDetected(Request request) {
    // The abbreviation is complete: what the user types from here on belongs after the
    // expansion, so it is held from now on rather than from the first Backspace, which comes
    // a few milliseconds later, enough for a fast typist's next key to slip in before it.
    services_.inserter.holdTypedKeys();
    if (!activeSession_) {
        collectSlippedKeys();
    }
    begin(std::move(request));
}

void ExpansionEngine::collectSlippedKeys() {
    slipped_ = std::string();
    slippedInterrupted_ = false;
}

void ExpansionEngine::endUndoChance() {
    if (undo_) {
        undo_.reset();
        services_.clicks.stop();
    }
}

void ExpansionEngine::offerUndo(const Request& request) {
    const bool typedOnSince = keyEvents_ != request.keyEventsAtInsert;
    if (!request.undoable || typedOnSince ||
        !services_.settings.settings().undoExpansionWithBackspace) {
        return;
    }
    UndoChance chance;
    chance.restoredText = request.typedText + request.trailingText;
    // The user's Backspace erases the last character itself.
    chance.charactersToErase =
        request.insertedCharacters + text::characterCount(request.trailingText) - 1;
    chance.until = services_.executor.now() + undoWindow;
    undo_ = std::move(chance);
    // A click may put the caret anywhere: Backspace then no longer ends the expansion.
    services_.clicks.start([this] { endUndoChance(); });
}

bool ExpansionEngine::undoOnBackspace() {
    if (!undo_) {
        return false;
    }
    const UndoChance chance = std::move(*undo_);
    endUndoChance();
    if (activeSession_ || services_.executor.now() > chance.until) {
        return false;
    }
    logger_.info("Expansion taken back with Backspace");
    services_.inserter.holdTypedKeys();
    collectSlippedKeys();
    // The abbreviation comes back by paste, which the detector never sees: it is not expanded
    // again, and typing goes on from a clean slate.
    services_.detector.reset();
    Request request;
    request.undoing = true;
    request.snippet = lastExpandedSnippet_ ? std::make_shared<const Snippet>(*lastExpandedSnippet_)
                                           : std::make_shared<const Snippet>();
    auto plan = InsertionPlan::cut(chance.restoredText, {});
    plan.charactersToDelete = chance.charactersToErase;
    activeSession_ = Session{Uuid::random(), request.snippet};
    startInsertion(std::move(request), std::move(plan));
    return true;
}

void ExpansionEngine::expandOnRequest(const Snippet& snippet, std::vector<std::string> arguments) {
    Request request;
    request.snippet = std::make_shared<const Snippet>(snippet);
    request.arguments = std::move(arguments);
    begin(std::move(request));
}

void ExpansionEngine::copyExpansion(const Snippet& snippet, std::vector<std::string> arguments) {
    Request request;
    request.snippet = std::make_shared<const Snippet>(snippet);
    request.arguments = std::move(arguments);
    request.copyOnly = true;
    begin(std::move(request));
}

void ExpansionEngine::begin(Request request) {
    if (activeSession_) {
        // Typed while the previous expansion is still being inserted: it runs after it (and
        // after any other waiting already).
        queued_.push_back(std::move(request));
        return;
    }
    latencyTrace::mark("expansion began");
    activeSession_ = Session{Uuid::random(), request.snippet};
    const Snippet& snippet = *request.snippet;
    const AppSettings& settings = services_.settings.settings();

    EvaluationContext context;
    context.visitedAbbreviations.insert(snippet.abbreviation);
    context.clock = &services_.executor;
    context.javaScriptRunner = services_.javaScriptRunner;
    context.aiService = services_.aiService;
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    // Nested snippets are read without waiting for the main queue, which may be busy.
    context.findSnippet = services_.library.nestedSnippetLookup();
    // Only what the content asks for is read from other applications.
    const std::string lowered = text::lowercased(snippet.content);
    // The clipboard is read on the evaluating thread: its owner may take its time.
    request.captureClipboard = lowered.find("{{clipboard") != std::string::npos ||
                               snippet.contentType == ContentType::javaScript;
    if (lowered.find("{{selectedtext") != std::string::npos) {
        context.capturedSelectedText = services_.accessibility.selectedText();
    }

    if (snippet.contentType == ContentType::image) {
        const auto bytes = services_.library.imageData(snippet);
        if (!bytes) {
            logger_.error("The image of \u201c" + label(snippet) + "\u201d is missing");
            finish(request, false);
            return;
        }
        try {
            imageFormats_ = services_.pasteboard.withPlatformRepresentations(
                {{imageType(*bytes), std::string(bytes->begin(), bytes->end())}});
        } catch (const PasteboardFormatError& error) {
            logger_.error("The image of \u201c" + label(snippet) +
                          "\u201d cannot be pasted: " + error.what());
            finish(request, false);
            return;
        }
        MacroEvaluationResult result;
        result.expandedContent = objectReplacementCharacter;
        evaluated(std::move(request), std::move(context), std::move(result));
        return;
    }
    if (snippet.contentType == ContentType::richText) {
        MacroEvaluationResult result;
        result.expandedContent = snippet.content;
        evaluated(std::move(request), std::move(context), std::move(result));
        return;
    }
    if (takesPartInSmartCase(snippet.contentType) && settings.smartCaseEnabled &&
        snippet.caseSensitivity == CaseSensitivity::autoDetect &&
        !request.typedAbbreviation.empty()) {
        request.content = applyCasePattern(
            snippet.content, casePattern(request.typedAbbreviation, snippet.abbreviation));
    } else {
        request.content = snippet.content;
    }
    evaluate(std::move(request), std::move(context));
}

void ExpansionEngine::evaluate(Request request, EvaluationContext context) {
    if (request.snippet->contentType != ContentType::javaScript &&
        request.content.find("{{") == std::string::npos) {
        // Without a macro the evaluation takes microseconds and asks nothing of other threads
        // or programs: done here, it spares the expansion two thread hops.
        auto result = services_.evaluator.evaluate(request.content, context);
        evaluated(std::move(request), std::move(context), std::move(result));
        return;
    }
    services_.executor.runInBackground([this, alive = alive_, request = std::move(request),
                                        context = std::move(context)]() mutable {
        latencyTrace::mark("evaluation started");
        if (std::exchange(request.captureClipboard, false)) {
            context.capturedClipboard = services_.pasteboard.plainText();
        }
        MacroEvaluationResult result;
        if (request.snippet->contentType == ContentType::javaScript) {
            if (context.javaScriptRunner) {
                const auto run = context.javaScriptRunner->execute(
                    request.content, context.fillInValues, context.capturedClipboard.value_or(""));
                result.expandedContent =
                    run.error ? "[JS Error: " + run.error->description() + "]" : run.output;
            } else {
                result.expandedContent = "[JS Error: JavaScript runner is not available]";
            }
        } else {
            result = services_.evaluator.evaluate(request.content, context);
        }
        services_.executor.post([this, alive, request = std::move(request),
                                 context = std::move(context),
                                 result = std::move(result)]() mutable {
            if (*alive) {
                evaluated(std::move(request), std::move(context), std::move(result));
            }
        });
    });
}

void ExpansionEngine::evaluated(Request request, EvaluationContext context,
                                MacroEvaluationResult result) {
    latencyTrace::mark("evaluated");
    if (!result.macroErrors.empty()) {
        std::string errors;
        for (const auto& error : result.macroErrors) {
            errors += (errors.empty() ? "" : "; ") + error;
        }
        logger_.error(std::to_string(result.macroErrors.size()) + " macros failed: " + errors);
    }
    if (!result.fillInFields.empty() && !request.fillInCollected) {
        request.fillInCollected = true;
        context.fillInValues = InlineParameterParser::bind(result.fillInFields, request.arguments);
        std::set<std::string> unbound;
        auto fields = result.fillInFields;
        for (auto& field : fields) {
            if (const auto bound = context.fillInValues.find(field.valueKey);
                bound != context.fillInValues.end()) {
                field.value = bound->second;
            } else {
                unbound.insert(field.valueKey);
            }
        }
        if (unbound.empty()) {
            evaluate(std::move(request), std::move(context));
            return;
        }
        const std::string title = label(*request.snippet);
        // The user types into the form now.
        services_.inserter.releaseTypedKeys();
        awaitingFillIn_ = true;
        services_.fillInForm.present(
            title, fields,
            [this, alive = alive_, request,
             context](std::optional<std::vector<FillInField>> values) mutable {
                if (!*alive) {
                    return;
                }
                awaitingFillIn_ = false;
                services_.detector.reset();
                if (!values) {
                    logger_.info("Fill-in form cancelled; the typed text stays");
                    finish(request, false);
                    return;
                }
                for (const auto& field : *values) {
                    context.fillInValues[field.valueKey] = field.value;
                }
                evaluate(std::move(request), std::move(context));
            });
        return;
    }
    if (request.copyOnly) {
        auto formats = formatsFor(request, result);
        if (formats.empty()) {
            formats = {{pasteboardType::plainTextUtf8, result.expandedContent},
                       {pasteboardType::plainText, result.expandedContent}};
        }
        services_.pasteboard.write(PasteboardSelection::clipboard, formats);
        scheduleNotification(NotificationKind::copy, *request.snippet);
        finish(request, false);
        return;
    }
    if (quitting_) {
        finish(request, false);
        return;
    }
    insert(request, result);
}

std::vector<PasteboardItem> ExpansionEngine::formatsFor(const Request& request,
                                                        const MacroEvaluationResult& result) {
    const Snippet& snippet = *request.snippet;
    if (snippet.contentType == ContentType::image) {
        return imageFormats_;
    }
    if (snippet.contentType == ContentType::richText && snippet.richTextData) {
        const std::string rtf(snippet.richTextData->begin(), snippet.richTextData->end());
        std::vector<PasteboardItem> formats = {
            {pasteboardType::rtf, rtf},
            {"application/rtf", rtf},
            {pasteboardType::plainTextUtf8, result.expandedContent},
            {pasteboardType::plainText, result.expandedContent}};
        try {
            return services_.pasteboard.withPlatformRepresentations(formats);
        } catch (const PasteboardFormatError& error) {
            logger_.error(std::string("Pasting the rich text without its other forms: ") +
                          error.what());
            return formats;
        }
    }
    return {};
}

void ExpansionEngine::insert(const Request& request, const MacroEvaluationResult& result) {
    std::vector<PlannedKeystroke> keystrokes;
    for (const auto& keystroke : result.keystrokes) {
        keystrokes.push_back({keystroke.position, virtualKeyCode(keystroke.key)});
    }
    auto plan = InsertionPlan::cut(result.expandedContent, keystrokes);
    plan.charactersToDelete = request.charactersToErase;
    plan.caretPosition = result.cursorPosition;
    const auto formats = formatsFor(request, result);
    if (!formats.empty() && plan.segments.size() == 1) {
        plan.segments.front().formats = formats;
    }
    plan.appendTrailingText(request.trailingText);

    auto inserting = request;
    inserting.insertedCharacters = text::characterCount(result.expandedContent);
    // Taking an expansion back erases what it inserted and pastes what was typed: only sound
    // when it pressed no key and left the caret at its end.
    const auto type = request.snippet->contentType;
    inserting.undoable =
        !request.typedText.empty() && result.keystrokes.empty() && type != ContentType::richText &&
        inserting.insertedCharacters > 0 &&
        (!result.cursorPosition || *result.cursorPosition >= inserting.insertedCharacters);
    startInsertion(std::move(inserting), std::move(plan));
}

void ExpansionEngine::startInsertion(Request request, InsertionPlan plan) {
    if (const auto shortcut = pasteShortcutOverride(services_.settings.settings(),
                                                    services_.frontmost.frontmostApplicationId())) {
        plan.pasteChord = pasteChordFor(*shortcut);
    }
    request.keyEventsAtInsert = keyEvents_;
    if (slipped_) {
        // Asked on the main queue, once the keyboard is held: a key typed right after the
        // abbreviation may have reached the document before the hold, and the keyboard
        // monitor may not have reported it yet.
        plan.typedMeanwhile = [this, alive = alive_]() -> std::optional<std::string> {
            if (!*alive || !slipped_) {
                return std::string();
            }
            services_.keyboard.processPendingKeys();
            auto typed = std::move(*slipped_);
            const bool interrupted = slippedInterrupted_;
            slipped_.reset();
            if (interrupted) {
                return std::nullopt;
            }
            return typed;
        };
    }
    services_.executor.runInBackground(
        [this, alive = alive_, request = std::move(request), plan = std::move(plan)] {
            latencyTrace::mark("insertion started");
            const bool inserted = services_.inserter.insert(plan);
            services_.executor.post([this, alive, request, inserted] {
                if (*alive) {
                    finish(request, inserted);
                }
            });
        });
}

void ExpansionEngine::finish(const Request& request, bool inserted) {
    activeSession_.reset();
    slipped_.reset();
    imageFormats_.clear();
    logger_.debug(inserted ? "Expansion finished" : "Expansion ended without inserting");
    if (request.undoing) {
        services_.detector.reset();
    } else if (inserted) {
        offerUndo(request);
        recordSuccess(*request.snippet, NotificationKind::expansion);
        if (onExpansionRecorded) {
            // The delimiter is erased and typed again after the expansion: not the user's saving.
            const auto delimiter = text::characterCount(request.trailingText);
            onExpansionRecorded(
                *request.snippet,
                request.charactersToErase - std::min(delimiter, request.charactersToErase),
                request.insertedCharacters);
        }
    }
    if (onExpansionFinished && !request.undoing) {
        onExpansionFinished(inserted);
    }
    while (!queued_.empty()) {
        auto next = std::move(queued_.front());
        queued_.pop_front();
        if (!next.interrupted && running_) {
            // What was typed after the abbreviation is in the document after it: erased with
            // it and typed again after the expansion, as a delimiter is.
            next.charactersToErase += text::characterCount(next.typedSince);
            next.trailingText += next.typedSince;
            collectSlippedKeys();
            begin(std::move(next));
            return;
        }
        logger_.info("\u201c" + next.snippet->abbreviation +
                     "\u201d was not expanded: other keys were pressed after it");
    }
    services_.inserter.releaseTypedKeys();
}

std::string ExpansionEngine::todayString() const {
    const std::time_t now = std::chrono::system_clock::to_time_t(services_.executor.now());
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[16];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d", &local);
    return buffer;
}

void ExpansionEngine::recordSuccess(const Snippet& snippet, NotificationKind kind) {
    services_.library.recordUse(snippet.id);
    lastExpandedSnippet_ = snippet;
    ++expansionCount_;
    const auto today = todayString();
    if (today != dailyCountDate_) {
        dailyCountDate_ = today;
        dailyExpansionCount_ = 0;
    }
    ++dailyExpansionCount_;
    if (const char* sound = soundName(services_.settings.settings().expansionSound)) {
        services_.sound.play(sound);
    }
    scheduleNotification(kind, snippet);
}

void ExpansionEngine::scheduleNotification(NotificationKind kind, const Snippet& snippet) {
    const auto style = services_.settings.settings().notificationStyle;
    if (style == NotificationStyle::none) {
        return;
    }
    const Uuid id = Uuid::random();
    pendingNotifications_[id] = services_.executor.postAfter(
        notificationDelay, [this, alive = alive_, id, kind, style, title = label(snippet)] {
            if (!*alive) {
                return;
            }
            pendingNotifications_.erase(id);
            services_.notifications.show(kind, title, style == NotificationStyle::popup);
        });
}

}  // namespace wordloom
