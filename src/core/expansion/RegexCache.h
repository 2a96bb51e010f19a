#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <unicode/regex.h>

namespace wordloom {

/// Which compiled form of a regex abbreviation is wanted.
struct RegexCacheKey {
    std::string pattern;
    bool caseInsensitive = false;
    bool operator==(const RegexCacheKey&) const = default;
};

/// A key by reference, for lookups that should not copy the pattern.
struct RegexCacheKeyView {
    std::string_view pattern;
    bool caseInsensitive = false;
};

struct RegexCacheKeyHash {
    using is_transparent = void;
    std::size_t operator()(const RegexCacheKeyView& key) const noexcept {
        return std::hash<std::string_view>{}(key.pattern) * 2 + (key.caseInsensitive ? 1 : 0);
    }
    std::size_t operator()(const RegexCacheKey& key) const noexcept {
        return (*this)(RegexCacheKeyView{key.pattern, key.caseInsensitive});
    }
};

struct RegexCacheKeyEqual {
    using is_transparent = void;
    static RegexCacheKeyView view(const RegexCacheKey& key) {
        return {key.pattern, key.caseInsensitive};
    }
    static RegexCacheKeyView view(const RegexCacheKeyView& key) { return key; }
    template <typename A, typename B>
    bool operator()(const A& a, const B& b) const {
        const auto x = view(a);
        const auto y = view(b);
        return x.caseInsensitive == y.caseInsensitive && x.pattern == y.pattern;
    }
};

/// A regex abbreviation compiled twice: anchored to the end of the text as "(pattern)$", with
/// the whole match in group 1, and as written.
struct CompiledRegexPair {
    std::unique_ptr<icu::RegexPattern> anchored;
    std::unique_ptr<icu::RegexPattern> plain;

    /// Compiles both; nullopt when either does not compile. Safe on any thread.
    static std::optional<CompiledRegexPair> compile(const RegexCacheKeyView& key);
};

/// What a regex abbreviation matched at the end of the typed text.
struct RegexMatch {
    std::string matched;
    std::vector<std::string> captures;  ///< the pattern's own groups, "" when one did not take part
};

/// Compiled regex abbreviations, at most `capacity`, least recently used dropped first.
/// Belongs to the main queue (its matchers are reused between keystrokes).
class RegexCache {
  public:
    explicit RegexCache(std::size_t capacity = 256);
    ~RegexCache();
    RegexCache(const RegexCache&) = delete;
    RegexCache& operator=(const RegexCache&) = delete;

    /// Matches the pattern of `key` against the end of `text`. A pattern that does not compile
    /// never matches and is not cached.
    std::optional<RegexMatch> matchAtEnd(const RegexCacheKeyView& key,
                                         const icu::UnicodeString& text);
    std::optional<RegexMatch> matchAtEndOfUtf8(const RegexCacheKeyView& key, std::string_view text);

    /// The compiled pair, compiling and caching it on a miss; nullptr when it does not compile.
    /// Marks the key most recently used.
    const CompiledRegexPair* lookup(const RegexCacheKeyView& key);

    /// Adds pairs compiled elsewhere (the prewarm), skipping keys already present.
    void insertPrecompiled(RegexCacheKey key, CompiledRegexPair pair);

    bool contains(const RegexCacheKey& key) const { return entries_.find(key) != entries_.end(); }
    std::size_t size() const { return entries_.size(); }
    std::size_t capacity() const { return capacity_; }
    /// Least recently used first.
    std::vector<RegexCacheKey> keysInOrder() const;

  private:
    struct Entry {
        CompiledRegexPair pair;
        std::unique_ptr<icu::RegexMatcher> matcher;  // over `pair.anchored`, made on first use
        std::list<RegexCacheKey>::iterator position;
    };

    Entry* find(const RegexCacheKeyView& key);
    Entry* findOrCompile(const RegexCacheKeyView& key);
    Entry& insert(RegexCacheKey key, CompiledRegexPair pair);

    std::size_t capacity_;
    std::unordered_map<RegexCacheKey, Entry, RegexCacheKeyHash, RegexCacheKeyEqual> entries_;
    std::list<RegexCacheKey> order_;
    // Patterns known not to compile, so a broken snippet is not recompiled on every keystroke.
    // Kept apart from the cache proper, and small.
    std::unordered_set<RegexCacheKey, RegexCacheKeyHash, RegexCacheKeyEqual> invalid_;
};

}  // namespace wordloom
