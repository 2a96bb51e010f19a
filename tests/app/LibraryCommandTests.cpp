#include <gtest/gtest.h>

#include <fstream>

#include "CliRunner.h"
#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

namespace fs = std::filesystem;

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

class LibraryCommandTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    CliRunner cli{folder.path()};

    std::string add(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "add");
        const auto result = cli.run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return firstLine(result.out);
    }
};

TEST_F(LibraryCommandTest, FirstRunSeedsOneDateGroupAndNeverAfterItWasRemoved) {
    ASSERT_EQ(cli.run({"list"}).status, 0);
    ASSERT_EQ(cli.run({"list"}).status, 0);
    const auto groups = cli.run({"group", "list"});
    EXPECT_EQ(groups.out, "Date & Time  (12 snippets)\n");

    ASSERT_EQ(cli.run({"group", "remove", "Date & Time"}).status, 0);
    EXPECT_EQ(cli.run({"group", "list"}).out, "No groups.\n");
}

TEST_F(LibraryCommandTest, AddPrintsTheIdAndShowFindsItByIdOrAbbreviation) {
    const auto id =
        add({"--abbreviation", ";sig", "--label", "Signature", "--content", "Best,\nAnn", "--tag",
             "mail", "--tag", "work", "--trigger", "immediate", "--case", "sensitive"});
    EXPECT_TRUE(Uuid::parse(id));
    const auto byAbbreviation = cli.run({"show", ";sig", "--json"});
    ASSERT_EQ(byAbbreviation.status, 0);
    JsonDocument document(byAbbreviation.out);
    const auto object = *json::asObject(document.root());
    EXPECT_EQ(json::asString(*json::member(object, "id")), id);
    EXPECT_EQ(json::asString(*json::member(object, "content")), "Best,\nAnn");
    EXPECT_EQ(json::asString(*json::member(object, "triggerMode")), "immediate");
    EXPECT_EQ(json::asString(*json::member(object, "caseSensitivity")), "sensitive");
    EXPECT_EQ(cli.run({"show", id}).status, 0);
}

TEST_F(LibraryCommandTest, AddRefusesBadInputWithClearMessages) {
    const auto invalid = cli.run({"add", "--abbreviation", "a\tb"});
    EXPECT_EQ(invalid.status, 1);
    EXPECT_EQ(invalid.err,
              "wordloom add: Snippet abbreviation cannot be empty, whitespace-only, or contain "
              "control characters (got \"a\\tb\").\n");

    EXPECT_EQ(cli.run({"add"}).status, 2);
    EXPECT_EQ(
        cli.run({"add", "--abbreviation", "x", "--content", "a", "--content-file", "f"}).status, 2);
    const auto badEnum = cli.run({"add", "--abbreviation", "x", "--trigger", "soon"});
    EXPECT_EQ(badEnum.status, 2);
    EXPECT_NE(badEnum.err.find("Allowed: immediate, delimiter, manual."), std::string::npos);
    EXPECT_EQ(cli.run({"add", "--abbreviation", "x", "--content-file", "/no/such/file"}).status, 1);
    EXPECT_EQ(cli.run({"add", "--abbreviation", "([", "--match", "regex"}).status, 1);
}

TEST_F(LibraryCommandTest, OversizedInputFilesAreRefusedBeforeTheyAreRead) {
    // Sparse files: their size is real, their bytes are never written or read.
    auto sparse = [&](const std::string& name, std::uintmax_t size) {
        const auto path = folder / name;
        writeFileAtomically(path, "");
        std::filesystem::resize_file(path, size);
        return path.string();
    };
    const auto content = sparse("content.txt", fileSizeLimit::snippetPart + 1);
    const auto tooLong = cli.run({"add", "--abbreviation", ";toolarge", "--content-file", content});
    EXPECT_EQ(tooLong.status, 1);
    EXPECT_NE(tooLong.err.find("\u201ccontent.txt\u201d: it is 64.0 MB, over the limit of 64 MB"),
              std::string::npos)
        << tooLong.err;
    const auto image = sparse("picture.png", fileSizeLimit::snippetPart + 1);
    EXPECT_EQ(cli.run({"add", "--abbreviation", "y", "--image", image}).status, 1);
    const auto backup = sparse("backup.json", fileSizeLimit::document + 1);
    const auto restore = cli.run({"restore-backup", backup});
    EXPECT_EQ(restore.status, 1);
    EXPECT_NE(restore.err.find("backup.json"), std::string::npos) << restore.err;
    EXPECT_EQ(cli.run({"list"}).out.find(";toolarge"), std::string::npos);
}

