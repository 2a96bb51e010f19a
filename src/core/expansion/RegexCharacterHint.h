#pragma once

#include <string_view>

namespace wordloom {

/// What a regex abbreviation's last matched code point must be, worked out from the pattern's
/// final atom, so that a keystroke only runs the patterns that could end on it.
///
/// The analysis is deliberately shallow: anything it does not fully understand (alternation,
/// classes, groups, optional endings, inline flags, quoting) gives `any`, which never filters.
struct RegexTailHint {
    enum class Kind {
        any,      ///< no restriction known
        literal,  ///< an ASCII character, compared without case
        digit,    ///< \d: a decimal digit
        word,     ///< \w: a word character
    };

    Kind kind = Kind::any;
    char literal = 0;  ///< lower-cased, for Kind::literal

    static RegexTailHint analyse(std::string_view pattern);

    bool operator==(const RegexTailHint&) const = default;
};

}  // namespace wordloom
