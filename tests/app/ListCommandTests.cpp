#include <gtest/gtest.h>

#include "CliRunner.h"
#include "core/base/JsonReader.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

TEST(ListCommand, FirstRunListsTheDateSnippetsAndJsonIsTheFileFormat) {
    TemporaryDirectory folder;
    CliRunner cli(folder.path());
    const auto people = cli.run({"list"});
    ASSERT_EQ(people.status, 0) << people.err;
    EXPECT_NE(people.out.find(";today"), std::string::npos);
    EXPECT_NE(people.out.find("12 snippets"), std::string::npos);

    const auto machine = cli.run({"list", "--json"});
    ASSERT_EQ(machine.status, 0) << machine.err;
    JsonDocument document(machine.out);
    const auto array = json::asArray(document.root());
    ASSERT_TRUE(array);
    EXPECT_EQ(array->size(), 12u);
}

TEST(ListCommand, UsageErrorsExitTwoAndFailuresExitOne) {
    TemporaryDirectory folder;
    CliRunner cli(folder.path());
    const auto unknownOption = cli.run({"list", "--bogus"});
    EXPECT_EQ(unknownOption.status, 2);
    EXPECT_NE(unknownOption.err.find("usage: wordloom list"), std::string::npos);

    const auto unknownCommand = cli.run({"frobnicate"});
    EXPECT_EQ(unknownCommand.status, 2);

    const auto noGroup = cli.run({"list", "--group", "Nope"});
    EXPECT_EQ(noGroup.status, 1);
    EXPECT_NE(noGroup.err.find("No group is named"), std::string::npos);
    EXPECT_EQ(noGroup.err.find("usage:"), std::string::npos);
}

TEST(ListCommand, DataFolderComesFromTheEnvironmentWhenNotGiven) {
    TemporaryDirectory folder;
    CliRunner cli(folder.path());
    cli.environment["WORDLOOM_DATA_DIR"] = (folder / "env").string();
    ASSERT_EQ(cli.runRaw({"list"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "env" / "snippets.json"));
    EXPECT_TRUE(std::filesystem::exists(folder / "env" / "defaults.json"));

    CliRunner xdg(folder.path());
    xdg.environment["XDG_DATA_HOME"] = (folder / "data").string();
    xdg.environment["XDG_CONFIG_HOME"] = (folder / "config").string();
    ASSERT_EQ(xdg.runRaw({"list"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "data" / "Wordloom" / "snippets.json"));
    EXPECT_TRUE(std::filesystem::exists(folder / "config" / "Wordloom" / "defaults.json"));
}

}  // namespace
}  // namespace wordloom::test
