#include <gtest/gtest.h>

#include <fstream>

#include "app/desktop/AutostartEntry.h"
#include "core/base/FileIO.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

TEST(AutostartEntryTests, WritesReadsBackAndRemovesTheDesktopEntry) {
    test::TemporaryDirectory folder;
    const AutostartEntry entry(folder / "config", "/opt/word loom/wordloom start");
    EXPECT_EQ(entry.file(), folder / "config" / "autostart" / "wordloom.desktop");
    EXPECT_FALSE(entry.isPresent());
    EXPECT_EQ(entry.set(false), std::nullopt);  // removing what is not there is no error

    EXPECT_EQ(entry.set(true), std::nullopt);
    EXPECT_TRUE(entry.isPresent());
    const auto text = readFileIfExists(entry.file());
    ASSERT_TRUE(text);
    EXPECT_NE(text->find("[Desktop Entry]\nType=Application\n"), std::string::npos);
    EXPECT_NE(text->find("\nExec=/opt/word loom/wordloom start\n"), std::string::npos);

    // A desktop's own settings turn an entry off by hiding it.
    std::ofstream(entry.file(), std::ios::app) << "Hidden=true\n";
    EXPECT_FALSE(entry.isPresent());
    EXPECT_EQ(entry.set(true), std::nullopt);
    EXPECT_TRUE(entry.isPresent());

    EXPECT_EQ(entry.set(false), std::nullopt);
    EXPECT_FALSE(entry.isPresent());
    EXPECT_FALSE(std::filesystem::exists(entry.file()));
}

TEST(AutostartEntryTests, SaysWhyWhenTheFolderCannotBeMade) {
    test::TemporaryDirectory folder;
    std::filesystem::create_directories(folder / "config");
    std::ofstream(folder / "config" / "autostart") << "a file where the folder belongs";
    const AutostartEntry entry(folder / "config", "wordloom start");
    const auto error = entry.set(true);
    ASSERT_TRUE(error);
    EXPECT_NE(error->find("autostart"), std::string::npos) << *error;
    EXPECT_FALSE(entry.isPresent());
}

TEST(AutostartEntryTests, QuotesAnExecutablePathThatNeedsIt) {
    const char* saved = std::getenv("XDG_CONFIG_HOME");
    const std::string previous = saved ? saved : "";
    setenv("XDG_CONFIG_HOME", "/home/anna/.config", 1);
    const auto entry = AutostartEntry::forUser("/home/anna/my apps/wordloom");
    EXPECT_EQ(entry.file(), "/home/anna/.config/autostart/wordloom.desktop");
    EXPECT_NE(entry.contents().find("\nExec=\"/home/anna/my apps/wordloom\" start\n"),
              std::string::npos);
    if (saved) {
        setenv("XDG_CONFIG_HOME", previous.c_str(), 1);
    } else {
        unsetenv("XDG_CONFIG_HOME");
    }
}

}  // namespace
}  // namespace wordloom
