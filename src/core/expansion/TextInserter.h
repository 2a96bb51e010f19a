#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/expansion/AccessibilityService.h"
#include "core/expansion/InsertionPlan.h"
#include "core/expansion/KeyInjector.h"
#include "core/expansion/MainHopGate.h"
#include "core/expansion/Pasteboard.h"
#include "core/expansion/Sleeper.h"

namespace wordloom {

/// The one place where Wordloom changes text in another application. Text always travels
/// through the pasteboard and a synthetic paste; everything else is synthetic key presses
/// (Backspace for the abbreviation, named keys for keystroke actions, Left for the caret).
/// The user's pasteboard is saved before the first write and put back afterwards unless
/// somebody wrote to it in the meantime.
///
/// insert() runs on a background thread and blocks it for the whole sequence. The user's
/// contents are read on that thread; every other pasteboard and accessibility call hops to the
/// main queue, and a hop that does not run to its end (not taken within half a second, or
/// failed) ends the sequence. The paste keystroke is sent only right after checking that the
/// pasteboard still holds our text.
class TextInserter {
  public:
    struct Timing {
        Duration keyHold = std::chrono::milliseconds(5);
        Duration afterKey = std::chrono::milliseconds(1);
        Duration beforeSegments = std::chrono::milliseconds(5);
        Duration beforePaste = std::chrono::milliseconds(5);
        Duration pasteHold = std::chrono::milliseconds(10);
        Duration afterPaste = std::chrono::milliseconds(30);
        Duration afterMiddleSegment = std::chrono::milliseconds(100);
        Duration afterLastSegment = std::chrono::milliseconds(250);
        /// Before the next segment's write and before the restore, until the target has read
        /// the pasteboard: this long without another read...
        Duration readQuiet = std::chrono::milliseconds(50);
        /// ...but never longer than this.
        Duration readLimit = std::chrono::seconds(2);
        /// How long to wait for the user to let go of keys before injecting.
        Duration keyReleaseLimit = std::chrono::seconds(1);
        /// The longest the user's typing is held back while we type: past it, held keys go
        /// through even if the sequence is not done (a stopped target, a slow main queue).
        Duration typingHoldLimit = std::chrono::seconds(1);
        /// Held keys are let go once the target has read the last paste and this passed
        /// without another read (the read is noted just before the data is sent).
        Duration typingHoldReadQuiet = std::chrono::milliseconds(10);
    };

    /// Above this distance the caret is placed through accessibility, when the focused
    /// element allows it, instead of by that many Left presses.
    static constexpr std::size_t accessibilityCaretThreshold = 500;

    TextInserter(Pasteboard& pasteboard, KeyInjector& keys, AccessibilityService& accessibility,
                 MainQueueHop& mainQueue, Sleeper& sleeper);
    TextInserter(Pasteboard& pasteboard, KeyInjector& keys, AccessibilityService& accessibility,
                 MainQueueHop& mainQueue, Sleeper& sleeper, Timing timing);

    /// The whole sequence for one expansion: save the pasteboard and put the first segment on
    /// it, erase the typed characters, paste each segment with its keys after it, place the
    /// caret, restore the pasteboard. Returns false when a main-queue hop did not run (before the
    /// first Backspace that means nothing was changed), our text could not be put on or kept
    /// on the pasteboard, or a paste could not be posted.
    /// Sequences never interleave; a nested call from the same thread does not dead-lock.
    bool insert(const InsertionPlan& plan);

    /// Posts one key press (down, hold, up) with no modifiers.
    void pressKey(VirtualKeyCode key);
    void deleteCharacters(std::size_t count);

    /// Quitting: a sequence in progress stops after the paste under way and puts the user's
    /// pasteboard back; later sequences do nothing. Any thread.
    void stopSoon() { stopping_.store(true); }

    /// Starts holding what the user types, as insert() does before its first key; callable
    /// from any thread as soon as an expansion is known to come, so that nothing typed after
    /// the abbreviation reaches the application before the expansion. insert() lets it go.
    bool holdTypedKeys();
    /// Lets held keys go, for an expansion that ends without insert().
    void releaseTypedKeys();

    /// Number of insertion sequences in progress, readable from any thread.
    std::int64_t inFlightDepth() const;

  private:
    class Session;

    /// What each selection holds now, read on the calling (background) thread.
    std::vector<std::pair<PasteboardSelection, std::optional<PasteboardSnapshot>>> readContents(
        const std::vector<PasteboardSelection>& selections);
    /// Saves what is not ours and writes `segment`; true when the clipboard then holds it.
    bool writeLaterSegment(Session& session, const InsertionSegment& segment);
    bool paste(PasteChord chord);
    void moveCaretLeft(std::size_t distance, std::string_view insertedText);
    bool moveCaretWithAccessibility(std::size_t distance, std::string_view insertedText);
    void enter();
    void leave();

    Pasteboard& pasteboard_;
    KeyInjector& keys_;
    AccessibilityService& accessibility_;
    MainQueueHop& mainQueue_;
    Sleeper& sleeper_;
    Timing timing_;

    std::atomic<bool> stopping_{false};
    std::recursive_mutex expansionLock_;
    mutable std::mutex depthLock_;
    std::int64_t inFlightDepth_ = 0;
};

}  // namespace wordloom
