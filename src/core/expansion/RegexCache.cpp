#include "core/expansion/RegexCache.h"

namespace wordloom {
namespace {

constexpr std::size_t maxRememberedInvalidPatterns = 256;

// A pattern that backtracks catastrophically ("(a*)*b") must not freeze typing: ICU gives up
// after this many steps of its engine (a few milliseconds) and the pattern counts as not
// matching.
constexpr int32_t matchTimeLimit = 5;

std::unique_ptr<icu::RegexPattern> compilePattern(std::string_view pattern, bool caseInsensitive) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
        icu::UnicodeString::fromUTF8(
            icu::StringPiece(pattern.data(), static_cast<int32_t>(pattern.size()))),
        caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0, parseError, status));
    if (U_FAILURE(status)) {
        return nullptr;
    }
    return compiled;
}

std::string toUtf8(const icu::UnicodeString& text, int32_t start, int32_t end) {
    std::string out;
    text.tempSubStringBetween(start, end).toUTF8String(out);
    return out;
}

}  // namespace

std::optional<CompiledRegexPair> CompiledRegexPair::compile(const RegexCacheKeyView& key) {
    CompiledRegexPair pair;
    pair.anchored = compilePattern("(" + std::string(key.pattern) + ")$", key.caseInsensitive);
    pair.plain = compilePattern(key.pattern, key.caseInsensitive);
    if (!pair.anchored || !pair.plain) {
        return std::nullopt;
    }
    return pair;
}

RegexCache::RegexCache(std::size_t capacity) : capacity_(capacity) {}

RegexCache::~RegexCache() = default;

RegexCache::Entry* RegexCache::find(const RegexCacheKeyView& key) {
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

RegexCache::Entry* RegexCache::findOrCompile(const RegexCacheKeyView& key) {
    if (auto* entry = find(key)) {
        return entry;
    }
    if (invalid_.find(key) != invalid_.end()) {
        return nullptr;
    }
    auto compiled = CompiledRegexPair::compile(key);
    RegexCacheKey owned{std::string(key.pattern), key.caseInsensitive};
    if (!compiled) {
        if (invalid_.size() >= maxRememberedInvalidPatterns) {
            invalid_.clear();
        }
        invalid_.insert(std::move(owned));
        return nullptr;
    }
    return &insert(std::move(owned), std::move(*compiled));
}

const CompiledRegexPair* RegexCache::lookup(const RegexCacheKeyView& key) {
    auto* entry = findOrCompile(key);
    return entry ? &entry->pair : nullptr;
}

void RegexCache::insertPrecompiled(RegexCacheKey key, CompiledRegexPair pair) {
    if (entries_.find(key) != entries_.end()) {
        return;
    }
    insert(std::move(key), std::move(pair));
}

std::optional<RegexMatch> RegexCache::matchAtEndOfUtf8(const RegexCacheKeyView& key,
                                                       std::string_view text) {
    return matchAtEnd(key, icu::UnicodeString::fromUTF8(
                               icu::StringPiece(text.data(), static_cast<int32_t>(text.size()))));
}

std::optional<RegexMatch> RegexCache::matchAtEnd(const RegexCacheKeyView& key,
                                                 const icu::UnicodeString& text) {
    Entry* entry = findOrCompile(key);
    if (!entry) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    if (!entry->matcher) {
        entry->matcher.reset(entry->pair.anchored->matcher(status));
        if (entry->matcher) {
            entry->matcher->setTimeLimit(matchTimeLimit, status);
        }
        if (U_FAILURE(status) || !entry->matcher) {
            entry->matcher.reset();
            return std::nullopt;
        }
    }
    // UTF-16 input takes ICU's fast path; the matcher only keeps a reference to `text` until
    // its next reset.
    auto& matcher = *entry->matcher;
    matcher.reset(text);
    if (!matcher.find(status) || U_FAILURE(status)) {
        return std::nullopt;
    }
    RegexMatch match;
    match.matched = toUtf8(text, matcher.start(1, status), matcher.end(1, status));
    for (int32_t group = 2; group <= matcher.groupCount(); ++group) {
        const auto begin = matcher.start(group, status);
        match.captures.push_back(begin < 0 ? std::string()
                                           : toUtf8(text, begin, matcher.end(group, status)));
    }
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return match;
}

std::vector<RegexCacheKey> RegexCache::keysInOrder() const {
    return {order_.begin(), order_.end()};
}

}  // namespace wordloom
