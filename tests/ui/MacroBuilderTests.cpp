#include <gtest/gtest.h>

#include <QApplication>
#include <QPlainTextEdit>
#include <QTextDocument>
#include <QTextLayout>

#include "OffscreenApplication.h"
#include "core/library/MacroSyntax.h"
#include "core/macros/MacroParser.h"
#include "ui/LibraryMacroBuilder.h"

namespace wordloom {
namespace {

namespace syntax = macroSyntax;

/// The parser's reading of a built macro that must be exactly one macro, whole.
MacroType parsedWhole(const BuiltMacro& built) {
    const auto macros = MacroParser::parse(built.text);
    EXPECT_EQ(macros.size(), 1u) << built.text;
    if (macros.size() != 1) {
        return macro::Uuid{};
    }
    EXPECT_EQ(macros[0].byteRange, (TextRange{0, built.text.size()})) << built.text;
    EXPECT_EQ(built.caret, built.text.size());
    return macros[0].type;
}

TEST(MacroBuilder, WritesEveryMacroAsTheParserReadsIt) {
    EXPECT_EQ(syntax::date("date", 7, 'd', "EEEE, MMMM d").text, "{{date+7d:EEEE, MMMM d}}");
    const auto shifted = std::get<macro::Date>(parsedWhole(syntax::date("date", -2, 'm', "")));
    EXPECT_EQ(shifted.offset, (DateOffset{-2, DateOffsetUnit::months}));
    EXPECT_EQ(std::get<macro::Time>(parsedWhole(syntax::date("time", 0, 'd', "HH:mm"))).format,
              "HH:mm");
    for (const char* keyword : {"clipboard", "selected", "cursor", "uuid"}) {
        parsedWhole(syntax::plain(keyword));
    }
    for (const auto& name : syntax::keyNames()) {
        EXPECT_EQ(std::get<macro::Key>(parsedWhole(syntax::key(name))).keyName, name);
    }
    EXPECT_EQ(std::get<macro::Random>(parsedWhole(syntax::random(-10, -1))).lower, -10);
    EXPECT_EQ(std::get<macro::Snippet>(parsedWhole(syntax::snippet(";sig"))).abbreviation, ";sig");
    EXPECT_EQ(std::get<macro::JavaScript>(parsedWhole(syntax::script("return 1+1"))).code,
              "return 1+1");
    EXPECT_EQ(std::get<macro::AI>(parsedWhole(syntax::ai("Summarise $clipboard"))).prompt,
              "Summarise $clipboard");
}

TEST(MacroBuilder, EscapesFillInValuesSoTheyComeBackAsTyped) {
    const auto input =
        std::get<macro::Input>(parsedWhole(syntax::input("Time: start", "9:30\\am\nor later", 30)));
    EXPECT_EQ(input.name, "Time: start");
    EXPECT_EQ(input.defaultValue, "9:30\\am\nor later");
    EXPECT_EQ(input.width, 30);
    const auto area = std::get<macro::Textarea>(parsedWhole(syntax::textarea("Notes", "", 4)));
    EXPECT_EQ(area.rows, 4);
    EXPECT_EQ(area.defaultValue, std::nullopt);
    const auto select = std::get<macro::Select>(
        parsedWhole(syntax::select("Size", {"S", "M, medium", "L:large"}, "M, medium")));
    EXPECT_EQ(select.options, (std::vector<std::string>{"S", "M, medium", "L:large"}));
    EXPECT_EQ(select.defaultValue, "M, medium");
}

TEST(MacroBuilder, SectionsOpenAndCloseWithTheCaretInside) {
    const auto optional = syntax::optionalSection("Signature", true);
    EXPECT_EQ(optional.text, "{{optional:name=Signature:default=yes}}{{/optional}}");
    EXPECT_EQ(optional.text.substr(optional.caret), "{{/optional}}");
    const auto macros = MacroParser::parse(optional.text);
    ASSERT_EQ(macros.size(), 2u);
    EXPECT_TRUE(std::holds_alternative<macro::OptionalEnd>(macros[1].type));

    const auto condition = syntax::condition("{{input:Plan}}", "in", "[pro, \"team\"]");
    EXPECT_EQ(condition.text, "{{if:{{input:Plan}} in [pro, \"team\"]}}{{/if}}");
    const auto parsed = MacroParser::parse(condition.text);
    ASSERT_FALSE(parsed.empty());
    EXPECT_EQ(std::get<macro::ConditionalIf>(parsed[0].type).condition,
              "{{input:Plan}} in [pro, \"team\"]");
    EXPECT_TRUE(std::holds_alternative<macro::ConditionalEnd>(parsed.back().type));
}

TEST(MacroBuilder, RefusesWhatCannotBeWritten) {
    EXPECT_THROW(syntax::input(" ", "", 0), std::invalid_argument);
    EXPECT_THROW(syntax::input("Name", "a }} b", 0), std::invalid_argument);
    EXPECT_THROW(syntax::select("Size", {}, ""), std::invalid_argument);
    EXPECT_THROW(syntax::random(5, 1), std::invalid_argument);
    EXPECT_THROW(syntax::key("f13"), std::invalid_argument);
    EXPECT_THROW(syntax::date("today", 1, 'd', ""), std::invalid_argument);
    EXPECT_THROW(syntax::script("return '}}'"), std::invalid_argument);
}

TEST(MacroBuilder, HighlightingMarksWhatTheParserDoesNotRecognise) {
    test::offscreenApplication();
    QTextDocument document;
    MacroHighlighter highlighter(&document);
    document.setPlainText("Hi {{clipbord}} and {{clipboard}} é {{date:");
    highlighter.rehighlight();
    const auto formats = document.firstBlock().layout()->formats();
    std::vector<std::pair<int, bool>> marked;  // start, and whether it is a wavy underline
    for (const auto& range : formats) {
        marked.emplace_back(range.start,
                            range.format.underlineStyle() == QTextCharFormat::WaveUnderline);
    }
    EXPECT_EQ(marked, (std::vector<std::pair<int, bool>>{{3, true}, {20, false}, {36, true}}));
}

}  // namespace
}  // namespace wordloom
