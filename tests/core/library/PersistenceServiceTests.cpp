#include <gtest/gtest.h>

#include <stdexcept>

#include "LibraryTestSupport.h"
#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/base/ManualExecutor.h"
#include "core/library/LibraryCoding.h"
#include "core/library/PersistenceService.h"
#include "support/RecordingLogSink.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

namespace fs = std::filesystem;

class PersistenceServiceTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    ManualExecutor clock;
    PersistenceService persistence{folder / "Wordloom", clock};

    void writeFile(std::string_view name, std::string_view text) {
        writeFileAtomically(persistence.dataFolder() / name, text);
    }
    std::string readBack(std::string_view name) {
        return readFile(persistence.dataFolder() / name);
    }
};

TEST_F(PersistenceServiceTest, CreatesTheDataFolderAndTreatsMissingFilesAsEmpty) {
    EXPECT_TRUE(fs::is_directory(folder / "Wordloom"));
    EXPECT_TRUE(persistence.loadSnippets().empty());
    EXPECT_TRUE(persistence.loadGroups().empty());
    EXPECT_FALSE(persistence.loadSettings().has_value());
    EXPECT_TRUE(persistence.loadSnippetVersions().empty());
}

TEST_F(PersistenceServiceTest, SkipsMalformedSnippetsAndLogsThem) {
    RecordingLogSink log;
    writeFile("snippets.json",
              R"([{"id":"6F1C2B1E-1234-4C3D-9E8F-0123456789AB","abbreviation":";ok"},
                  {"abbreviation":";noid"},
                  42])");
    const auto snippets = persistence.loadSnippets();
    ASSERT_EQ(snippets.size(), 1u);
    EXPECT_EQ(snippets[0].abbreviation, ";ok");
    EXPECT_TRUE(
        log.contains("PersistenceService.load", "Skipping malformed snippet during load: "));
    EXPECT_TRUE(
        log.contains("PersistenceService.load", "Dropped 2 malformed snippet(s) during load."));
}

TEST_F(PersistenceServiceTest, AFileThatIsNotAListOrNotJsonFailsToLoad) {
    writeFile("snippets.json", "{}");
    EXPECT_THROW(persistence.loadSnippets(), JsonError);
    writeFile("snippets.json", "[{\"id\": ");
    EXPECT_THROW(persistence.loadSnippets(), JsonError);
    writeFile("groups.json", R"([{"name":"no id"}])");
    EXPECT_THROW(persistence.loadGroups(), JsonError);
    writeFile("settings.json", "[]");
    EXPECT_THROW(persistence.loadSettings(), JsonError);
}

TEST_F(PersistenceServiceTest, AStaleOrPreRestoreSnapshotIsNotWritten) {
    const auto older = persistence.beginSave();
    const auto newer = persistence.beginSave();
    EXPECT_TRUE(persistence.saveSnippets({makeSnippet(";new")}, newer));
    EXPECT_FALSE(persistence.saveSnippets({makeSnippet(";old")}, older));
    EXPECT_EQ(persistence.loadSnippets().at(0).abbreviation, ";new");
    EXPECT_EQ(persistence.lastWrittenSequence(LibraryFile::snippets), newer.sequence);
    // Another file keeps its own line: an older ticket still writes there.
    EXPECT_TRUE(persistence.saveGroups({makeGroup("G")}, older));

    const auto beforeRestore = persistence.beginSave();
    persistence.restoreFromBackup(ExportData{});
    EXPECT_EQ(persistence.writeEpoch(), 1u);
    EXPECT_FALSE(persistence.saveSnippets({makeSnippet(";late")}, beforeRestore));
    EXPECT_TRUE(persistence.loadSnippets().empty());
}

