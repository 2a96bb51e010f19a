#include <gtest/gtest.h>

#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/expansion/RegexBucket.h"
#include "core/expansion/RegexCache.h"
#include "core/expansion/RegexCharacterHint.h"

namespace wordloom {
namespace {

TEST(RegexCache, MatchesAtTheEndAndHandsOverCaptures) {
    RegexCache cache;
    const auto match = cache.matchAtEndOfUtf8({";d(\\d+)([a-z])?", false}, "so ;d12 and ;d345");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->matched, ";d345");
    EXPECT_EQ(match->captures, (std::vector<std::string>{"345", ""}));

    EXPECT_FALSE(cache.matchAtEndOfUtf8({";d(\\d+)", false}, ";d12 "));
    EXPECT_FALSE(cache.matchAtEndOfUtf8({"ABC", false}, "xabc"));
    EXPECT_TRUE(cache.matchAtEndOfUtf8({"ABC", true}, "xabc"));
    EXPECT_EQ(cache.size(), 4U) << "one entry per pattern and case rule";
}

TEST(RegexCache, MatchesBeyondAscii) {
    RegexCache cache;
    const auto match =
        cache.matchAtEndOfUtf8({"\u2192 (\\w)\\\\d", false}, "caf\u00E9 \u2192 \u00E9\\d");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->matched, "\u2192 \u00E9\\d");
    EXPECT_EQ(match->captures, std::vector<std::string>{"\u00E9"});
}

TEST(RegexCache, PatternsThatDoNotCompileNeverMatchAndAreNotCached) {
    RegexCache cache;
    EXPECT_FALSE(cache.matchAtEndOfUtf8({"(unclosed", false}, "(unclosed"));
    // "a)" compiles alone but not wrapped as "(a))$": both forms must compile.
    EXPECT_FALSE(cache.matchAtEndOfUtf8({"a)", false}, "a"));
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

TEST(RegexCharacterHint, ReadsTheFinalAtomOrGivesUp) {
    using Kind = RegexCharacterHint::Kind;
    const std::vector<std::pair<std::string, RegexCharacterHint>> cases{
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
        {"(ab)", {Kind::literal, 'b'}},
        {"(ab)+", {Kind::literal, 'b'}},
        {"x(\\d+)+", {Kind::digit, 0}},
        {"(a)*", {}},
        {"a()", {}},
        {"\\(a\\)", {Kind::literal, ')'}},
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
        EXPECT_EQ(RegexCharacterHint::lastCharacter(pattern), expected) << pattern;
    }
}

TEST(RegexCharacterHint, ReadsTheFirstAtomOrGivesUp) {
    using Kind = RegexCharacterHint::Kind;
    const std::vector<std::pair<std::string, RegexCharacterHint>> cases{
        {";d(\\d+)", {Kind::literal, ';'}},
        {"(\\d+)kg", {Kind::digit, 0}},
        {"((Ab))c", {Kind::literal, 'a'}},
        {"\\w+x", {Kind::word, 0}},
        {"\\.x", {Kind::literal, '.'}},
        {"a?b", {}},
        {"a*b", {}},
        {"a{0,2}b", {}},
        {"(ab)?c", {}},
        {"(a[)]b)c", {Kind::literal, 'a'}},
        {"[ab]c", {}},
        {"^ab", {}},
        {"\\bab", {}},
        {".b", {}},
        {"a|b", {}},
        {"(?i)ab", {}},
    };
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(RegexCharacterHint::firstCharacter(pattern), expected) << pattern;
    }
}

// The bucket may skip a pattern only when it cannot match: check every pattern against every
// text with ICU itself.
TEST(RegexBucket, NeverSkipsAPatternThatMatches) {
    const std::vector<std::string> patterns{
        ";d(\\d+)kg", "(\\d+)kg", "((Ab))c", "a?b",     "(ab)?c", "\\.x", "(ab)+", "x(\\d+)+",
        "(a)*",       "\\(a\\)",  "Total$",  "x\\d+",   "#\\w",   "a\\.", "ab+",   "ab*",
        "a|b",        "[ab]",     "(ab)",    "\\w+\\.", "ok",     "K",    "\\d",   "\u00E9t\u00E9"};
    const std::vector<std::string> texts{
        ";d12kg",        ";d12KG", "total", "x9",   "x\u0663", "#_",      "#\u00E9", "a.",
        "abbb",          "a",      "b",     "ab",   "word.",   "OK",      "\u212A",  "7",
        "\u00C9T\u00C9", "ab\n",   "x",     "abab", "x12",     "aa",      "(a)",     "12kg",
        "\u0663kg",      "xabc",   "b",     "c",    "..x",     "\u00C5bc"};
    std::vector<SnippetRef> snippets;
    std::vector<RegexHints> hints;
    for (const auto& pattern : patterns) {
        Snippet snippet;
        snippet.abbreviation = pattern;
        snippets.push_back(std::make_shared<const Snippet>(snippet));
        hints.push_back(RegexHints::of(pattern));
    }
    const RegexBucket bucket(snippets, hints);
    RegexCache cache;
    std::vector<std::uint32_t> candidates;
    for (const auto& text : texts) {
        bucket.candidatesFor(text, candidates);
        for (std::uint32_t i = 0; i < patterns.size(); ++i) {
            for (const bool caseInsensitive : {false, true}) {
                if (cache.matchAtEndOfUtf8({patterns[i], caseInsensitive}, text)) {
                    EXPECT_NE(std::find(candidates.begin(), candidates.end(), i), candidates.end())
                        << patterns[i] << " matches " << text::debugQuoted(text);
                }
            }
        }
    }
}

}  // namespace
}  // namespace wordloom
