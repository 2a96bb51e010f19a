// One {{js:return 1+1}} expansion from request to output: the macro evaluator, JavaScriptRunner
// and its helper process.
// Cold from nothing: no helper and no zygote runs, so the run pays for starting the program
// (loading the engine's libraries), the engine and the sandbox.
// Cold from the zygote: the zygote is running (as it is in the application), no helper is; the
// run pays for a fork, the engine and the sandbox of a process that has never run a script.
// Warm: a helper from an earlier run takes the script.
//
// The helper is found next to this program's build tree (src/app/wordloom-jsrunner), or through
// WORDLOOM_JSRUNNER_PATH.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

#include "core/macros/JavaScriptRunner.h"
#include "core/macros/MacroEvaluator.h"

namespace {

using wordloom::EvaluationContext;
using wordloom::JavaScriptRunner;
using wordloom::JavaScriptRunnerOptions;
using wordloom::MacroEvaluator;

JavaScriptRunnerOptions benchmarkOptions() {
    JavaScriptRunnerOptions options;
    if (std::getenv("WORDLOOM_JSRUNNER_PATH") == nullptr) {
        options.helperPath = WORDLOOM_BENCH_JSRUNNER_PATH;
    }
    return options;
}

// One expansion, with a fresh context so no earlier result is reused.
void expandOnce(benchmark::State& state, const MacroEvaluator& evaluator,
                JavaScriptRunner& runner) {
    EvaluationContext context;
    context.javaScriptRunner = &runner;
    const std::string text = evaluator.evaluate("{{js:return 1+1}}", context).expandedContent;
    if (text != "2") {
        state.SkipWithError(("unexpected expansion: " + text).c_str());
    }
}

void BM_ScriptWithColdHelper(benchmark::State& state) {
    MacroEvaluator evaluator;
    JavaScriptRunnerOptions options = benchmarkOptions();
    options.keepSpareHelper = false;  // nothing started ahead: every run starts its helper
    options.useZygote = false;
    for (auto _ : state) {
        state.PauseTiming();
        auto runner = std::make_unique<JavaScriptRunner>(options);
        state.ResumeTiming();
        expandOnce(state, evaluator, *runner);
        state.PauseTiming();
        runner.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ScriptWithColdHelper)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScriptWithHelperFromZygote(benchmark::State& state) {
    MacroEvaluator evaluator;
    JavaScriptRunnerOptions options = benchmarkOptions();
    options.idleHelpers = 0;  // no helper is kept: every run forks a fresh one
    JavaScriptRunner runner(options);
    expandOnce(state, evaluator, runner);  // the zygote has loaded
    for (auto _ : state) {
        expandOnce(state, evaluator, runner);
    }
}
BENCHMARK(BM_ScriptWithHelperFromZygote)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScriptWithWarmHelper(benchmark::State& state) {
    MacroEvaluator evaluator;
    JavaScriptRunner runner(benchmarkOptions());
    expandOnce(state, evaluator, runner);
    for (auto _ : state) {
        expandOnce(state, evaluator, runner);
    }
}
BENCHMARK(BM_ScriptWithWarmHelper)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
