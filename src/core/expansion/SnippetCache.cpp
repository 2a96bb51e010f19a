#include "core/expansion/SnippetCache.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <unordered_map>

#include "core/base/Text.h"
#include "core/expansion/ApplicationFilter.h"
#include "core/expansion/SerialBackgroundQueue.h"
#include "core/expansion/SnippetCacheKeyTable.h"
#include "core/expansion/SnippetTrie.h"

namespace wordloom {
namespace {

bool isEligible(const Snippet& snippet) {
    return snippet.isEnabled && !snippet.isDeleted();
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Whether `text` lower-cased differs from it; if so, appends the lower-cased form to `out`.
bool appendLowercasedIfDifferent(std::string_view text, std::string& out) {
    if (isAscii(text)) {
        if (std::none_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; })) {
            return false;
        }
        for (const char c : text) {
            out.push_back((c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c);
        }
        return true;
    }
    auto lowered = text::lowercased(text);
    if (lowered == text) {
        return false;
    }
    out += lowered;
    return true;
}

std::size_t characterCountOf(std::string_view text) {
    if (isAscii(text) && text.find('\r') == std::string_view::npos) {
        return text.size();
    }
    return text::characterCount(text);
}

std::string reversedBytes(std::string_view text) {
    return std::string(text.rbegin(), text.rend());
}

}  // namespace

// The index one rebuild makes. The snippets filed under each key are one range of a shared
// list: a full build puts every bucket back to back in lists[0] (ordered by lower-cased key,
// then library order, so an exact bucket is the same range as its lower-case bucket unless
// the key has variants differing in case; those get ranges in lists[1]). A single addition
// gives the buckets it changes lists of their own.
struct SnippetCache::Index {
    struct Range {
        std::uint32_t list = 0;
        std::uint32_t offset = 0;
        std::uint32_t count = 0;
    };

    std::vector<std::shared_ptr<const SnippetBucket::List>> lists{nullptr, nullptr};
    SnippetCacheKeyTable exactKeys;  // abbreviation -> position in exactRanges
    std::vector<Range> exactRanges;
    SnippetCacheKeyTable lowerKeys;  // lower-cased abbreviation -> position in lowerRanges
    std::vector<Range> lowerRanges;
    // Bytes of the lower-cased keys that differ from their abbreviation; other keys point
    // into the snippets themselves.
    std::string keyArena;
    std::deque<std::string> addedKeys;  // the same for single additions (stable addresses)
    SnippetTrie prefixTrie;             // lower-cased keys -> position in lowerRanges
    SnippetTrie reversedTrie;           // the same keys, bytes reversed
    std::unordered_map<Uuid, std::vector<SnippetRef>> groupCache;
    std::vector<SnippetRef> regexSnippets;
    std::vector<RegexTail> regexTails;      // one per regex snippet
    std::vector<std::size_t> lengthCounts;  // by abbreviation length in characters
    std::size_t maxAbbreviationLength = 0;

    SnippetBucket bucket(const Range& range) const {
        return range.count == 0 ? SnippetBucket()
                                : SnippetBucket(lists[range.list], range.offset, range.count);
    }

    void countAbbreviation(std::string_view abbreviation, std::size_t snippets) {
        const auto length = characterCountOf(abbreviation);
        if (length >= lengthCounts.size()) {
            lengthCounts.resize(length + 1);
        }
        lengthCounts[length] += snippets;
        maxAbbreviationLength = std::max(maxAbbreviationLength, length);
    }

    void fileGroupAndRegex(const SnippetRef& snippet) {
        if (snippet->groupId) {
            groupCache[*snippet->groupId].push_back(snippet);
        }
        if (snippet->matchType == AbbreviationMatchType::regex) {
            regexSnippets.push_back(snippet);
            regexTails.push_back(RegexTail::of(snippet->abbreviation));
        }
    }

    // A new list holding `range`'s snippets and then `snippet`.
    Range appending(const Range& range, const SnippetRef& snippet) {
        auto list = std::make_shared<SnippetBucket::List>();
        list->reserve(range.count + 1);
        const auto old = bucket(range);
        list->assign(old.begin(), old.end());
        list->push_back(snippet);
        if (range.list > 1) {
            lists[range.list].reset();  // a list of an earlier addition, used by this range only
        }
        lists.push_back(std::move(list));
        return {static_cast<std::uint32_t>(lists.size() - 1), 0, range.count + 1};
    }

