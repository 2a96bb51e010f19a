#include "platform/fake/FakeAccessibilityService.h"

namespace wordloom {

FakeAccessibilityService::FakeAccessibilityService() {
    focusTextField("field-1");
}

bool FakeAccessibilityService::recheckTrust() {
    const bool wasEnabled = enabled_;
    enabled_ = trusted_;
    if (enabled_ && !wasEnabled && !grantHandled_) {
        grantHandled_ = true;
        if (onGranted_) {
            onGranted_();
        }
    }
    return enabled_;
}

void FakeAccessibilityService::setOnAccessibilityGranted(std::function<void()> callback) {
    onGranted_ = std::move(callback);
}

std::optional<FocusedElement> FakeAccessibilityService::focusedElement() {
    if (!enabled_) {
        return std::nullopt;
    }
    ++elementQueries_;
    return focused_;
}

std::optional<std::string> FakeAccessibilityService::selectedText() {
    const auto element = focusedElement();
    if (!element || isSecureTextField(*element)) {
        return std::nullopt;
    }
    return selectedText_;
}

std::optional<std::size_t> FakeAccessibilityService::caretOffset() {
    if (!focusedElement()) {
        return std::nullopt;
    }
    return caretOffset_;
}

void FakeAccessibilityService::focusTextField(std::string identity) {
    focused_ = FocusedElement{{std::move(identity)}, "AXTextField", "", "text field"};
}

void FakeAccessibilityService::focusSecureField(std::string identity) {
    focused_ = FocusedElement{
        {std::move(identity)}, "AXTextField", "AXSecureTextField", "secure text field"};
}

}  // namespace wordloom
