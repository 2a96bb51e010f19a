#include <gtest/gtest.h>

#include "CliRunner.h"
#include "core/base/JsonReader.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

class MacroCommandTest : public ::testing::Test {
  protected:
    void add(const std::string& abbreviation, const std::string& content) {
        auto added = cli.run({"add", "--abbreviation", abbreviation, "--content", content});
        ASSERT_EQ(added.status, 0) << added.err;
    }

    TemporaryDirectory folder;
    CliRunner cli{folder.path()};
};

TEST_F(MacroCommandTest, ExpandPrintsExactlyTheTextWithArgumentsAndFields) {
    add(";greet", "Hi {{input:Name}} from {{input:City:Paris}}{{optional:PS}}, bye{{/optional}}!");
    add(";sig", "[{{snippet:;greet}}]");

    auto plain = cli.run({"expand", ";greet"});
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(plain.out, "Hi  from Paris!");

    auto filled = cli.run({"expand", ";greet", "--arg", "Ann", "--arg", "Oslo", "--arg", "yes"});
    EXPECT_EQ(filled.out, "Hi Ann from Oslo, bye!");

    auto named = cli.run({"expand", ";greet", "--field", "City=Rome", "--field", "PS=true"});
    EXPECT_EQ(named.out, "Hi  from Rome, bye!");

    // Fields of a nested snippet are set by their label or their full key.
    auto nested = cli.run({"expand", ";sig", "--field", "Name=Bo"});
    EXPECT_EQ(nested.out, "[Hi Bo from Paris!]");

    auto unknown = cli.run({"expand", ";greet", "--field", "Nope=1"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("no fill-in field named"), std::string::npos);
}

TEST_F(MacroCommandTest, EvalWithPinnedClockClipboardAndJson) {
    auto result =
        cli.run({"eval", "--content", "{{date:yyyy}} {{clipboard}}{{cursor}} {{key:tab}}{{js:1}}",
                 "--now", "2026-11-21T09:30:00Z", "--clipboard", "clip", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    JsonDocument document(result.out);
    auto member = [&](const char* name) {
        auto found = json::member(document.root(), name);
        EXPECT_TRUE(found) << name;
        return found.value_or(document.root());
    };
    auto expanded = json::asString(member("expandedContent"));
    ASSERT_TRUE(expanded);
    EXPECT_EQ(expanded->substr(0, 10), "2026 clip ");
    EXPECT_EQ(json::asInt(member("cursorPosition")), 9);
    auto errors = json::asArray(member("macroErrors"));
    ASSERT_TRUE(errors);
    EXPECT_EQ(errors->size(), 1u);  // the script: no helper runs in the test environment

    auto badDate = cli.run({"eval", "--content", "x", "--now", "yesterday"});
    EXPECT_EQ(badDate.status, 2);
}

TEST_F(MacroCommandTest, ParseShowsTypesArgumentsAndRanges) {
    auto result = cli.run({"parse", "--content", "é{{date+2w:MMM}} {{nope}}"});
    ASSERT_EQ(result.status, 0) << result.err;
    JsonDocument document(result.out);
    auto macros = json::asArray(document.root());
    ASSERT_TRUE(macros);
    ASSERT_EQ(macros->size(), 1u);
    EXPECT_NE(result.out.find("\"type\" : \"date\""), std::string::npos);
    EXPECT_NE(result.out.find("\"unit\" : \"w\""), std::string::npos);
    EXPECT_NE(result.out.find("\"start\" : 1"), std::string::npos);
    EXPECT_NE(result.out.find("\"end\" : 16"), std::string::npos);

    EXPECT_EQ(cli.run({"parse"}).status, 2);
}

}  // namespace
}  // namespace wordloom::test
