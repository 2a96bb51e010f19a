#include <gtest/gtest.h>
#include <unicode/regex.h>

#include "core/macros/MacroArguments.h"

namespace wordloom {
namespace {

namespace args = macro_arguments;

// The documented patterns as ICU regular expressions, the reference for the hand-written
// matchers (which avoid compiling a regex on every expansion).
std::optional<std::vector<std::string>> icuMatch(const char* pattern, std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    // The matcher keeps a reference to its input.
    const icu::UnicodeString input =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
    icu::RegexMatcher matcher(icu::UnicodeString(pattern), input, 0, status);
    // A search, not a whole-input match: "$" may stop before a final line terminator.
    if (U_FAILURE(status) || !matcher.find(status)) {
        return std::nullopt;
    }
    std::vector<std::string> groups;
    for (int32_t g = 1; g <= matcher.groupCount(); ++g) {
        std::string group;
        matcher.group(g, status).toUTF8String(group);
        groups.push_back(group);
    }
    return groups;
}

const char* trickyTexts[] = {"date+7d",
                             "date+7d:MMMM d, yyyy",
                             "date-1y",
                             "date+2W",
                             "date+7d\n",
                             "date+7d:yyyy\n",
                             "date+7d:yy\nyy",
                             "date+7d:\n",
                             "date+7d:",
                             "date+7d\r\n",
                             "date+7d:x\r\n",
                             "date+7d\x0b",
                             "date+7d:a\xc2\x85",
                             "date+\xd9\xa3"
                             "d",
                             "date+7dx",
                             "date+7",
                             "date++7d",
                             "date+7d:a:b",
                             "date+0M",
                             "date+7d\n\n",
                             "date+7d:\xe2\x80\xa8"};

TEST(MacroArgumentsDateOffset, AgreesWithTheRegularExpression) {
    for (const char* text : trickyTexts) {
        auto reference = icuMatch("^date([+-])(\\d+)([dwmyHM])(?::(.+))?$", text);
        auto matched = args::matchDateWithOffset(text);
        bool asciiDigits =
            reference && reference->at(1).find_first_not_of("0123456789") == std::string::npos;
        EXPECT_EQ(matched.has_value(), reference.has_value() && asciiDigits) << text;
        if (matched && reference) {
            EXPECT_EQ(matched->format.value_or(""), reference->at(3)) << text;
        }
    }
}

const char* rangeTexts[] = {"1-6",
                            " 1 - 6 ",
                            "-10 - -1",
                            "1--1",
                            "--1-2",
                            "1-",
                            "1 2-3",
                            "1-6\n",
                            "1-6\x0b",
                            "1-6\x0b ",
                            "\xe3\x80\x80"
                            "1-2\xe2\x80\xa8",
                            "a-b",
                            "1-2-3",
                            "\xd9\xa3-4",
                            "1-6\xc2\x85"};

TEST(MacroArgumentsRandomRange, AgreesWithTheRegularExpression) {
    for (const char* text : rangeTexts) {
        auto reference = icuMatch("^\\s*(-?\\d+)\\s*-\\s*(-?\\d+)\\s*$", text);
        auto range = args::parseRandomRange(std::string(text));
        bool valid = range.lower <= range.upper || (range.lower != INT64_MAX);
        bool asciiDigits =
            reference && (reference->at(0) + reference->at(1)).find_first_not_of("-0123456789") ==
                             std::string::npos;
        EXPECT_EQ(valid, reference.has_value() && asciiDigits) << text;
    }
}

TEST(MacroArgumentsSegments, EscapesAndKeys) {
    EXPECT_EQ(args::splitEscapedSegments("a\\:b:c\\nd:e\\,f\\\\g:\\q:"),
              (std::vector<std::string>{"a:b", "c\nd", "e\\,f\\\\g", "q", ""}));
    EXPECT_EQ(args::splitEscapedSegments("end\\"), std::vector<std::string>{"end\\"});
    auto values = args::keyValueSegments("Name=a:skip:NAME=b:x=1=2");
    EXPECT_EQ(values, (std::map<std::string, std::string>{{"name", "b"}, {"x", "1=2"}}));
}

TEST(MacroArgumentsSegments, EscapesWorkOnWholeCharacters) {
    // An escaped "é" stands for itself; a backslash carrying a combining mark is no escape, and a
    // comma carrying one is no separator.
    EXPECT_EQ(args::splitOptionList("x\\\xC3\xA9,y\\\xCC\x81,z,\xCC\x81"),
              (std::vector<std::string>{"x\xC3\xA9", "y\\\xCC\x81", "z,\xCC\x81"}));
    EXPECT_EQ(args::splitEscapedSegments("k=\xC3\xA9\\:x:\\\xCC\x81:"),
              (std::vector<std::string>{"k=\xC3\xA9:x", "\\\xCC\x81", ""}));
    EXPECT_EQ(args::unescapeAll("\\\xC3\xA9\\"), "\xC3\xA9\\");
}

TEST(MacroArgumentsIntegers, FitSixtyFourBits) {
    EXPECT_EQ(args::parseInteger(" 42 "), 42);
    EXPECT_EQ(args::parseInteger("-9223372036854775808"), INT64_MIN);
    EXPECT_FALSE(args::parseInteger("9223372036854775808"));
    EXPECT_FALSE(args::parseInteger("4x"));
    EXPECT_FALSE(args::parseInteger(""));
    EXPECT_FALSE(args::parseInteger("+-1"));
}

}  // namespace
}  // namespace wordloom
