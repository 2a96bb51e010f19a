#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace wordloom {

/// Characters one regex atom may match: exact for ASCII, a single yes/maybe flag beyond it.
struct RegexCharacterSet {
    std::array<std::uint64_t, 2> ascii{};
    /// Whether some non-ASCII code point may be in the set.
    bool nonAscii = false;

    static RegexCharacterSet everything();
    static RegexCharacterSet single(unsigned char c);

    void add(unsigned char c) { ascii[c >> 6] |= std::uint64_t{1} << (c & 63); }
    void addRange(unsigned char first, unsigned char last);
    void addAll(const RegexCharacterSet& other);
    bool contains(unsigned char c) const { return (ascii[c >> 6] >> (c & 63)) & 1; }
    /// Adds the other case of every ASCII letter. A set with letters may then also match
    /// non-ASCII code points that fold onto them (the Kelvin sign onto "k").
    void closeOverCase();

    bool operator==(const RegexCharacterSet&) const = default;
};

/// What every match of a regex abbreviation ends with, read from the pattern without running
/// it: a run of `minRun` to `maxRun` characters from `runSet`, right after the literal ASCII
/// text `literal` (lower-cased; compare without case).
///
/// The reading over-approximates on purpose: it drops assertions, widens classes it does not
/// understand to every character, stops at anything else, and assumes matching may ignore case.
/// So a text that does not end this way can never be matched by the pattern anchored at its
/// end, and the detector need not run the pattern on it. Patterns it cannot read at all
/// (alternation, inline flags, quoting) give `known == false`: they may match anything.
struct RegexTail {
    static constexpr std::uint32_t unbounded = UINT32_MAX;

    bool known = false;
    RegexCharacterSet runSet;
    std::uint32_t minRun = 0;
    std::uint32_t maxRun = 0;
    std::string literal;

    static RegexTail of(std::string_view pattern);

    bool operator==(const RegexTail&) const = default;
};

}  // namespace wordloom
