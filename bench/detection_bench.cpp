// Cost of detection per keystroke and of rebuilding the snippet cache, at 100, 10,000 and
// 100,000 snippets.

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <chrono>

#include "core/base/ManualExecutor.h"
#include "core/expansion/AbbreviationDetector.h"
#include "detection_library.h"
#include "platform/fake/FakeAccessibilityService.h"

namespace wordloom::bench {
namespace {

struct DetectionRig {
    explicit DetectionRig(std::size_t size) : library(makeLibrary(size)) {
        cache.rebuild(library);
        executor.runUntilIdle();
        detector.prewarmRegexes(library);
        executor.runUntilIdle();
        detector.onAbbreviationDetected = [this](const DetectedAbbreviation&) { ++expansions; };
    }

    std::vector<Snippet> library;
    ManualExecutor executor;
    SnippetCache cache{executor};
    NoGroups groups;
    FixedSettings settings;
    FakeAccessibilityService accessibility;
    AbbreviationDetector detector{groups, settings, accessibility, cache, executor};
    std::size_t expansions = 0;
};

void BM_KeystrokeMatchingNothing(benchmark::State& state) {
    DetectionRig rig(static_cast<std::size_t>(state.range(0)));
    std::size_t position = 0;
    // Fill the buffer first: the steady state is a full buffer.
    for (int i = 0; i < 200; ++i) {
        rig.detector.processTypedText(std::string_view(&prose[position], 1));
        position = (position + 1) % prose.size();
    }
    for (auto _ : state) {
        rig.detector.processTypedText(std::string_view(&prose[position], 1));
        position = (position + 1) % prose.size();
    }
    if (rig.expansions != 0) {
        state.SkipWithError("prose expanded something");
    }
}

void BM_KeystrokeThatExpands(benchmark::State& state) {
    DetectionRig rig(static_cast<std::size_t>(state.range(0)));
    // Immediate abbreviations, typed after a little prose; only the last key is timed.
    std::vector<std::string> abbreviations;
    for (const auto& snippet : rig.library) {
        if (snippet.triggerMode == TriggerMode::immediate &&
            snippet.matchType == AbbreviationMatchType::exact && abbreviations.size() < 64) {
            abbreviations.push_back(snippet.abbreviation);
        }
    }
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& abbreviation = abbreviations[next++ % abbreviations.size()];
        for (std::size_t i = 0; i < 60; ++i) {
            rig.detector.processTypedText(std::string_view(&prose[i], 1));
        }
        rig.detector.processTypedText(" ");
        for (std::size_t i = 0; i + 1 < abbreviation.size(); ++i) {
            rig.detector.processTypedText(std::string_view(&abbreviation[i], 1));
        }
        const auto before = rig.expansions;
        const auto start = std::chrono::steady_clock::now();
        rig.detector.processTypedText(std::string_view(&abbreviation.back(), 1));
        const auto elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
        if (rig.expansions != before + 1) {
            state.SkipWithError("the abbreviation did not expand");
            break;
        }
    }
}

// From the request to the new index being live. The old index is freed afterwards by a task
// of its own on the background pool (run here outside the timing, and reported apart).
void BM_FullRebuild(benchmark::State& state) {
    const auto library = makeLibrary(static_cast<std::size_t>(state.range(0)));
    ManualExecutor executor;
    SnippetCache cache(executor);
    std::size_t indexBytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto copy = library;  // the caller's copy of the store's list is not the rebuild's cost
        executor.runUntilIdle();
        const auto before = mallinfo2().uordblks;
        state.ResumeTiming();
        cache.rebuild(std::move(copy));
        executor.runBackground();  // builds and installs; queues the release of the old one
        state.PauseTiming();
        // What the build allocated: the index proper (the snippets moved into it were
        // allocated before, and the old index is not freed yet).
        indexBytes = mallinfo2().uordblks - before;
        executor.runUntilIdle();
        state.ResumeTiming();
    }
    state.counters["index_heap_bytes"] = static_cast<double>(indexBytes);
    benchmark::DoNotOptimize(cache.maxAbbreviationLength());
}

// Freeing an index, which rebuilds leave to a background task.
void BM_ReleaseOldIndex(benchmark::State& state) {
    const auto library = makeLibrary(static_cast<std::size_t>(state.range(0)));
    ManualExecutor executor;
    SnippetCache cache(executor);
    for (auto _ : state) {
        state.PauseTiming();
        cache.rebuild(library);
        executor.runBackground();
        state.ResumeTiming();
        executor.runUntilIdle();
    }
}

BENCHMARK(BM_KeystrokeMatchingNothing)->Arg(100)->Arg(10'000)->Arg(100'000);
BENCHMARK(BM_KeystrokeThatExpands)->Arg(100)->Arg(10'000)->Arg(100'000)->UseManualTime();
BENCHMARK(BM_FullRebuild)->Arg(100)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReleaseOldIndex)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace wordloom::bench

BENCHMARK_MAIN();