    void add(const SnippetRef& snippet) {
        fileGroupAndRegex(snippet);
        if (snippet->matchType == AbbreviationMatchType::regex) {
            return;
        }
        const std::string_view abbreviation = snippet->abbreviation;
        std::string lowered;
        const std::string_view lowerKey =
            appendLowercasedIfDifferent(abbreviation, lowered)
                ? std::string_view(addedKeys.emplace_back(std::move(lowered)))
                : abbreviation;
        const auto exact = exactKeys.intern(abbreviation);
        if (exact == exactRanges.size()) {
            exactRanges.emplace_back();
        }
        exactRanges[exact] = appending(exactRanges[exact], snippet);
        const auto lower = lowerKeys.intern(lowerKey);
        if (lower == lowerRanges.size()) {
            lowerRanges.emplace_back();
            prefixTrie.insert(lowerKey, lower);
            reversedTrie.insert(reversedBytes(lowerKey), lower);
        }
        lowerRanges[lower] = appending(lowerRanges[lower], snippet);
        countAbbreviation(abbreviation, 1);
    }
};

struct SnippetCache::State {
    explicit State(Executor& pool)
        : executor(pool), rebuildQueue(pool, std::string(rebuildQueueLabel)) {}

    Executor& executor;
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

    SnippetBucket lookup(const SnippetCacheKeyTable& keys, const std::vector<Index::Range>& ranges,
                         std::string_view key) {
        const auto found = keys.find(key);
        if (found == SnippetCacheKeyTable::absent) {
            ++cacheMisses;
            return {};
        }
        ++cacheHits;
        return index->bucket(ranges[found]);
    }
};

SnippetCache::SnippetCache(Executor& executor) : state_(std::make_shared<State>(executor)) {}

SnippetCache::~SnippetCache() = default;

std::unique_ptr<SnippetCache::Index> SnippetCache::buildIndex(std::vector<Snippet> snippets) {
    auto index = std::make_unique<Index>();
    // The snippets stay where they are; every reference to one shares this block.
    const auto library = std::make_shared<const std::vector<Snippet>>(std::move(snippets));
    const auto& all = *library;
    const auto refTo = [&](std::uint32_t i) { return SnippetRef(library, &all[i]); };

    std::vector<std::uint32_t> members;  // eligible exact-match snippets, library order
    members.reserve(all.size());
    std::size_t keyBytes = 0;
    for (std::uint32_t i = 0; i < all.size(); ++i) {
        if (!isEligible(all[i])) {
            continue;
        }
        if (all[i].groupId || all[i].matchType == AbbreviationMatchType::regex) {
            index->fileGroupAndRegex(refTo(i));
        }
        if (all[i].matchType != AbbreviationMatchType::regex) {
            members.push_back(i);
            keyBytes += all[i].abbreviation.size();
        }
    }
    const auto memberCount = members.size();

    // Lower-cased keys: most are their abbreviation already and cost nothing to store.
    struct Span {
        std::uint32_t start = 0;
        std::uint32_t size = 0;
    };
    std::vector<std::optional<Span>> lowered(memberCount);  // nullopt: same as abbreviation
    index->keyArena.reserve(keyBytes);
    for (std::size_t k = 0; k < memberCount; ++k) {
        const auto before = index->keyArena.size();
        if (appendLowercasedIfDifferent(all[members[k]].abbreviation, index->keyArena)) {
            lowered[k] = Span{static_cast<std::uint32_t>(before),
                              static_cast<std::uint32_t>(index->keyArena.size() - before)};
        }
    }
    const std::string_view arena = index->keyArena;  // complete: views into it stay valid
    const auto lowerKeyOf = [&](std::size_t k) -> std::string_view {
        if (!lowered[k]) {
            return all[members[k]].abbreviation;
        }
        return arena.substr(lowered[k]->start, lowered[k]->size);
    };

    index->exactKeys.reserve(memberCount);
    index->lowerKeys.reserve(memberCount);
    std::vector<std::uint32_t> exactOf(memberCount);
    std::vector<std::uint32_t> lowerOf(memberCount);
    for (std::size_t k = 0; k < memberCount; ++k) {
        exactOf[k] = index->exactKeys.intern(all[members[k]].abbreviation);
        lowerOf[k] = index->lowerKeys.intern(lowerKeyOf(k));
    }
    const auto exactCount = index->exactKeys.size();
    const auto lowerCount = index->lowerKeys.size();

    // Counting sort by lower-cased key keeps library order within each bucket.
    auto& lowerRanges = index->lowerRanges;
    lowerRanges.resize(lowerCount);
    for (std::size_t k = 0; k < memberCount; ++k) {
        ++lowerRanges[lowerOf[k]].count;
    }
    std::uint32_t offset = 0;
    for (auto& range : lowerRanges) {
        range.offset = offset;
        offset += range.count;
    }
    auto byLower = std::make_shared<SnippetBucket::List>(memberCount);
    {
        std::vector<std::uint32_t> next(lowerCount);
        for (std::size_t l = 0; l < lowerCount; ++l) {
            next[l] = lowerRanges[l].offset;
        }
        for (std::size_t k = 0; k < memberCount; ++k) {
            (*byLower)[next[lowerOf[k]]++] = refTo(members[k]);
        }
    }

    // An exact bucket is its lower-case bucket, unless other spellings share that bucket.
    std::vector<std::uint32_t> lowerOfExact(exactCount);
    std::vector<std::uint32_t> spellings(lowerCount);
    for (std::size_t k = 0; k < memberCount; ++k) {
        lowerOfExact[exactOf[k]] = lowerOf[k];
    }
    for (const auto lower : lowerOfExact) {
        ++spellings[lower];
    }
    auto& exactRanges = index->exactRanges;
    exactRanges.resize(exactCount);
    std::size_t mixedMembers = 0;
    for (std::size_t e = 0; e < exactCount; ++e) {
        if (spellings[lowerOfExact[e]] == 1) {
            exactRanges[e] = lowerRanges[lowerOfExact[e]];
        } else {
            exactRanges[e].list = 1;
        }
    }
    auto mixed = std::make_shared<SnippetBucket::List>();
    for (std::size_t k = 0; k < memberCount; ++k) {
        if (exactRanges[exactOf[k]].list == 1) {
            ++exactRanges[exactOf[k]].count;
            ++mixedMembers;
        }
    }
    if (mixedMembers > 0) {
        mixed->resize(mixedMembers);
        offset = 0;
        std::vector<std::uint32_t> next(exactCount);
        for (std::size_t e = 0; e < exactCount; ++e) {
            if (exactRanges[e].list == 1) {
                exactRanges[e].offset = offset;
                next[e] = offset;
                offset += exactRanges[e].count;
            }
        }
        for (std::size_t k = 0; k < memberCount; ++k) {
            if (exactRanges[exactOf[k]].list == 1) {
                (*mixed)[next[exactOf[k]]++] = refTo(members[k]);
            }
        }
    }
    index->lists = {std::move(byLower), std::move(mixed)};

    for (std::size_t e = 0; e < exactCount; ++e) {
        index->countAbbreviation(index->exactKeys.key(static_cast<std::uint32_t>(e)),
                                 exactRanges[e].count);
    }

    // The tries, from sorted keys.
    std::vector<SnippetTrie::Entry> entries(lowerCount);
    for (std::uint32_t l = 0; l < lowerCount; ++l) {
        entries[l] = {index->lowerKeys.key(l), l};
    }
    const auto byKey = [](const SnippetTrie::Entry& a, const SnippetTrie::Entry& b) {
        return a.key < b.key;
    };
    std::sort(entries.begin(), entries.end(), byKey);
    index->prefixTrie.build(entries);
    std::string reversed;
    reversed.reserve(arena.size() + keyBytes);
    for (auto& entry : entries) {
        reversed.append(entry.key.rbegin(), entry.key.rend());
    }
    std::size_t at = 0;
    for (auto& entry : entries) {
        const auto size = entry.key.size();
        entry.key = std::string_view(reversed).substr(at, size);
        at += size;
    }
    std::sort(entries.begin(), entries.end(), byKey);
    index->reversedTrie.build(entries);
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
        // Freeing the old index (and the snippets no bucket still holds) takes longer than
        // building the new one; it need not delay the next rebuild.
        state->executor.runInBackground([old = std::shared_ptr<Index>(std::move(index))] {});
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
    return state_->lookup(state_->index->exactKeys, state_->index->exactRanges, text);
}

SnippetBucket SnippetCache::lowercaseLookup(std::string_view lowercasedText) {
    std::lock_guard guard(state_->lock);
    return state_->lookup(state_->index->lowerKeys, state_->index->lowerRanges, lowercasedText);
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
    std::vector<std::uint32_t> keys;
    std::vector<SnippetRef> found;
    std::lock_guard guard(state_->lock);
    const auto& index = *state_->index;
    index.prefixTrie.valuesWithPrefix(lowered, keys);
    for (const auto key : keys) {
        const auto bucket = index.bucket(index.lowerRanges[key]);
        found.insert(found.end(), bucket.begin(), bucket.end());
    }
    return found;
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
    std::vector<RegexTail> tails;
    for (std::size_t i = 0; i < index.regexSnippets.size(); ++i) {
        if (passesApplicationFilter(*index.regexSnippets[i], bundleId)) {
            eligible.push_back(index.regexSnippets[i]);
            tails.push_back(index.regexTails[i]);
        }
    }
    state_->lastBundleIdForRegex = bundleId;
    state_->cachedRegexBucket = std::make_shared<const RegexBucket>(std::move(eligible), tails);
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
        if (trie.value(node) != SnippetTrie::noValue) {
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
    std::map<std::size_t, std::size_t> counts;
    const auto& byLength = state_->index->lengthCounts;
    for (std::size_t length = 0; length < byLength.size(); ++length) {
        if (byLength[length] > 0) {
            counts.emplace(length, byLength[length]);
        }
    }
    return counts;
}

}  // namespace wordloom
