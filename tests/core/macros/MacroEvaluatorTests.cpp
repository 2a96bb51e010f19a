#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>
#include <thread>

#include <unicode/timezone.h>

#include "core/base/Iso8601.h"
#include "core/macros/MacroEvaluator.h"
#include "support/RecordingLogSink.h"

namespace wordloom {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class FixedClock : public Clock {
  public:
    explicit FixedClock(const char* iso) : now_(*parseIso8601(iso)) {}
    Timestamp now() const override { return now_; }

  private:
    Timestamp now_;
};

class ScriptedRunner : public JavaScriptExecuting {
  public:
    JavaScriptResult execute(const std::string& script,
                             const std::map<std::string, std::string>& context,
                             const std::string& clipboard) override {
        ++runs;
        lastContext = context;
        lastClipboard = clipboard;
        if (script == "fail") {
            return {"", 0.1, JavaScriptError::executionFailed("boom")};
        }
        return {"<" + script + ">", 0.1, std::nullopt};
    }
    int runs = 0;
    std::map<std::string, std::string> lastContext;
    std::string lastClipboard;
};

class ScriptedAI : public AITextGenerating {
  public:
    std::string generate(const std::string& prompt, const std::optional<std::string>& provider,
                         const std::optional<std::string>&,
                         const std::map<std::string, std::string>& variables) override {
        ++calls;
        lastVariables = variables;
        if (prompt == "fail") {
            throw std::runtime_error("Empty AI prompt");
        }
        return "AI(" + prompt + "," + provider.value_or("-") + ")";
    }
    int calls = 0;
    std::map<std::string, std::string> lastVariables;
};

class MacroEvaluatorTest : public ::testing::Test {
  protected:
    MacroEvaluationResult evaluate(std::string_view content) {
        return evaluator.evaluate(content, context);
    }
    std::string expand(std::string_view content) { return evaluate(content).expandedContent; }

    void addSnippet(const std::string& abbreviation, const std::string& content,
                    ContentType type = ContentType::plainText) {
        Snippet snippet;
        snippet.abbreviation = abbreviation;
        snippet.content = content;
        snippet.contentType = type;
        library[abbreviation] = snippet;
    }

    void SetUp() override {
        context.clock = &clock;
        context.findSnippet = [this](const std::string& abbreviation) -> std::optional<Snippet> {
            auto found = library.find(abbreviation);
            return found == library.end() ? std::nullopt : std::optional<Snippet>(found->second);
        };
    }

    FixedClock clock{"2026-01-31T09:30:00Z"};
    std::map<std::string, Snippet> library;
    EvaluationContext context;
    MacroEvaluator evaluator;
};

TEST_F(MacroEvaluatorTest, SimpleMacrosAndPlainText) {
    context.capturedClipboard = "clip";
    EXPECT_EQ(expand("a {{clipboard}} b {{selection}} {{unknown}} {{clip board}}"),
              "a clip b  {{unknown}} {{clip board}}");
    EXPECT_EQ(expand("{{random:5-5}}{{random:-3--3}}"), "5-3");
    EXPECT_TRUE(std::regex_match(
        expand("{{uuid}}"), std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-"
                                       "[0-9A-F]{12}")));
    int value = std::stoi(expand("{{random:1-6}}"));
    EXPECT_GE(value, 1);
    EXPECT_LE(value, 6);
}

TEST_F(MacroEvaluatorTest, FailuresWriteTheirTextAndGoOn) {
    auto result = evaluate("{{random:10-1}}|{{random:abc}}|{{snippet:;nope}}|end");
    EXPECT_EQ(result.expandedContent,
              "[invalid random range]|[invalid random range]|[Unknown snippet: ;nope]|end");
    EXPECT_EQ(result.macroErrors.size(), 3u);
    EXPECT_EQ(context.evaluationPlan, nullptr);  // the caller's context is left alone
}

