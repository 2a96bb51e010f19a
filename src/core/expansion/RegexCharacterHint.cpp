#include "core/expansion/RegexTailHint.h"

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

}  // namespace

RegexTailHint RegexTailHint::analyse(std::string_view pattern) {
    const RegexTailHint any;
    // Constructs that can move or hide the final atom.
    if (pattern.find('|') != std::string_view::npos ||
        pattern.find("(?") != std::string_view::npos ||
        pattern.find("\\Q") != std::string_view::npos) {
        return any;
    }
    // A trailing anchor adds nothing to the "(...)$" the matcher wraps around the pattern.
    if (!pattern.empty() && pattern.back() == '$' && !isEscaped(pattern, pattern.size() - 1)) {
        pattern.remove_suffix(1);
    }
    if (pattern.empty()) {
        return any;
    }
    // "x+" ends on an x just as "x" does; "x*", "x?" and "x{0,n}" may end elsewhere.
    if (pattern.back() == '+' && !isEscaped(pattern, pattern.size() - 1)) {
        pattern.remove_suffix(1);
        if (pattern.empty()) {
            return any;
        }
        const char quantified = pattern.back();
        if ((quantified == '+' || quantified == '*' || quantified == '?' || quantified == '}') &&
            !isEscaped(pattern, pattern.size() - 1)) {
            return any;  // a possessive or nested quantifier: not worth understanding
        }
    }
    const std::size_t last = pattern.size() - 1;
    const char c = pattern[last];
    if (static_cast<unsigned char>(c) >= 0x80) {
        return any;
    }
    if (isEscaped(pattern, last)) {
        if (c == 'd') {
            return {Kind::digit, 0};
        }
        if (c == 'w') {
            return {Kind::word, 0};
        }
        // An escaped punctuation mark stands for itself; escaped letters are classes,
        // anchors or control characters.
        if (std::ispunct(static_cast<unsigned char>(c)) != 0) {
            return {Kind::literal, c};
        }
        return any;
    }
    static constexpr std::string_view metacharacters = ".^$*+?()[]{}|\\";
    if (metacharacters.find(c) != std::string_view::npos || std::isspace(c) != 0 ||
        std::iscntrl(static_cast<unsigned char>(c)) != 0) {
        return any;
    }
    return {Kind::literal, lowerAscii(c)};
}

}  // namespace wordloom
