#pragma once

#include <array>
#include <mutex>

#include "core/base/Log.h"
#include "core/expansion/KeyInjector.h"
#include "platform/x11/InjectedKeyLedger.h"
#include "platform/x11/X11KeyHold.h"

struct _XDisplay;

namespace wordloom {

/// Synthetic keys through XTest on a connection of its own (used only by the inserter's
/// thread). Every event is noted in the ledger first, so the keyboard monitor skips it. What the
/// user types meanwhile is held by an X11KeyHold and typed after our keys.
class X11KeyInjector final : public KeyInjector {
  public:
    explicit X11KeyInjector(InjectedKeyLedger& ledger);
    ~X11KeyInjector() override;
    X11KeyInjector(const X11KeyInjector&) = delete;
    X11KeyInjector& operator=(const X11KeyInjector&) = delete;

    bool beginInjection(Duration limit) override;
    void endInjection() override;
    bool postKey(VirtualKeyCode key, bool down) override;
    bool postPasteChord(PasteChord chord, bool down) override;
    PasteChord pasteChordForFocusedApplication() override;
    bool holdTypedKeys(Duration limit) override;
    void releaseTypedKeys() override;

  private:
    bool ensureDisplay();
    /// The keys bound to a modifier (Shift, Control, Alt, Super, AltGr, locks), as a key mask.
    std::array<char, 32> modifierKeys();
    bool postKeysym(unsigned long keysym, bool down);

    InjectedKeyLedger& ledger_;
    Logger logger_{"TextInserter"};
    std::mutex mutex_;
    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    X11KeyHold hold_;
};

}  // namespace wordloom
