// The regex bucket runs only the patterns whose tail fits the typed text. Skipping a pattern
// that would have matched changes what expands, so this checks the filter against ICU itself
// on random patterns and texts, in both case modes.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "core/base/Text.h"
#include "core/expansion/RegexBucket.h"
#include "core/expansion/RegexCache.h"

namespace wordloom {
namespace {

class PatternMaker {
  public:
    explicit PatternMaker(std::mt19937& random) : random_(random) {}

    std::string pattern() {
        // Now and then raw fragments, to reach syntax the grammar below never writes.
        if (pick(6) == 0) {
            static const std::vector<std::string> fragments{
                "a",  "\\",  "[",  "]",     "(",      ")",      "(?:", "|", "+",      "*",
                "?",  "{2}", "{,", "\\Q",   "\\E",    "\\p{L}", "-",   "^", "$",      "\\x41",
                "[^", "&&",  "--", "(?<n>", "\\k<n>", "\\1",    "k",   ".", "\u00DF", "(?i)"};
            std::string text;
            for (auto n = 1 + pick(6); n > 0; --n) {
                text += fragments[pick(fragments.size())];
            }
            return text;
        }
        auto text = sequence(0);
        if (pick(10) == 0) {
            text += "|" + sequence(0);
        }
        return text;
    }

  private:
    std::size_t pick(std::size_t n) {
        return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_);
    }

    std::string sequence(int depth) {
        std::string text;
        for (auto n = 1 + pick(4); n > 0; --n) {
            text += atom(depth) + quantifier();
        }
        return text;
    }

    std::string atom(int depth) {
        static const std::vector<std::string> atoms{
            "a",     "B",      "k",      "s",       "S",         ";",           "#",       " ",
            "x",     "1",      ".",      "\\.",     "\\d",       "\\w",         "\\s",     "\\D",
            "[0-9]", "[a-c]",  "[^x]",   "[\\d_]",  "[K\u00E9]", "\\b",         "^",       "$",
            "\\n",   "\u00E9", "\u00DF", "\\u00DF", "\\$",       "[[:alpha:]]", "\\p{Nd}", "ss"};
        if (depth < 2 && pick(5) == 0) {
            switch (pick(4)) {
                case 0:
                    return "(" + sequence(depth + 1) + ")";
                case 1:
                    return "(?:" + sequence(depth + 1) + ")";
                case 2:
                    return "(" + sequence(depth + 1) + "|" + sequence(depth + 1) + ")";
                default:
                    return "(?=" + sequence(depth + 1) + ")";
            }
        }
        return atoms[pick(atoms.size())];
    }

    std::string quantifier() {
        static const std::vector<std::string> quantifiers{"+",     "*",    "?",  "{2}",
                                                          "{1,3}", "{0,}", "+?", "*+"};
        return pick(3) == 0 ? quantifiers[pick(quantifiers.size())] : "";
    }

    std::mt19937& random_;
};

std::string randomText(std::mt19937& random) {
    // Letters with tricky case folding (the Kelvin sign, long s, sharp s, dotted capital I),
    // Unicode digits, line terminators, and what patterns usually spell.
    static const std::vector<std::string> pieces{
        "a",      "A",      "B",      "b",      "k",          "K",      "s",      "S",
        "x",      "1",      "9",      ";",      ".",          "#",      " ",      "_",
        "$",      "\n",     "\r",     "\u2028", "ss",         "\u00DF", "\u212A", "\u017F",
        "\u0130", "\u00E9", "\u00C9", "\u0663", "\U0001F600", "c",      "t"};
    std::string text;
    for (auto n = 1 + random() % 10; n > 0; --n) {
        text += pieces[random() % pieces.size()];
    }
    return text;
}

TEST(RegexPrefilterProperty, EveryPatternThatMatchesIsACandidate) {
    std::mt19937 random(20261121);
    PatternMaker maker(random);
    RegexCache icu(4096);
    std::vector<std::uint32_t> candidates;
    for (int round = 0; round < 60; ++round) {
        std::vector<std::string> patterns;
        std::vector<SnippetRef> snippets;
        std::vector<RegexTail> tails;
        for (int i = 0; i < 30; ++i) {
            patterns.push_back(maker.pattern());
            Snippet snippet;
            snippet.abbreviation = patterns.back();
            snippets.push_back(std::make_shared<const Snippet>(snippet));
            tails.push_back(RegexTail::of(patterns.back()));
        }
        const RegexBucket bucket(snippets, tails);
        for (int t = 0; t < 60; ++t) {
            const auto text = randomText(random);
            bucket.candidatesFor(text, candidates);
            ASSERT_TRUE(std::is_sorted(candidates.begin(), candidates.end()));
            for (std::uint32_t i = 0; i < patterns.size(); ++i) {
                if (std::binary_search(candidates.begin(), candidates.end(), i)) {
                    continue;
                }
                for (const bool caseInsensitive : {false, true}) {
                    ASSERT_FALSE(icu.matchAtEndOfUtf8({patterns[i], caseInsensitive}, text))
                        << "skipped " << text::debugQuoted(patterns[i])
                        << (caseInsensitive ? " (ignoring case)" : "") << " which matches "
                        << text::debugQuoted(text);
                }
            }
        }
    }
}

TEST(RegexPrefilterProperty, LeavesOutPatternsWhoseEndingIsAbsent) {
    // The point of the filter: with many patterns, one keystroke runs only those that fit.
    std::vector<SnippetRef> snippets;
    std::vector<RegexTail> tails;
    for (const std::string word : {"date", "time", "kg", "total", "sum", "id", "ref", "tag"}) {
        for (const auto& pattern :
             {";" + word + "(\\d+)", "(\\d+)" + word, ";" + word + "\\.(\\w+)", "#" + word + "#"}) {
            Snippet snippet;
            snippet.abbreviation = pattern;
            snippets.push_back(std::make_shared<const Snippet>(snippet));
            tails.push_back(RegexTail::of(pattern));
        }
    }
    const RegexBucket bucket(snippets, tails);
    std::vector<std::uint32_t> candidates;
    const auto patternsFor = [&](std::string_view text) {
        bucket.candidatesFor(text, candidates);
        std::vector<std::string> found;
        for (const auto i : candidates) {
            found.push_back(snippets[i]->abbreviation);
        }
        return found;
    };
    EXPECT_EQ(patternsFor("so ;date12"), std::vector<std::string>{";date(\\d+)"});
    EXPECT_EQ(patternsFor("12KG"), std::vector<std::string>{"(\\d+)kg"});
    EXPECT_EQ(patternsFor(";tag.x1"), std::vector<std::string>{";tag\\.(\\w+)"});
    EXPECT_EQ(patternsFor("#sum#\n"), std::vector<std::string>{"#sum#"});
    EXPECT_TRUE(patternsFor("the quick brown fox").empty());
}

}  // namespace
}  // namespace wordloom
