#include "core/expansion/AccessibilityService.h"

#include <algorithm>

#include "core/base/Text.h"

namespace wordloom {
namespace {

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Asked on every keystroke: plain ASCII descriptions are searched without building a
// lower-cased copy.
bool containsLowercased(std::string_view text, std::string_view lowercaseNeedle) {
    const bool ascii = std::all_of(text.begin(), text.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii) {
        return text::lowercased(text).find(lowercaseNeedle) != std::string::npos;
    }
    return std::search(text.begin(), text.end(), lowercaseNeedle.begin(), lowercaseNeedle.end(),
                       [](char a, char b) { return lowerAscii(a) == b; }) != text.end();
}

}  // namespace

bool isSecureTextField(const FocusedElement& element) {
    if (element.subrole == "AXSecureTextField") {
        return true;
    }
    return containsLowercased(element.roleDescription, "password") ||
           containsLowercased(element.roleDescription, "secure");
}

}  // namespace wordloom
