#include "core/library/Snippet.h"

#include "core/base/Text.h"

namespace wordloom {

std::string Snippet::displayName() const {
    if (auto trimmed = text::trimWhitespaceAndNewlines(label); !trimmed.empty()) {
        return std::string(trimmed);
    }
    if (auto trimmed = text::trimWhitespaceAndNewlines(abbreviation); !trimmed.empty()) {
        return std::string(trimmed);
    }
    std::string_view rest = content;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        const auto line = rest.substr(0, end);
        if (auto trimmed = text::trimWhitespaceAndNewlines(line); !trimmed.empty()) {
            return std::string(trimmed);
        }
        if (end == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(end + 1);
    }
    return "Untitled Snippet";
}

bool isValidAbbreviation(std::string_view abbreviation) {
    return !text::trimWhitespaceAndNewlines(abbreviation).empty() &&
           !text::containsControlCharacter(abbreviation);
}

std::string invalidAbbreviationMessage(std::string_view abbreviation) {
    return "Snippet abbreviation cannot be empty, whitespace-only, or contain control characters "
           "(got " +
           text::debugQuoted(abbreviation) + ").";
}

}  // namespace wordloom
