#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/expansion/RegexBucket.h"
#include "core/expansion/SnippetRef.h"

namespace wordloom {

/// The in-memory index the abbreviation detector searches on every keystroke: abbreviations
/// as stored and lower-cased, snippets by group, the regex snippets apart (memoised per
/// application), the longest abbreviation's length, a trie of lower-cased abbreviations for
/// prefix questions and one of their reversals for tail questions.
///
/// Thread-safe: one lock guards all of it. Full rebuilds are built off the lock on a serial
/// background queue and installed only if no newer rebuild was requested meanwhile.
class SnippetCache {
  public:
    /// Builds on `executor`'s background pool, which must outlive the cache's queued work.
    explicit SnippetCache(Executor& executor);
    ~SnippetCache();
    SnippetCache(const SnippetCache&) = delete;
    SnippetCache& operator=(const SnippetCache&) = delete;

    /// Replaces the whole index with the eligible snippets of `snippets` (enabled, not
    /// deleted), asynchronously. The last rebuild requested wins.
    void rebuild(std::vector<Snippet> snippets);

    /// Indexes one more snippet now, if it is eligible. It goes after the snippets already
    /// filed under its abbreviation.
    void add(const Snippet& snippet);

    /// Snippets whose abbreviation is exactly `text`. Counts a hit or a miss.
    SnippetBucket exactLookup(std::string_view text);
    /// Snippets whose lower-cased abbreviation is `lowercasedText`. Counts a hit or a miss.
    SnippetBucket lowercaseLookup(std::string_view lowercasedText);

    /// Characters in the longest indexed abbreviation; 0 when none.
    std::size_t maxAbbreviationLength() const;

    /// The snippets whose lower-cased abbreviation begins with `text` lower-cased (the prefix
    /// ending on a character boundary), in abbreviation order. Empty text gives nothing.
    std::vector<SnippetRef> prefixLookup(std::string_view text) const;

    /// The regex snippets allowed in application `bundleId` (nullopt: unknown), in library
    /// order; memoised for the last application asked about.
    std::shared_ptr<const RegexBucket> regexSnippetsForApplication(
        const std::optional<std::string>& bundleId);

    /// For text made of single-byte characters only (ASCII without CR LF): every length L such
    /// that the last L characters of `tail`, lower-cased, are an indexed lower-cased
    /// abbreviation, ascending. No other tail length can give an exact or lower-case hit, so
    /// the detector probes only these. `lengths` is cleared first.
    void indexedTailLengths(std::string_view tail, std::vector<std::size_t>& lengths) const;

    /// Snippets indexed under `groupId`.
    std::vector<SnippetRef> snippetsInGroup(const Uuid& groupId) const;

    std::uint64_t cacheHits() const;
    std::uint64_t cacheMisses() const;
    std::uint64_t rebuildGeneration() const;
    /// How many indexed snippets have an abbreviation of each length in characters.
    std::map<std::size_t, std::size_t> abbreviationLengthCounts() const;

    /// Label of the queue rebuilds run on.
    static constexpr std::string_view rebuildQueueLabel = "com.wordloom.snippetcache.rebuild";

  private:
    struct Index;
    struct State;

    static std::unique_ptr<Index> buildIndex(std::vector<Snippet> snippets);

    std::shared_ptr<State> state_;
};

}  // namespace wordloom
