#include <gtest/gtest.h>

#include <filesystem>

#include "core/base/FileIO.h"
#include "support/TemporaryDirectory.h"

using namespace wordloom;

TEST(FileIO, AtomicWriteReplacesTheFileAndLeavesNoTemporaryBehind) {
    test::TemporaryDirectory folder;
    const auto file = folder / "snippets.json";
    writeFileAtomically(file, "old");
    writeFileAtomically(file, "new contents");
    EXPECT_EQ(readFile(file), "new contents");
    int entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++entries;
    }
    EXPECT_EQ(entries, 1);
}

TEST(FileIO, FailedWriteNamesTheFileAndLeavesNoTemporaryBehind) {
    // A non-empty folder where the file should go makes the final rename fail, even for root.
    test::TemporaryDirectory folder;
    const auto target = folder / "groups.json";
    std::filesystem::create_directory(target);
    writeFileAtomically(target / "keep", "x");
    try {
        writeFileAtomically(target, "new");
        FAIL() << "expected FileError";
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("groups.json"), std::string::npos) << error.what();
    }
    int entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++entries;
    }
    EXPECT_EQ(entries, 1);
    EXPECT_EQ(readFile(target / "keep"), "x");
}

TEST(FileIO, MissingFilesAreNothingAndFoldersAreErrors) {
    test::TemporaryDirectory folder;
    EXPECT_FALSE(readFileIfExists(folder / "absent.json"));
    EXPECT_THROW(readFile(folder / "absent.json"), FileError);
    EXPECT_THROW(readFileIfExists(folder.path()), FileError);
}

TEST(FileIO, RecognisesItsOwnLeftovers) {
    EXPECT_TRUE(
        isAtomicWriteLeftover(".snippets.json.6F1C2B1E-1234-4C3D-9E8F-0123456789AB.wordloom-tmp"));
    EXPECT_FALSE(isAtomicWriteLeftover("snippets.json"));
    EXPECT_FALSE(isAtomicWriteLeftover(".wordloom-tmp"));
}
