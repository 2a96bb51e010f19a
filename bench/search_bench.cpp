// Quick search over a 10,000-snippet library of realistic size (labels, 200-2,000-character
// contents with accents, tags, groups). Target on a 2-core machine: under 16 ms per keystroke,
// the time of one frame, for the queries a person types one character at a time.
#include <benchmark/benchmark.h>

#include <random>

#include "core/base/ManualExecutor.h"
#include "core/base/Uuid.h"
#include "core/library/SnippetSearch.h"
#include "sample_library.h"

namespace {

using namespace wordloom;

std::vector<Snippet> makeLibrary(std::size_t count) {
    auto snippets = makeSampleLibrary(
        count,
        "Dear team, thanks for the update. Please find the résumé and the café menu below: the "
        "release ships on Friday {{date:yyyy-MM-dd}}, {{clipboard}} and a note for Zoë. ");
    for (std::size_t i = 0; i < snippets.size(); ++i) {
        snippets[i].useCount = static_cast<std::int64_t>(i % 50);
    }
    return snippets;
}

const std::vector<Snippet>& library() {
    static const auto snippets = makeLibrary(10'000);
    return snippets;
}

std::string groupName(const std::optional<Uuid>&) {
    return "Customer Replies";
}

// One keystroke: the query as typed so far, searched over the whole library.
void BM_SearchKeystroke(benchmark::State& state, std::string query) {
    SnippetSearch search;
    search.rebuild(library(), groupName);
    for (auto _ : state) {
        benchmark::DoNotOptimize(search.search(query, 50));
    }
}
BENCHMARK_CAPTURE(BM_SearchKeystroke, one_letter, std::string("s"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SearchKeystroke, word_in_content, std::string("cafe menu"))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SearchKeystroke, abbreviation, std::string(";snip4321"))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SearchKeystroke, no_match, std::string("xylophone"))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SearchKeystroke, empty, std::string())->Unit(benchmark::kMillisecond);

// Folding the library once, when the panel first opens after a change.
void BM_RebuildIndex(benchmark::State& state) {
    for (auto _ : state) {
        SnippetSearch search;
        search.rebuild(library(), groupName);
        benchmark::DoNotOptimize(search.size());
    }
}
BENCHMARK(BM_RebuildIndex)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
