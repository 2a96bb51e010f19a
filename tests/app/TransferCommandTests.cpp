#include <gtest/gtest.h>

#include <fstream>

#include "CliRunner.h"
#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

namespace fs = std::filesystem;

void write(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

class TransferCommandTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    TemporaryDirectory files;
    CliRunner cli{folder.path()};

    void SetUp() override {
        // The first run seeds its date group; start every test from a library that exists.
        ASSERT_EQ(cli.run({"list"}).status, 0);
    }

    std::string snippetsFile() const { return readFile(folder / "snippets.json"); }

    fs::path espansoFolder() const {
        const auto root = files / "espanso";
        write(root / "match" / "base.yml", R"yaml(
matches:
  - trigger: ";td"
    replace: "{{d}}"
    vars: [{ name: d, type: date, params: { format: "%d/%m/%Y" } }]
  - trigger: ";sh"
    replace: "{{out}}"
    vars: [{ name: out, type: shell, params: { cmd: "uname" } }]
  - trigger: ";mail"
    replace: "ann@example.org"
)yaml");
        return root;
    }
};

TEST_F(TransferCommandTest, DryRunShowsThePlanAndChangesNothing) {
    const auto before = snippetsFile();
    const auto result = cli.run({"import", espansoFolder().string(), "--dry-run", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    JsonDocument document(result.out);
    const auto object = *json::asObject(document.root());
    EXPECT_EQ(json::asInt(*json::member(object, "added")), 3);
    EXPECT_EQ(json::asString(*json::member(object, "format")), "espanso");
    EXPECT_EQ(json::asBool(*json::member(object, "dryRun")), true);
    const auto warnings = *json::asArray(*json::member(object, "warnings"));
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(json::asString(*warnings.begin()),
              "1 snippets use espanso shell variables, kept as text");
    EXPECT_EQ(snippetsFile(), before);
}

TEST_F(TransferCommandTest, ImportAppliesOnceAndConflictsFollowThePolicy) {
    const auto source = espansoFolder().string();
    const auto first = cli.run({"import", source});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.out.find("3 added"), std::string::npos);
    EXPECT_NE(first.err.find("warning: 1 snippets use espanso shell variables"), std::string::npos);
    const auto shown = cli.run({"show", ";td", "--json"});
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("{{date:dd/MM/yyyy}}"), std::string::npos);
    EXPECT_NE(shown.out.find("\"espansoYAML\""), std::string::npos);

    const auto again = cli.run({"import", source});
    ASSERT_EQ(again.status, 0);
    EXPECT_NE(again.out.find("0 added, 0 replaced, 3 skipped"), std::string::npos);

    ASSERT_EQ(cli.run({"edit", ";mail", "--content", "changed here"}).status, 0);
    const auto replaced = cli.run({"import", source, "--on-conflict", "replace"});
    ASSERT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_NE(replaced.out.find("3 replaced"), std::string::npos);
    EXPECT_NE(cli.run({"show", ";mail"}).out.find("ann@example.org"), std::string::npos);
    const auto versions = cli.run({"versions", ";mail", "--json"});
    EXPECT_NE(versions.out.find("Before import"), std::string::npos);
    EXPECT_NE(versions.out.find("changed here"), std::string::npos);

    const auto renamed = cli.run({"import", source, "--on-conflict", "rename", "--group", "Old"});
    ASSERT_EQ(renamed.status, 0);
    EXPECT_NE(renamed.out.find(";mail: already used by"), std::string::npos);
    EXPECT_EQ(cli.run({"show", ";mail2"}).status, 0);
    // The source's group "base" now also stands under "Old", holding the renamed copies.
    const auto groups = cli.run({"group", "list", "--json"});
    JsonDocument tree(groups.out);
    std::optional<std::string> oldId;
    std::vector<std::string> parentsOfBase;
    const auto list = *json::asArray(tree.root());
    for (auto element : list) {
        const auto group = *json::asObject(element);
        const auto name = json::asString(*json::member(group, "name"));
        if (name == "Old") {
            oldId = std::string(*json::asString(*json::member(group, "id")));
        } else if (name == "base") {
            const auto parent = json::member(group, "parentId");
            parentsOfBase.emplace_back(parent ? json::asString(*parent).value_or("") : "");
        }
    }
    ASSERT_TRUE(oldId);
    EXPECT_EQ(parentsOfBase, (std::vector<std::string>{"", *oldId}));
}

