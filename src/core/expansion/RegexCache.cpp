#include "core/expansion/RegexCache.h"

#include <unicode/utext.h>

namespace wordloom {
namespace {

constexpr std::size_t maxRememberedInvalidPatterns = 256;

std::unique_ptr<icu::RegexPattern> compilePattern(const std::string& pattern,
                                                  bool caseInsensitive) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
        icu::UnicodeString::fromUTF8(pattern), caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0,
        parseError, status));
    if (U_FAILURE(status)) {
        return nullptr;
    }
    return compiled;
}

}  // namespace

std::optional<CompiledRegexPair> CompiledRegexPair::compile(const RegexCacheKey& key) {
    CompiledRegexPair pair;
    pair.anchored = compilePattern("(" + key.pattern + ")$", key.caseInsensitive);
    pair.plain = compilePattern(key.pattern, key.caseInsensitive);
    if (!pair.anchored || !pair.plain) {
        return std::nullopt;
    }
    return pair;
}

RegexCache::RegexCache(std::size_t capacity) : capacity_(capacity) {}

RegexCache::~RegexCache() = default;

RegexCache::Entry* RegexCache::find(const RegexCacheKey& key) {
    const auto found = entries_.find(key);
    if (found == entries_.end()) {
        return nullptr;
    }
    auto& entry = found->second;
    if (std::next(entry.position) != order_.end()) {
        order_.splice(order_.end(), order_, entry.position);
    }
    return &entry;
}

RegexCache::Entry& RegexCache::insert(RegexCacheKey key, CompiledRegexPair pair) {
    order_.push_back(key);
    auto [it, inserted] =
        entries_.emplace(std::move(key), Entry{std::move(pair), nullptr, std::prev(order_.end())});
    Entry& entry = it->second;
    while (entries_.size() > capacity_) {
        entries_.erase(order_.front());
        order_.pop_front();
    }
    return entry;
}

const CompiledRegexPair* RegexCache::lookup(const RegexCacheKey& key) {
    if (auto* entry = find(key)) {
        return &entry->pair;
    }
    if (invalid_.count(key) != 0) {
        return nullptr;
    }
    auto compiled = CompiledRegexPair::compile(key);
    if (!compiled) {
        if (invalid_.size() >= maxRememberedInvalidPatterns) {
            invalid_.clear();
        }
        invalid_.insert(key);
        return nullptr;
    }
    return &insert(key, std::move(*compiled)).pair;
}

void RegexCache::insertPrecompiled(RegexCacheKey key, CompiledRegexPair pair) {
    if (entries_.count(key) != 0) {
        return;
    }
    insert(std::move(key), std::move(pair));
}

std::optional<RegexMatch> RegexCache::matchAtEnd(const RegexCacheKey& key, std::string_view text) {
    if (!lookup(key)) {
        return std::nullopt;
    }
    Entry& entry = entries_.find(key)->second;
    UErrorCode status = U_ZERO_ERROR;
    if (!entry.matcher) {
        entry.matcher.reset(entry.pair.anchored->matcher(status));
        if (U_FAILURE(status) || !entry.matcher) {
            entry.matcher.reset();
            return std::nullopt;
        }
    }
    // Matching UTF-8 in place: native indexes are byte offsets, and nothing is converted.
    UText input = UTEXT_INITIALIZER;
    utext_openUTF8(&input, text.data(), static_cast<int64_t>(text.size()), &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    auto& matcher = *entry.matcher;
    matcher.reset(&input);
    std::optional<RegexMatch> result;
    if (matcher.find(status) && U_SUCCESS(status)) {
        RegexMatch match;
        match.begin = static_cast<std::size_t>(matcher.start64(1, status));
        match.end = static_cast<std::size_t>(matcher.end64(1, status));
        for (int32_t group = 2; group <= matcher.groupCount(); ++group) {
            const auto begin = matcher.start64(group, status);
            const auto end = matcher.end64(group, status);
            match.captures.emplace_back(begin < 0
                                            ? std::string_view()
                                            : text.substr(static_cast<std::size_t>(begin),
                                                          static_cast<std::size_t>(end - begin)));
        }
        if (U_SUCCESS(status)) {
            result = std::move(match);
        }
    }
    // The matcher keeps its own shallow clone of `input`; it is only read again after the next
    // reset.
    utext_close(&input);
    return result;
}

std::vector<RegexCacheKey> RegexCache::keysInOrder() const {
    return {order_.begin(), order_.end()};
}

}  // namespace wordloom