TEST_F(LibraryCommandTest, ConflictsFailUnlessForcedAndCaseOnlyClashesWarn) {
    add({"--abbreviation", ";sig", "--label", "Signature"});
    const auto exact = cli.run({"add", "--abbreviation", ";sig"});
    EXPECT_EQ(exact.status, 1);
    EXPECT_NE(exact.err.find("This abbreviation is already used by: Signature"), std::string::npos);

    const auto similar = cli.run({"add", "--abbreviation", ";SIG"});
    EXPECT_EQ(similar.status, 0);
    EXPECT_NE(similar.err.find("warning: Similar abbreviation exists: Signature (;sig)"),
              std::string::npos);

    EXPECT_EQ(cli.run({"add", "--abbreviation", ";sig", "--force"}).status, 0);
    const auto ambiguous = cli.run({"show", ";sig"});
    EXPECT_EQ(ambiguous.status, 1);
    EXPECT_NE(ambiguous.err.find("matches 2 snippets"), std::string::npos);
}

TEST_F(LibraryCommandTest, EditKeepsAVersionThatCanBeRestored) {
    add({"--abbreviation", ";addr", "--content", "Old Street 1"});
    ASSERT_EQ(cli.run({"edit", ";addr", "--content", "New Road 2"}).status, 0);
    const auto versions = cli.run({"versions", ";addr", "--json"});
    JsonDocument document(versions.out);
    const auto list = *json::asArray(document.root());
    ASSERT_EQ(list.size(), 1u);
    const auto first = *json::asObject(list.at(0));
    EXPECT_EQ(json::asString(*json::member(first, "content")), "Old Street 1");
    const auto versionId = std::string(*json::asString(*json::member(first, "id")));

    ASSERT_EQ(cli.run({"versions", "restore", versionId}).status, 0);
    EXPECT_NE(cli.run({"show", ";addr"}).out.find("Old Street 1"), std::string::npos);
    EXPECT_EQ(cli.run({"versions", "restore", "not-an-id"}).status, 2);
}

TEST_F(LibraryCommandTest, RemoveUndeleteAndEmptyTrash) {
    add({"--abbreviation", ";gone"});
    ASSERT_EQ(cli.run({"remove", ";gone"}).status, 0);
    EXPECT_EQ(cli.run({"show", ";gone"}).status, 0);  // still there, in Recently Deleted
    EXPECT_NE(cli.run({"list", "--deleted"}).out.find(";gone"), std::string::npos);
    EXPECT_EQ(cli.run({"list"}).out.find(";gone"), std::string::npos);
    ASSERT_EQ(cli.run({"undelete", ";gone"}).status, 0);
    EXPECT_EQ(cli.run({"undelete", ";gone"}).status, 1);
    ASSERT_EQ(cli.run({"remove", ";gone"}).status, 0);
    const auto emptied = cli.run({"empty-trash"});
    EXPECT_EQ(emptied.out, "Permanently removed 1 snippet from Recently Deleted.\n");
    EXPECT_EQ(cli.run({"show", ";gone"}).status, 1);
}

TEST_F(LibraryCommandTest, DuplicateAndImagesGetTheirOwnSideFiles) {
    const auto picture = folder / "pic.png";
    writeFileAtomically(picture, std::string("\x89PNG\x00\x01", 6));
    const auto id = add({"--abbreviation", ";pic", "--label", "Logo", "--image", picture.string()});
    const auto copyId = firstLine(cli.run({"duplicate", id}).out);
    EXPECT_NE(cli.run({"show", copyId}).out.find("Logo Copy"), std::string::npos);
    const auto images = folder / "snippet-images";
    EXPECT_EQ(readFile(images / (id + ".bin")), std::string("\x89PNG\x00\x01", 6));
    EXPECT_EQ(readFile(images / (copyId + ".bin")), std::string("\x89PNG\x00\x01", 6));
    ASSERT_EQ(cli.run({"remove", copyId, "--permanent"}).status, 0);
    EXPECT_FALSE(fs::exists(images / (copyId + ".bin")));
}

