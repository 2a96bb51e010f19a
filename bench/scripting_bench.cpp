// One {{js:return 1+1}} from request to output through JavaScriptRunner and its helper process.
// Cold: no helper is running, so the run pays for starting the process, the engine and the
// sandbox. Warm: a helper from an earlier run takes the script.
//
// The helper is found next to this program's build tree (src/app/wordloom-jsrunner), or through
// WORDLOOM_JSRUNNER_PATH.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

#include "core/macros/JavaScriptRunner.h"

namespace {

using wordloom::JavaScriptResult;
using wordloom::JavaScriptRunner;
using wordloom::JavaScriptRunnerOptions;

JavaScriptRunnerOptions benchmarkOptions() {
    JavaScriptRunnerOptions options;
    if (std::getenv("WORDLOOM_JSRUNNER_PATH") == nullptr) {
        options.helperPath = WORDLOOM_BENCH_JSRUNNER_PATH;
    }
    return options;
}

void check(benchmark::State& state, const JavaScriptResult& result) {
    if (result.error || result.output != "2") {
        state.SkipWithError(result.error ? result.error->description().c_str() : "wrong output");
    }
}

void BM_ScriptWithColdHelper(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto runner = std::make_unique<JavaScriptRunner>(benchmarkOptions());
        state.ResumeTiming();
        check(state, runner->execute("return 1+1", {}, ""));
        state.PauseTiming();
        runner.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ScriptWithColdHelper)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScriptWithWarmHelper(benchmark::State& state) {
    JavaScriptRunner runner(benchmarkOptions());
    check(state, runner.execute("return 1+1", {}, ""));
    for (auto _ : state) {
        check(state, runner.execute("return 1+1", {}, ""));
    }
}
BENCHMARK(BM_ScriptWithWarmHelper)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
