#pragma once

#include <string_view>

namespace wordloom {

/// What the first or the last code point of a regex abbreviation's match must be, worked out
/// from the pattern's first or final atom, so that a keystroke only runs the patterns that
/// could match the typed text.
///
/// The analysis is deliberately shallow: anything it does not fully understand (alternation,
/// classes, optional atoms, inline flags, quoting) gives `any`, which never filters.
struct RegexCharacterHint {
    enum class Kind {
        any,      ///< no restriction known
        literal,  ///< an ASCII character, compared without case
        digit,    ///< \d: a decimal digit
        word,     ///< \w: a word character
    };

    Kind kind = Kind::any;
    char literal = 0;  ///< lower-cased, for Kind::literal

    /// What a match of `pattern` ends on.
    static RegexCharacterHint lastCharacter(std::string_view pattern);
    /// What a match of `pattern` begins with.
    static RegexCharacterHint firstCharacter(std::string_view pattern);

    bool operator==(const RegexCharacterHint&) const = default;
};

}  // namespace wordloom
