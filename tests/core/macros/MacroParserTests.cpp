#include <gtest/gtest.h>

#include <limits>

#include "MacroTestPrinting.h"
#include "core/macros/MacroParser.h"

namespace wordloom {
namespace {

std::vector<MacroType> typesOf(std::string_view content) {
    std::vector<MacroType> types;
    for (const auto& parsed : MacroParser::parse(content)) {
        types.push_back(parsed.type);
    }
    return types;
}

MacroType only(std::string_view content) {
    auto types = typesOf(content);
    EXPECT_EQ(types.size(), 1u) << content;
    return types.empty() ? MacroType{} : types.front();
}

constexpr auto int64Max = std::numeric_limits<std::int64_t>::max();
constexpr auto int64Min = std::numeric_limits<std::int64_t>::min();

TEST(MacroParserScanning, MalformedPairsStayText) {
    for (const char* content : {"",
                                "{",
                                "{{",
                                "{{}}",
                                "{{ }}",
                                "{{clipboard}",
                                "{ {clipboard}}",
                                "{{clip board}}",
                                "{{snippet:}}",
                                "{{if}}",
                                "{{if: }}",
                                "{{elseif:\t}}",
                                "{{ai:   }}",
                                "{{ai:prompt=}}",
                                "{{key}}",
                                "{{js:}}",
                                "{{:}}",
                                "{{date+2W}}",
                                "{{Date+2d}}",
                                "{{date+d}}"}) {
        EXPECT_TRUE(MacroParser::parse(content).empty()) << content;
    }
}

TEST(MacroParserScanning, RangesCountCharactersAndSkipUnknownPairs) {
    auto macros = MacroParser::parse("{{unknown}}{{cursor}}");
    ASSERT_EQ(macros.size(), 1u);
    EXPECT_EQ(macros[0].type, MacroType(macro::Cursor{}));
    EXPECT_EQ(macros[0].range, (TextRange{11, 21}));
    EXPECT_EQ(macros[0].originalText, "{{cursor}}");

    // "é" written as e + combining accent and a flag are one character each.
    auto accented = MacroParser::parse("e\xCC\x81\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7{{uuid}}!");
    ASSERT_EQ(accented.size(), 1u);
    EXPECT_EQ(accented[0].range, (TextRange{2, 10}));
    EXPECT_EQ(accented[0].byteRange, (TextRange{11, 19}));

    // CR LF is one character.
    EXPECT_EQ(MacroParser::parse("a\r\n{{cursor}}")[0].range, (TextRange{2, 12}));
}

// Long content is surveyed in 32-byte rounds whose brace tallies are added up every 127 rounds;
// what is left over is read byte by byte. Ranges must not depend on where a macro or an unusual
// byte falls among them.
TEST(MacroParserScanning, RangesHoldWhereverTheSurveyRoundsFall) {
    std::string many;
    for (int i = 0; i < 600; ++i) {
        many += "{{cursor}}";
    }
    auto macros = MacroParser::parse(many);
    ASSERT_EQ(macros.size(), 600u);
    EXPECT_EQ(macros.back().range, (TextRange{5990, 6000}));

    for (std::size_t padding = 0; padding < 70; ++padding) {
        const std::string before(padding, 'x');
        // Every byte a character, then a CR LF or a non-ASCII character only at the very end.
        for (const char* tail : {"", "\r\n", "\xC3\xA9", "e\xCC\x81"}) {
            auto found = MacroParser::parse(before + "{{uuid}}" + tail);
            ASSERT_EQ(found.size(), 1u) << padding << tail;
            EXPECT_EQ(found[0].range, (TextRange{padding, padding + 8})) << padding << tail;
        }
        // A CR LF before the macro counts as one character.
        auto afterPair = MacroParser::parse(before + "\r\n{{uuid}}");
        ASSERT_EQ(afterPair.size(), 1u);
        EXPECT_EQ(afterPair[0].range, (TextRange{padding + 1, padding + 9})) << padding;
    }
}

TEST(MacroParserScanning, BraceCarryingACombiningMarkIsNotABrace) {
    EXPECT_TRUE(MacroParser::parse("{\xCC\x81{cursor}}").empty());
    EXPECT_TRUE(MacroParser::parse("{{cursor}\xCC\x81}").empty());
}

TEST(MacroParserScanning, CharactersBesideBracesDecideWhetherTheyAreBraces) {
    // A prepended mark (U+0600) joins the first brace, so no "{{" starts there.
    auto prepended = MacroParser::parse("\xD8\x80{{cursor}} {{uuid}}");
    ASSERT_EQ(prepended.size(), 1u);
    EXPECT_EQ(prepended[0].type, MacroType(macro::Uuid{}));
    EXPECT_EQ(prepended[0].range, (TextRange{11, 19}));

    // Text outside ASCII inside and between macros: "Café" and "é" precomposed, a thumbs-up
    // with a skin tone.
    auto mixed = MacroParser::parse(
        "{{input:Caf\xC3\xA9}}\xC3\xA9{{cursor}}"
        "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD{{uuid}}");
    ASSERT_EQ(mixed.size(), 3u);
    EXPECT_EQ(mixed[1].range, (TextRange{15, 25}));
    EXPECT_EQ(mixed[1].byteRange, (TextRange{17, 27}));
    EXPECT_EQ(mixed[2].range, (TextRange{26, 34}));
    EXPECT_EQ(mixed[2].byteRange, (TextRange{35, 43}));

    // A colon carrying a combining mark does not split a field spec.
    EXPECT_EQ(only("{{input:a:\xCC\x81"
                   "b}}"),
              MacroType(macro::Input{"a:\xCC\x81"
                                     "b",
                                     std::nullopt, std::nullopt}));
    // The Kelvin sign lower-cases to "k".
    EXPECT_EQ(only("{{\xE2\x84\xAA"
                   "ey:TAB}}"),
              MacroType(macro::Key{"tab"}));
}

TEST(MacroParserScanning, NestedMacrosStayInsideTheirEnclosingMacro) {
    auto macros = MacroParser::parse("{{if:{{clipboard}} CONTAINS x}}yes{{/if}}");
    ASSERT_EQ(macros.size(), 2u);
    EXPECT_EQ(macros[0].type, MacroType(macro::ConditionalIf{"{{clipboard}} CONTAINS x"}));
    EXPECT_EQ(macros[1].type, MacroType(macro::ConditionalEnd{}));
    EXPECT_EQ(macros[1].range.start, 34u);
}

TEST(MacroParserScanning, UnclosedPairResumesAfterItsBraces) {
    auto macros = MacroParser::parse("{{{cursor}}");
    // The first "{{" never closes at depth 0; scanning resumes two characters on.
    ASSERT_EQ(macros.size(), 0u);
    // An outer pair that never closes does not hide the macro inside it.
    EXPECT_EQ(typesOf("{{ {{cursor}}"), std::vector<MacroType>{macro::Cursor{}});
    EXPECT_EQ(typesOf("{{clipboard} {{cursor}}"), std::vector<MacroType>{macro::Cursor{}});
}

TEST(MacroParserScanning, ScriptModeSkipsStringsAndComments) {
    EXPECT_EQ(only("{{js:return '}}';}}"), MacroType(macro::JavaScript{"return '}}';"}));
    EXPECT_EQ(only("{{JavaScript:\"a\\\"}}\" + `}}`}}"),
              MacroType(macro::JavaScript{"\"a\\\"}}\" + `}}`"}));
    EXPECT_EQ(only("{{js:x // }}\nreturn 1}}"), MacroType(macro::JavaScript{"x // }}\nreturn 1"}));
    EXPECT_EQ(only("{{js:/* }} */ 2 / 1}}"), MacroType(macro::JavaScript{"/* }} */ 2 / 1"}));
    // Outside script mode quotes mean nothing.
    EXPECT_EQ(only("{{input:a'}}b'}}"), MacroType(macro::Input{"a'", std::nullopt, std::nullopt}));
    // CR LF is one character, not a line feed, so it does not end a line comment.
    EXPECT_EQ(only("{{js:// }}\n}}"), MacroType(macro::JavaScript{"// }}\n"}));
    EXPECT_TRUE(MacroParser::parse("{{js:// }}\r\n}}").empty());
    // A backslash in a string steps over a whole character, even one of several bytes.
    EXPECT_EQ(only("{{js:'\\\xC3\xA9}}'}}"), MacroType(macro::JavaScript{"'\\\xC3\xA9}}'"}));
    // A string that never ends leaves the pair unclosed.
    EXPECT_TRUE(MacroParser::parse("{{js:'abc}}").empty());
}

TEST(MacroParserKeywords, AreTrimmedAndCaseInsensitive) {
    EXPECT_EQ(only("{{ Clipboard }}"), MacroType(macro::Clipboard{}));
    EXPECT_EQ(only("{{\tSELECTED-text:ignored}}"), MacroType(macro::SelectedText{}));
    EXPECT_EQ(only("{{selection}}"), MacroType(macro::SelectedText{}));
    EXPECT_EQ(only("{{:uuid}}"), MacroType(macro::Uuid{}));
    EXPECT_EQ(only("{{endif}}"), MacroType(macro::ConditionalEnd{}));
    EXPECT_EQ(only("{{elif: a == b }}"), MacroType(macro::ConditionalElseIf{"a == b"}));
    EXPECT_EQ(only("{{key: TAB}}"), MacroType(macro::Key{"tab"}));
    EXPECT_EQ(only("{{snippet: ;sig }}"), MacroType(macro::Snippet{";sig"}));
    EXPECT_EQ(only("{{time:HH:mm}}"), MacroType(macro::Time{"HH:mm"}));
    EXPECT_EQ(only("{{today}}"), MacroType(macro::Today{}));
}

TEST(MacroParserKeywords, EveryLengthAndNoNearMiss) {
    EXPECT_EQ(only("{{Js:1}}"), MacroType(macro::JavaScript{"1"}));
    EXPECT_EQ(only("{{/IF}}"), MacroType(macro::ConditionalEnd{}));
    EXPECT_EQ(only("{{eLsEiF:x}}"), MacroType(macro::ConditionalElseIf{"x"}));
    EXPECT_EQ(only("{{/OPTIONAL}}"), MacroType(macro::OptionalEnd{}));
    EXPECT_EQ(only("{{JavaScript:2}}"), MacroType(macro::JavaScript{"2"}));
    EXPECT_EQ(only("{{Selected-Text}}"), MacroType(macro::SelectedText{}));
    // Words that share a length or a beginning with a keyword, or that a careless case fold
    // (setting bit 5 of every byte) would turn into one, are no keywords.
    const std::vector<std::string> nearMisses = {"dat",
                                                 "dates",
                                                 "selected-texts",
                                                 "yesterdayy",
                                                 "\x0F"
                                                 "if",
                                                 "selected\rtext",
                                                 "\x0Foptional",
                                                 "jS\x80",
                                                 std::string("date\0", 5),
                                                 std::string("\0date", 5),
                                                 "if\xE2\x84\xAA"};
    for (const std::string& word : nearMisses) {
        EXPECT_TRUE(MacroParser::parse("{{" + word + "}}").empty()) << word;
    }
}

TEST(MacroParserDates, OffsetsAreCaseSensitiveAndKeepTheFormat) {
    EXPECT_EQ(only("{{date+2w}}"),
              MacroType(macro::Date{std::nullopt, DateOffset{2, DateOffsetUnit::weeks}}));
    EXPECT_EQ(only("{{date+90M:HH:mm}}"),
              MacroType(macro::Date{"HH:mm", DateOffset{90, DateOffsetUnit::minutes}}));
    EXPECT_EQ(only("{{date-1y}}"),
              MacroType(macro::Date{std::nullopt, DateOffset{-1, DateOffsetUnit::years}}));
    EXPECT_EQ(only("{{date+7d:MMMM d, yyyy}}"),
              MacroType(macro::Date{"MMMM d, yyyy", DateOffset{7, DateOffsetUnit::days}}));
    EXPECT_EQ(only("{{DATE:short}}"), MacroType(macro::Date{"short", std::nullopt}));
    // A number past 64 bits is not an offset.
    EXPECT_TRUE(MacroParser::parse("{{date+99999999999999999999d}}").empty());
}

TEST(MacroParserFields, PositionalAndKeyedForms) {
    EXPECT_EQ(only("{{input:City:Paris}}"), MacroType(macro::Input{"City", "Paris", std::nullopt}));
    EXPECT_EQ(only("{{input:Time:10:30}}"), MacroType(macro::Input{"Time", "10:30", std::nullopt}));
    EXPECT_EQ(only("{{input}}"), MacroType(macro::Input{}));
    EXPECT_EQ(only("{{input:name=Dir:default=C\\:\\\\\\\\temp:width=40}}"),
              MacroType(macro::Input{"Dir", "C:\\\\temp", 40}));
    EXPECT_EQ(only("{{input:name=A\\:B:default=x\\ny:width=wide}}"),
              MacroType(macro::Input{"A:B", "x\ny", std::nullopt}));
    EXPECT_EQ(only("{{textarea:NAME=Notes:rows=4:cols=60:name=Body}}"),
              MacroType(macro::Textarea{"Body", std::nullopt, 4, 60}));
}

TEST(MacroParserFields, SelectOptionsAndDefault) {
    EXPECT_EQ(only("{{select:name=Size:options=S,M\\,L,XL:default= M }}"),
              MacroType(macro::Select{"Size", {"S", "M,L", "XL"}, "M"}));
    EXPECT_EQ(
        only("{{select:Small, Medium ,,Large}}"),
        MacroType(macro::Select{std::nullopt, {"Small", "Medium", "", "Large"}, std::nullopt}));
    EXPECT_EQ(only("{{select:a\\tb,c\\\\,d\\}}"),
              MacroType(macro::Select{std::nullopt, {"a\tb", "c\\", "d\\"}, std::nullopt}));
    EXPECT_EQ(only("{{select:name=Plan}}"), MacroType(macro::Select{"Plan", {}, std::nullopt}));
}

TEST(MacroParserFields, KeyedSpecsReadTheSameWithOrWithoutEscapes) {
    // Without a backslash the values are read straight from the argument; one backslash anywhere
    // sends every segment through the unescaped copy.
    EXPECT_EQ(only("{{select:NAME=Plan:Options=Free,Pro:default=Pro}}"),
              MacroType(macro::Select{"Plan", {"Free", "Pro"}, "Pro"}));
    EXPECT_EQ(only("{{select:name=A\\:B:options=x,y:default=y}}"),
              MacroType(macro::Select{"A:B", {"x", "y"}, "y"}));
    EXPECT_EQ(only("{{select:name=Plan:options=x,y:default=y\\n}}"),
              MacroType(macro::Select{"Plan", {"x", "y"}, "y\n"}));
    EXPECT_EQ(only("{{textarea:rows=2:name=\\tN:cols=3:rows=5}}"),
              MacroType(macro::Textarea{"\tN", std::nullopt, 5, 3}));
    // Keys a field does not read, and keys that only resemble one, are skipped.
    EXPECT_EQ(only("{{input:names=x:nam=y:name =z:width=7}}"),
              MacroType(macro::Input{std::nullopt, std::nullopt, 7}));
}

TEST(MacroParserFields, OptionalSections) {
    EXPECT_EQ(only("{{optional:name=Sig:default=YES}}"), MacroType(macro::Optional{"Sig", true}));
    EXPECT_EQ(only("{{optional:name=Sig:default=true}}"), MacroType(macro::Optional{"Sig", false}));
    EXPECT_EQ(only("{{optional:Include signature}}"),
              MacroType(macro::Optional{"Include signature", false}));
    EXPECT_EQ(only("{{/Optional}}"), MacroType(macro::OptionalEnd{}));
}

TEST(MacroParserAI, PromptProviderAndModel) {
    EXPECT_EQ(only("{{ai:Translate to French: $selected}}"),
              MacroType(macro::AI{"Translate to French: $selected", std::nullopt, std::nullopt}));
    EXPECT_EQ(only("{{ai:Summarise:provider= Ollama :model=llama3.2}}"),
              MacroType(macro::AI{"Summarise", "Ollama", "llama3.2"}));
    EXPECT_EQ(only("{{ai:prompt=a\\=b \\: c:Provider=:x=y}}"),
              MacroType(macro::AI{"a=b : c", std::nullopt, std::nullopt}));
    EXPECT_TRUE(MacroParser::parse("{{ai:provider=ollama}}").empty());
}

TEST(MacroParserRandom, RangesAndMalformedRanges) {
    EXPECT_EQ(only("{{random}}"), MacroType(macro::Random{0, 100}));
    EXPECT_EQ(only("{{random:1-6}}"), MacroType(macro::Random{1, 6}));
    EXPECT_EQ(only("{{random:-10 - -1}}"), MacroType(macro::Random{-10, -1}));
    EXPECT_EQ(only("{{random:10-1}}"), MacroType(macro::Random{10, 1}));
    for (const char* content : {"{{random:abc}}", "{{random:1-}}",
                                "{{random:1-99999999999999999999}}", "{{random:1 2-3}}"}) {
        EXPECT_EQ(only(content), MacroType(macro::Random{int64Max, int64Min})) << content;
    }
}

TEST(MacroParserTypes, NamesFollowTheCaseOrder) {
    EXPECT_EQ(macroTypeName(macro::Date{}), "date");
    EXPECT_EQ(macroTypeName(macro::ConditionalElseIf{}), "conditionalElseIf");
    EXPECT_EQ(macroTypeName(macro::Uuid{}), "uuid");
    EXPECT_EQ(MacroType(macro::Uuid{}).index(), 23u);
}

}  // namespace
}  // namespace wordloom
