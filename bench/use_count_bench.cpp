// What counting one expansion costs the library: the CPU time of SnippetStore::recordUse and
// of the saves it leads to, and the bytes handed to write(2), per expansion, with an expansion
// every 5 seconds of simulated time. Libraries of 100, 10,000 and 100,000 snippets of 200 to
// 2,000 characters. The store runs on a ManualExecutor, so its background saves run inline on
// the measured thread and count in its CPU time.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "core/base/ManualExecutor.h"
#include "core/base/Uuid.h"
#include "core/library/PersistenceService.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"
#include "sample_library.h"

namespace {

using namespace wordloom;
namespace fs = std::filesystem;

constexpr auto kTimeBetweenExpansions = std::chrono::seconds(5);

std::vector<Snippet> makeLibrary(std::size_t count) {
    auto snippets = makeSampleLibrary(
        count,
        "Dear team, thanks for the update. Please find the summary below: the release ships on "
        "Friday {{date:yyyy-MM-dd}}, {{clipboard}} and a note for {{input:name}}. ");
    for (auto& s : snippets) {
        s.createdAt = ManualExecutor::defaultStart();
        s.modifiedAt = s.createdAt;
    }
    return snippets;
}

// Bytes this process has passed to write(2) and friends so far.
std::uint64_t bytesWritten() {
    std::ifstream io("/proc/self/io");
    std::string key;
    std::uint64_t value = 0;
    while (io >> key >> value) {
        if (key == "wchar:") {
            return value;
        }
    }
    return 0;
}

struct BenchFolder {
    fs::path path = fs::temp_directory_path() / ("wordloom-bench-" + Uuid::random().toString());
    ~BenchFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

void BM_RecordUse(benchmark::State& state) {
    BenchFolder folder;
    ManualExecutor executor;
    PersistenceService persistence(folder.path, executor);
    const auto library = makeLibrary(static_cast<std::size_t>(state.range(0)));
    persistence.saveSnippets(library, persistence.beginSave());
    UserDefaults defaults(folder.path / "defaults.json");
    defaults.setBool("dateTimeGroupCreated", true);
    SnippetImageStore images(persistence.imagesFolder());
    SnippetVersionStore versions(executor, persistence);
    SnippetStore store(executor, persistence, images, versions, defaults);
    versions.startHydration();
    store.startHydration();
    executor.runUntilIdle();
    executor.advance(std::chrono::seconds(1));

    std::mt19937 random(7);
    std::uniform_int_distribution<std::size_t> pick(0, library.size() - 1);
    const auto writtenBefore = bytesWritten();
    for (auto _ : state) {
        store.recordUse(library[pick(random)].id);
        executor.advance(kTimeBetweenExpansions);
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["bytes_per_expansion"] =
        static_cast<double>(bytesWritten() - writtenBefore) / iterations;
    state.counters["library_bytes"] =
        static_cast<double>(fs::file_size(persistence.path(LibraryFile::snippets)));
    store.flush();
}

// Enough expansions for use counts written every minute or so to show in the average.
BENCHMARK(BM_RecordUse)->Arg(100)->Iterations(600)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RecordUse)->Arg(10000)->Iterations(120)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RecordUse)->Arg(100000)->Iterations(36)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
