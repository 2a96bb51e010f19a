#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/expansion/RegexTail.h"
#include "core/expansion/SnippetRef.h"

namespace wordloom {

/// The regex snippets eligible in one application, in library order, indexed by what their
/// matches must end with (see RegexTail), so that one keystroke runs only the patterns that
/// could match the end of the typed text: a handful, however many regex snippets there are.
class RegexBucket {
  public:
    RegexBucket() = default;
    /// `tails[i]` belongs to `snippets[i]`.
    RegexBucket(std::vector<SnippetRef> snippets, const std::vector<RegexTail>& tails);

    const std::vector<SnippetRef>& snippets() const { return snippets_; }
    bool empty() const { return snippets_.empty(); }

    /// Positions in snippets() of the patterns that could match the end of `text` (not
    /// empty), ascending (library order). Every pattern that matches is among them. `out` is
    /// cleared first; reuse it to avoid allocating.
    void candidatesFor(std::string_view text, std::vector<std::uint32_t>& out) const;

  private:
    /// Reversed literals of the patterns that share one run, as a trie laid out depth first,
    /// so that the patterns below any node are one contiguous range.
    class LiteralTrie {
      public:
        struct Entry {
            std::string_view reversedLiteral;
            std::uint32_t pattern;
        };
        /// `entries` sorted by literal, then pattern.
        explicit LiteralTrie(const std::vector<Entry>& entries);

        /// Adds the patterns whose literal ends `text` at byte `end`, compared without case.
        void collect(std::string_view text, std::size_t end, std::vector<std::uint32_t>& out) const;
        /// Adds every pattern.
        void collectAll(std::vector<std::uint32_t>& out) const;

      private:
        struct Node {
            std::uint32_t firstEdge = 0;
            std::uint32_t edgeCount = 0;
            std::uint32_t ownEnd = 0;  // patterns [firstPattern, ownEnd) end here
            std::uint32_t firstPattern = 0;
            std::uint32_t subtreeEnd = 0;  // patterns [firstPattern, subtreeEnd) are below
        };
        struct Edge {
            unsigned char byte;
            std::uint32_t child;
        };

        std::uint32_t build(const std::vector<Entry>& entries, std::size_t begin, std::size_t end,
                            std::size_t depth);
        std::uint32_t childOf(const Node& node, unsigned char byte) const;

        std::vector<Node> nodes_;
        std::vector<Edge> edges_;
        std::vector<std::uint32_t> patterns_;
    };

    /// The patterns whose tails share a run (set and length bounds).
    struct RunGroup {
        RegexCharacterSet set;
        std::uint32_t minRun = 0;
        std::uint32_t maxRun = 0;
        LiteralTrie literals;

        void collect(std::string_view text, std::vector<std::uint32_t>& out) const;
    };

    std::vector<SnippetRef> snippets_;
    std::vector<RunGroup> groups_;
    std::vector<std::uint32_t> unrestricted_;  // patterns whose tail is unknown
};

}  // namespace wordloom
