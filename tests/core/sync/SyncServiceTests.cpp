#include <gtest/gtest.h>

#include "SyncDevice.h"
#include "core/base/FileIO.h"

namespace wordloom {
namespace {

using test::SyncDevice;

class SyncServiceTest : public ::testing::Test {
  protected:
    test::TemporaryDirectory shared;
    SyncDevice a{shared.path(), "AAAAAAAA-0000-4000-8000-000000000001"};
    SyncDevice b{shared.path(), "BBBBBBBB-0000-4000-8000-000000000002"};

    /// Both copies edit one snippet before either syncs; `a` edits later in time.
    Uuid editOnBothSides(const std::string& onA, const std::string& onB) {
        const auto id = a.add(";sig", "Regards").id;
        a.syncNow();
        b.syncNow();
        b.edit(id, onB);
        a.executor.advance(std::chrono::seconds(5));
        a.edit(id, onA);
        return id;
    }

    std::vector<std::string> versionContents(SyncDevice& device, const Uuid& id) {
        std::vector<std::string> contents;
        for (const auto& version : device.versions->versions(id)) {
            contents.push_back(version.content);
        }
        return contents;
    }
};

TEST_F(SyncServiceTest, AnEditOnOneCopyAppearsOnTheOther) {
    const auto id = a.add(";sig", "Best regards").id;
    auto report = a.syncNow();
    EXPECT_TRUE(report.succeeded) << report.error;
    EXPECT_EQ(report.uploaded, 1);
    EXPECT_TRUE(a.sync->outboxState().isEmpty());

    report = b.syncNow();
    EXPECT_EQ(report.downloaded, 1);
    ASSERT_NE(b.store->snippet(id), nullptr);
    EXPECT_EQ(*b.store->snippet(id), *a.store->snippet(id));
    // Applied changes are never queued to go back up.
    EXPECT_TRUE(b.sync->outboxState().isEmpty());
    EXPECT_EQ(b.syncNow().uploaded, 0);

    b.edit(id, "Kind regards");
    EXPECT_EQ(b.syncNow().uploaded, 1);
    EXPECT_EQ(a.syncNow().downloaded, 1);
    EXPECT_EQ(a.store->snippet(id)->content, "Kind regards");
    EXPECT_EQ(a.syncNow().uploaded + a.syncNow().downloaded, 0);
}

TEST_F(SyncServiceTest, GroupsAndDeletionsTravel) {
    SnippetGroup group;
    group.name = "Mail";
    a.store->addGroup(group);
    const auto groupId = a.store->groups().back().id;
    auto snippet = a.add(";m", "mail");
    snippet.groupId = groupId;
    a.store->update(snippet);
    a.syncNow();
    b.syncNow();
    ASSERT_NE(b.store->group(groupId), nullptr);
    EXPECT_EQ(b.store->snippet(snippet.id)->groupId, groupId);

    b.store->deletePermanently(snippet.id);
    b.store->deleteGroup(groupId);
    EXPECT_EQ(b.syncNow().deletedRemotely, 2);
    const auto report = a.syncNow();
    EXPECT_EQ(report.deletedLocally, 2);
    EXPECT_EQ(a.store->snippet(snippet.id), nullptr);
    EXPECT_EQ(a.store->group(groupId), nullptr);
}

TEST_F(SyncServiceTest, ChangesFromAnyProcessAreFoundEvenWithoutTheJournal) {
    const auto id = a.add(";x", "one").id;
    a.syncNow();
    // Another process (the command line) edits the library while the service is not running.
    a.edit(id, "two");
    a.settle();
    std::filesystem::remove(a.home / "data" / "icloud-sync-outbox.json");
    a.restart();
    EXPECT_EQ(a.syncNow().uploaded, 1);
    b.syncNow();
    EXPECT_EQ(b.store->snippet(id)->content, "two");
}

TEST_F(SyncServiceTest, ACorruptJournalIsReportedAndEverythingReconciled) {
    a.add(";x", "one");
    a.syncNow();
    a.settle();
    writeFileAtomically(a.home / "data" / "icloud-sync-outbox.json", "not json");
    a.restart();
    ASSERT_TRUE(a.sync->journalMessage());
    EXPECT_NE(a.sync->journalMessage()->find("Wordloom will rebuild pending uploads."),
              std::string::npos);
    const auto report = a.syncNow();
    EXPECT_TRUE(report.succeeded) << report.error;
    // Compared with the server again: the record is there already, so nothing is lost or doubled.
    b.syncNow();
    EXPECT_EQ(b.store->snippets().size(), 1u);
}

TEST_F(SyncServiceTest, MostRecentKeepsTheLaterEditAndTheLoserInHistory) {
    const auto id = editOnBothSides("from a, later", "from b, earlier");
    b.syncNow();  // b uploads first
    const auto report = a.syncNow();
    EXPECT_EQ(report.conflictsSettled, 1);
    b.syncNow();
    EXPECT_EQ(a.store->snippet(id)->content, "from a, later");
    EXPECT_EQ(b.store->snippet(id)->content, "from a, later");
    const auto history = versionContents(a, id);
    EXPECT_NE(std::find(history.begin(), history.end(), "from b, earlier"), history.end());
    const auto bHistory = versionContents(b, id);
    EXPECT_NE(std::find(bHistory.begin(), bHistory.end(), "from b, earlier"), bHistory.end());
}

TEST_F(SyncServiceTest, RemoteWinsAppliesTheServerSideAndKeepsOursInHistory) {
    a.sync->setConflictResolutionStrategy(ConflictResolutionStrategy::remoteWins);
    const auto id = editOnBothSides("from a", "from b");
    b.syncNow();
    a.syncNow();
    EXPECT_EQ(a.store->snippet(id)->content, "from b");
    const auto history = versionContents(a, id);
    EXPECT_NE(std::find(history.begin(), history.end(), "from a"), history.end());
    EXPECT_TRUE(a.sync->outboxState().isEmpty());
}

TEST_F(SyncServiceTest, LocalWinsUploadsOverTheServerSide) {
    a.sync->setConflictResolutionStrategy(ConflictResolutionStrategy::localWins);
    const auto id = editOnBothSides("from a", "from b, and later");
    b.executor.advance(std::chrono::seconds(60));
    b.syncNow();
    a.syncNow();
    b.syncNow();
    EXPECT_EQ(b.store->snippet(id)->content, "from a");
}

TEST_F(SyncServiceTest, MergeCombinesTagsOrLeavesDifferentContentToTheUser) {
    a.sync->setConflictResolutionStrategy(ConflictResolutionStrategy::merge);
    const auto id = a.add(";t", "same").id;
    a.syncNow();
    b.syncNow();
    auto onB = *b.store->snippet(id);
    onB.tags = {"b"};
    b.store->update(onB);
    a.executor.advance(std::chrono::seconds(5));
    auto onA = *a.store->snippet(id);
    onA.tags = {"a"};
    a.store->update(onA);
    b.syncNow();
    a.syncNow();
    EXPECT_EQ(a.store->snippet(id)->tags, (std::vector<std::string>{"a", "b"}));

    const auto other = editOnBothSides("text a", "text b");
    b.syncNow();
    a.syncNow();
    ASSERT_EQ(a.sync->pendingConflicts().size(), 1u);
    const auto& conflict = a.sync->pendingConflicts()[0];
    EXPECT_EQ(conflict.snippetId, other);
    EXPECT_EQ(conflict.localSnippet->content, "text a");
    EXPECT_EQ(conflict.remoteSnippet->content, "text b");
    // Kept across a restart, and not uploaded while it waits.
    a.settle();
    a.restart();
    ASSERT_EQ(a.sync->pendingConflicts().size(), 1u);
    EXPECT_EQ(a.syncNow().uploaded, 0);

    a.sync->resolveConflict(other, /*keepLocal=*/true);
    EXPECT_TRUE(a.sync->pendingConflicts().empty());
    a.syncNow();
    b.syncNow();
    EXPECT_EQ(b.store->snippet(other)->content, "text a");
    const auto history = versionContents(a, other);
    EXPECT_NE(std::find(history.begin(), history.end(), "text b"), history.end());
    EXPECT_THROW(a.sync->resolveConflict(other, true), std::invalid_argument);
}

TEST_F(SyncServiceTest, AnEditNeverLosesToADeletionElsewhere) {
    const auto id = a.add(";d", "keep me").id;
    a.syncNow();
    b.syncNow();
    b.store->deletePermanently(id);
    b.syncNow();
    a.edit(id, "edited meanwhile");
    a.syncNow();
    EXPECT_EQ(a.store->snippet(id)->content, "edited meanwhile");
    b.syncNow();
    ASSERT_NE(b.store->snippet(id), nullptr);
    EXPECT_EQ(b.store->snippet(id)->content, "edited meanwhile");
}

TEST_F(SyncServiceTest, AnUnknownRecordTypeClearsTheChangeToken) {
    a.add(";x", "one");
    a.syncNow();
    FolderSyncBackend writer(shared.path(), "CCCCCCCC-0000-4000-8000-000000000003");
    writer.ensureZone();
    writer.modify({SyncRecord{"Shortcut", "S1", std::nullopt, {}}}, {});
    const auto report = b.syncNow();
    EXPECT_TRUE(report.succeeded);
    EXPECT_EQ(b.defaults->stringForKey(iCloudSyncService::serverChangeTokenKey), std::nullopt);
    EXPECT_EQ(b.store->snippets().size(), 1u);
}

TEST_F(SyncServiceTest, AFailingBackendKeepsTheOutboxAndReportsTheError) {
    a.add(";x", "one");
    std::filesystem::remove_all(shared.path());
    const auto report = a.syncNow();
    EXPECT_FALSE(report.succeeded);
    EXPECT_EQ(a.sync->syncStatus().kind, SyncStatus::Kind::error);
    EXPECT_NE(a.sync->syncStatus().message.find("does not exist"), std::string::npos);
    EXPECT_EQ(a.sync->outboxState().changes.size(), 1u);
    std::filesystem::create_directories(shared.path());
    EXPECT_EQ(a.syncNow().uploaded, 1);
}

TEST_F(SyncServiceTest, NothingHappensInATestHost) {
    setenv("WORDLOOM_TEST_HOST", "1", 1);
    a.restart();
    a.add(";x", "one");
    const auto report = a.syncNow();
    unsetenv("WORDLOOM_TEST_HOST");
    EXPECT_FALSE(report.succeeded);
    EXPECT_EQ(a.sync->syncStatus().kind, SyncStatus::Kind::disabled);
    EXPECT_FALSE(std::filesystem::exists(shared.path() / "wordloom-sync"));
}

}  // namespace
}  // namespace wordloom