TEST_F(MacroEvaluatorTest, CursorAndKeysAreCountedInCharacters) {
    // "é" (e + combining accent) and the flag are one character each.
    auto result = evaluate(
        "e\xCC\x81{{cursor}}\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7{{key:TAB}}x{{cursor}}{{key:return}}");
    EXPECT_EQ(result.expandedContent, "e\xCC\x81\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7x");
    EXPECT_THAT(result.cursorCandidates, ElementsAre(1u, 3u));
    EXPECT_EQ(result.cursorPosition, 1u);
    EXPECT_THAT(result.keystrokes, ElementsAre(KeystrokeAction{2, SimulatedKey::tab},
                                               KeystrokeAction{3, SimulatedKey::return_}));
    EXPECT_FALSE(evaluate("no caret").cursorPosition);
}

TEST_F(MacroEvaluatorTest, DatesUseTheCalendarAndCachedFormats) {
    EXPECT_EQ(expand("{{date:yyyy-MM-dd}} {{today:d}} {{tomorrow:MM-dd}} {{yesterday:MM-dd}}"),
              "2026-01-31 31 02-01 01-30");
    // One month after January 31 is the calendar's last day of February.
    EXPECT_EQ(expand("{{date+1m:yyyy-MM-dd}} {{date-1y:yyyy}} {{date+2w:MM-dd}}"),
              "2026-02-28 2025 02-14");
    EXPECT_EQ(expand("{{date+90M:HH:mm}} {{date-10H:dd HH}}"), "11:00 30 23");
    EXPECT_EQ(expand("{{date:iso}} {{now:yyyy}}"), "2026-01-31T09:30:00Z 2026");
    EXPECT_EQ(expand("{{date:short}}|{{date:LONG}}|{{date}}"),
              "1/31/26|January 31, 2026|Jan 31, 2026");
    EXPECT_THAT(expand("{{time}}"), HasSubstr("9:30"));
    EXPECT_THAT(expand("{{time:HH:mm:ss}}"), "09:30:00");

    // Beyond what a timestamp holds (about the year 2262).
    EXPECT_EQ(expand("{{date+300y}}|{{date-831781m}}"),
              "[invalid date offset]|[invalid date offset]");
    auto bad = evaluate("{{date+3000000000d}}");
    EXPECT_EQ(bad.expandedContent, "[invalid date offset]");
    EXPECT_EQ(bad.macroErrors, std::vector<std::string>{"[invalid date offset]"});
}

// A clock the test moves.
class SettableClock : public Clock {
  public:
    Timestamp now() const override { return now_; }
    void set(const char* iso) { now_ = *parseIso8601(iso); }

  private:
    Timestamp now_;
};

TEST_F(MacroEvaluatorTest, RememberedDatesFollowTheClock) {
    SettableClock moving;
    context.clock = &moving;
    const char* content = "{{date:yyyy-MM-dd}} {{time:HH:mm:ss}} {{tomorrow:MM-dd}} {{date+1d}}";
    moving.set("2026-01-31T23:59:59Z");
    EXPECT_EQ(expand(content), "2026-01-31 23:59:59 02-01 Feb 1, 2026");
    moving.set("2026-01-31T23:59:59.999Z");
    EXPECT_EQ(expand(content), "2026-01-31 23:59:59 02-01 Feb 1, 2026");
    moving.set("2026-02-01T00:00:00Z");
    EXPECT_EQ(expand(content), "2026-02-01 00:00:00 02-02 Feb 2, 2026");
    moving.set("2026-01-15T12:00:00Z");
    EXPECT_EQ(expand(content), "2026-01-15 12:00:00 01-16 Jan 16, 2026");
}

