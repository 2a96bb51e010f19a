#include "core/library/SnippetSearch.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "core/base/Text.h"

namespace wordloom {

namespace {

constexpr std::size_t previewLength = 120;
constexpr int noMatch = -1;

/// The line cut after `previewLength` code points, with an ellipsis. Counted in code points, not
/// characters (a break iterator over every snippet would cost more than all the rest of the
/// index), but never cut before a combining mark, so an accent stays with its letter.
std::string shortened(std::string_view line) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(line.data());
    const auto length = static_cast<int32_t>(line.size());
    int32_t offset = 0;
    std::size_t count = 0;
    while (offset < length && count <= previewLength) {
        U8_FWD_1(bytes, offset, length);
        ++count;
    }
    if (count <= previewLength) {
        return std::string(line);
    }
    offset = 0;
    for (count = 0; count < previewLength - 1; ++count) {
        U8_FWD_1(bytes, offset, length);
    }
    while (offset < length) {
        int32_t next = offset;
        UChar32 codePoint = 0;
        U8_NEXT(bytes, next, length, codePoint);
        if (codePoint < 0 || !(U_GET_GC_MASK(codePoint) & (U_GC_MN_MASK | U_GC_ME_MASK))) {
            break;
        }
        offset = next;
    }
    return std::string(line.substr(0, static_cast<std::size_t>(offset))) + "\u2026";
}

std::string previewOf(std::string_view content) {
    std::string_view rest = content;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        auto line = text::trimWhitespaceAndNewlines(rest.substr(0, end));
        if (!line.empty()) {
            return shortened(line);
        }
        if (end == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(end + 1);
    }
    return {};
}

/// Whether `query` starts `text` or starts a word in it (after a character that is not a letter
/// or digit).
bool startsAWord(std::string_view text, std::string_view query) {
    for (std::size_t at = text.find(query); at != std::string_view::npos;
         at = text.find(query, at + 1)) {
        if (at == 0) {
            return true;
        }
        // The character before: step back over UTF-8 continuation bytes.
        std::size_t start = at - 1;
        while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) {
            --start;
        }
        int32_t offset = static_cast<int32_t>(start);
        UChar32 before = 0;
        U8_NEXT(text.data(), offset, static_cast<int32_t>(text.size()), before);
        if (!u_isalnum(before)) {
            return true;
        }
    }
    return false;
}

/// The abbreviation without the punctuation it starts with (";sig" -> "sig"); empty when it is
/// nothing but punctuation, so that it then matches as a whole only.
std::string stemOf(std::string_view abbreviation) {
    std::size_t start = 0;
    while (start < abbreviation.size() && static_cast<unsigned char>(abbreviation[start]) < 0x80 &&
           std::ispunct(static_cast<unsigned char>(abbreviation[start]))) {
        ++start;
    }
    return start == abbreviation.size() ? std::string() : std::string(abbreviation.substr(start));
}

}  // namespace

namespace {

/// One non-ASCII code point folded: decomposed, marks dropped, case folded. Decomposing one
/// code point at a time gives what decomposing the text would once the marks are gone.
std::string foldCodePoint(UChar32 codePoint) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* decompose = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString decomposed;
    if (U_FAILURE(status) || !decompose->getDecomposition(codePoint, decomposed)) {
        decomposed = icu::UnicodeString(codePoint);
    }
    icu::UnicodeString kept;
    for (int32_t index = 0; index < decomposed.length();) {
        const UChar32 part = decomposed.char32At(index);
        index += U16_LENGTH(part);
        if (!(U_GET_GC_MASK(part) & (U_GC_MN_MASK | U_GC_ME_MASK))) {
            kept.append(part);
        }
    }
    kept.foldCase();
    std::string folded;
    kept.toUTF8String(folded);
    return folded;
}

}  // namespace

