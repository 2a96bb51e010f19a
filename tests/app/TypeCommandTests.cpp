// `wordloom type` over a real data folder: what a user sees when asking why something did or
// did not expand.

#include <gtest/gtest.h>

#include "CliRunner.h"
#include "core/base/FileIO.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

class TypeCommandTest : public ::testing::Test {
  protected:
    std::string add(const std::string& abbreviation, const std::string& content = "text",
                    const std::string& trigger = "immediate") {
        const auto result = cli.run(
            {"add", "--abbreviation", abbreviation, "--content", content, "--trigger", trigger});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out.substr(0, result.out.find('\n'));
    }

    // The command line cannot set application filters; edit the saved library directly.
    void restrictToApplication(const std::string& id, const std::string& mode,
                               const std::string& bundleId) {
        const auto file = folder.path() / "snippets.json";
        auto json = readFile(file);
        const auto at = json.find("\"id\" : \"" + id + "\"");
        ASSERT_NE(at, std::string::npos);
        // Keys are sorted: both fields come before "id" in the snippet's object.
        const std::string apps = "\"filteredApps\" : []";
        const auto appsAt = json.rfind(apps, at);
        ASSERT_NE(appsAt, std::string::npos);
        json.replace(
            appsAt, apps.size(),
            "\"filteredApps\" : [{\"bundleId\" : \"" + bundleId + "\", \"name\" : \"App\"}]");
        const std::string filter = "\"appFilterMode\" : \"all\"";
        const auto filterAt = json.rfind(filter, appsAt);
        ASSERT_NE(filterAt, std::string::npos);
        json.replace(filterAt, filter.size(), "\"appFilterMode\" : \"" + mode + "\"");
        writeFileAtomically(file, json);
    }

    // The JSON lines printed for `text`, with `extra` arguments.
    std::string typeJson(const std::string& text, std::vector<std::string> extra = {}) {
        std::vector<std::string> arguments{"type", text, "--json"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        const auto result = cli.run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    }

    static std::string expandLine(const std::string& abbreviation, const std::string& id,
                                  const std::string& trigger = "immediate",
                                  const std::string& arguments = "") {
        return "{\"abbreviation\":\"" + abbreviation + "\",\"arguments\":[" + arguments +
               "],\"event\":\"expand\",\"snippet\":\"" + id + "\",\"trigger\":\"" + trigger +
               "\"}\n";
    }

    static constexpr const char* pendingOn = "{\"event\":\"pending\",\"on\":true}\n";
    static constexpr const char* pendingOff = "{\"event\":\"pending\",\"on\":false}\n";
    const std::vector<std::string> delayOn{"--set", "delayAmbiguousExpansions=true"};

    TemporaryDirectory folder;
    CliRunner cli{folder.path()};
};

TEST_F(TypeCommandTest, PrintsOneEventPerLineAsTextOrJson) {
    const auto sig = add(";sig", "Best, Ann");
    const auto addr = add("addr", "1 Main St", "delimiter");
    const auto greet = add(";greet", "Hi {{input:Name}}!", "delimiter");
    const auto hi = add(";hi", "Hello {{input:Name}}!");

    const auto text = cli.run({"type", "so ;sig"});
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "+0ms expand \";sig\" (immediate) -> ;sig [" + sig + "]\n");

    EXPECT_EQ(typeJson("so ;sig"), expandLine(";sig", sig));
    // A delimiter-mode abbreviation is handed over without the delimiter that fired it.
    EXPECT_EQ(typeJson("my addr."), expandLine("addr", addr, "delimiter"));
    EXPECT_EQ(typeJson("addr"), "");
    EXPECT_EQ(typeJson(";greet<Ann \\> Bo>"),
              expandLine(";greet", greet, "inline", "\"Ann > Bo\""));
    // An immediate snippet with fields waits for inline values when waiting is on.
    EXPECT_EQ(typeJson(";hi<Bo>", delayOn),
              pendingOn + std::string(pendingOff) + expandLine(";hi", hi, "inline", "\"Bo\""));
    EXPECT_EQ(typeJson("nothing here"), "");
}

TEST_F(TypeCommandTest, WaitsOnAmbiguousAbbreviationsOnlyWhenAsked) {
    const auto em = add(";em", "short");
    const auto email = add(";email", "long");

    EXPECT_EQ(typeJson(";em"), expandLine(";em", em)) << "no waiting by default";

    // At the end of the text the wait runs out and the shorter one expands.
    EXPECT_EQ(typeJson(";em", delayOn),
              pendingOn + std::string(pendingOff) + expandLine(";em", em));
    // A key that cannot continue any abbreviation releases the match and is kept after it.
    EXPECT_EQ(typeJson(";em{wait:100}x", delayOn),
              pendingOn + std::string(pendingOff) +
                  "{\"abbreviation\":\";em\",\"event\":\"flush\","
                  "\"snippet\":\"" +
                  em + "\",\"trailing\":\"x\"}\n");
    // Continuing within the wait selects the longer abbreviation.
    EXPECT_EQ(typeJson(";ema{wait:200}il", delayOn),
              pendingOn + std::string(pendingOff) + expandLine(";email", email));
    // After 0.25 s the shorter one has expanded; what follows is new typing.
    EXPECT_EQ(typeJson(";em{wait:250}ail", delayOn),
              pendingOn + std::string(pendingOff) + expandLine(";em", em));

    const auto text = cli.run({"type", ";em{wait:40}x", "--set", "delayAmbiguousExpansions=true"});
    EXPECT_EQ(text.out,
              "+0ms waiting: a longer abbreviation or inline arguments may follow\n"
              "+40ms wait over\n"
              "+40ms flush \";em\" -> ;em [" +
                  em + "], keeping \"x\"\n");
}

