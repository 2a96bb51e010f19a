#include <gtest/gtest.h>

#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/expansion/RegexBucket.h"
#include "core/expansion/RegexCache.h"
#include "core/expansion/RegexTail.h"

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

TEST(RegexCache, GivesUpOnCatastrophicBacktrackingInsteadOfFreezingTheKeyboard) {
    RegexCache cache;
    // Exponential in the number of a's for a backtracking engine; the step limit ends it.
    EXPECT_FALSE(cache.matchAtEndOfUtf8({"(a*)*b", false}, std::string(60, 'a') + "c"));
    EXPECT_TRUE(cache.matchAtEndOfUtf8({"(a*)*b", false}, "aab"));
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

RegexTail tail(std::string literal, RegexCharacterSet run = {}, std::uint32_t min = 0,
               std::uint32_t max = 0) {
    return {true, run, min, max, std::move(literal)};
}

RegexCharacterSet digitSet() {
    RegexCharacterSet set;
    set.addRange('0', '9');
    set.nonAscii = true;
    return set;
}

TEST(RegexTail, ReadsTheRunAndTheLiteralBeforeIt) {
    constexpr auto many = RegexTail::unbounded;
    RegexCharacterSet zeroToNine;
    zeroToNine.addRange('0', '9');
    const std::vector<std::pair<std::string, RegexTail>> cases{
        {";d(\\d+)", tail(";d", digitSet(), 1, many)},
        {";D(\\d+)kg", tail("kg")},  // the literal is lower-cased; the digits lie before it
        {"(?:;t)\\d{2}[0-9]?$", tail(";t", digitSet(), 2, 3)},
        {"\\bx[0-9]{1,2}+", tail("x", zeroToNine, 1, 2)},
        {"#(\\w+)#", tail("#")},
        {"a\\.\\$", tail("a.$")},
        {"(ab)+c", tail("c")},    // a repeated group stops the reading
        {"(a|b)c", tail("c")},    // so does one with alternatives
        {"x(?=y)z", tail("xz")},  // assertions are dropped
        {"x\u00E9", tail("")},    // a non-ASCII character may fold to several
        {"x.*", tail("x", RegexCharacterSet::everything(), 0, many)},
        {"[^a]b", tail("b")},
        {"ab?", tail("a", RegexCharacterSet::single('b'), 0, 1)},
        {"", tail("")},
    };
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(RegexTail::of(pattern), expected) << pattern;
    }
    // Patterns whose end cannot be read at all may match anything.
    for (const std::string pattern : {"a|b", "(?i)ab", "\\Qa.b\\E", "a**", "x{2", "[ab", "(a"}) {
        EXPECT_FALSE(RegexTail::of(pattern).known) << pattern;
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
    std::vector<RegexTail> tails;
    for (const auto& pattern : patterns) {
        Snippet snippet;
        snippet.abbreviation = pattern;
        snippets.push_back(std::make_shared<const Snippet>(snippet));
        tails.push_back(RegexTail::of(pattern));
    }
    const RegexBucket bucket(snippets, tails);
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
