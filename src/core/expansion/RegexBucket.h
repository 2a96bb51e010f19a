#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/expansion/RegexCharacterHint.h"
#include "core/expansion/SnippetRef.h"

namespace wordloom {

/// What a regex pattern's matches begin and end with.
struct RegexHints {
    RegexCharacterHint first;
    RegexCharacterHint last;

    static RegexHints of(std::string_view pattern) {
        return {RegexCharacterHint::firstCharacter(pattern),
                RegexCharacterHint::lastCharacter(pattern)};
    }
};

/// The regex snippets eligible in one application, in library order, indexed by the character
/// their matches can end on and filtered by the one they begin with, so that one keystroke
/// runs only the patterns that could match.
class RegexBucket {
  public:
    RegexBucket() = default;
    /// `hints[i]` belongs to `snippets[i]`.
    RegexBucket(std::vector<SnippetRef> snippets, std::vector<RegexHints> hints);

    const std::vector<SnippetRef>& snippets() const { return snippets_; }
    bool empty() const { return snippets_.empty(); }

    /// Positions in snippets() of the patterns that could match the end of `text` (not
    /// empty), ascending (library order). `out` is cleared first; reuse it to avoid
    /// allocating.
    void candidatesFor(std::string_view text, std::vector<std::uint32_t>& out) const;

  private:
    class TextSummary;

    /// Patterns sharing a last-character hint, split by what their matches begin with.
    struct ByFirstCharacter {
        std::vector<std::pair<char, std::vector<std::uint32_t>>> literal;
        std::vector<std::uint32_t> digit;
        std::vector<std::uint32_t> word;
        std::vector<std::uint32_t> any;

        void add(const RegexCharacterHint& first, std::uint32_t index);
        bool empty() const {
            return literal.empty() && digit.empty() && word.empty() && any.empty();
        }
        void appendPossible(const TextSummary& text, std::vector<std::uint32_t>& out) const;
    };

    std::vector<SnippetRef> snippets_;
    std::array<ByFirstCharacter, 128> endingWithLiteral_;
    ByFirstCharacter endingWithDigit_;
    ByFirstCharacter endingWithWord_;
    ByFirstCharacter endingAnywhere_;
};

}  // namespace wordloom
