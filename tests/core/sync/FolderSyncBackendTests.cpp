#include <gtest/gtest.h>

#include "core/base/FileIO.h"
#include "core/sync/FolderSyncBackend.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

const std::string deviceA = "AAAAAAAA-0000-4000-8000-000000000001";
const std::string deviceB = "BBBBBBBB-0000-4000-8000-000000000002";

SyncRecord record(const std::string& name, const std::string& content,
                  std::optional<std::string> tag = std::nullopt) {
    SyncRecord r{"Snippet", name, std::move(tag), {}};
    r.set("content", {content});
    return r;
}

class FolderSyncBackendTest : public ::testing::Test {
  protected:
    test::TemporaryDirectory folder;
    FolderSyncBackend a{folder.path(), deviceA};
    FolderSyncBackend b{folder.path(), deviceB};

    void SetUp() override {
        a.ensureZone();
        b.ensureZone();
    }
};

TEST_F(FolderSyncBackendTest, AnotherDeviceSeesChangesOnceAndDeletions) {
    const auto saved = a.modify({record("N1", "one"), record("N2", "two")}, {});
    ASSERT_EQ(saved.size(), 2u);
    EXPECT_EQ(saved[0].status, SyncWriteResult::Status::saved);
    ASSERT_TRUE(saved[0].serverRecord && saved[0].serverRecord->changeTag);

    auto first = b.fetchChanges(std::nullopt);
    EXPECT_EQ(first.changedRecords.size(), 2u);
    ASSERT_TRUE(first.token);
    EXPECT_EQ(first.changedRecords[0].changeTag, saved[0].serverRecord->changeTag);
    EXPECT_TRUE(b.fetchChanges(first.token).changedRecords.empty());

    a.modify({}, {{"Snippet", "N1"}});
    const auto second = b.fetchChanges(first.token);
    EXPECT_TRUE(second.changedRecords.empty());
    ASSERT_EQ(second.deletedRecordIDs.size(), 1u);
    EXPECT_EQ(second.deletedRecordIDs[0].recordName, "N1");
    EXPECT_EQ(b.lookup({"Snippet", "N1"}), std::nullopt);
    EXPECT_EQ(*b.lookup({"Snippet", "N2"})->field("content")->asString(), "two");
}

TEST_F(FolderSyncBackendTest, AWriteBasedOnAnOldTagConflictsAndGetsTheServerCopy) {
    const auto tag = a.modify({record("N", "v1")}, {})[0].serverRecord->changeTag;
    ASSERT_EQ(b.modify({record("N", "v2 from b", tag)}, {})[0].status,
              SyncWriteResult::Status::saved);
    const auto stale = a.modify({record("N", "v2 from a", tag)}, {});
    EXPECT_EQ(stale[0].status, SyncWriteResult::Status::conflict);
    ASSERT_TRUE(stale[0].serverRecord);
    EXPECT_EQ(*stale[0].serverRecord->field("content")->asString(), "v2 from b");
    // A new record with no tag where one exists conflicts too.
    EXPECT_EQ(a.modify({record("N", "fresh")}, {})[0].status, SyncWriteResult::Status::conflict);
}

TEST_F(FolderSyncBackendTest, AWriteOverADeletionConflictsWithoutAServerCopy) {
    const auto tag = a.modify({record("N", "v1")}, {})[0].serverRecord->changeTag;
    b.modify({}, {{"Snippet", "N"}});
    const auto result = a.modify({record("N", "edited", tag)}, {});
    EXPECT_EQ(result[0].status, SyncWriteResult::Status::conflict);
    EXPECT_EQ(result[0].serverRecord, std::nullopt);
    // Created anew (no tag), it is simply saved.
    EXPECT_EQ(a.modify({record("N", "again")}, {})[0].status, SyncWriteResult::Status::saved);
}

TEST_F(FolderSyncBackendTest, ABatchNotYetCopiedWholeIsReadLater) {
    a.modify({record("N1", "one")}, {});
    const auto device = folder / "wordloom-sync" / deviceA;
    writeFileAtomically(device / "000000000002.json", "{\"versions\": [");  // half copied
    writeFileAtomically(device / "000000000003.json", "{\"versions\": []}");
    writeFileAtomically(device / "000000000001 (conflicted copy).json", "garbage");
    std::filesystem::create_directories(folder / "wordloom-sync" / ".stfolder");

    const auto first = b.fetchChanges(std::nullopt);
    EXPECT_EQ(first.changedRecords.size(), 1u);
    EXPECT_EQ(*first.token, "{\"" + deviceA + "\":1}");

    // The tool finishes the copy: the rest is read from there.
    JsonWriter w(false);
    w.beginObject();
    w.key("versions");
    w.beginArray();
    w.beginObject();
    w.field("deleted", false);
    w.field("lamport", std::int64_t{5});
    w.key("record");
    encodeSyncRecord(w, record("N2", "two"));
    w.endObject();
    w.endArray();
    w.endObject();
    writeFileAtomically(device / "000000000002.json", w.take());
    const auto second = b.fetchChanges(first.token);
    ASSERT_EQ(second.changedRecords.size(), 1u);
    EXPECT_EQ(second.changedRecords[0].recordName, "N2");
    EXPECT_EQ(*second.token, "{\"" + deviceA + "\":3}");
}

TEST_F(FolderSyncBackendTest, ConcurrentWritesSettleOnTheSameCopyEverywhere) {
    // Neither device has seen the other's write: both succeed, and every reader then agrees on
    // the one with the higher clock (ties go to the higher device name).
    a.modify({record("N", "from a")}, {});
    FolderSyncBackend isolated{folder.path(), deviceB};
    // b wrote at the same clock value without reading a's batch: simulate by writing directly.
    JsonWriter w(false);
    w.beginObject();
    w.key("versions");
    w.beginArray();
    w.beginObject();
    w.field("deleted", false);
    w.field("lamport", std::int64_t{1});
    w.key("record");
    encodeSyncRecord(w, record("N", "from b"));
    w.endObject();
    w.endArray();
    w.endObject();
    writeFileAtomically(folder / "wordloom-sync" / deviceB / "000000000001.json", w.take());
    EXPECT_EQ(*a.lookup({"Snippet", "N"})->field("content")->asString(), "from b");
    EXPECT_EQ(*isolated.lookup({"Snippet", "N"})->field("content")->asString(), "from b");
}

TEST_F(FolderSyncBackendTest, AMissingFolderIsAClearError) {
    FolderSyncBackend missing{folder / "nowhere", deviceA};
    try {
        missing.ensureZone();
        FAIL();
    } catch (const SyncBackendError& error) {
        EXPECT_NE(std::string(error.what()).find("does not exist"), std::string::npos);
    }
}

}  // namespace
}  // namespace wordloom