namespace wordloom {
namespace {

TEST_F(SyncServiceTest, TwoLibrariesSetUpAlikeDoNotEndWithDoubles) {
    for (auto* device : {&a, &b}) {
        SnippetGroup group;
        group.name = "Date & Time";
        device->store->addGroup(group);
        auto s = device->add(";today", "{{date}}");
        s.groupId = device->store->groups().back().id;
        device->store->update(s);
    }
    b.add(";only-b", "mine");
    a.syncNow();
    const auto report = b.syncNow();
    EXPECT_TRUE(report.succeeded) << report.error;
    a.syncNow();
    EXPECT_EQ(b.store->snippets().size(), 2u);
    EXPECT_EQ(b.store->groups().size(), 1u);
    EXPECT_EQ(a.store->snippets().size(), 2u);
    EXPECT_EQ(a.store->groups().size(), 1u);
    EXPECT_EQ(b.store->groups()[0].id, a.store->groups()[0].id);
}

}  // namespace
}  // namespace wordloom

#include "core/library/SettingsStore.h"
#include "core/sync/SyncConfiguration.h"
#include "core/sync/SyncScheduler.h"

namespace wordloom {
namespace {

TEST_F(SyncServiceTest, TheAppSyncsAfterChangesAndPeriodicallyWhileSyncIsOn) {
    SettingsStore settings(a.executor, *a.persistence);
    settings.startHydration();
    a.executor.runUntilIdle();
    SyncConfiguration configuration;
    configuration.backend = SyncConfiguration::Backend::folder;
    configuration.folder = shared.path();
    configuration.save(*a.defaults);
    iCloudSyncService service(a.executor, *a.store, *a.versions, *a.images, *a.defaults,
                              a.home / "data");
    SyncScheduler scheduler(a.executor, service, *a.store, settings, *a.defaults);
    EXPECT_FALSE(scheduler.isActive());  // the setting is off

    a.add(";x", "one");
    a.executor.advance(std::chrono::minutes(10));
    EXPECT_FALSE(std::filesystem::exists(shared.path() / "wordloom-sync"));

    settings.update([](AppSettings& s) { s.iCloudSyncEnabled = true; });
    a.executor.runUntilIdle();
    EXPECT_TRUE(scheduler.isActive());
    b.syncNow();
    EXPECT_EQ(b.store->snippets().size(), 1u);  // synced at once when turned on

    a.add(";y", "two");
    a.executor.advance(SyncScheduler::changeDelay - std::chrono::milliseconds(1));
    b.syncNow();
    EXPECT_EQ(b.store->snippets().size(), 1u);  // a burst of edits waits for quiet
    a.executor.advance(std::chrono::milliseconds(1));
    b.syncNow();
    EXPECT_EQ(b.store->snippets().size(), 2u);

    b.add(";z", "from b");
    b.syncNow();
    a.executor.advance(SyncScheduler::period);
    EXPECT_EQ(a.store->snippets().size(), 3u);  // fetched by the periodic sync

    settings.update([](AppSettings& s) { s.iCloudSyncEnabled = false; });
    a.executor.runUntilIdle();
    EXPECT_FALSE(scheduler.isActive());
    EXPECT_EQ(service.syncStatus().kind, SyncStatus::Kind::disabled);
}

}  // namespace
}  // namespace wordloom
