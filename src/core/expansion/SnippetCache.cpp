#include "core/expansion/SnippetCache.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "core/base/Text.h"
#include "core/expansion/ApplicationFilter.h"
#include "core/expansion/SerialBackgroundQueue.h"
#include "core/expansion/SnippetTrie.h"

namespace wordloom {
namespace {

// Lets the maps be probed with a string_view, so a lookup never builds a std::string.
struct StringHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

template <typename Value>
using StringMap = std::unordered_map<std::string, Value, StringHash, std::equal_to<>>;

bool isEligible(const Snippet& snippet) {
    return snippet.isEnabled && !snippet.isDeleted();
}

std::string reversedBytes(std::string_view text) {
    return std::string(text.rbegin(), text.rend());
}

}  // namespace

struct SnippetCache::Index {
    StringMap<SnippetBucket> abbreviationCache;
    StringMap<SnippetBucket> lowercaseCache;
    std::unordered_map<Uuid, std::vector<SnippetRef>> groupCache;
    std::vector<SnippetRef> regexSnippets;
    std::vector<RegexHints> regexHints;  // one per regex snippet
    SnippetTrie prefixTrie;              // lower-cased abbreviations
    SnippetTrie reversedTrie;            // lower-cased abbreviations, bytes reversed
    std::map<std::size_t, std::size_t> abbreviationLengthCounts;
    std::size_t maxAbbreviationLength = 0;

    void countAbbreviation(std::string_view abbreviation, std::size_t snippets) {
        const auto length = text::characterCount(abbreviation);
        abbreviationLengthCounts[length] += snippets;
        maxAbbreviationLength = std::max(maxAbbreviationLength, length);
    }

    void fileLowercased(std::string key, SnippetBucket bucket) {
        prefixTrie.assign(key, bucket);
        reversedTrie.assign(reversedBytes(key), bucket);
        lowercaseCache.insert_or_assign(std::move(key), std::move(bucket));
    }

    void add(const SnippetRef& snippet) {
        if (snippet->groupId) {
            groupCache[*snippet->groupId].push_back(snippet);
        }
        if (snippet->matchType == AbbreviationMatchType::regex) {
            regexSnippets.push_back(snippet);
            regexHints.push_back(RegexHints::of(snippet->abbreviation));
            return;
        }
        auto& exact = abbreviationCache[snippet->abbreviation];
        exact = exact.appending(snippet);
        auto key = text::lowercased(snippet->abbreviation);
        const auto found = lowercaseCache.find(key);
        auto lower = found == lowercaseCache.end() ? SnippetBucket().appending(snippet)
                                                   : found->second.appending(snippet);
        fileLowercased(std::move(key), std::move(lower));
        countAbbreviation(snippet->abbreviation, 1);
    }
};

struct SnippetCache::State {
    explicit State(Executor& executor) : rebuildQueue(executor, std::string(rebuildQueueLabel)) {}

    mutable std::mutex lock;
    std::unique_ptr<Index> index = std::make_unique<Index>();
    std::uint64_t cacheHits = 0;
    std::uint64_t cacheMisses = 0;
    std::uint64_t rebuildGeneration = 0;
    // Outer nullopt: never computed. Inner nullopt: computed for an unknown application.
    std::optional<std::optional<std::string>> lastBundleIdForRegex;
    std::shared_ptr<const RegexBucket> cachedRegexBucket;
    SerialBackgroundQueue rebuildQueue;

    void forgetRegexBucket() {
        lastBundleIdForRegex.reset();
        cachedRegexBucket.reset();
    }