// Daylight-saving time begins in Berlin at 01:00 UTC on 29 March 2026 (02:00 becomes 03:00).
TEST_F(MacroEvaluatorTest, RememberedDatesFollowDaylightSavingChanges) {
    auto* berlin = icu::TimeZone::createTimeZone("Europe/Berlin");
    icu::TimeZone::adoptDefault(berlin);
    std::vector<std::string> texts;
    // Formatters and the calendar take the zone that is the default when they are made: a cache
    // of this test's own and a thread of its own (calendars are per thread) see Berlin.
    std::thread([&] {
        DateFormatterCache formatters;
        MacroEvaluator berlinEvaluator(formatters);
        SettableClock moving;
        context.clock = &moving;
        for (const char* now :
             {"2026-03-28T22:59:59Z", "2026-03-28T23:00:00Z", "2026-03-29T00:59:59Z",
              "2026-03-29T01:00:00Z", "2026-03-29T21:59:59Z", "2026-03-29T22:00:00Z"}) {
            moving.set(now);
            texts.push_back(berlinEvaluator
                                .evaluate("{{date:yyyy-MM-dd HH:mm:ss ZZZZZ}}|{{tomorrow:MM-dd "
                                          "HH:mm}}|{{yesterday:MM-dd HH:mm}}|{{date:MMM d}}",
                                          context)
                                .expandedContent);
        }
    }).join();
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
    EXPECT_THAT(texts, ElementsAre("2026-03-28 23:59:59 +01:00|03-29 23:59|03-27 23:59|Mar 28",
                                   "2026-03-29 00:00:00 +01:00|03-30 00:00|03-28 00:00|Mar 29",
                                   "2026-03-29 01:59:59 +01:00|03-30 01:59|03-28 01:59|Mar 29",
                                   "2026-03-29 03:00:00 +02:00|03-30 03:00|03-28 03:00|Mar 29",
                                   "2026-03-29 23:59:59 +02:00|03-30 23:59|03-28 23:59|Mar 29",
                                   "2026-03-30 00:00:00 +02:00|03-31 00:00|03-29 00:00|Mar 30"));
}

TEST_F(MacroEvaluatorTest, NestedSnippets) {
    addSnippet(";sig", "-- {{input:Name}}{{cursor}}");
    addSnippet(";self", "again {{snippet:;self}}");
    context.visitedAbbreviations = {";self"};
    EXPECT_EQ(expand("{{snippet:;self}}"), "[Circular snippet reference: ;self]");

    context.visitedAbbreviations.clear();
    auto result = evaluate("Hi{{snippet:;sig}} {{snippet:;sig}}");
    EXPECT_EQ(result.expandedContent, "Hi--  -- ");
    EXPECT_THAT(result.cursorCandidates, ElementsAre(5u, 9u));
    ASSERT_EQ(result.fillInFields.size(), 2u);
    // Each inclusion gets its own path, so its fields get their own keys.
    EXPECT_EQ(result.fillInFields[0].valueKey, ";sig#0/Name");
    EXPECT_EQ(result.fillInFields[1].valueKey, ";sig#1/Name");

    context.fillInValues = {{";sig#1/Name", "Bo"}};
    EXPECT_EQ(expand("{{snippet:;sig}}{{snippet:;sig}}"), "-- -- Bo");
}

TEST_F(MacroEvaluatorTest, NestingStopsAfterTenLevels) {
    for (int i = 0; i < 12; ++i) {
        addSnippet("s" + std::to_string(i),
                   std::to_string(i) + "{{snippet:s" + std::to_string(i + 1) + "}}");
    }
    context.visitedAbbreviations = {"s0"};
    auto result = evaluate(library["s0"].content);
    EXPECT_EQ(result.expandedContent, "012345678910[Max nesting depth reached]");
    EXPECT_EQ(result.macroErrors, std::vector<std::string>{"[Max nesting depth reached]"});
}

TEST_F(MacroEvaluatorTest, SnippetsIncludingEachOtherManyTimesAreBounded) {
    // Four levels of ten inclusions each would write 10,000 copies.
    for (int level = 0; level < 4; ++level) {
        std::string content;
        for (int i = 0; i < 10; ++i) {
            content += "{{snippet:l" + std::to_string(level + 1) + "}}";
        }
        addSnippet("l" + std::to_string(level), content);
    }
    addSnippet("l4", "x");
    auto result = evaluate("{{snippet:l0}}");
    EXPECT_NE(result.expandedContent.find("[Max nesting depth reached]"), std::string::npos);
    EXPECT_LT(result.expandedContent.size(), 1'000'000u);
}

