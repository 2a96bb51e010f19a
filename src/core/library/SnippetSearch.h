#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Uuid.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// One row of a quick search: what the row shows, and the snippet it stands for.
struct SnippetSearchHit {
    Uuid id;
    std::string abbreviation;
    std::string label;
    std::string groupName;
    /// The first non-blank line of the content, shortened to a line's worth.
    std::string preview;
};

/// Finds snippets by abbreviation, label, tags and content at once, ignoring case and accents.
/// Ranks an exact abbreviation first (its leading punctuation may be left out: "sig" is exact
/// for ";sig"), then abbreviations that start with the query, then labels
/// with a word that starts with it, then any other match; within a rank the most used come
/// first, then the most recently used. Deleted and disabled snippets are left out.
///
/// The library is folded once in rebuild(), so a keystroke costs one scan of folded text.
class SnippetSearch {
  public:
    /// The name of a snippet's group, or empty.
    using GroupName = std::function<std::string(const std::optional<Uuid>&)>;

    /// Disabled snippets are left out unless `includeDisabled` (the library window lists them).
    void rebuild(const std::vector<Snippet>& snippets, const GroupName& groupName,
                 bool includeDisabled = false);

    /// At most `limit` hits for `query`; an empty query lists the most used snippets.
    std::vector<SnippetSearchHit> search(std::string_view query, std::size_t limit) const;

    std::size_t size() const { return entries_.size(); }

    /// Lower-cased (full case folding) with accents and other combining marks removed: what
    /// searching compares. "Ærø Café" folds to "ærø cafe".
    static std::string fold(std::string_view text);

  private:
    struct Entry {
        SnippetSearchHit hit;
        std::string abbreviation;      // folded
        std::string abbreviationStem;  // folded, without leading punctuation
        std::string label;             // folded
        std::string tagsAndGroup;      // folded, separated by line breaks
        std::string content;           // folded
        std::int64_t useCount = 0;
        Timestamp lastUsedAt;
    };
    int rankOf(const Entry& entry, std::string_view query) const;

    std::vector<Entry> entries_;
};

}  // namespace wordloom
