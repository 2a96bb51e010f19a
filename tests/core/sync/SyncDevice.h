#pragma once

#include <memory>

#include "core/base/ManualExecutor.h"
#include "core/library/PersistenceService.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"
#include "core/sync/FolderSyncBackend.h"
#include "core/sync/iCloudSyncService.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {

/// One copy of Wordloom with its own library, syncing through a shared folder, on a manual
/// clock. `restart()` builds every service again over the same files, as a new start would.
struct SyncDevice {
    SyncDevice(const std::filesystem::path& sharedFolder, std::string device)
        : shared(sharedFolder), deviceId(std::move(device)) {
        restart();
    }

    void restart() {
        sync.reset();
        store.reset();
        versions.reset();
        persistence = std::make_unique<PersistenceService>(home / "data", executor);
        images = std::make_unique<SnippetImageStore>(persistence->imagesFolder());
        defaults = std::make_unique<UserDefaults>(home / "data" / "defaults.json");
        defaults->setBool("dateTimeGroupCreated", true);
        versions = std::make_unique<SnippetVersionStore>(executor, *persistence);
        store =
            std::make_unique<SnippetStore>(executor, *persistence, *images, *versions, *defaults);
        versions->startHydration();
        store->startHydration();
        executor.runUntilIdle();
        sync = std::make_unique<iCloudSyncService>(executor, *store, *versions, *images, *defaults,
                                                   home / "data");
        sync->setBackend(backend ? backend : std::make_shared<FolderSyncBackend>(shared, deviceId));
    }

    /// Syncs through `other` from now on (and after restarts) instead of the shared folder.
    void useBackend(std::shared_ptr<SyncBackend> other) {
        backend = std::move(other);
        sync->setBackend(backend);
    }

    SyncPassReport syncNow() {
        SyncPassReport result;
        bool finished = false;
        sync->syncNow([&](const SyncPassReport& report) {
            result = report;
            finished = true;
        });
        executor.runUntilIdle();
        EXPECT_TRUE(finished);
        return result;
    }

    Snippet add(const std::string& abbreviation, const std::string& content) {
        Snippet s;
        s.abbreviation = abbreviation;
        s.content = content;
        s.createdAt = s.modifiedAt = executor.now();
        store->add(s);
        return store->snippets().back();
    }

    void edit(const Uuid& id, const std::string& content) {
        auto s = *store->snippet(id);
        s.content = content;
        store->update(s);
    }

    void settle() { executor.advance(std::chrono::seconds(1)); }

    std::filesystem::path shared;
    std::string deviceId;
    TemporaryDirectory home;
    ManualExecutor executor;
    std::unique_ptr<PersistenceService> persistence;
    std::unique_ptr<SnippetImageStore> images;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<SnippetVersionStore> versions;
    std::unique_ptr<SnippetStore> store;
    std::unique_ptr<iCloudSyncService> sync;
    std::shared_ptr<SyncBackend> backend;
};

}  // namespace wordloom::test