TEST_F(MacroEvaluatorTest, FillInFieldsTakeEnteredValuesOrDefaults) {
    auto result =
        evaluate("{{input}} {{input}} {{input:City:Paris}} {{select:S,M}} {{textarea:Notes}}");
    ASSERT_EQ(result.fillInFields.size(), 5u);
    EXPECT_NE(result.fillInFields[0].valueKey, result.fillInFields[1].valueKey);
    EXPECT_EQ(result.fillInFields[2].type, FillInType::singleLine);
    EXPECT_EQ(result.fillInFields[3].type, FillInType::dropdown);
    EXPECT_THAT(result.fillInFields[3].options, ElementsAre("S", "M"));
    EXPECT_EQ(result.fillInFields[4].type, FillInType::multiLine);
    EXPECT_EQ(result.expandedContent, "  Paris S ");

    context.fillInValues = {
        {result.fillInFields[1].valueKey, "two"}, {"City", "Oslo"}, {"Notes", "n"}};
    auto filled =
        evaluate("{{input}} {{input}} {{input:City:Paris}} {{select:S,M}} {{textarea:Notes}}");
    EXPECT_EQ(filled.expandedContent, " two Oslo S n");
    EXPECT_EQ(filled.fillInFields[2].value, "Oslo");
}

TEST_F(MacroEvaluatorTest, OptionalSections) {
    const char* content =
        "A{{optional:Sig}}B{{/optional}}C{{optional:name=P:default=yes}}D{{/optional}}";
    auto result = evaluate(content);
    EXPECT_EQ(result.expandedContent, "ACD");
    ASSERT_EQ(result.fillInFields.size(), 2u);
    EXPECT_EQ(result.fillInFields[0].type, FillInType::checkbox);
    EXPECT_EQ(result.fillInFields[0].defaultValue, "false");
    EXPECT_EQ(result.fillInFields[1].defaultValue, "true");
    EXPECT_EQ(evaluate("{{optional}}x{{/optional}}").fillInFields[0].name, "Optional section");

    context.fillInValues = {{"Sig", "true"}, {"P", "false"}};
    EXPECT_EQ(expand(content), "ABC");
}

TEST_F(MacroEvaluatorTest, ConditionalBranches) {
    const char* content =
        "{{if:{{input:Plan}} == pro}}P{{elseif:{{input:Plan}} in [team, org]}}T{{else}}F{{/if}}!";
    EXPECT_EQ(expand(content), "F!");
    context.fillInValues = {{"Plan", "pro"}};
    EXPECT_EQ(expand(content), "P!");
    context.fillInValues = {{"Plan", "org"}};
    EXPECT_EQ(expand(content), "T!");
    EXPECT_EQ(evaluate(content).fillInFields.size(), 2u);

    context.capturedClipboard = "Some Invoice";
    EXPECT_EQ(expand("{{if:{{clipboard}} CONTAINS invoice}}yes{{/if}}"), "yes");
    // Sections nest; an untaken outer branch hides everything inside it.
    EXPECT_EQ(expand("{{if:1}}a{{if:0}}b{{else}}c{{/if}}d{{/if}}{{if:0}}{{if:1}}x{{/if}}{{/if}}"),
              "acd");
    // A section left open ends with the content.
    EXPECT_EQ(expand("a{{if:no}}b"), "a");
}

TEST_F(MacroEvaluatorTest, MistakesWithoutAnErrorTextOfTheirOwnWriteNothingAndAreLogged) {
    const test::RecordingLogSink log;
    addSnippet(";img", "", ContentType::image);
    auto result = evaluate(
        "a{{/if}}b{{else}}c{{/optional}}|{{key:f13}}|{{snippet:;img}}|"
        "{{if:x =~ (}}yes{{else}}no{{/if}}|");
    EXPECT_EQ(result.expandedContent, "abc|||no|");
    EXPECT_TRUE(result.keystrokes.empty());
    EXPECT_TRUE(result.macroErrors.empty());
    for (const char* fragment :
         {"{{/if}}", "{{else}}", "{{/optional}}", "{{key:f13}}", ";img", "("}) {
        EXPECT_TRUE(log.contains("MacroEvaluator", fragment)) << fragment;
    }
    // A closer ends the sections opened inside the one it closes.
    EXPECT_EQ(expand("{{if:yes}}{{optional:O}}hidden{{/if}}shown"), "shown");
}