TEST_F(LibraryCommandTest, GroupsNestAndFilterTheList) {
    ASSERT_EQ(cli.run({"group", "add", "Work"}).status, 0);
    ASSERT_EQ(cli.run({"group", "add", "Mail", "--parent", "Work"}).status, 0);
    EXPECT_EQ(cli.run({"group", "add", "Mail", "--parent", "Work"}).status, 1);
    add({"--abbreviation", ";re", "--group", "Mail"});
    EXPECT_NE(cli.run({"list", "--group", "Mail"}).out.find("(Work / Mail)"), std::string::npos);
    ASSERT_EQ(cli.run({"group", "disable", "Mail"}).status, 0);
    EXPECT_NE(cli.run({"group", "list"}).out.find("  Mail  (1 snippet) [disabled]"),
              std::string::npos);
    ASSERT_EQ(cli.run({"group", "rename", "Mail", "Post"}).status, 0);
    EXPECT_EQ(cli.run({"group", "frobnicate", "Post"}).status, 2);
    EXPECT_EQ(cli.run({"group", "remove"}).status, 2);
}

TEST_F(LibraryCommandTest, BackupAndRestoreRoundTripTheLibraryAndSettings) {
    add({"--abbreviation", ";keep"});
    ASSERT_EQ(cli.run({"settings", "set", "showInDock", "true"}).status, 0);
    const auto backup = folder / "backup.json";
    ASSERT_EQ(cli.run({"backup", "-o", backup.string()}).status, 0);

    add({"--abbreviation", ";later"});
    ASSERT_EQ(cli.run({"settings", "set", "showInDock", "false"}).status, 0);
    const auto restored = cli.run({"restore-backup", backup.string()});
    ASSERT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(cli.run({"show", ";keep"}).status, 0);
    EXPECT_EQ(cli.run({"show", ";later"}).status, 1);
    EXPECT_NE(cli.run({"settings"}).out.find("showInDock                true"), std::string::npos);

    writeFileAtomically(folder / "junk.json", "[1, 2]");
    const auto junk = cli.run({"restore-backup", (folder / "junk.json").string()});
    EXPECT_EQ(junk.status, 1);
    EXPECT_NE(junk.err.find("is not a Wordloom backup"), std::string::npos);
    EXPECT_EQ(cli.run({"show", ";keep"}).status, 0);
}

TEST_F(LibraryCommandTest, SettingsRejectUnknownKeysAndBadValuesListingWhatIsAllowed) {
    const auto unknown = cli.run({"settings", "set", "volume", "11"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("Allowed: launchAtLogin, showInMenuBar"), std::string::npos);
    const auto bad = cli.run({"settings", "set", "aiProvider", "cloud"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("appleIntelligenceWithOllamaFallback"), std::string::npos);
    ASSERT_EQ(cli.run({"settings", "set", "aiProvider", "ollama"}).status, 0);
    JsonDocument document(cli.run({"settings", "--json"}).out);
    EXPECT_EQ(json::asString(*json::member(*json::asObject(document.root()), "aiProvider")),
              "ollama");
}

TEST_F(LibraryCommandTest, AnUnreadableLibraryIsReportedAndNeverOverwritten) {
    fs::create_directories(folder.path());
    writeFileAtomically(folder / "snippets.json", "{ not json");
    const auto listed = cli.run({"list"});
    EXPECT_NE(listed.err.find("warning:"), std::string::npos);
    const auto added = cli.run({"add", "--abbreviation", ";x"});
    EXPECT_EQ(added.status, 1);
    EXPECT_NE(added.err.find("could not be read"), std::string::npos);
    EXPECT_EQ(readFile(folder / "snippets.json"), "{ not json");
}

}  // namespace
}  // namespace wordloom::test
