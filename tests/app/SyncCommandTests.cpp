#include <gtest/gtest.h>

#include <algorithm>

#include "CliRunner.h"
#include "core/base/FileIO.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

/// Two Wordloom homes on one machine, sharing one sync folder, driven through the command line.
class SyncCommandTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(shared.path());
        for (auto* home : {&a, &b}) {
            ASSERT_EQ(home->run({"sync", "setup", "folder", shared.path().string()}).status, 0);
        }
    }

    std::string idOf(const CliRunner& home, const std::string& abbreviation) {
        const auto shown = home.run({"show", abbreviation});
        return shown.out.substr(shown.out.find(':') + 1,
                                shown.out.find('\n') - shown.out.find(':') - 1);
    }

    static std::string trimmed(std::string text) {
        text.erase(0, text.find_first_not_of(" \n"));
        text.erase(text.find_last_not_of(" \n") + 1);
        return text;
    }

    TemporaryDirectory homes;
    TemporaryDirectory shared;
    CliRunner a{homes / "a"};
    CliRunner b{homes / "b"};
};

TEST_F(SyncCommandTest, EditsAndDeletionsTravelBetweenHomes) {
    ASSERT_EQ(a.run({"add", "--abbreviation", ";sig", "--content", "Best regards"}).status, 0);
    auto synced = a.run({"sync", "now"});
    ASSERT_EQ(synced.status, 0) << synced.err;
    ASSERT_EQ(b.run({"sync", "now"}).status, 0);
    // The first-run "Date & Time" snippets both homes made are not doubled.
    const auto sortedLines = [](const std::string& text) {
        std::vector<std::string> lines;
        std::size_t start = 0;
        while (start < text.size()) {
            const auto end = text.find('\n', start);
            lines.push_back(text.substr(start, end - start));
            start = end == std::string::npos ? text.size() : end + 1;
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    EXPECT_EQ(sortedLines(a.run({"list"}).out), sortedLines(b.run({"list"}).out));
    EXPECT_NE(b.run({"show", ";sig"}).out.find("Best regards"), std::string::npos);

    ASSERT_EQ(b.run({"edit", ";sig", "--content", "Kind regards"}).status, 0);
    ASSERT_EQ(b.run({"sync", "now"}).status, 0);
    ASSERT_EQ(a.run({"sync", "now"}).status, 0);
    EXPECT_NE(a.run({"show", ";sig"}).out.find("Kind regards"), std::string::npos);

    ASSERT_EQ(a.run({"remove", ";sig", "--permanent"}).status, 0);
    ASSERT_EQ(a.run({"sync", "now"}).status, 0);
    ASSERT_EQ(b.run({"sync", "now"}).status, 0);
    EXPECT_NE(b.run({"show", ";sig"}).status, 0);
}

TEST_F(SyncCommandTest, SimultaneousEditsEndAsTheStrategySaysWithTheLoserInHistory) {
    ASSERT_EQ(a.run({"sync", "strategy", "merge"}).status, 0);
    ASSERT_EQ(a.run({"add", "--abbreviation", ";c", "--content", "v1"}).status, 0);
    a.run({"sync", "now"});
    b.run({"sync", "now"});
    ASSERT_EQ(b.run({"edit", ";c", "--content", "from b"}).status, 0);
    ASSERT_EQ(a.run({"edit", ";c", "--content", "from a"}).status, 0);
    b.run({"sync", "now"});
    const auto synced = a.run({"sync", "now"});
    ASSERT_EQ(synced.status, 0) << synced.err;
    EXPECT_NE(synced.out.find("1 conflict waits for you"), std::string::npos) << synced.out;

    const auto listed = a.run({"sync", "conflicts"});
    EXPECT_NE(listed.out.find("bothModified"), std::string::npos);
    EXPECT_NE(listed.out.find("from a"), std::string::npos);
    EXPECT_NE(listed.out.find("from b"), std::string::npos);
    const auto id = trimmed(idOf(a, ";c"));
    EXPECT_EQ(a.run({"sync", "resolve", id, "--keep", "sideways"}).status, 2);
    ASSERT_EQ(a.run({"sync", "resolve", id, "--keep", "remote"}).status, 0);
    EXPECT_NE(a.run({"show", ";c"}).out.find("from b"), std::string::npos);
    EXPECT_NE(a.run({"versions", ";c", "--json"}).out.find("\"from a\""), std::string::npos);
    EXPECT_NE(a.run({"sync", "status"}).out.find("Pending conflicts: 0"), std::string::npos);
}

TEST_F(SyncCommandTest, StatusAndRefusals) {
    const auto status = a.run({"sync", "status", "--json"});
    EXPECT_NE(status.out.find("\"backend\" : \"folder\""), std::string::npos) << status.out;
    EXPECT_NE(status.out.find("\"enabled\" : true"), std::string::npos);
    ASSERT_EQ(a.run({"sync", "off"}).status, 0);
    const auto off = a.run({"sync", "now"});
    EXPECT_EQ(off.status, 1);
    EXPECT_NE(off.err.find("Sync is off"), std::string::npos);
    EXPECT_EQ(a.run({"sync", "setup", "folder", (homes / "missing").string()}).status, 1);
    EXPECT_EQ(a.run({"sync", "setup", "cloudkit", "--container", "iCloud.x"}).status, 2);
    EXPECT_EQ(a.run({"sync", "setup", "cloudkit", "--container", "com.x", "--api-token", "t",
                     "--callback-port", "38217"})
                  .status,
              1);
    EXPECT_EQ(a.run({"sync", "whatever"}).status, 2);
}

}  // namespace
}  // namespace wordloom::test
