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

namespace {

namespace fs = std::filesystem;

fs::perms permissionsOf(const fs::path& path) {
    return fs::symlink_status(path).permissions() & fs::perms::mask;
}

// A file of `size` bytes that takes no room on disk.
void makeSparseFile(const fs::path& path, std::uintmax_t size) {
    writeFileAtomically(path, "");
    fs::resize_file(path, size);
}

class Umask {
  public:
    explicit Umask(mode_t mask) : previous_(::umask(mask)) {}
    ~Umask() { ::umask(previous_); }

  private:
    mode_t previous_;
};

}  // namespace

TEST(FileIO, WrittenFilesAreOwnerOnlyWhateverTheUmaskOrTheFileTheyReplace) {
    test::TemporaryDirectory folder;
    const Umask permissive(0);
    const auto file = folder / "settings.json";
    writeFileAtomically(file, "{}");
    EXPECT_EQ(permissionsOf(file), fs::perms::owner_read | fs::perms::owner_write);

    fs::permissions(file, fs::perms::all);
    writeFileAtomically(file, "{ }");
    EXPECT_EQ(permissionsOf(file), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(FileIO, PrivateFolderIsMadeOrTightenedAndRefusedWhenItIsNotOurs) {
    test::TemporaryDirectory folder;
    const Umask permissive(0);
    const auto fresh = folder / "a" / "b" / "Wordloom";
    ensurePrivateFolder(fresh);
    EXPECT_EQ(permissionsOf(fresh), fs::perms::owner_all);

    const auto loose = folder / "loose";
    fs::create_directory(loose);
    fs::permissions(loose, fs::perms::all);
    ensurePrivateFolder(loose);
    EXPECT_EQ(permissionsOf(loose), fs::perms::owner_all);

    // Someone who can write to /tmp could plant a link to a folder of their choosing.
    const auto link = folder / "link";
    fs::create_directory_symlink(loose, link);
    EXPECT_THROW(ensurePrivateFolder(link), FileError);
    writeFileAtomically(folder / "file", "");
    EXPECT_THROW(ensurePrivateFolder(folder / "file"), FileError);

    if (::geteuid() == 0) {
        const auto foreign = folder / "foreign";
        fs::create_directory(foreign);
        ASSERT_EQ(::chown(foreign.c_str(), 65534, 65534), 0);
        try {
            ensurePrivateFolder(foreign);
            ADD_FAILURE() << "another user's folder was accepted";
        } catch (const FileError& error) {
            EXPECT_NE(std::string(error.what()).find("another user"), std::string::npos);
        }
    }
}

TEST(FileIO, TakesGroupAndOtherAccessFromOneEntryWithoutFollowingLinks) {
    test::TemporaryDirectory folder;
    const Umask permissive(0);
    const auto data = folder / "Wordloom";
    fs::create_directory(data);
    const auto file = data / "snippets.json";
    writeFileAtomically(file, "x");
    fs::permissions(file, fs::perms::all);
    fs::permissions(data, fs::perms::all);
    const auto outside = folder / "outside.txt";
    writeFileAtomically(outside, "y");
    fs::permissions(outside, fs::perms::all);
    fs::create_symlink(outside, data / "link");

    EXPECT_TRUE(removeGroupAndOtherAccess(data));
    EXPECT_EQ(permissionsOf(data), fs::perms::owner_all);
    EXPECT_EQ(permissionsOf(file), fs::perms::all);  // a folder's contents are not its own
    EXPECT_TRUE(removeGroupAndOtherAccess(file));
    EXPECT_EQ(permissionsOf(file), fs::perms::owner_all);
    EXPECT_FALSE(removeGroupAndOtherAccess(data / "link"));
    EXPECT_EQ(permissionsOf(outside), fs::perms::all);
    EXPECT_FALSE(removeGroupAndOtherAccess(file));
    EXPECT_FALSE(removeGroupAndOtherAccess(folder / "absent"));
}

TEST(FileIO, FilesOverTheLimitAreRefusedBeforeTheyAreRead) {
    test::TemporaryDirectory folder;
    const auto file = folder / "backup.json";
    makeSparseFile(file, 1000);
    EXPECT_EQ(readFile(file, 1000).size(), 1000u);
    EXPECT_NO_THROW(requireFileSizeAtMost(file, 1000));
    EXPECT_NO_THROW(requireFileSizeAtMost(folder / "absent", 1));
    try {
        readFile(file, 999);
        FAIL() << "expected FileError";
    } catch (const FileError& error) {
        EXPECT_NE(std::string(error.what()).find("backup.json"), std::string::npos);
    }
    EXPECT_THROW(requireFileSizeAtMost(file, 999), FileError);

    // The default is the limit of a whole document; one byte more is refused, and the error
    // comes without the gigabyte being read.
    makeSparseFile(file, fileSizeLimit::document + 1);
    EXPECT_THROW(readFileIfExists(file), FileError);
}
