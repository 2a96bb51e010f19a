#include <gtest/gtest.h>

#include "core/expansion/Delimiters.h"
#include "core/expansion/TypedBuffer.h"

namespace wordloom {
namespace {

TEST(TypedBuffer, KeepsTheLastCharactersWhenItOverflows) {
    TypedBuffer buffer(100);
    std::string typed;
    for (int i = 0; i < 150; ++i) {
        const std::string key(1, static_cast<char>('a' + i % 26));
        buffer.append(key);
        typed += key;
    }
    EXPECT_EQ(buffer.characterCount(), 100U);
    EXPECT_EQ(buffer.text(), typed.substr(50));
    EXPECT_EQ(buffer.lastCharacters(3), typed.substr(147));
    EXPECT_EQ(buffer.characterAt(0), typed.substr(50, 1));
}

TEST(TypedBuffer, CountsGraphemeClustersNotBytes) {
    TypedBuffer buffer(3);
    // A decomposed accent typed as its own key joins the letter before it; so does the second
    // half of a flag.
    for (const auto* key : {"e", "\u0301", "\U0001F1EB", "\U0001F1F7", "\r", "\n", "x"}) {
        buffer.append(key);
    }
    EXPECT_EQ(buffer.characterCount(), 3U);
    EXPECT_EQ(buffer.text(), "\U0001F1EB\U0001F1F7\r\nx");
    EXPECT_EQ(buffer.characterAt(1), "\r\n");
    buffer.removeLastCharacter();
    buffer.removeLastCharacter();
    EXPECT_EQ(buffer.text(), "\U0001F1EB\U0001F1F7");
}

TEST(TypedBuffer, OverflowKeepsWholeCharacters) {
    TypedBuffer buffer(2);
    for (int i = 0; i < 500; ++i) {
        buffer.append(i % 2 == 0 ? "\u00E9" : "a\u0301");
    }
    EXPECT_EQ(buffer.characterCount(), 2U);
    EXPECT_EQ(buffer.text(), "\u00E9a\u0301");
    buffer.removeLastCharacter();
    buffer.removeLastCharacter();
    buffer.removeLastCharacter();
    EXPECT_TRUE(buffer.empty());
    buffer.append("z");
    EXPECT_EQ(buffer.text(), "z");
}

TEST(TypedBuffer, LettersAndNumbersForTheWordBoundary) {
    for (const auto* yes : {"a", "Z", "7", "\u00E9", "\u0416", "\u0663", "\u00BD", "e\u0301"}) {
        EXPECT_TRUE(isLetterOrNumber(yes)) << yes;
    }
    for (const auto* no : {";", " ", "(", "_", "-", "\U0001F600", "\u2014"}) {
        EXPECT_FALSE(isLetterOrNumber(no)) << no;
    }
}

TEST(Delimiters, ExactlyTheTwentyFive) {
    for (const auto delimiter : delimiterCharacters) {
        EXPECT_TRUE(isDelimiter(delimiter)) << delimiter;
    }
    for (const auto* other : {"'", "\"", "-", "/", "a", "  ", "\r\n", "\u2026", ""}) {
        EXPECT_FALSE(isDelimiter(other)) << other;
    }
}

}  // namespace
}  // namespace wordloom
