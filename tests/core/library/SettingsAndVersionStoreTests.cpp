#include <gtest/gtest.h>

#include "LibraryTestSupport.h"
#include "StoreFixture.h"
#include "core/base/FileIO.h"
#include "support/RecordingLogSink.h"

namespace wordloom::test {
namespace {

namespace fs = std::filesystem;

class SettingsStoreTest : public StoreFixture {};

TEST_F(SettingsStoreTest, NoFileMeansDefaultsAndNothingWrittenUntilAChange) {
    hydrate();
    EXPECT_EQ(settings->settings(), AppSettings{});
    EXPECT_FALSE(fs::exists(persistence->path(LibraryFile::settings)));
    settings->update([](AppSettings& s) { s.showInDock = true; });
    settle();
    EXPECT_TRUE(persistence->loadSettings()->showInDock);
}

TEST_F(SettingsStoreTest, AFileWithOneFieldKeepsTheOtherDefaults) {
    writeFileAtomically(persistence->path(LibraryFile::settings),
                        R"({"showInDock": true, "expansionSound": "loud"})");
    hydrate();
    AppSettings expected;
    expected.showInDock = true;
    EXPECT_EQ(settings->settings(), expected);
}

TEST_F(SettingsStoreTest, AChangeWhileLoadingWinsAndTheFileIsRewritten) {
    AppSettings onDisk;
    onDisk.ollamaModel = "mistral";
    persistence->saveSettings(onDisk, persistence->beginSave());
    settings->startHydration();
    settings->update([](AppSettings& s) { s.smartCaseEnabled = true; });
    executor.runUntilIdle();
    EXPECT_TRUE(settings->isHydrated());
    EXPECT_TRUE(settings->settings().smartCaseEnabled);
    EXPECT_EQ(settings->settings().ollamaModel, "mistral");
    const auto written = persistence->loadSettings();
    EXPECT_TRUE(written->smartCaseEnabled);
    EXPECT_EQ(written->ollamaModel, "mistral");
}

TEST_F(SettingsStoreTest, AnUnreadableFileKeepsWhatIsInMemoryAndReportsIt) {
    writeFileAtomically(persistence->path(LibraryFile::settings), "not json");
    settings->startHydration();
    settings->update([](AppSettings& s) { s.launchAtLogin = true; });
    executor.runUntilIdle();
    EXPECT_TRUE(settings->isHydrated());
    EXPECT_TRUE(settings->lastError().has_value());
    EXPECT_TRUE(settings->settings().launchAtLogin);
}

TEST_F(SettingsStoreTest, AFailedSaveIsReportedAndTheSettingsStay) {
    hydrate();
    RecordingLogSink log;
    fs::create_directories(persistence->path(LibraryFile::settings));  // a folder in the way
    settings->update([](AppSettings& s) { s.showInDock = true; });
    settle();
    EXPECT_TRUE(settings->lastError().has_value());
    EXPECT_TRUE(settings->settings().showInDock);
    EXPECT_TRUE(log.contains("SettingsStore", "Failed to save settings: "));
}

class VersionStoreTest : public StoreFixture {
  protected:
    SnippetVersion versionOf(const Snippet& s, std::string content) {
        auto copy = s;
        copy.content = std::move(content);
        return SnippetVersion::capture(copy, executor.now(), std::nullopt);
    }
};

TEST_F(VersionStoreTest, TheFiftyFirstVersionEvictsTheOldest) {
    hydrate();
    const auto s = makeSnippet(";a");
    for (int i = 1; i <= 51; ++i) {
        versions->saveVersion(versionOf(s, "v" + std::to_string(i)));
    }
    const auto list = versions->versions(s.id);
    ASSERT_EQ(list.size(), 50u);
    EXPECT_EQ(list.front().content, "v51");
    EXPECT_EQ(list.back().content, "v2");
    settle();
    launch();
    hydrate();
    EXPECT_EQ(versions->versions(s.id), list);
}

TEST_F(VersionStoreTest, OperationsMadeWhileLoadingAreReplayedOnTheLoadedHistory) {
    const auto s = makeSnippet(";a");
    const auto other = makeSnippet(";b");
    const auto kept = versionOf(s, "on disk");
    const auto dropped = versionOf(other, "dropped");
    persistence->saveSnippetVersions({kept, dropped}, persistence->beginSave());

    versions->startHydration();
    versions->saveVersion(versionOf(s, "early"));
    versions->deleteAllVersions(other.id);
    executor.runUntilIdle();
    const auto list = versions->versions(s.id);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].content, "early");
    EXPECT_EQ(list[1].content, "on disk");
    EXPECT_TRUE(versions->versions(other.id).empty());
    settle();
    EXPECT_EQ(persistence->loadSnippetVersions().size(), 2u);
}

TEST_F(VersionStoreTest, AnUnreadableHistoryStartsEmptyAndIsLogged) {
    RecordingLogSink log;
    writeFileAtomically(persistence->path(LibraryFile::versions), "{");
    hydrate();
    EXPECT_TRUE(versions->isHydrated());
    EXPECT_TRUE(log.contains("SnippetVersionStore", "Failed to load snippet versions: "));
}

TEST(SnippetImageStore, ListsOnlyBinFilesNamedByAUuid) {
    TemporaryDirectory folder;
    SnippetImageStore images(folder / "snippet-images");
    EXPECT_TRUE(images.storedIds().empty());  // no folder yet
    const auto id = Uuid::random();
    images.write(id, Bytes{1, 2});
    writeFileAtomically(folder / "snippet-images" / "notes.txt", "x");
    writeFileAtomically(folder / "snippet-images" / "not-a-uuid.bin", "x");
    writeFileAtomically(folder / "snippet-images" / (Uuid::random().toString() + ".txt"), "x");
    EXPECT_EQ(images.storedIds(), std::vector<Uuid>{id});
    EXPECT_EQ(images.imageURL(id).filename(), id.toString() + ".bin");
    EXPECT_EQ(images.read(id), (Bytes{1, 2}));
    images.remove(id);
    EXPECT_NO_THROW(images.remove(id));
    EXPECT_THROW(images.read(id), FileError);
}

TEST(UserDefaults, KeepsFlagsAndUnknownKeysAcrossRuns) {
    TemporaryDirectory folder;
    const auto file = folder / "config" / "defaults.json";
    fs::create_directories(file.parent_path());
    writeFileAtomically(file, R"({"otherTool": {"a": [1, 2]}})");
    {
        UserDefaults defaults(file);
        EXPECT_FALSE(defaults.boolForKey("dateTimeGroupCreated"));
        EXPECT_TRUE(defaults.setBool("dateTimeGroupCreated", true));
    }
    UserDefaults again(file);
    EXPECT_TRUE(again.boolForKey("dateTimeGroupCreated"));
    EXPECT_NE(readFile(file).find("\"otherTool\" : {\"a\":[1,2]}"), std::string::npos);

    writeFileAtomically(file, "garbage");
    UserDefaults broken(file);
    EXPECT_FALSE(broken.boolForKey("dateTimeGroupCreated"));
}

}  // namespace
}  // namespace wordloom::test