TEST_F(TypeCommandTest, SpecialKeysFocusAndPasswordFieldsShapeTheBuffer) {
    const auto sig = add(";sig");
    const auto em = add(";em");
    add(";email");

    EXPECT_EQ(typeJson(";sx{backspace}ig"), expandLine(";sig", sig)) << "a corrected typo";
    EXPECT_EQ(typeJson(";s{esc}ig"), "");
    EXPECT_EQ(typeJson(";s{left}ig"), "");
    EXPECT_EQ(typeJson(";s{click}ig"), "");
    EXPECT_EQ(typeJson(";s{return};sig"), expandLine(";sig", sig));
    // A held match dies when the caret moves to another field.
    EXPECT_EQ(typeJson(";em{focus:2}", delayOn), pendingOn + std::string(pendingOff));
    EXPECT_EQ(typeJson(";em{wait:10}{backspace}", delayOn), pendingOn + std::string(pendingOff));

    EXPECT_EQ(typeJson("{secure};sig{/secure}"), "");
    EXPECT_EQ(typeJson("{secure};si{/secure}g"), "")
        << "what was typed in the password field is gone";
    EXPECT_EQ(typeJson("{secure};s{/secure};sig"), expandLine(";sig", sig));
    EXPECT_EQ(typeJson("{secure};sig", {"--set", "expandInPasswordFields=true"}),
              expandLine(";sig", sig));
    (void)em;
}

TEST_F(TypeCommandTest, ApplicationFiltersFollowTheFrontmostApplication) {
    const auto work = add(";work");
    restrictToApplication(work, "whitelist", "org.example.Editor");
    const auto home = add(";home");
    restrictToApplication(home, "blacklist", "org.example.Editor");

    EXPECT_EQ(typeJson(";work"), "") << "whitelisted, in an unknown application";
    EXPECT_EQ(typeJson(";home"), expandLine(";home", home)) << "blacklisted, unknown application";
    EXPECT_EQ(typeJson("{app:org.example.Editor};work"), expandLine(";work", work));
    EXPECT_EQ(typeJson(";work", {"--app", "org.example.Editor"}), expandLine(";work", work));
    EXPECT_EQ(typeJson("{app:org.example.Editor};home"), "");
    EXPECT_EQ(typeJson("{app:org.example.Editor};home{app:org.example.Other};home"),
              expandLine(";home", home));
    // Switching applications forgets what was typed in the previous one.
    EXPECT_EQ(typeJson(";wo{app:org.example.Editor}rk"), "");
}

TEST_F(TypeCommandTest, DoubleBraceTypesABrace) {
    const auto brace = add("x{y");
    EXPECT_EQ(typeJson("x{{y"), expandLine("x{y", brace));
}

TEST_F(TypeCommandTest, RefusesBadScriptsAndSettingsWithClearErrors) {
    const auto check = [&](std::vector<std::string> arguments, int status,
                           const std::string& message) {
        const auto result = cli.run(arguments);
        EXPECT_EQ(result.status, status) << arguments[1];
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    };
    check({"type", "ab{bad}"}, 2, "Unknown \u201c{bad}\u201d. Known: {wait:MS}");
    check({"type", "ab{"}, 2, "Unclosed \u201c{\u201d in the text at character 3");
    check({"type", "{wait:soon}"}, 2, "{wait:MS} takes a whole number of milliseconds");
    check({"type", "{wait:-5}"}, 2, "{wait:MS} takes a whole number of milliseconds");
    check({"type", "{wait}"}, 2, "needs a value, as in {wait:...}");
    check({"type", "{app:}"}, 2, "needs a value, as in {app:...}");
    check({"type", "{esc:1}"}, 2, "\u201c{esc:1}\u201d takes no value");
    check({"type", "x", "--set", "delayAmbiguousExpansions"}, 2, "--set takes KEY=VALUE");
    check({"type", "x", "--set", "noSuchSetting=1"}, 1,
          "Unknown setting \u201cnoSuchSetting\u201d");
    check({"type", "x", "--set", "delayAmbiguousExpansions=maybe"}, 1, "Invalid value");
    EXPECT_EQ(cli.run({"type"}).status, 2);
}

}  // namespace
}  // namespace wordloom::test
