#include "core/expansion/TextInserter.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "core/base/Log.h"
#include "core/base/Text.h"
#include "core/expansion/LatencyTrace.h"

namespace wordloom {

namespace {

const Logger& logger() {
    static const Logger instance("TextInserter");
    return instance;
}

std::vector<PasteboardItem> plainTextItems(const std::string& text) {
    return {{pasteboardType::plainTextUtf8, text}, {pasteboardType::plainText, text}};
}

}  // namespace

/// The pasteboard state of one insertion sequence, per selection: what the user had, whether
/// it was saved, and the change count of our own latest write. Touched only on the main queue;
/// the user's contents are read on the inserter's thread and handed in with the write.
class TextInserter::Session {
  public:
    using Saved = std::vector<std::pair<PasteboardSelection, std::optional<PasteboardSnapshot>>>;

    Session(Pasteboard& pasteboard, PasteChord chord) : pasteboard_(pasteboard) {
        selections_.push_back({PasteboardSelection::clipboard});
        if (chord == PasteChord::shiftInsert) {
            selections_.push_back({PasteboardSelection::primary});
        }
    }

    /// The selections whose contents are not ours and must be read before the next write.
    std::vector<PasteboardSelection> selectionsToSave() {
        std::vector<PasteboardSelection> selections;
        for (const auto& state : selections_) {
            if (!holdsOurs(state)) {
                selections.push_back(state.selection);
            }
        }
        return selections;
    }

    /// Every selection we may paste from, before anything of ours was written.
    std::vector<PasteboardSelection> allSelections() const {
        std::vector<PasteboardSelection> selections;
        for (const auto& state : selections_) {
            selections.push_back(state.selection);
        }
        return selections;
    }

    /// Writes one segment, keeping `saved` as the user's contents of the selections that did
    /// not hold our previous segment, so a later segment is never mistaken for the user's
    /// contents. True when every selection holds what was just written.
    bool writeSegment(const InsertionSegment& segment, const Saved& saved) {
        const auto items = segment.formats.empty() ? plainTextItems(segment.text) : segment.formats;
        for (auto& state : selections_) {
            if (!holdsOurs(state)) {
                for (const auto& [selection, contents] : saved) {
                    if (selection == state.selection) {
                        state.saved = contents;
                        state.snapshotTaken = true;
                    }
                }
            }
            state.ownChangeCount = pasteboard_.write(state.selection, items);
        }
        return holdsOurs();
    }

    /// True when no one wrote to any selection since our latest write: a paste now pastes ours.
    bool holdsOurs() {
        for (const auto& state : selections_) {
            if (!holdsOurs(state)) {
                return false;
            }
        }
        return true;
    }

    /// Puts the saved contents back, unless someone wrote after us: their contents win.
    void restore() {
        for (auto& state : selections_) {
            if (!state.snapshotTaken || !state.ownChangeCount) {
                continue;
            }
            if (pasteboard_.changeCount(state.selection) != *state.ownChangeCount) {
                logger().debug("Pasteboard changed during the insertion; keeping the new contents");
                continue;
            }
            pasteboard_.write(state.selection, state.saved.value_or(PasteboardSnapshot{}));
        }
    }

  private:
    struct SelectionState {
        PasteboardSelection selection;
        std::optional<PasteboardSnapshot> saved;
        bool snapshotTaken = false;
        std::optional<std::uint64_t> ownChangeCount;
    };

    bool holdsOurs(const SelectionState& state) {
        return state.ownChangeCount &&
               pasteboard_.changeCount(state.selection) == *state.ownChangeCount;
    }

