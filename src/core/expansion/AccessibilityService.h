#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace wordloom {

/// Identifies one focused UI element for as long as it exists, so that "is focus still where
/// it was?" can be asked later. An AT-SPI implementation uses the accessible's bus name and
/// object path.
struct FocusIdentity {
    std::string value;
    bool operator==(const FocusIdentity&) const = default;
};

/// What the accessibility layer tells about the focused element.
struct FocusedElement {
    FocusIdentity identity;
    std::string role;             ///< e.g. "AXTextField"
    std::string subrole;          ///< "AXSecureTextField" for password fields
    std::string roleDescription;  ///< human readable, e.g. "secure text field"
};

/// Whether `element` is a password field: its subrole is "AXSecureTextField", or its role
/// description, lower-cased, contains "password" or "secure". Implementations map their
/// platform's password role onto the subrole.
bool isSecureTextField(const FocusedElement& element);

/// The single owner of accessibility access: whether the process may use it, and the few
/// questions the expansion pipeline asks of the focused text field.
///
/// Every query is bounded by a deadline inside the implementation (a slow or hung application
/// must not stall typing) and answers std::nullopt for "no answer": not trusted, nothing
/// focused, the call failed or timed out. Queries are made on the main queue.
class AccessibilityService {
  public:
    virtual ~AccessibilityService() = default;

    /// Result of the last trust check.
    virtual bool isAccessibilityEnabled() const = 0;

    /// Runs the trust check again and returns its result. When it turns true for the first
    /// time, the grant callback runs (once per process).
    virtual bool recheckTrust() = 0;

    /// Called once, on the first transition from not trusted to trusted.
    virtual void setOnAccessibilityGranted(std::function<void()> callback) = 0;

    /// The focused UI element of the focused application; nullopt when not trusted or when
    /// nothing answers in time.
    virtual std::optional<FocusedElement> focusedElement() = 0;

    /// The selected text of the focused element. Never read from a password field: nullopt.
    virtual std::optional<std::string> selectedText() = 0;

    /// The caret's offset, in characters, in the focused text element.
    virtual std::optional<std::size_t> caretOffset() = 0;

    /// Moves the caret of the focused text element to `offset` (the units of caretOffset()).
    /// False when nothing focused supports it or it did not answer in time.
    virtual bool setCaretOffset(std::size_t offset) {
        (void)offset;
        return false;
    }
};

}  // namespace wordloom
