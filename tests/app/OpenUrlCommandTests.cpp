#include <gtest/gtest.h>

#include "CliRunner.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

TEST(OpenUrlCommandTest, ADryRunSaysWhatALinkWouldDoWithoutDoingIt) {
    TemporaryDirectory folder;
    CliRunner cli(folder / "data");
    ASSERT_EQ(cli.run({"add", "--abbreviation", ";greet", "--content", "Hi {{input:Name}}"}).status,
              0);
    ASSERT_EQ(cli.run({"add", "--abbreviation", ";clip", "--content", "{{clipboard}}"}).status, 0);

    auto result = cli.run({"open-url", "--dry-run", "wordloom://expand?abbr=;greet"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "rejected: URL scheme expansion is disabled in Preferences\n");

    ASSERT_EQ(cli.run({"settings", "set", "allowURLSchemeExpansion", "true"}).status, 0);
    result = cli.run({"open-url", "--dry-run", "wordloom://expand?abbr=;greet&args=%3CAnn"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "expanded\nwould insert:\nHi Ann\n");

    result =
        cli.run({"open-url", "--dry-run", "--json", "-"}, "wordloom://expand?abbr=;clip&copy\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("\"outcome\" : \"rejected\""), std::string::npos);
    EXPECT_NE(result.out.find("read the clipboard"), std::string::npos);

    result = cli.run({"open-url", "--dry-run", "wordloom://new-snippet?abbr=;x"});
    EXPECT_EQ(result.out, "openedQuickCreate\n");
    // Without --dry-run the running app would be asked, which it cannot be yet: it says so.
    result = cli.run({"open-url", "wordloom://search?query=x"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("--dry-run"), std::string::npos);
}

}  // namespace
}  // namespace wordloom::test
