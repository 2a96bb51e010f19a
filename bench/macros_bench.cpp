// Parsing and evaluating a typical long snippet (see macros_sample.h). Date formatters are warm,
// as they are after the first expansion.
#include <benchmark/benchmark.h>

#include "core/macros/MacroEvaluator.h"
#include "macros_sample.h"

namespace wordloom {
namespace {

void BM_ParseTwentyMacros(benchmark::State& state) {
    const std::string content = bench::sampleContent();
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
    bench::pinIcuDefaults();
    const std::string content = bench::sampleContent();
    bench::SettableClock clock;
    const EvaluationContext context = bench::sampleContext(clock);
    MacroEvaluator evaluator;
    evaluator.evaluate(content, context);  // builds the date formatters once
    for (auto _ : state) {
        benchmark::DoNotOptimize(evaluator.evaluate(content, context));
    }
}
BENCHMARK(BM_EvaluateTwentyMacros);

// The same while the clock moves a quarter of a second per evaluation, as it does between the
// previews of someone typing: texts that show seconds are formatted again every few evaluations,
// dates once a day.
void BM_EvaluateTwentyMacrosAsTimePasses(benchmark::State& state) {
    bench::pinIcuDefaults();
    const std::string content = bench::sampleContent();
    bench::SettableClock clock;
    const EvaluationContext context = bench::sampleContext(clock);
    MacroEvaluator evaluator;
    evaluator.evaluate(content, context);
    for (auto _ : state) {
        clock.advance(std::chrono::milliseconds(250));
        benchmark::DoNotOptimize(evaluator.evaluate(content, context));
    }
}
BENCHMARK(BM_EvaluateTwentyMacrosAsTimePasses);

}  // namespace
}  // namespace wordloom

BENCHMARK_MAIN();
