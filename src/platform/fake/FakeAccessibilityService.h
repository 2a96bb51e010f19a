#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "core/expansion/AccessibilityService.h"

namespace wordloom {

/// An accessibility service held in memory: the test (or the `type` command) sets what is
/// focused and whether access is granted. Like the real one, it answers nothing while access
/// is not granted and never reads selected text from a password field.
class FakeAccessibilityService final : public AccessibilityService {
  public:
    /// Starts trusted, with a plain text field focused.
    FakeAccessibilityService();

    bool isAccessibilityEnabled() const override { return enabled_; }
    bool recheckTrust() override;
    void setOnAccessibilityGranted(std::function<void()> callback) override;
    std::optional<FocusedElement> focusedElement() override;
    std::optional<std::string> selectedText() override;
    std::optional<std::size_t> caretOffset() override;

    /// What the next trust check reports.
    void setTrusted(bool trusted) { trusted_ = trusted; }
    /// nullopt: nothing focused (or the application did not answer in time).
    void setFocusedElement(std::optional<FocusedElement> element) { focused_ = std::move(element); }
    /// Focuses a plain text field identified by `identity`.
    void focusTextField(std::string identity);
    /// Focuses a password field identified by `identity`.
    void focusSecureField(std::string identity);
    void setSelectedText(std::optional<std::string> text) { selectedText_ = std::move(text); }
    void setCaretOffset(std::optional<std::size_t> offset) { caretOffset_ = offset; }

    /// Queries that reached the element (made while access was granted).
    std::size_t elementQueryCount() const { return elementQueries_; }

  private:
    bool trusted_ = true;
    bool enabled_ = true;
    bool grantHandled_ = false;
    std::function<void()> onGranted_;
    std::optional<FocusedElement> focused_;
    std::optional<std::string> selectedText_;
    std::optional<std::size_t> caretOffset_;
    std::size_t elementQueries_ = 0;
};

}  // namespace wordloom
