#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

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

TEST(FileIO, FailedWriteKeepsTheOldFileAndNamesTheFileInItsMessage) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root ignores folder permissions";
    }
    test::TemporaryDirectory folder;
    const auto file = folder / "groups.json";
    writeFileAtomically(file, "old");
    ::chmod(folder.path().c_str(), 0500);
    try {
        writeFileAtomically(file, "new");
        FAIL() << "expected FileError";
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("groups.json"), std::string::npos);
    }
    ::chmod(folder.path().c_str(), 0700);
    EXPECT_EQ(readFile(file), "old");
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
