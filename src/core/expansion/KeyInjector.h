#pragma once

#include "core/base/Executor.h"
#include "core/expansion/VirtualKey.h"

namespace wordloom {

/// How the focused application is told to paste.
enum class PasteChord {
    controlV,       ///< most applications
    shiftInsert,    ///< terminals: pastes the primary selection, which is then ours as well
    controlShiftV,  ///< terminals set to paste the clipboard with Control+Shift+V
};

/// Synthetic key events for the focused application. Called from the inserter's background
/// thread; one key event per call, the inserter owns the timing between them.
class KeyInjector {
  public:
    virtual ~KeyInjector() = default;

    /// Called before an insertion sends its first key: waits (at most `limit`) until the user
    /// has released every modifier key, Shift included, so that none of them modifies ours.
    /// Returns false when one was still held at the deadline (the insertion goes on regardless).
    virtual bool beginInjection(Duration limit) = 0;
    /// Called when the insertion has sent its last key.
    virtual void endInjection() = 0;

    /// Keeps what the user types from now on away from every application, so that it cannot
    /// land in the middle of an insertion, until releaseTypedKeys() delivers it in the order it
    /// was typed, or until `limit` passes, whichever comes first. Holding an already held
    /// keyboard is a no-op. False when nothing could be held: the keys then keep reaching the
    /// focused application as they are typed. Callable from any thread.
    virtual bool holdTypedKeys(Duration limit) {
        (void)limit;
        return false;
    }
    /// Delivers the held keys in order and lets the keyboard go. A no-op when nothing is held.
    virtual void releaseTypedKeys() {}

    /// Posts one key-down or key-up with no modifier. Returns false when the event could not be
    /// made (the key is then skipped).
    virtual bool postKey(VirtualKeyCode key, bool down) = 0;

    /// Posts the down or up half of the paste chord. False when it could not be posted.
    virtual bool postPasteChord(PasteChord chord, bool down) = 0;

    /// The chord the focused application pastes with.
    virtual PasteChord pasteChordForFocusedApplication() = 0;
};

}  // namespace wordloom
