#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/expansion/RegexTailHint.h"
#include "core/expansion/SnippetRef.h"

namespace wordloom {

/// The regex snippets eligible in one application, in library order, indexed by the character
/// their matches can end on, so that one keystroke visits only the patterns that could match.
class RegexBucket {
  public:
    RegexBucket() = default;
    /// `hints[i]` belongs to `snippets[i]`.
    RegexBucket(std::vector<SnippetRef> snippets, const std::vector<RegexTailHint>& hints);

    const std::vector<SnippetRef>& snippets() const { return snippets_; }
    bool empty() const { return snippets_.empty(); }

    /// Positions in snippets() of the patterns that could match text ending in `lastCodePoint`,
    /// ascending (library order). `out` is cleared first; reuse it to avoid allocating.
    void candidatesEndingWith(char32_t lastCodePoint, std::vector<std::uint32_t>& out) const;

  private:
    std::vector<SnippetRef> snippets_;
    std::array<std::vector<std::uint32_t>, 128> byAsciiLiteral_;
    std::vector<std::uint32_t> digit_;
    std::vector<std::uint32_t> word_;
    std::vector<std::uint32_t> unrestricted_;
};

}  // namespace wordloom
