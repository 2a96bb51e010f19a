// The prefix lookup answers from a trie; this checks it against the plain scan over the
// library that it replaces, on many random libraries.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "DetectionTestSupport.h"
#include "core/base/ManualExecutor.h"
#include "core/base/Text.h"
#include "core/expansion/SnippetCache.h"

namespace wordloom {
namespace {

// Pieces that stress case mapping and character boundaries: letters in both cases, a
// precomposed and a decomposed accent, a letter whose lower case is longer, sharp s, and
// punctuation abbreviations start with.
const std::vector<std::string> alphabet{"a", "b",      "A",      "B",      ";",  "-", "\u00E9",
                                        "e", "\u0301", "\u0130", "\u00DF", "SS", "1"};

std::string randomText(std::mt19937& random, std::size_t maxPieces) {
    std::uniform_int_distribution<std::size_t> pieces(1, maxPieces);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    std::string text;
    for (auto n = pieces(random); n > 0; --n) {
        text += alphabet[pick(random)];
    }
    return text;
}

// What the trie must agree with: every eligible exact-match snippet whose lower-cased
// abbreviation starts with the lower-cased text, the text ending between two characters.
std::vector<Uuid> scan(const std::vector<Snippet>& library, std::string_view text) {
    std::vector<Uuid> found;
    if (text.empty()) {
        return found;
    }
    const auto prefix = text::lowercased(text);
    for (const auto& snippet : library) {
        if (!snippet.isEnabled || snippet.isDeleted() ||
            snippet.matchType == AbbreviationMatchType::regex) {
            continue;
        }
        const auto key = text::lowercased(snippet.abbreviation);
        const auto boundaries = text::characterBoundaries(key);
        if (key.starts_with(prefix) &&
            std::find(boundaries.begin(), boundaries.end(), prefix.size()) != boundaries.end()) {
            found.push_back(snippet.id);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<Uuid> sortedIds(const std::vector<SnippetRef>& snippets) {
    std::vector<Uuid> ids;
    for (const auto& snippet : snippets) {
        ids.push_back(snippet->id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

TEST(PrefixLookupProperty, TrieAgreesWithLinearScanOnRandomLibraries) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 200; ++round) {
        ManualExecutor executor;
        SnippetCache cache(executor);
        std::vector<Snippet> library;
        const auto size = std::uniform_int_distribution<int>(0, 60)(random);
        for (int i = 0; i < size; ++i) {
            auto snippet = test::makeSnippet(randomText(random, 5));
            const auto roll = random() % 10;
            snippet.isEnabled = roll != 0;
            if (roll == 1) {
                snippet.matchType = AbbreviationMatchType::regex;
            }
            library.push_back(snippet);
        }
        // Part of the library arrives by rebuild, the rest one snippet at a time.
        const auto rebuilt = library.size() / 2;
        test::rebuildNow(cache, executor, {library.begin(), library.begin() + rebuilt});
        for (auto i = rebuilt; i < library.size(); ++i) {
            cache.add(library[i]);
        }

        std::vector<std::string> queries{"", ";", "a", "A"};
        for (int q = 0; q < 20; ++q) {
            queries.push_back(randomText(random, 3));
        }
        for (const auto& snippet : library) {
            // Every code-point prefix of every abbreviation, in its own case and upper-cased.
            const auto codePoints = text::toCodePoints(snippet.abbreviation);
            std::string prefix;
            for (const auto c : codePoints) {
                text::appendUtf8(prefix, c);
                queries.push_back(prefix);
                queries.push_back(text::uppercased(prefix));
            }
        }
        for (const auto& query : queries) {
            ASSERT_EQ(sortedIds(cache.prefixLookup(query)), scan(library, query))
                << "round " << round << ", query " << text::debugQuoted(query);
        }
    }
}

}  // namespace
}  // namespace wordloom
