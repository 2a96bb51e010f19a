// Heap held by a hydrated 10,000-snippet library in SnippetStore, per snippet: once a change's
// save has landed ("settled"), right after the next counted use, whose count waits for a later
// save ("used"), and right after an edit, in the half second before it is saved ("changed"). Run
// with --benchmark_filter=Footprint; the counters are the result.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <filesystem>

#include "core/base/ManualExecutor.h"
#include "core/base/Uuid.h"
#include "core/library/PersistenceService.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"

namespace {

using namespace wordloom;
namespace fs = std::filesystem;

constexpr std::size_t kSnippets = 10'000;

std::vector<Snippet> makeLibrary() {
    std::vector<Snippet> snippets(kSnippets);
    for (std::size_t i = 0; i < kSnippets; ++i) {
        auto& s = snippets[i];
        s.id = Uuid::random();
        s.abbreviation = ";s" + std::to_string(i);
        s.label = "Snippet " + std::to_string(i);
        s.content = "Content of snippet " + std::to_string(i) + ", long enough for the heap.";
        s.createdAt = ManualExecutor::defaultStart();
        s.modifiedAt = s.createdAt;
    }
    return snippets;
}

std::size_t heapInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void BM_SnippetStoreFootprint(benchmark::State& state) {
    const fs::path folder =
        fs::temp_directory_path() / ("wordloom-footprint-" + Uuid::random().toString());
    ManualExecutor executor;
    PersistenceService persistence(folder / "data", executor);
    persistence.saveSnippets(makeLibrary(), persistence.beginSave());
    SnippetImageStore images(persistence.imagesFolder());
    UserDefaults defaults(folder / "defaults.json");
    defaults.setBool("dateTimeGroupCreated", true);
    SnippetVersionStore versions(executor, persistence);

    double settled = 0;
    double used = 0;
    double changed = 0;
    for (auto _ : state) {
        malloc_trim(0);
        const auto before = heapInUse();
        SnippetStore store(executor, persistence, images, versions, defaults);
        store.startHydration();
        executor.runUntilIdle();
        // One expansion counted and saved: the state the app idles in.
        store.recordUse(store.snippets().front().id);
        executor.advance(SnippetStore::useCountSaveDelay + std::chrono::seconds(1));
        settled = static_cast<double>(heapInUse() - before) / kSnippets;
        // The next expansion, its count not yet written.
        store.recordUse(store.snippets().front().id);
        used = static_cast<double>(heapInUse() - before) / kSnippets;
        // An edit, in the half second before its save.
        auto edited = store.snippets().back();
        edited.label += " edited";
        store.update(edited);
        changed = static_cast<double>(heapInUse() - before) / kSnippets;
        executor.advance(std::chrono::seconds(1));
        benchmark::DoNotOptimize(store.snippets().data());
    }
    state.counters["settled_bytes_per_snippet"] = settled;
    state.counters["used_bytes_per_snippet"] = used;
    state.counters["changed_bytes_per_snippet"] = changed;
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}
BENCHMARK(BM_SnippetStoreFootprint)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
