#include <gtest/gtest.h>

#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/expansion/RegexBucket.h"
#include "core/expansion/RegexCache.h"
#include "core/expansion/RegexTailHint.h"

namespace wordloom {
namespace {

TEST(RegexCache, MatchesAtTheEndAndHandsOverCaptures) {
    RegexCache cache;
    const auto match = cache.matchAtEnd({";d(\\d+)([a-z])?", false}, "so ;d12 and ;d345");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->begin, 12U);
    EXPECT_EQ(match->end, 17U);
    EXPECT_EQ(match->captures, (std::vector<std::string>{"345", ""}));

    EXPECT_FALSE(cache.matchAtEnd({";d(\\d+)", false}, ";d12 "));
    EXPECT_FALSE(cache.matchAtEnd({"ABC", false}, "xabc"));
    EXPECT_TRUE(cache.matchAtEnd({"ABC", true}, "xabc"));
    EXPECT_EQ(cache.size(), 4U) << "one entry per pattern and case rule";
}

TEST(RegexCache, ByteOffsetsInUtf8Text) {
    RegexCache cache;
    const std::string text = "caf\u00E9 \u2192 x\\d";
    const auto match = cache.matchAtEnd({"\u2192 \\w\\\\d", false}, text);
    ASSERT_TRUE(match);
    EXPECT_EQ(text.substr(match->begin, match->end - match->begin), "\u2192 x\\d");
}

TEST(RegexCache, PatternsThatDoNotCompileNeverMatchAndAreNotCached) {
    RegexCache cache;
    EXPECT_FALSE(cache.matchAtEnd({"(unclosed", false}, "(unclosed"));
    // "a)" compiles alone but not wrapped as "(a))$": both forms must compile.
    EXPECT_FALSE(cache.matchAtEnd({"a)", false}, "a"));
    EXPECT_EQ(cache.size(), 0U);
}

TEST(RegexCache, EvictsTheLeastRecentlyUsedBeyondCapacity) {
    RegexCache cache(256);
    for (int i = 0; i < 256; ++i) {
        ASSERT_TRUE(cache.lookup({"p" + std::to_string(i), false}));
    }
    ASSERT_TRUE(cache.lookup({"p0", false}));  // p0 becomes the most recent; p1 the oldest
    ASSERT_TRUE(cache.lookup({"p256", false}));
    EXPECT_EQ(cache.size(), 256U);
    EXPECT_TRUE(cache.contains({"p0", false}));
    EXPECT_FALSE(cache.contains({"p1", false}));
    EXPECT_EQ(cache.keysInOrder().front().pattern, "p2");
    EXPECT_EQ(cache.keysInOrder().back().pattern, "p256");
}

TEST(RegexTailHint, ReadsTheFinalAtomOrGivesUp) {
    using Kind = RegexTailHint::Kind;
    const std::vector<std::pair<std::string, RegexTailHint>> cases{
        {";d(\\d+)kg", {Kind::literal, 'g'}},
        {"Total$", {Kind::literal, 'l'}},
        {"x\\d+", {Kind::digit, 0}},
        {"#\\w", {Kind::word, 0}},
        {"a\\.", {Kind::literal, '.'}},
        {"ab+", {Kind::literal, 'b'}},
        {"ab*", {}},
        {"ab?", {}},
        {"a|b", {}},
        {"[ab]", {}},
        {"(ab)", {}},
        {"a{2}", {}},
        {"a\\\\", {Kind::literal, '\\'}},
        {"a\\b", {}},
        {"(?i)ab", {}},
        {"\\Qa.b\\E", {}},
        {"\u00E9", {}},
        {"a.", {}},
        {"", {}},
        {"a\\$", {Kind::literal, '$'}},
    };
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(RegexTailHint::analyse(pattern), expected) << pattern;
    }
}

// The bucket may skip a pattern only when it cannot match: check every pattern against every
// text with ICU itself.
TEST(RegexBucket, NeverSkipsAPatternThatMatches) {
    const std::vector<std::string> patterns{
        ";d(\\d+)kg", "Total$", "x\\d+",   "#\\w", "a\\.", "ab+", "ab*",          "a|b",
        "[ab]",       "(ab)",   "\\w+\\.", "ok",   "K",    "\\d", "\u00E9t\u00E9"};
    const std::vector<std::string> texts{
        ";d12kg", ";d12KG", "total", "x9", "x\u0663", "#_", "#\u00E9",       "a.",   "abbb", "a",
        "b",      "ab",     "word.", "OK", "\u212A",  "7",  "\u00C9T\u00C9", "ab\n", "x"};
    std::vector<SnippetRef> snippets;
    std::vector<RegexTailHint> hints;
    for (const auto& pattern : patterns) {
        Snippet snippet;
        snippet.abbreviation = pattern;
        snippets.push_back(std::make_shared<const Snippet>(snippet));
        hints.push_back(RegexTailHint::analyse(pattern));
    }
    const RegexBucket bucket(snippets, hints);
    RegexCache cache;
    std::vector<std::uint32_t> candidates;
    for (const auto& text : texts) {
        const auto codePoints = text::toCodePoints(text);
        bucket.candidatesEndingWith(codePoints.back(), candidates);
        for (std::uint32_t i = 0; i < patterns.size(); ++i) {
            for (const bool caseInsensitive : {false, true}) {
                if (cache.matchAtEnd({patterns[i], caseInsensitive}, text)) {
                    EXPECT_NE(std::find(candidates.begin(), candidates.end(), i), candidates.end())
                        << patterns[i] << " matches " << text::debugQuoted(text);
                }
            }
        }
    }
}

}  // namespace
}  // namespace wordloom
