// Load and save of snippet libraries of realistic size: labels, 200-2,000-character contents,
// a few tags, a group each. Targets on a 2-core machine: 10,000 snippets load and save in under
// 50 ms each; 100,000 in under 500 ms each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>

#include "core/base/ManualExecutor.h"
#include "core/base/Uuid.h"
#include "core/library/PersistenceService.h"
#include "sample_library.h"

namespace {

using namespace wordloom;
namespace fs = std::filesystem;

std::vector<Snippet> makeLibrary(std::size_t count) {
    auto snippets = makeSampleLibrary(
        count,
        "Dear team, thanks for the update. Please find the summary below: the release ships on "
        "Friday {{date:yyyy-MM-dd}}, {{clipboard}} and a note for {{fill:name}}. ");
    std::vector<Uuid> groups(20);
    for (auto& g : groups) {
        g = Uuid::random();
    }
    for (std::size_t i = 0; i < snippets.size(); ++i) {
        auto& s = snippets[i];
        s.groupId = groups[i % groups.size()];
        s.createdAt = ManualExecutor::defaultStart();
        s.modifiedAt = s.createdAt;
        s.useCount = static_cast<std::int64_t>(i % 50);
    }
    return snippets;
}

struct BenchFolder {
    fs::path path = fs::temp_directory_path() / ("wordloom-bench-" + Uuid::random().toString());
    ~BenchFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

void BM_SaveSnippets(benchmark::State& state) {
    BenchFolder folder;
    ManualExecutor clock;
    PersistenceService persistence(folder.path, clock);
    const auto library = makeLibrary(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        persistence.saveSnippets(library, persistence.beginSave());
    }
    state.counters["bytes"] =
        static_cast<double>(fs::file_size(persistence.path(LibraryFile::snippets)));
}

void BM_LoadSnippets(benchmark::State& state) {
    BenchFolder folder;
    ManualExecutor clock;
    PersistenceService persistence(folder.path, clock);
    persistence.saveSnippets(makeLibrary(static_cast<std::size_t>(state.range(0))),
                             persistence.beginSave());
    for (auto _ : state) {
        auto loaded = persistence.loadSnippets();
        benchmark::DoNotOptimize(loaded.data());
    }
}

BENCHMARK(BM_LoadSnippets)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveSnippets)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
