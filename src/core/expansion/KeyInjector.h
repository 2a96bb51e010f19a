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

    /// Posts one key-down or key-up with no modifier. Returns false when the event could not be
    /// made (the key is then skipped).
    virtual bool postKey(VirtualKeyCode key, bool down) = 0;

    /// Posts the down or up half of the paste chord. False when it could not be posted.
    virtual bool postPasteChord(PasteChord chord, bool down) = 0;

    /// The chord the focused application pastes with.
    virtual PasteChord pasteChordForFocusedApplication() = 0;
};

}  // namespace wordloom
