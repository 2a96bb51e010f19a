#include "core/expansion/AccessibilityService.h"

#include "core/base/Text.h"

namespace wordloom {

bool isSecureTextField(const FocusedElement& element) {
    if (element.subrole == "AXSecureTextField") {
        return true;
    }
    if (element.roleDescription.empty()) {
        return false;
    }
    const auto description = text::lowercased(element.roleDescription);
    return description.find("password") != std::string::npos ||
           description.find("secure") != std::string::npos;
}

}  // namespace wordloom
