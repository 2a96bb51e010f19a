#include "core/expansion/RegexCharacterHint.h"

#include <cctype>

namespace wordloom {
namespace {

// Number of backslashes directly before `position`.
std::size_t backslashesBefore(std::string_view pattern, std::size_t position) {
    std::size_t count = 0;
    while (position > count && pattern[position - count - 1] == '\\') {
        ++count;
    }
    return count;
}

bool isEscaped(std::string_view pattern, std::size_t position) {
    return backslashesBefore(pattern, position) % 2 == 1;
}

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Alternation, inline flags and lookaround, and quoted runs can move or hide the atom at
// either end.
bool hasHiddenStructure(std::string_view pattern) {
    return pattern.find('|') != std::string_view::npos ||
           pattern.find("(?") != std::string_view::npos ||
           pattern.find("\\Q") != std::string_view::npos;
}

// What an escaped character matches.
RegexCharacterHint escapeHint(char c) {
    using Kind = RegexCharacterHint::Kind;
    if (c == 'd') {
        return {Kind::digit, 0};
    }
    if (c == 'w') {
        return {Kind::word, 0};
    }
    // An escaped punctuation mark stands for itself; escaped letters are classes, anchors or
    // control characters.
    if (static_cast<unsigned char>(c) < 0x80 && std::ispunct(static_cast<unsigned char>(c)) != 0) {
        return {Kind::literal, c};
    }
    return {};
}

// What an unescaped character matches.
RegexCharacterHint plainHint(char c) {
    static constexpr std::string_view metacharacters = ".^$*+?()[]{}|\\";
    if (static_cast<unsigned char>(c) >= 0x80 || metacharacters.find(c) != std::string_view::npos ||
        std::isspace(static_cast<unsigned char>(c)) != 0 ||
        std::iscntrl(static_cast<unsigned char>(c)) != 0) {
        return {};
    }
    return {RegexCharacterHint::Kind::literal, lowerAscii(c)};
}

// Whether the atom ending before `position` may match nothing: followed by *, ? or {.
bool isOptionalAfter(std::string_view pattern, std::size_t position) {
    return position < pattern.size() &&
           (pattern[position] == '*' || pattern[position] == '?' || pattern[position] == '{');
}

// Where the group opened by pattern[0] closes, skipping escapes and classes.
std::size_t matchingParenthesis(std::string_view pattern) {
    int depth = 0;
    bool inClass = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (c == '\\') {
            ++i;
        } else if (inClass) {
            inClass = c != ']';
        } else if (c == '[') {
            inClass = true;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')' && --depth == 0) {
            return i;
        }
    }
    return std::string_view::npos;
}

}  // namespace

RegexCharacterHint RegexCharacterHint::lastCharacter(std::string_view pattern) {
    const RegexCharacterHint any;
    if (hasHiddenStructure(pattern)) {
        return any;
    }
    // A trailing anchor adds nothing to the "(...)$" the matcher wraps around the pattern.
    if (!pattern.empty() && pattern.back() == '$' && !isEscaped(pattern, pattern.size() - 1)) {
        pattern.remove_suffix(1);
    }
    if (pattern.empty()) {
        return any;
    }
    // Peel what does not change the last character: a "+" ("x+" ends on an x just as "x"
    // does; "x*", "x?" and "x{0,n}" may end elsewhere), and the closing parenthesis of a group
    // (without alternation the group ends on its own last atom).
    for (;;) {
        if (pattern.empty()) {
            return any;
        }
        const bool escaped = isEscaped(pattern, pattern.size() - 1);
        if (pattern.back() == '+' && !escaped) {
            pattern.remove_suffix(1);
            if (pattern.empty()) {
                return any;
            }
            const char quantified = pattern.back();
            if ((quantified == '+' || quantified == '*' || quantified == '?' ||
                 quantified == '}') &&
                !isEscaped(pattern, pattern.size() - 1)) {
                return any;  // a possessive or nested quantifier: not worth understanding
            }
            continue;
        }
        if (pattern.back() == ')' && !escaped) {
            pattern.remove_suffix(1);
            continue;
        }
        break;
    }
    const std::size_t last = pattern.size() - 1;
    return isEscaped(pattern, last) ? escapeHint(pattern[last]) : plainHint(pattern[last]);
}

RegexCharacterHint RegexCharacterHint::firstCharacter(std::string_view pattern) {
    const RegexCharacterHint any;
    if (hasHiddenStructure(pattern)) {
        return any;
    }
    // Step into leading groups, unless the group as a whole may be skipped.
    while (!pattern.empty() && pattern.front() == '(') {
        const auto close = matchingParenthesis(pattern);
        if (close == std::string_view::npos || isOptionalAfter(pattern, close + 1)) {
            return any;
        }
        pattern = pattern.substr(1);
    }
    if (pattern.empty()) {
        return any;
    }
    std::size_t atomLength = 1;
    RegexCharacterHint hint;
    const char c = pattern.front();
    if (c == '\\') {
        if (pattern.size() < 2) {
            return any;
        }
        hint = escapeHint(pattern[1]);
        atomLength = 2;
    } else {
        hint = plainHint(c);
    }
    if (hint.kind == Kind::any || isOptionalAfter(pattern, atomLength)) {
        return any;
    }
    return hint;
}

}  // namespace wordloom
