#include <gtest/gtest.h>

#include "core/base/Text.h"

namespace text = wordloom::text;

TEST(Text, CharactersAreGraphemeClusters) {
    // e + combining acute, a family emoji joined by ZWJ, a flag, CR LF: each one character.
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    const std::string input = "e\u0301" + family + "\U0001F1EB\U0001F1F7\r\nx";
    const auto characters = text::splitCharacters(input);
    ASSERT_EQ(characters.size(), 5u);
    EXPECT_EQ(characters[0], "e\u0301");
    EXPECT_EQ(characters[1], family);
    EXPECT_EQ(characters[3], "\r\n");
    EXPECT_EQ(text::characterCount(input), 5u);
    EXPECT_EQ(text::characterCount("ab\r\ncd"), 5u);
    EXPECT_EQ(text::characterCount(""), 0u);
    const auto boundaries = text::characterBoundaries("a\u00e9b");
    EXPECT_EQ(boundaries, (std::vector<std::size_t>{0, 1, 3, 4}));
}

TEST(Text, TrimUsesUnicodeWhiteSpaceAndKeepsInnerBlanks) {
    EXPECT_EQ(text::trimWhitespaceAndNewlines("\u00a0\t sig me \n\u2028"), "sig me");
    EXPECT_EQ(text::trimWhitespaceAndNewlines(" \n\t"), "");
    EXPECT_EQ(text::trimWhitespaceAndNewlines("\u3000x\u3000"), "x");  // ideographic space
    EXPECT_EQ(text::trimSpacesAndTabs("\t a b \n"), "a b \n");
}

TEST(Text, ControlCharactersAreCategoryCc) {
    EXPECT_TRUE(text::containsControlCharacter("a\tb"));
    EXPECT_TRUE(text::containsControlCharacter("\x7f"));
    EXPECT_TRUE(text::containsControlCharacter("\u0085"));
    EXPECT_FALSE(text::containsControlCharacter(";sig "));
    // Emoji sequences carry a zero-width joiner (format, not control): still fine.
    EXPECT_FALSE(text::containsControlCharacter("\U0001F468\u200D\U0001F469"));
}

TEST(Text, CaseMappingIsFullAndLocaleIndependent) {
    EXPECT_EQ(text::lowercased("ADDR"), "addr");
    EXPECT_EQ(text::lowercased("\u00c9COLE"), "\u00e9cole");
    EXPECT_EQ(text::uppercased("stra\u00dfe"), "STRASSE");
    EXPECT_EQ(text::lowercased("I"), "i");  // no Turkish dotless i from the environment's locale
    EXPECT_TRUE(text::equalsIgnoringCase("STRASSE", "stra\u00dfe"));
    EXPECT_TRUE(text::equalsIgnoringCase(";Sig", ";sIG"));
    EXPECT_FALSE(text::equalsIgnoringCase(";sig", ";sign"));
}

TEST(Text, DebugQuotedEscapesLikeADebugger) {
    EXPECT_EQ(text::debugQuoted("a\tb"), "\"a\\tb\"");
    EXPECT_EQ(text::debugQuoted("say \"hi\"\n"), "\"say \\\"hi\\\"\\n\"");
    EXPECT_EQ(text::debugQuoted("\x1b"), "\"\\u{1b}\"");
    EXPECT_EQ(text::debugQuoted("caf\u00e9"), "\"caf\u00e9\"");
}

TEST(Text, Utf8ValidationAndDecoding) {
    EXPECT_TRUE(text::isValidUtf8("h\u00e9llo \U0001F600"));
    EXPECT_FALSE(text::isValidUtf8("\xC3"));
    EXPECT_FALSE(text::isValidUtf8("\xED\xA0\x80"));  // an encoded surrogate
    EXPECT_EQ(text::toCodePoints("a\xFF"), (std::u32string{U'a', U'\uFFFD'}));
    std::string out;
    text::appendUtf8(out, U'\U0001F600');
    EXPECT_EQ(out, "\U0001F600");
}
