// A synthetic library for the detection benchmarks: abbreviations of realistic lengths (most
// 3-10 characters, some up to 30), half immediate and half delimiter-triggered, 1% regex.
// Every abbreviation carries a symbol or digits that prose does not, so the prose below
// matches nothing.

#pragma once

#include <random>
#include <string>
#include <vector>

#include "core/expansion/DetectionSources.h"
#include "core/library/Snippet.h"

namespace wordloom::bench {

inline const std::string prose =
    "the quick brown fox jumps over the lazy dog while five wizards box quickly and "
    "a jovial sphinx of black quartz judges my vow, then packs my box with liquor jugs. ";

inline std::string randomWord(std::mt19937& random, std::size_t length) {
    static constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz";
    std::string word;
    for (std::size_t i = 0; i < length; ++i) {
        word += letters[random() % letters.size()];
    }
    return word;
}

inline std::size_t realisticLength(std::mt19937& random) {
    // Mostly short, a long tail up to 30.
    const auto roll = random() % 100;
    if (roll < 70) {
        return 3 + random() % 8;  // 3-10
    }
    if (roll < 95) {
        return 11 + random() % 10;  // 11-20
    }
    return 21 + random() % 10;  // 21-30
}

inline std::string regexPattern(std::mt19937& random, std::size_t index) {
    const auto word = randomWord(random, 2 + random() % 4);
    switch (index % 10) {
        case 0:
        case 1:
        case 2:
            return ";" + word + "(\\d+)";  // ";dt12": ends on a digit
        case 3:
        case 4:
        case 5:
            return "(\\d+)" + word;  // "12kg": ends on a letter
        case 6:
        case 7:
            return ";" + word + "\\.(\\w+)";  // ends on a word character
        case 8:
            return "#" + word + "#";
        default:
            return ";" + word + "[0-9]{2}";  // an ending the hint does not read: tried always
    }
}

inline std::vector<Snippet> makeLibrary(std::size_t size, unsigned seed = 42) {
    std::mt19937 random(seed);
    static constexpr std::string_view prefixes[] = {";", ";;", ",", "//", "@", "!", "xx"};
    std::vector<Snippet> library;
    library.reserve(size);
    std::size_t regexCount = 0;
    for (std::size_t i = 0; i < size; ++i) {
        Snippet snippet;
        snippet.id = Uuid::random();
        snippet.label = "Snippet " + std::to_string(i);
        snippet.content = "Expansion text number " + std::to_string(i);
        snippet.triggerMode = i % 2 == 0 ? TriggerMode::immediate : TriggerMode::delimiter;
        if (i % 100 == 50) {
            snippet.matchType = AbbreviationMatchType::regex;
            snippet.abbreviation = regexPattern(random, regexCount++);
        } else {
            const auto prefix = std::string(prefixes[random() % std::size(prefixes)]);
            const auto length = std::max(realisticLength(random), prefix.size() + 1);
            snippet.abbreviation =
                prefix + randomWord(random, length - prefix.size() - 1) + std::to_string(i % 10);
        }
        library.push_back(std::move(snippet));
    }
    return library;
}

/// Snippets have no groups in the synthetic library.
class NoGroups final : public SnippetGroupLookup {
  public:
    const SnippetGroup* group(const Uuid&) const override { return nullptr; }
};

class FixedSettings final : public SettingsSource {
  public:
    const AppSettings& settings() const override { return value; }
    AppSettings value;
};

}  // namespace wordloom::bench
