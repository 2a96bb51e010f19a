#pragma once

#include <optional>
#include <string>

#include "core/base/Text.h"
#include "core/expansion/AccessibilityService.h"
#include "core/expansion/TextInserter.h"
#include "platform/fake/FakeKeyInjector.h"
#include "platform/fake/FakePasteboard.h"
#include "platform/fake/FakeTextField.h"
#include "platform/fake/InlineMainQueueHop.h"
#include "platform/fake/RecordingSleeper.h"

namespace wordloom::test {

/// Accessibility that reads and moves the caret of a FakeTextField, when `caretSupported`.
class CaretAccessibility final : public AccessibilityService {
  public:
    explicit CaretAccessibility(FakeTextField& field) : field_(field) {}
    bool isAccessibilityEnabled() const override { return true; }
    bool recheckTrust() override { return true; }
    void setOnAccessibilityGranted(std::function<void()>) override {}
    std::optional<FocusedElement> focusedElement() override {
        return FocusedElement{{"field"}, "AXTextField", "", "text field"};
    }
    std::optional<std::string> selectedText() override { return std::nullopt; }
    std::optional<std::size_t> caretOffset() override {
        ++caretQueries;
        if (!caretSupported) {
            return std::nullopt;
        }
        return codePointsBefore(field_.caret());
    }
    bool setCaretOffset(std::size_t offset) override {
        ++caretSets;
        std::size_t character = 0;
        const std::size_t length = text::characterCount(field_.text());
        while (character < length && codePointsBefore(character) < offset) {
            ++character;
        }
        field_.setCaret(character);
        return true;
    }

    bool caretSupported = true;
    int caretQueries = 0;
    int caretSets = 0;

  private:
    // Like AT-SPI, offsets count code points, not user-perceived characters.
    std::size_t codePointsBefore(std::size_t character) const {
        const std::string content = field_.text();  // the views below point into it
        const auto characters = text::splitCharacters(content);
        std::size_t count = 0;
        for (std::size_t i = 0; i < character && i < characters.size(); ++i) {
            count += text::toCodePoints(characters[i]).size();
        }
        return count;
    }

    FakeTextField& field_;
};

/// A text field with the user's typing in it, the user's clipboard, and an inserter wired to
/// fakes that behave like the desktop.
struct InserterRig {
    explicit InserterRig(std::string typed = "") : field(typed) {
        pasteboard.copyFromUser(PasteboardSelection::clipboard, userClipboard());
    }

    static PasteboardSnapshot userClipboard() {
        return {{"text/plain", "user text"},
                {"text/html", "<b>user</b> text"},
                {"application/x-custom", std::string("\0\x01\xff", 3)}};
    }

    FakeTextField field;
    FakePasteboard pasteboard;
    FakeKeyInjector keys{field, pasteboard};
    CaretAccessibility accessibility{field};
    InlineMainQueueHop mainQueue;
    RecordingSleeper sleeper;
    TextInserter inserter{pasteboard, keys, accessibility, mainQueue, sleeper};
};

}  // namespace wordloom::test
