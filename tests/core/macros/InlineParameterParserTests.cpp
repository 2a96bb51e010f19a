#include <gtest/gtest.h>

#include "core/macros/InlineParameterParser.h"

namespace wordloom {
namespace {

std::vector<std::string> argumentsOf(std::string_view typed) {
    auto invocation = InlineParameterParser::parse(typed, ";greet", true);
    EXPECT_TRUE(invocation.has_value()) << typed;
    return invocation ? invocation->arguments : std::vector<std::string>{};
}

TEST(InlineParameterParserParse, SplitsArgumentsAndNotesTheClosingBracket) {
    auto invocation = InlineParameterParser::parse(";greet<Alice>", ";greet", true);
    ASSERT_TRUE(invocation);
    EXPECT_EQ(*invocation, (ParsedInlineInvocation{";greet", {"Alice"}, true}));

    EXPECT_EQ(argumentsOf(";greet<a<b>"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(argumentsOf(";greet<a<<b"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(argumentsOf(";greet<a<"), (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(argumentsOf(";greet<a\\<b>"), (std::vector<std::string>{"a<b"}));
    EXPECT_EQ(argumentsOf(";greet<a\\\\<b\\>"), (std::vector<std::string>{"a\\", "b>"}));
    EXPECT_EQ(argumentsOf(";greet<trailing\\"), (std::vector<std::string>{"trailing\\"}));
    EXPECT_EQ(argumentsOf(";greet<>"), (std::vector<std::string>{""}));

    auto open = InlineParameterParser::parse(";greet<a>b", ";greet", true);
    ASSERT_TRUE(open);
    EXPECT_EQ(open->arguments, (std::vector<std::string>{"a>b"}));
    EXPECT_FALSE(open->hasExplicitClosingBracket);
}

TEST(InlineParameterParserParse, CaseRuleAndTypedAbbreviation) {
    EXPECT_FALSE(InlineParameterParser::parse(";GREET<Bob>", ";greet", true));
    auto invocation = InlineParameterParser::parse(";GREET<Bob>", ";greet", false);
    ASSERT_TRUE(invocation);
    EXPECT_EQ(invocation->typedAbbreviation, ";GREET");
    EXPECT_EQ(invocation->arguments, std::vector<std::string>{"Bob"});
}

TEST(InlineParameterParserParse, RejectsWhatIsNotAnInvocation) {
    for (const char* typed : {";greet<", ";greet", ";gree", ";greet<a\n", ";greet<a\rb>",
                              ";greet a", ";grext<a>", "x;greet<a>"}) {
        EXPECT_FALSE(InlineParameterParser::parse(typed, ";greet", false)) << typed;
    }
    EXPECT_FALSE(InlineParameterParser::parse("<a>", "", false));
}

TEST(InlineParameterParserParse, CountsAbbreviationInCharacters) {
    // "é" as e + combining accent is one character of the abbreviation.
    auto invocation = InlineParameterParser::parse("e\xCC\x81<x>", "e\xCC\x81", true);
    ASSERT_TRUE(invocation);
    EXPECT_EQ(invocation->arguments, std::vector<std::string>{"x"});
}

TEST(InlineParameterParserBind, DistinctKeysTakeArgumentsInOrder) {
    auto fields = InlineParameterParser::fillableFields(
        "Hi {{input:Name}}, {{input:City:Paris}} and {{input:Name}} {{textarea}}");
    ASSERT_EQ(fields.size(), 4u);
    auto values = InlineParameterParser::bind(fields, {"Ann", "Oslo", "long text", "extra"});
    EXPECT_EQ(values, (std::map<std::string, std::string>{
                          {"Name", "Ann"}, {"City", "Oslo"}, {fields[3].valueKey, "long text"}}));

    // Fewer arguments than fields: the rest stay unbound.
    EXPECT_EQ(InlineParameterParser::bind(fields, {"Ann"}),
              (std::map<std::string, std::string>{{"Name", "Ann"}}));
}

TEST(InlineParameterParserBind, CheckboxWordsAndDropdownOptions) {
    auto fields = InlineParameterParser::fillableFields(
        "{{optional:Sig}}x{{/optional}}{{select:name=Size:options=Small,Large}}"
        "{{optional:More}}{{/optional}}{{select:Any}}");
    ASSERT_EQ(fields.size(), 4u);

    auto values = InlineParameterParser::bind(fields, {" Yes ", "large", "OFF", "free text"});
    EXPECT_EQ(values.at("Sig"), "true");
    EXPECT_EQ(values.at("Size"), "Large");
    EXPECT_EQ(values.at("More"), "false");

    // Neither an on nor an off word, or not one of the options: left to the default.
    auto unbound = InlineParameterParser::bind(fields, {"maybe", "Huge"});
    EXPECT_TRUE(unbound.empty());
}

TEST(InlineParameterParserFillableFields, IncludeFieldsInsideConditionsWithStableKeys) {
    const char* content = "{{input}}{{if:{{input:Plan}} == pro}}{{input}}{{/if}}{{clipboard}}";
    auto first = InlineParameterParser::fillableFields(content);
    auto second = InlineParameterParser::fillableFields(content);
    ASSERT_EQ(first.size(), 3u);
    EXPECT_EQ(first[1].valueKey, "Plan");
    EXPECT_NE(first[0].valueKey, first[2].valueKey);
    EXPECT_EQ(first[0].valueKey.rfind("__wordloom_unnamed__/", 0), 0u);
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].valueKey, second[i].valueKey);
    }
    EXPECT_TRUE(InlineParameterParser::fillableFields("{{clipboard}} {{date}}").empty());
}

}  // namespace
}  // namespace wordloom