TEST_F(TransferCommandTest, BadSourcesFailWithAMessageAndLeaveTheLibraryAlone) {
    const auto before = snippetsFile();
    write(files / "notes.textexpander", "Dear diary, nothing here is a plist.\n");
    write(files / "matches.json", "matches:\n  - trigger: \";x\"\n    replace: y\n");
    write(files / "cut.alfredsnippets", std::string("PK\x03\x04\x14\x00\x00\x00", 8));
    write(files / "broken.yml", "matches:\n  - trigger: [unclosed\n");

    const auto unknown = cli.run({"import", (files / "notes.textexpander").string()});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("is not a library Wordloom can import"), std::string::npos);

    const auto forced =
        cli.run({"import", (files / "notes.textexpander").string(), "--format", "textexpander"});
    EXPECT_EQ(forced.status, 1);
    EXPECT_NE(forced.err.find("is not a readable property list"), std::string::npos);

    const auto truncated = cli.run({"import", (files / "cut.alfredsnippets").string()});
    EXPECT_EQ(truncated.status, 1);
    EXPECT_NE(truncated.err.find("damaged archive"), std::string::npos);

    const auto yaml = cli.run({"import", (files / "broken.yml").string()});
    EXPECT_EQ(yaml.status, 1);
    EXPECT_NE(yaml.err.find("is not valid YAML"), std::string::npos);

    EXPECT_EQ(cli.run({"import", (files / "none.yml").string()}).status, 1);
    EXPECT_EQ(cli.run({"import", "x", "--on-conflict", "merge"}).status, 2);
    EXPECT_EQ(snippetsFile(), before);

    // YAML behind a misleading extension is still read as what it is.
    const auto misnamed = cli.run({"import", (files / "matches.json").string()});
    EXPECT_EQ(misnamed.status, 0) << misnamed.err;
    EXPECT_EQ(cli.run({"show", ";x"}).status, 0);
}

TEST_F(TransferCommandTest, ASaveThatFailsTakesTheWholeImportBack) {
    const auto before = snippetsFile();
    // groups.json cannot be replaced while a folder stands in its place.
    fs::remove(folder / "groups.json");
    fs::create_directories(folder / "groups.json" / "in-the-way");
    const auto result = cli.run({"import", espansoFolder().string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Nothing was imported."), std::string::npos) << result.err;
    EXPECT_EQ(snippetsFile().find(";td"), std::string::npos);
}

TEST_F(TransferCommandTest, ExportWritesEachFormatAndAJsonExportImportsElsewhere) {
    ASSERT_EQ(
        cli.run({"add", "--abbreviation", ";f", "--content", "=1+1", "--label", "Formula"}).status,
        0);
    ASSERT_EQ(
        cli.run({"add", "--abbreviation", ";js", "--type", "javaScript", "--content", "return 2;"})
            .status,
        0);
    const auto csv = cli.run({"export", "--format", "csv", "-o", (files / "out.csv").string()});
    ASSERT_EQ(csv.status, 0) << csv.err;
    EXPECT_NE(readFile(files / "out.csv").find(";f,Formula,'=1+1,"), std::string::npos);

    const auto te = cli.run({"export", "--format", "textexpander", "-o",
                             (files / "out.textexpander").string(), "--json"});
    ASSERT_EQ(te.status, 0) << te.err;
    EXPECT_NE(te.out.find("1 JavaScript snippets exported as source comments"), std::string::npos);

    const auto json = cli.run({"export", "--format", "json", "-o", (files / "out.json").string()});
    ASSERT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(cli.run({"export", "--format", "pdf"}).status, 2);

    TemporaryDirectory other;
    CliRunner elsewhere(other.path());
    const auto imported = elsewhere.run({"import", (files / "out.json").string(), "--json"});
    ASSERT_EQ(imported.status, 0) << imported.err;
    const auto shown = elsewhere.run({"show", ";f", "--json"});
    ASSERT_EQ(shown.status, 0);
    EXPECT_NE(shown.out.find("=1+1"), std::string::npos);

    TemporaryDirectory third;
    CliRunner fromTextExpander(third.path());
    const auto back = fromTextExpander.run({"import", (files / "out.textexpander").string()});
    ASSERT_EQ(back.status, 0) << back.err;
    const auto script = fromTextExpander.run({"show", ";js", "--json"});
    EXPECT_NE(script.out.find("\"javaScript\""), std::string::npos);
}

}  // namespace
}  // namespace wordloom::test