TEST_F(PersistenceServiceTest, RestoreReplacesLibraryAndMovesImagesIntoSideFiles) {
    persistence.saveSnippets({makeSnippet(";old")}, persistence.beginSave());
    ExportData backup;
    auto picture = makeSnippet(";pic", "Picture");
    picture.contentType = ContentType::image;
    picture.imageData = Bytes{1, 2, 3};
    backup.snippets = {makeSnippet(";a"), picture};
    backup.groups = {makeGroup("Work")};
    backup.settings.showInDock = true;

    const auto restored = persistence.restoreFromBackup(backup);
    EXPECT_EQ(restored.snippets.size(), 2u);
    EXPECT_FALSE(restored.snippets[1].imageData);
    EXPECT_EQ(restored.snippets[1].imageFileName, picture.id.toString() + ".bin");
    EXPECT_EQ(readFile(persistence.imagesFolder() / (picture.id.toString() + ".bin")),
              std::string("\x01\x02\x03", 3));
    // A restore makes the image folder; it is as private as the rest.
    EXPECT_EQ(fs::status(persistence.imagesFolder()).permissions(), fs::perms::owner_all);
    EXPECT_EQ(persistence.loadSnippets(), restored.snippets);
    EXPECT_EQ(persistence.loadGroups().at(0).name, "Work");
    EXPECT_TRUE(persistence.loadSettings()->showInDock);
    EXPECT_FALSE(persistence.restoreInProgress());
    for (const auto& entry : fs::directory_iterator(persistence.dataFolder())) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".backup"));
    }
}

TEST_F(PersistenceServiceTest, ABackupWithoutImageBytesChangesNothing) {
    writeFile("snippets.json", "[]\n");
    ExportData backup;
    auto picture = makeSnippet(";pic", "Holiday");
    picture.contentType = ContentType::image;
    backup.snippets = {picture};
    try {
        persistence.restoreFromBackup(backup);
        FAIL() << "expected a BackupError";
    } catch (const BackupError& error) {
        EXPECT_STREQ(error.what(),
                     "Backup could not read image data for snippet Holiday. The existing library "
                     "was not changed.");
    }
    EXPECT_EQ(readBack("snippets.json"), "[]\n");
    EXPECT_FALSE(fs::exists(persistence.path(LibraryFile::groups)));
    EXPECT_FALSE(persistence.restoreInProgress());
}

TEST_F(PersistenceServiceTest, AFailedSecondInstallLeavesAllThreeFilesAsTheyWere) {
    writeFile("snippets.json", "old snippets");
    writeFile("groups.json", "old groups");
    writeFile("settings.json", "old settings");
    int installs = 0;
    persistence.setFileInstaller([&](const fs::path& destination, std::string_view data) {
        if (++installs == 2) {
            throw FileError("disk full");
        }
        writeFileAtomically(destination, data);
    });
    ExportData backup;
    backup.snippets = {makeSnippet(";new")};
    EXPECT_THROW(persistence.restoreFromBackup(backup), FileError);
    EXPECT_EQ(readBack("snippets.json"), "old snippets");
    EXPECT_EQ(readBack("groups.json"), "old groups");
    EXPECT_EQ(readBack("settings.json"), "old settings");
    for (const auto& entry : fs::directory_iterator(persistence.dataFolder())) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".backup-restore-"));
    }
}

TEST_F(PersistenceServiceTest, AnIncompleteRollbackIsReportedAsSuch) {
    writeFile("snippets.json", "old snippets");
    int installs = 0;
    persistence.setFileInstaller([&](const fs::path& destination, std::string_view data) {
        writeFileAtomically(destination, data);
        if (++installs == 2) {
            // The first file's original can't go back: its staged copy is gone.
            for (const auto& entry : fs::directory_iterator(persistence.dataFolder())) {
                if (entry.path().filename().string().starts_with(".backup-restore-")) {
                    fs::remove_all(entry.path());
                }
            }
            throw FileError("disk full");
        }
    });
    try {
        persistence.restoreFromBackup(ExportData{});
        FAIL() << "expected a BackupRestoreError";
    } catch (const BackupRestoreError& error) {
        EXPECT_EQ(error.domain(), "Wordloom.PersistenceService.BackupRestore");
        EXPECT_TRUE(std::string(error.what())
                        .starts_with("Backup restore failed and rollback was incomplete: "));
    }
}