TEST_F(MacroEvaluatorTest, ScriptsWithoutARunnerFailVisibly) {
    auto result = evaluate("x{{js:return 1}}y");
    EXPECT_EQ(result.expandedContent,
              "x[JS Error: JavaScript error: JavaScript runner is not available]y");
    EXPECT_EQ(result.macroErrors.size(), 1u);
    EXPECT_EQ(expand("{{ai:Say hi}}"), "AI macro failed: AI service is not available");
}

TEST_F(MacroEvaluatorTest, ScriptsRunOnceAcrossEvaluationsOfOneExpansion) {
    ScriptedRunner runner;
    context.javaScriptRunner = &runner;
    context.capturedClipboard = "clip";
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    EXPECT_EQ(expand("{{js:a}}{{js:fail}}"), "<a>[JS Error: JavaScript error: boom]");
    EXPECT_EQ(runner.lastClipboard, "clip");
    EXPECT_EQ(runner.lastContext.at("clipboard"), "clip");
    EXPECT_EQ(expand("{{js:a}}{{js:fail}}"), "<a>[JS Error: JavaScript error: boom]");
    EXPECT_EQ(runner.runs, 3);  // the successful script ran once, the failing one twice
    // Scripts in untaken branches never run.
    expand("{{if:no}}{{js:b}}{{/if}}");
    EXPECT_EQ(runner.runs, 3);
    EXPECT_EQ(context.evaluationPlan->errors().size(), 2u);
}

TEST_F(MacroEvaluatorTest, AIRequestsGetVariablesAndFailuresAreReported) {
    ScriptedAI ai;
    context.aiService = &ai;
    context.capturedSelectedText = "sel";
    context.fillInValues = {{"Tone", "warm"}};
    EXPECT_EQ(expand("{{input:Tone}}: {{ai:Hello $Tone:provider=ollama}} {{ai:fail}}"),
              "warm: AI(Hello $Tone,ollama) AI macro failed: Empty AI prompt");
    EXPECT_EQ(ai.lastVariables.at("Tone"), "warm");
    EXPECT_EQ(ai.lastVariables.at("selected"), "sel");
    EXPECT_EQ(ai.lastVariables.at("selection"), "sel");
}

TEST_F(MacroEvaluatorTest, PreviewRunsNothingAndListsAIRequests) {
    ScriptedRunner runner;
    ScriptedAI ai;
    context.javaScriptRunner = &runner;
    context.aiService = &ai;
    context.isPreviewOnly = true;
    auto result = evaluate("{{js:x}} {{ai:Summarise:model=m}} {{input:A}}");
    EXPECT_EQ(result.expandedContent, "{{js:x}} {{ai:Summarise:model=m}} ");
    EXPECT_EQ(runner.runs + ai.calls, 0);
    ASSERT_EQ(result.pendingAIRequests.size(), 1u);
    EXPECT_EQ(result.pendingAIRequests[0].prompt, "Summarise");
    EXPECT_EQ(result.pendingAIRequests[0].model, "m");
    EXPECT_EQ(result.fillInFields.size(), 1u);
}

TEST_F(MacroEvaluatorTest, NestedScriptSnippetsRunTheirContent) {
    ScriptedRunner runner;
    context.javaScriptRunner = &runner;
    addSnippet(";js", "code", ContentType::javaScript);
    addSnippet(";img", "", ContentType::image);
    EXPECT_EQ(expand("{{snippet:;js}} {{snippet:;img}}"), "<code> ");
}

}  // namespace
}  // namespace wordloom