std::string SnippetSearch::fold(std::string_view text) {
    // Texts repeat the same few accented letters: fold each once per thread.
    thread_local std::unordered_map<UChar32, std::string> folded;
    std::string result;
    result.reserve(text.size());
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t index = 0; index < length;) {
        const std::uint8_t byte = bytes[index];
        if (byte < 0x80) {
            result += static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
            ++index;
            continue;
        }
        UChar32 codePoint = 0;
        U8_NEXT(bytes, index, length, codePoint);
        if (codePoint < 0) {
            codePoint = 0xFFFD;
        }
        auto found = folded.find(codePoint);
        if (found == folded.end()) {
            if (folded.size() > 4096) {
                folded.clear();  // a text in many scripts: keep the cache small
            }
            found = folded.emplace(codePoint, foldCodePoint(codePoint)).first;
        }
        result += found->second;
    }
    return result;
}

void SnippetSearch::rebuild(const std::vector<Snippet>& snippets, const GroupName& groupName,
                            bool includeDisabled) {
    entries_.clear();
    entries_.reserve(snippets.size());
    for (const auto& snippet : snippets) {
        if (snippet.isDeleted() || (!snippet.isEnabled && !includeDisabled)) {
            continue;
        }
        Entry entry;
        entry.hit.id = snippet.id;
        entry.hit.abbreviation = snippet.abbreviation;
        entry.hit.label = snippet.label;
        entry.hit.groupName = groupName ? groupName(snippet.groupId) : std::string();
        entry.hit.preview = previewOf(snippet.content);
        entry.abbreviation = fold(snippet.abbreviation);
        entry.abbreviationStem = stemOf(entry.abbreviation);
        entry.label = fold(snippet.label);
        for (const auto& tag : snippet.tags) {
            entry.tagsAndGroup += fold(tag) + "\n";
        }
        entry.tagsAndGroup += fold(entry.hit.groupName);
        entry.content = fold(snippet.content);
        entry.useCount = snippet.useCount;
        entry.lastUsedAt = snippet.lastUsedAt.value_or(Timestamp{});
        entries_.push_back(std::move(entry));
    }
}

int SnippetSearch::rankOf(const Entry& entry, std::string_view query) const {
    if (query.empty()) {
        return 3;
    }
    // "sig" finds ";sig" as well as "sig": a leading sign is how abbreviations are kept apart
    // from words, not something a person searching thinks of typing.
    const std::string_view stem = entry.abbreviationStem;
    if (entry.abbreviation == query || stem == query) {
        return 0;
    }
    if (entry.abbreviation.compare(0, query.size(), query) == 0 ||
        stem.substr(0, query.size()) == query) {
        return 1;
    }
    if (startsAWord(entry.label, query)) {
        return 2;
    }
    if (entry.abbreviation.find(query) != std::string::npos ||
        entry.label.find(query) != std::string::npos ||
        entry.tagsAndGroup.find(query) != std::string::npos ||
        entry.content.find(query) != std::string::npos) {
        return 3;
    }
    return noMatch;
}

std::vector<SnippetSearchHit> SnippetSearch::search(std::string_view query,
                                                    std::size_t limit) const {
    const std::string folded = fold(text::trimWhitespaceAndNewlines(query));
    struct Ranked {
        int rank;
        const Entry* entry;
    };
    std::vector<Ranked> matches;
    for (const auto& entry : entries_) {
        if (const int rank = rankOf(entry, folded); rank != noMatch) {
            matches.push_back({rank, &entry});
        }
    }
    const auto better = [](const Ranked& a, const Ranked& b) {
        if (a.rank != b.rank) {
            return a.rank < b.rank;
        }
        if (a.entry->useCount != b.entry->useCount) {
            return a.entry->useCount > b.entry->useCount;
        }
        if (a.entry->lastUsedAt != b.entry->lastUsedAt) {
            return a.entry->lastUsedAt > b.entry->lastUsedAt;
        }
        return a.entry->abbreviation < b.entry->abbreviation;
    };
    const std::size_t count = std::min(limit, matches.size());
    std::partial_sort(matches.begin(), matches.begin() + static_cast<std::ptrdiff_t>(count),
                      matches.end(), better);
    std::vector<SnippetSearchHit> hits;
    hits.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        hits.push_back(matches[index].entry->hit);
    }
    return hits;
}

}  // namespace wordloom