    Pasteboard& pasteboard_;
    std::vector<SelectionState> selections_;
};

TextInserter::TextInserter(Pasteboard& pasteboard, KeyInjector& keys,
                           AccessibilityService& accessibility, MainQueueHop& mainQueue,
                           Sleeper& sleeper)
    : TextInserter(pasteboard, keys, accessibility, mainQueue, sleeper, Timing()) {}

TextInserter::TextInserter(Pasteboard& pasteboard, KeyInjector& keys,
                           AccessibilityService& accessibility, MainQueueHop& mainQueue,
                           Sleeper& sleeper, Timing timing)
    : pasteboard_(pasteboard),
      keys_(keys),
      accessibility_(accessibility),
      mainQueue_(mainQueue),
      sleeper_(sleeper),
      timing_(timing) {}

std::int64_t TextInserter::inFlightDepth() const {
    std::lock_guard lock(depthLock_);
    return inFlightDepth_;
}

void TextInserter::enter() {
    std::lock_guard lock(depthLock_);
    if (inFlightDepth_ == std::numeric_limits<std::int64_t>::max()) {
        logger().error("inFlightDepth overflow");
        std::abort();
    }
    ++inFlightDepth_;
}

void TextInserter::leave() {
    std::lock_guard lock(depthLock_);
    if (inFlightDepth_ == 0) {
        logger().error("inFlightDepth underflow");
        std::abort();
    }
    --inFlightDepth_;
}

bool TextInserter::holdTypedKeys() {
    return keys_.holdTypedKeys(timing_.typingHoldLimit);
}

void TextInserter::releaseTypedKeys() {
    keys_.releaseTypedKeys();
}

void TextInserter::pressKey(VirtualKeyCode key) {
    if (!keys_.postKey(key, true)) {
        return;
    }
    sleeper_.sleep(timing_.keyHold);
    keys_.postKey(key, false);
    sleeper_.sleep(timing_.afterKey);
}

void TextInserter::deleteCharacters(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        pressKey(virtualKey::backspace);
    }
}

bool TextInserter::paste(PasteChord chord) {
    sleeper_.sleep(timing_.beforePaste);
    if (!keys_.postPasteChord(chord, true)) {
        logger().error("Could not post the paste keystroke");
        return false;
    }
    latencyTrace::mark("paste keystroke down");
    sleeper_.sleep(timing_.pasteHold);
    const bool released = keys_.postPasteChord(chord, false);
    sleeper_.sleep(timing_.afterPaste);
    return released;
}

bool TextInserter::moveCaretWithAccessibility(std::size_t distance, std::string_view insertedText) {
    const auto characters = text::splitCharacters(insertedText);
    if (distance > characters.size()) {
        return false;
    }
    // The accessibility layer counts code points, not user-perceived characters.
    std::size_t codePoints = 0;
    for (std::size_t i = characters.size() - distance; i < characters.size(); ++i) {
        codePoints += text::toCodePoints(characters[i]).size();
    }
    bool placed = false;
    const bool hopped = mainQueue_.run([&] {
        const auto caret = accessibility_.caretOffset();
        if (caret && *caret >= codePoints) {
            placed = accessibility_.setCaretOffset(*caret - codePoints);
        }
    }) == HopOutcome::ran;
    return hopped && placed;
}

void TextInserter::moveCaretLeft(std::size_t distance, std::string_view insertedText) {
    if (distance < 1) {
        return;
    }
    if (distance > accessibilityCaretThreshold &&
        moveCaretWithAccessibility(distance, insertedText)) {
        return;
    }
    for (std::size_t i = 0; i < distance; ++i) {
        pressKey(virtualKey::left);
    }
}

TextInserter::Session::Saved TextInserter::readContents(
    const std::vector<PasteboardSelection>& selections) {
    Session::Saved saved;
    for (const auto selection : selections) {
        saved.emplace_back(selection, pasteboard_.snapshot(selection));
    }
    return saved;
}

bool TextInserter::writeLaterSegment(Session& session, const InsertionSegment& segment) {
    std::vector<PasteboardSelection> toSave;
    if (mainQueue_.run([&] { toSave = session.selectionsToSave(); }) != HopOutcome::ran) {
        return false;
    }
    const auto saved = readContents(toSave);
    bool ours = false;
    return mainQueue_.run([&] { ours = session.writeSegment(segment, saved); }) ==
               HopOutcome::ran &&
           ours;
}