    SnippetBucket lookup(const StringMap<SnippetBucket>& map, std::string_view key) {
        const auto found = map.find(key);
        if (found == map.end()) {
            ++cacheMisses;
            return {};
        }
        ++cacheHits;
        return found->second;
    }
};

SnippetCache::SnippetCache(Executor& executor) : state_(std::make_shared<State>(executor)) {}

SnippetCache::~SnippetCache() = default;

std::unique_ptr<SnippetCache::Index> SnippetCache::buildIndex(std::vector<Snippet> snippets) {
    auto index = std::make_unique<Index>();
    // Collect into plain lists first; buckets are immutable once made.
    StringMap<SnippetBucket::List> exact;
    StringMap<SnippetBucket::List> lower;
    exact.reserve(snippets.size());
    lower.reserve(snippets.size());
    for (auto& snippet : snippets) {
        if (!isEligible(snippet)) {
            continue;
        }
        auto ref = std::make_shared<const Snippet>(std::move(snippet));
        if (ref->groupId) {
            index->groupCache[*ref->groupId].push_back(ref);
        }
        if (ref->matchType == AbbreviationMatchType::regex) {
            index->regexHints.push_back(RegexHints::of(ref->abbreviation));
            index->regexSnippets.push_back(std::move(ref));
            continue;
        }
        lower[text::lowercased(ref->abbreviation)].push_back(ref);
        exact[ref->abbreviation].push_back(std::move(ref));
    }
    index->abbreviationCache.reserve(exact.size());
    for (auto& [key, list] : exact) {
        index->countAbbreviation(key, list.size());
        index->abbreviationCache.emplace(
            key, SnippetBucket(std::make_shared<const SnippetBucket::List>(std::move(list))));
    }
    index->lowercaseCache.reserve(lower.size());
    for (auto& [key, list] : lower) {
        index->fileLowercased(
            key, SnippetBucket(std::make_shared<const SnippetBucket::List>(std::move(list))));
    }
    return index;
}

void SnippetCache::rebuild(std::vector<Snippet> snippets) {
    std::uint64_t generation = 0;
    {
        std::lock_guard guard(state_->lock);
        generation = ++state_->rebuildGeneration;
    }
    std::weak_ptr<State> weakState = state_;
    state_->rebuildQueue.submit([weakState, generation, snippets = std::move(snippets)]() mutable {
        if (weakState.expired()) {
            return;  // the cache is gone; nobody wants the result
        }
        auto index = buildIndex(std::move(snippets));
        const auto state = weakState.lock();
        if (!state) {
            return;
        }
        std::unique_lock guard(state->lock);
        if (state->rebuildGeneration != generation) {
            return;  // a newer rebuild was requested; its result will be installed instead
        }
        std::swap(state->index, index);
        state->forgetRegexBucket();
        guard.unlock();
        // `index` now holds the old index; it is freed here, outside the lock.
    });
}

void SnippetCache::add(const Snippet& snippet) {
    if (!isEligible(snippet)) {
        return;
    }
    auto ref = std::make_shared<const Snippet>(snippet);
    std::lock_guard guard(state_->lock);
    state_->index->add(ref);
    if (ref->matchType == AbbreviationMatchType::regex) {
        state_->forgetRegexBucket();
    }
}

SnippetBucket SnippetCache::exactLookup(std::string_view text) {
    std::lock_guard guard(state_->lock);
    return state_->lookup(state_->index->abbreviationCache, text);
}

SnippetBucket SnippetCache::lowercaseLookup(std::string_view lowercasedText) {
    std::lock_guard guard(state_->lock);
    return state_->lookup(state_->index->lowercaseCache, lowercasedText);
}

std::size_t SnippetCache::maxAbbreviationLength() const {
    std::lock_guard guard(state_->lock);
    return state_->index->maxAbbreviationLength;
}

std::vector<SnippetRef> SnippetCache::prefixLookup(std::string_view text) const {
    if (text.empty()) {
        return {};
    }
    const auto lowered = text::lowercased(text);
    std::lock_guard guard(state_->lock);
    return state_->index->prefixTrie.snippetsWithPrefix(lowered);
}

std::shared_ptr<const RegexBucket> SnippetCache::regexSnippetsForApplication(
    const std::optional<std::string>& bundleId) {
    std::lock_guard guard(state_->lock);
    if (state_->lastBundleIdForRegex && *state_->lastBundleIdForRegex == bundleId &&
        state_->cachedRegexBucket) {
        return state_->cachedRegexBucket;
    }
    const auto& index = *state_->index;
    std::vector<SnippetRef> eligible;
    std::vector<RegexHints> hints;
    for (std::size_t i = 0; i < index.regexSnippets.size(); ++i) {
        if (passesApplicationFilter(*index.regexSnippets[i], bundleId)) {
            eligible.push_back(index.regexSnippets[i]);
            hints.push_back(index.regexHints[i]);
        }
    }
    state_->lastBundleIdForRegex = bundleId;
    state_->cachedRegexBucket =
        std::make_shared<const RegexBucket>(std::move(eligible), std::move(hints));
    return state_->cachedRegexBucket;
}

void SnippetCache::indexedTailLengths(std::string_view tail,
                                      std::vector<std::size_t>& lengths) const {
    lengths.clear();
    std::lock_guard guard(state_->lock);
    const auto& trie = state_->index->reversedTrie;
    auto node = trie.root();
    for (std::size_t length = 1; length <= tail.size(); ++length) {
        auto byte = static_cast<unsigned char>(tail[tail.size() - length]);
        if (byte >= 'A' && byte <= 'Z') {
            byte = static_cast<unsigned char>(byte + ('a' - 'A'));
        }
        node = trie.child(node, byte);
        if (node == SnippetTrie::noNode) {
            return;
        }
        if (!trie.bucket(node).empty()) {
            lengths.push_back(length);
        }
    }
}

std::vector<SnippetRef> SnippetCache::snippetsInGroup(const Uuid& groupId) const {
    std::lock_guard guard(state_->lock);
    const auto found = state_->index->groupCache.find(groupId);
    return found == state_->index->groupCache.end() ? std::vector<SnippetRef>{} : found->second;
}

std::uint64_t SnippetCache::cacheHits() const {
    std::lock_guard guard(state_->lock);
    return state_->cacheHits;
}

std::uint64_t SnippetCache::cacheMisses() const {
    std::lock_guard guard(state_->lock);
    return state_->cacheMisses;
}

std::uint64_t SnippetCache::rebuildGeneration() const {
    std::lock_guard guard(state_->lock);
    return state_->rebuildGeneration;
}

std::map<std::size_t, std::size_t> SnippetCache::abbreviationLengthCounts() const {
    std::lock_guard guard(state_->lock);
    return state_->index->abbreviationLengthCounts;
}

}  // namespace wordloom
