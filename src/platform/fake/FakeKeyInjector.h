#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/expansion/KeyInjector.h"
#include "platform/fake/FakePasteboard.h"
#include "platform/fake/FakeTextField.h"

namespace wordloom {

/// Delivers synthetic keys to a FakeTextField the way an application would: Backspace erases,
/// arrows move the caret, Tab and Return type, and the paste chord inserts the pasteboard's
/// text (the primary selection for Shift+Insert). Every event is also written to `events()`.
class FakeKeyInjector final : public KeyInjector {
  public:
    FakeKeyInjector(FakeTextField& field, FakePasteboard& pasteboard)
        : field_(field), pasteboard_(pasteboard) {}

    bool beginInjection(Duration limit) override;
    void endInjection() override;
    bool postKey(VirtualKeyCode key, bool down) override;
    bool postPasteChord(PasteChord chord, bool down) override;
    PasteChord pasteChordForFocusedApplication() override { return chord_; }
    bool holdTypedKeys(Duration limit) override;
    void releaseTypedKeys() override;

    /// The user types `text` on the keyboard: into the field at once, or, while the keyboard is
    /// held, after the release (each held piece then also goes to `onReleasedKey`, as the
    /// keyboard monitor would see it then).
    void typeByUser(const std::string& text);
    /// Refuses every hold, as when another program has grabbed the keyboard.
    void setHoldRefused(bool refused) { holdRefused_ = refused; }
    bool isHolding() const { return holding_; }
    /// Told after every event is recorded, with its name (tests type from it).
    std::function<void(const std::string&)> onEvent;
    std::function<void(const std::string&)> onReleasedKey;

    void setPasteChord(PasteChord chord) { chord_ = chord; }
    /// Makes every event fail to post, as when no event source could be made.
    void setFailing(bool failing) { failing_ = failing; }

    /// "down 51", "up 51", "paste down", "paste up", "begin", "end", "hold", "release".
    const std::vector<std::string>& events() const { return events_; }
    /// How many key-downs of `key` were posted.
    std::size_t pressCount(VirtualKeyCode key) const;

  private:
    void record(std::string event);

    FakeTextField& field_;
    FakePasteboard& pasteboard_;
    PasteChord chord_ = PasteChord::controlV;
    bool failing_ = false;
    bool holdRefused_ = false;
    bool holding_ = false;
    std::vector<std::string> held_;
    std::vector<std::string> events_;
};

}  // namespace wordloom