TEST_F(PersistenceServiceTest, CleanUpRollsBackAnInterruptedRestoreAndRemovesTemporaries) {
    writeFile("snippets.json", "half-restored");
    const auto staging =
        persistence.dataFolder() / ".backup-restore-0D1F5C44-0000-4000-8000-000000000000";
    fs::create_directories(staging);
    writeFileAtomically(staging / "snippets.json", "original");
    const auto leftover = persistence.dataFolder() / ".groups.json.1234.wordloom-tmp";
    writeFileAtomically(leftover, "partial");
    const auto finished = persistence.dataFolder() / ".backup-finished-0D1F5C44";
    fs::create_directories(finished);

    EXPECT_EQ(persistence.cleanUpInterruptedWork(std::chrono::seconds(0)), 3u);
    EXPECT_EQ(readBack("snippets.json"), "original");
    EXPECT_FALSE(fs::exists(staging));
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_FALSE(fs::exists(finished));
}

TEST_F(PersistenceServiceTest, CleanUpLeavesFreshTemporariesOfAnotherWriterAlone) {
    const auto fresh = persistence.dataFolder() / ".snippets.json.99.wordloom-tmp";
    writeFileAtomically(fresh, "being written");
    EXPECT_EQ(persistence.cleanUpInterruptedWork(std::chrono::seconds(60)), 0u);
    EXPECT_TRUE(fs::exists(fresh));
}

TEST_F(PersistenceServiceTest, ExportDataRoundTripsAndEmbedsImages) {
    auto picture = makeSnippet(";pic", "Picture");
    picture.contentType = ContentType::image;
    picture.imageFileName = picture.id.toString() + ".bin";
    const auto data = persistence.exportData({picture}, {makeGroup("G")}, AppSettings{},
                                             [](const Snippet&) -> std::optional<Bytes> {
                                                 return Bytes{9, 8};
                                             });
    EXPECT_EQ(data.snippets.at(0).imageData, (Bytes{9, 8}));
    EXPECT_EQ(data.exportedAt, clock.now());
    EXPECT_EQ(decodeExportData(encodeExportData(data), clock.now()), data);

    EXPECT_THROW(persistence.exportData(
                     {picture}, {}, AppSettings{},
                     [](const Snippet&) -> std::optional<Bytes> { throw FileError("gone"); }),
                 BackupError);
}

TEST(ExportDataCoding, RejectsDocumentsThatAreNotBackups) {
    EXPECT_THROW(decodeExportData("[]", {}), JsonError);
    EXPECT_THROW(decodeExportData("{\"groups\": []}", {}), JsonError);
    EXPECT_THROW(decodeExportData("not json", {}), JsonError);
    const auto minimal = decodeExportData(R"({"snippets": [{"abbreviation": "no id"}]})", {});
    EXPECT_TRUE(minimal.snippets.empty());
    EXPECT_EQ(minimal.settings, AppSettings{});
}

TEST_F(PersistenceServiceTest, OpeningTheLibraryMakesAnOlderLooseDataFolderPrivate) {
    const auto data = folder / "Older";
    fs::create_directories(data / "snippet-images");
    writeFileAtomically(data / "snippets.json", "[]");
    writeFileAtomically(data / "snippet-images" / "A.bin", "png");
    // The folder given may hold files that are not ours: they are left as they are.
    writeFileAtomically(data / "notes.txt", "mine");
    const auto readable = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                          fs::perms::others_read;
    fs::permissions(data / "snippets.json", readable);
    fs::permissions(data / "snippet-images" / "A.bin", readable);
    fs::permissions(data / "notes.txt", readable);
    fs::permissions(data, fs::perms::all);

    PersistenceService reopened(data, clock);
    const auto mode = [](const fs::path& path) { return fs::status(path).permissions(); };
    EXPECT_EQ(mode(data), fs::perms::owner_all);
    EXPECT_EQ(mode(data / "snippets.json"), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(mode(data / "snippet-images" / "A.bin"),
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(mode(data / "notes.txt"), readable);
}

TEST_F(PersistenceServiceTest, ALibraryFileOverItsLimitIsRefusedAndNamed) {
    // Sparse: the size is there, the disk space and the reading are not.
    writeFile(PersistenceService::snippetsFileName, "");
    fs::resize_file(persistence.path(LibraryFile::snippets), fileSizeLimit::libraryFile + 1);
    try {
        persistence.loadSnippets();
        FAIL() << "expected FileError";
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("snippets.json"), std::string::npos);
        EXPECT_NE(std::string(error.what()).find("limit of 512 MB"), std::string::npos)
            << error.what();
    }
}

}  // namespace
}  // namespace wordloom::test
