// Parsing and evaluating a typical long snippet: 2,000 characters holding 20 macros of the common
// kinds (dates, clipboard, fill-ins, a condition, an optional section, caret and keys), without
// scripts, AI or nested snippets. Date formatters are warm, as they are after the first expansion.
#include <benchmark/benchmark.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "core/base/Iso8601.h"
#include "core/base/Text.h"
#include "core/macros/MacroEvaluator.h"

namespace wordloom {
namespace {

const char* const macros[] = {"{{date:MMMM d, yyyy}}",
                              "{{clipboard}}",
                              "{{input:Name:Alex}}",
                              "{{time:HH:mm}}",
                              "{{date+7d:EEEE}}",
                              "{{select:name=Plan:options=Free,Pro,Team}}",
                              "{{if:{{input:Name}} == Alex}}",
                              "{{else}}",
                              "{{/if}}",
                              "{{optional:Signature}}",
                              "{{/optional}}",
                              "{{cursor}}",
                              "{{key:tab}}",
                              "{{today:yyyy-MM-dd}}",
                              "{{selection}}",
                              "{{random:1-6}}",
                              "{{textarea:Notes}}",
                              "{{tomorrow:short}}",
                              "{{date-1m:MMM yyyy}}",
                              "{{now:medium}}"};

std::string sampleContent() {
    const std::string filler =
        "Thank you for reaching out about your account. We have looked into the matter and ";
    std::string content;
    for (const char* macro : macros) {
        content += filler;
        content += macro;
        content += ' ';
    }
    while (text::characterCount(content) < 2000) {
        content += 'x';
    }
    return content;
}

class PinnedClock : public Clock {
  public:
    Timestamp now() const override { return *parseIso8601("2026-01-31T09:30:00Z"); }
};

void pinIcuDefaults() {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
}

void BM_ParseTwentyMacros(benchmark::State& state) {
    const std::string content = sampleContent();
    if (MacroParser::parse(content).size() != 20) {
        state.SkipWithError("the sample does not hold 20 macros");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(MacroParser::parse(content));
    }
    state.counters["characters"] = static_cast<double>(text::characterCount(content));
}
BENCHMARK(BM_ParseTwentyMacros);

void BM_EvaluateTwentyMacros(benchmark::State& state) {
    pinIcuDefaults();
    const std::string content = sampleContent();
    PinnedClock clock;
    MacroEvaluator evaluator;
    EvaluationContext context;
    context.clock = &clock;
    context.capturedClipboard = "clipboard text";
    context.capturedSelectedText = "selected text";
    context.fillInValues = {{"Name", "Alex"}, {"Signature", "true"}};
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    evaluator.evaluate(content, context);  // builds the date formatters once
    for (auto _ : state) {
        benchmark::DoNotOptimize(evaluator.evaluate(content, context));
    }
}
BENCHMARK(BM_EvaluateTwentyMacros);

}  // namespace
}  // namespace wordloom

BENCHMARK_MAIN();