bool TextInserter::insert(const InsertionPlan& requested) {
    if (stopping_.load()) {
        keys_.releaseTypedKeys();
        return false;
    }
    enter();
    std::lock_guard sequenceLock(expansionLock_);
    struct Exit {
        TextInserter& inserter;
        ~Exit() {
            inserter.keys_.endInjection();
            inserter.leave();
        }
    } exit{*this};

    if (!keys_.beginInjection(timing_.keyReleaseLimit)) {
        logger().info("Keys still held after waiting; inserting anyway");
    }
    latencyTrace::mark("keys released");
    const PasteChord chord = requested.pasteChord.value_or(keys_.pasteChordForFocusedApplication());
    latencyTrace::mark("paste chord chosen");
    Session session(pasteboard_, chord);

    // Held from here on, a key the user types cannot land in the middle of ours.
    keys_.holdTypedKeys(timing_.typingHoldLimit);
    InsertionPlan plan = requested;
    const InsertionSegment* firstText = nullptr;
    const auto findFirstText = [&] {
        firstText = nullptr;
        for (const auto& segment : plan.segments) {
            if (!segment.text.empty()) {
                firstText = &segment;
                break;
            }
        }
    };
    findFirstText();
    if (firstText) {
        // Read off the main queue: a slow owner holds up this thread, never key handling.
        const auto saved = readContents(session.allSelections());
        bool ours = false;
        bool typedOver = false;
        const auto outcome = mainQueue_.run([&] {
            if (plan.typedMeanwhile) {
                // Keys typed before the hold began are in the document after the abbreviation.
                const auto typed = plan.typedMeanwhile();
                if (!typed) {
                    typedOver = true;
                    return;
                }
                plan.charactersToDelete += text::characterCount(*typed);
                plan.appendTrailingText(*typed);
                findFirstText();
            }
            latencyTrace::mark("clipboard write began");
            ours = session.writeSegment(*firstText, saved);
        });
        if (typedOver) {
            logger().info("Other keys were pressed after the abbreviation; nothing was inserted");
            keys_.releaseTypedKeys();
            return false;
        }
        if (outcome != HopOutcome::ran || !ours) {
            logger().error(outcome == HopOutcome::cancelled
                               ? "Main queue busy; expansion abandoned before changing anything"
                               : "Could not put the expansion on the clipboard; nothing changed");
            if (outcome == HopOutcome::ran) {
                mainQueue_.run([&] { session.restore(); });
            }
            keys_.releaseTypedKeys();
            return false;
        }
    }

    latencyTrace::mark("first segment on the clipboard");
    bool typingReleased = false;
    const auto releaseTyping = [&] {
        if (typingReleased) {
            return;
        }
        typingReleased = true;
        if (firstText) {
            // The target may fetch the paste after handling keys that came after it.
            pasteboard_.waitUntilRead(timing_.typingHoldReadQuiet,
                                      std::min(timing_.readLimit, timing_.typingHoldLimit));
        }
        keys_.releaseTypedKeys();
    };
    std::size_t totalCharacters = 0;
    for (const auto& segment : plan.segments) {
        totalCharacters += text::characterCount(segment.text);
    }
    const bool caretMoves = plan.caretPosition && *plan.caretPosition < totalCharacters;

    deleteCharacters(plan.charactersToDelete);
    latencyTrace::mark("abbreviation erased");
    sleeper_.sleep(timing_.beforeSegments);

    bool succeeded = true;
    bool caretPlaced = false;
    std::size_t inserted = 0;
    std::string insertedText;
    for (std::size_t index = 0; index < plan.segments.size(); ++index) {
        const auto& segment = plan.segments[index];
        // Once the abbreviation is erased its replacement begins, whatever happens.
        if (stopping_.load() && inserted > 0) {
            logger().info("Quitting: expansion stopped after a partial insertion");
            succeeded = false;
            break;
        }
        if (!segment.text.empty()) {
            if (&segment != firstText && !writeLaterSegment(session, segment)) {
                logger().error(
                    "Expansion stopped after a partial insertion: the next part "
                    "could not be put on the clipboard");
                succeeded = false;
                break;
            }
            // The user, or a program, may have copied since our write: never paste theirs.
            bool ours = false;
            if (mainQueue_.run([&] { ours = session.holdsOurs(); }) != HopOutcome::ran || !ours) {
                logger().error("The clipboard no longer holds the expansion; not pasting");
                succeeded = false;
                break;
            }
            succeeded = paste(chord) && succeeded;
            const bool last = index + 1 == plan.segments.size();
            if (last && segment.keysAfter.empty() && !caretMoves) {
                releaseTyping();
            }
            sleeper_.sleep(last ? timing_.afterLastSegment : timing_.afterMiddleSegment);
            if (!last) {
                // The next write replaces what the target may not have fetched yet.
                pasteboard_.waitUntilRead(timing_.readQuiet, timing_.readLimit);
            }
            inserted += text::characterCount(segment.text);
            insertedText += segment.text;
        }
        if (!caretPlaced && plan.caretPosition && *plan.caretPosition <= inserted &&
            !segment.text.empty()) {
            moveCaretLeft(inserted - *plan.caretPosition, insertedText);
            caretPlaced = true;
        }
        for (const VirtualKeyCode key : segment.keysAfter) {
            pressKey(key);
        }
    }

    releaseTyping();
    if (firstText) {
        pasteboard_.waitUntilRead(timing_.readQuiet, timing_.readLimit);
        succeeded = mainQueue_.run([&] { session.restore(); }) == HopOutcome::ran && succeeded;
        latencyTrace::mark("clipboard restored");
    }
    return succeeded;
}

}  // namespace wordloom
