#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "core/base/FileIO.h"
#include "core/sync/SyncOutboxJournal.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

const SyncRecordId a{"Snippet", "A"};
const SyncRecordId b{"SnippetGroup", "B"};

TEST(SyncOutboxState, AnEntryChangedDuringItsUploadStaysQueued) {
    SyncOutboxState state;
    state.queueChange(a);
    const auto uploaded = state.pendingChange(a)->generation;
    state.queueChange(a);  // edited again while the upload was on its way
    EXPECT_FALSE(state.confirmChange(a, uploaded));
    ASSERT_NE(state.pendingChange(a), nullptr);
    EXPECT_TRUE(state.confirmChange(a, state.pendingChange(a)->generation));
    EXPECT_TRUE(state.isEmpty());
}

TEST(SyncOutboxState, ARecordIsEitherChangedOrDeleted) {
    SyncOutboxState state;
    state.queueChange(a);
    state.queueDeletion(a);
    EXPECT_EQ(state.pendingChange(a), nullptr);
    ASSERT_NE(state.pendingDeletion(a), nullptr);
    state.queueChange(a);
    EXPECT_EQ(state.pendingDeletion(a), nullptr);
    EXPECT_EQ(state.changes.size(), 1u);
    EXPECT_EQ(state.nextGeneration, 4);
    state.forget(a);
    EXPECT_TRUE(state.isEmpty());
}

TEST(SyncOutboxState, RoundTripsAsJsonWithItsKeysInOrder) {
    SyncOutboxState state;
    state.queueChange(a);
    state.queueDeletion(b);
    const auto text = encodeSyncOutboxState(state);
    EXPECT_LT(text.find("\"changes\""), text.find("\"deletions\""));
    EXPECT_LT(text.find("\"deletions\""), text.find("\"nextGeneration\""));
    EXPECT_EQ(decodeSyncOutboxState(text), state);
}

TEST(SyncOutboxState, ANextGenerationBehindItsEntriesIsMovedPastThem) {
    const auto state = decodeSyncOutboxState(
        R"({"changes":[{"generation":9,"recordName":"A","recordType":"Snippet"}],"deletions":[],"nextGeneration":2})");
    EXPECT_EQ(state.nextGeneration, 10);
}

TEST(SyncOutboxState, RejectsDocumentsItCannotTrust) {
    for (
        const char* text :
        {"", "[]", R"({"changes":[]})", R"({"changes":{},"nextGeneration":1})",
         R"({"changes":[{"recordName":"A"}],"nextGeneration":1})",
         R"({"changes":[{"generation":1,"recordName":"","recordType":"S"}],"nextGeneration":1})"}) {
        EXPECT_THROW(decodeSyncOutboxState(text), JsonError) << text;
    }
}

class SyncOutboxJournalTest : public ::testing::Test {
  protected:
    test::TemporaryDirectory folder;
    UserDefaults defaults{folder / "defaults.json"};
    SyncOutboxJournal journal{folder / "icloud-sync-outbox.json", defaults};
};

TEST_F(SyncOutboxJournalTest, SavesAndLoads) {
    EXPECT_TRUE(journal.load().state.isEmpty());
    SyncOutboxState state;
    state.queueChange(a);
    EXPECT_EQ(journal.save(state), std::nullopt);
    const auto loaded = journal.load();
    EXPECT_EQ(loaded.state, state);
    EXPECT_FALSE(loaded.requiresFullReconciliation);
}

TEST_F(SyncOutboxJournalTest, ACorruptJournalIsPreservedAndEverythingReconciled) {
    writeFileAtomically(journal.url(), "{\"changes\": [tru");
    const auto loaded = journal.load();
    EXPECT_TRUE(loaded.requiresFullReconciliation);
    EXPECT_TRUE(loaded.state.isEmpty());
    ASSERT_TRUE(loaded.message);
    EXPECT_TRUE(
        loaded.message->starts_with("The iCloud change journal was corrupt and was "
                                    "preserved at " +
                                    folder.path().string() + "/icloud-sync-outbox-corrupt-"));
    EXPECT_TRUE(loaded.message->ends_with(".json. Wordloom will rebuild pending uploads."));
    int preserved = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        if (entry.path().filename().string().starts_with("icloud-sync-outbox-corrupt-")) {
            EXPECT_EQ(readFile(entry.path()), "{\"changes\": [tru");
            ++preserved;
        }
    }
    EXPECT_EQ(preserved, 1);
    EXPECT_FALSE(std::filesystem::exists(journal.url()));
}

TEST_F(SyncOutboxJournalTest, AnUnwritableJournalFallsBackToTheDefaultsAndIsPreferredOnLoad) {
    // A folder where the journal should be: the rename over it fails.
    std::filesystem::create_directories(journal.url() / "blocker");
    SyncOutboxState state;
    state.queueChange(a);
    const auto error = journal.save(state);
    ASSERT_TRUE(error);
    EXPECT_TRUE(
        error->starts_with("iCloud changes are queued in the recovery journal because the "
                           "primary journal could not be saved: "));
    EXPECT_TRUE(defaults.boolForKey(SyncOutboxJournal::fallbackPreferredKey));

    UserDefaults reread(folder / "defaults.json");
    SyncOutboxJournal later(journal.url(), reread);
    EXPECT_EQ(later.load().state, state);

    std::filesystem::remove_all(journal.url());
    state.queueDeletion(b);
    EXPECT_EQ(later.save(state), std::nullopt);
    EXPECT_FALSE(reread.boolForKey(SyncOutboxJournal::fallbackPreferredKey));
    EXPECT_EQ(reread.jsonForKey(SyncOutboxJournal::fallbackKey), std::nullopt);
    EXPECT_EQ(later.load().state, state);
}

}  // namespace
}  // namespace wordloom
