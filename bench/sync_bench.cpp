// Two copies of a library syncing through one folder: the time for 1,000 new snippets to go up
// from one copy and come down into the other, and for 1,000 edits to travel back. Each copy is
// the real stack (stores on disk, journal, record index, folder backend) on a manual clock.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <random>

#include "core/base/ManualExecutor.h"
#include "core/library/PersistenceService.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"
#include "core/sync/FolderSyncBackend.h"
#include "core/sync/iCloudSyncService.h"

namespace {

using namespace wordloom;
namespace fs = std::filesystem;

struct Copy {
    Copy(const fs::path& home, const fs::path& shared, const std::string& device)
        : persistence(home, executor),
          images(persistence.imagesFolder()),
          defaults(home / "defaults.json"),
          versions(executor, persistence),
          store(executor, persistence, images, versions, defaults),
          sync(executor, store, versions, images, defaults, home) {
        defaults.setBool("dateTimeGroupCreated", true);
        versions.startHydration();
        store.startHydration();
        executor.runUntilIdle();
        sync.setBackend(std::make_shared<FolderSyncBackend>(shared, device));
    }

    SyncPassReport syncNow() {
        SyncPassReport result;
        sync.syncNow([&](const SyncPassReport& report) { result = report; });
        executor.runUntilIdle();
        return result;
    }

    ManualExecutor executor;
    PersistenceService persistence;
    SnippetImageStore images;
    UserDefaults defaults;
    SnippetVersionStore versions;
    SnippetStore store;
    iCloudSyncService sync;
};

std::string text(std::mt19937& random, std::size_t length) {
    static constexpr std::string_view words[] = {"regards",  "meeting", "invoice", "thanks",
                                                 "{{date}}", "address", "please",  "tomorrow"};
    std::string out;
    while (out.size() < length) {
        out += words[random() % std::size(words)];
        out += ' ';
    }
    return out;
}

void BM_SyncThousandSnippetsBothWays(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    std::mt19937 random(42);
    for (auto _ : state) {
        state.PauseTiming();
        const auto root =
            fs::temp_directory_path() / ("wordloom-sync-bench-" + std::to_string(random()));
        fs::create_directories(root / "shared");
        {
            Copy a(root / "a", root / "shared", "AAAAAAAA-0000-4000-8000-000000000001");
            Copy b(root / "b", root / "shared", "BBBBBBBB-0000-4000-8000-000000000002");
            for (int i = 0; i < count; ++i) {
                Snippet s;
                s.abbreviation = ";s" + std::to_string(i);
                s.label = "Snippet " + std::to_string(i);
                s.content = text(random, 200 + random() % 800);
                s.tags = {"bench"};
                a.store.add(s);
            }
            a.store.flush();
            state.ResumeTiming();

            const auto up = a.syncNow();
            const auto down = b.syncNow();
            if (up.uploaded != count || down.downloaded != count) {
                state.SkipWithError("not everything travelled");
            }

            state.PauseTiming();
            for (const auto& snippet : std::vector<Snippet>(b.store.snippets())) {
                auto edited = snippet;
                edited.content += " (edited)";
                b.store.update(edited);
            }
            state.ResumeTiming();

            const auto back = b.syncNow();
            const auto received = a.syncNow();
            if (back.uploaded != count || received.downloaded != count) {
                state.SkipWithError("the edits did not all travel back");
            }
            state.PauseTiming();
        }
        fs::remove_all(root);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count * 2);
}
BENCHMARK(BM_SyncThousandSnippetsBothWays)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

// What every library change costs while sync is on: comparing each record with what the server
// last agreed to.
void BM_FindLocalChanges(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    std::mt19937 random(7);
    const auto root =
        fs::temp_directory_path() / ("wordloom-sync-bench-" + std::to_string(random()));
    fs::create_directories(root / "shared");
    {
        Copy a(root / "a", root / "shared", "AAAAAAAA-0000-4000-8000-000000000001");
        for (int i = 0; i < count; ++i) {
            Snippet s;
            s.abbreviation = ";s" + std::to_string(i);
            s.content = text(random, 200 + random() % 800);
            a.store.add(s);
        }
        a.syncNow();
        for (auto _ : state) {
            a.sync.queueLocalChanges();
        }
    }
    fs::remove_all(root);
}
BENCHMARK(BM_FindLocalChanges)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
