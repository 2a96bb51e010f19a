#include "core/macros/MacroKeyword.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>

#include "core/base/Text.h"

namespace wordloom {
namespace {

// Sorted by length, so that a word is only compared with the few names of its own length.
constexpr std::pair<std::string_view, MacroKeyword> keywordNames[] = {
    {"if", MacroKeyword::conditionalIf},
    {"ai", MacroKeyword::ai},
    {"js", MacroKeyword::javascript},
    {"now", MacroKeyword::now},
    {"/if", MacroKeyword::conditionalEnd},
    {"key", MacroKeyword::key},
    {"date", MacroKeyword::date},
    {"time", MacroKeyword::time},
    {"uuid", MacroKeyword::uuid},
    {"elif", MacroKeyword::conditionalElseIf},
    {"else", MacroKeyword::conditionalElse},
    {"today", MacroKeyword::today},
    {"input", MacroKeyword::input},
    {"endif", MacroKeyword::conditionalEnd},
    {"cursor", MacroKeyword::cursor},
    {"select", MacroKeyword::select},
    {"elseif", MacroKeyword::conditionalElseIf},
    {"random", MacroKeyword::random},
    {"snippet", MacroKeyword::snippet},
    {"tomorrow", MacroKeyword::tomorrow},
    {"selected", MacroKeyword::selectedText},
    {"textarea", MacroKeyword::textarea},
    {"optional", MacroKeyword::optional},
    {"yesterday", MacroKeyword::yesterday},
    {"clipboard", MacroKeyword::clipboard},
    {"selection", MacroKeyword::selectedText},
    {"/optional", MacroKeyword::optionalEnd},
    {"javascript", MacroKeyword::javascript},
    {"selected-text", MacroKeyword::selectedText},
};

constexpr std::size_t longestKeyword = std::size(keywordNames) > 0
                                           ? std::end(keywordNames)[-1].first.size()
                                           : 0;

static_assert(std::is_sorted(std::begin(keywordNames), std::end(keywordNames),
                             [](const auto& a, const auto& b) {
                                 return a.first.size() < b.first.size();
                             }));

// firstOfLength[k] is the index of the first name at least k bytes long.
constexpr auto firstOfLength = [] {
    std::array<std::size_t, longestKeyword + 2> first{};
    std::size_t entry = 0;
    for (std::size_t length = 0; length < first.size(); ++length) {
        while (entry < std::size(keywordNames) && keywordNames[entry].first.size() < length) {
            ++entry;
        }
        first[length] = entry;
    }
    return first;
}();

// A word of up to 16 bytes as two numbers, zero-padded, with ASCII capitals lower-cased: two
// comparisons tell whether a word spells a name.
struct PackedWord {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    bool operator==(const PackedWord&) const = default;
};

constexpr PackedWord packLowercased(std::string_view word) {
    PackedWord packed;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const auto c = static_cast<unsigned char>(word[i]);
        const auto lower = static_cast<std::uint64_t>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
        (i < 8 ? packed.low : packed.high) |= lower << (8 * (i % 8));
    }
    return packed;
}

static_assert(longestKeyword <= 2 * sizeof(std::uint64_t));

constexpr auto packedKeywordNames = [] {
    std::array<PackedWord, std::size(keywordNames)> packed{};
    for (std::size_t k = 0; k < packed.size(); ++k) {
        packed[k] = packLowercased(keywordNames[k].first);
    }
    return packed;
}();

std::optional<MacroKeyword> keywordSpelled(std::string_view text) {
    if (text.size() > longestKeyword) {
        return std::nullopt;
    }
    const PackedWord word = packLowercased(text);
    for (std::size_t k = firstOfLength[text.size()]; k < firstOfLength[text.size() + 1]; ++k) {
        if (packedKeywordNames[k] == word) {
            return keywordNames[k].second;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<MacroKeyword> macroKeywordNamed(std::string_view word) {
    if (auto keyword = keywordSpelled(word)) {
        return keyword;
    }
    for (const char c : word) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return keywordSpelled(text::lowercased(word));
        }
    }
    return std::nullopt;
}

}  // namespace wordloom
