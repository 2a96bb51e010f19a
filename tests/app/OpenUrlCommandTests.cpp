#include <gtest/gtest.h>

#include <cstdlib>

#include "CliRunner.h"
#include "OneShotServer.h"
#include "app/desktop/RequestChannel.h"
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
}

/// The runtime folder where the command looks for the running instance's socket.
class RuntimeFolder {
  public:
    RuntimeFolder() {
        const char* previous = std::getenv("XDG_RUNTIME_DIR");
        saved_ = previous ? std::optional<std::string>(previous) : std::nullopt;
        setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    }
    ~RuntimeFolder() {
        if (saved_) {
            setenv("XDG_RUNTIME_DIR", saved_->c_str(), 1);
        } else {
            unsetenv("XDG_RUNTIME_DIR");
        }
    }

  private:
    TemporaryDirectory folder_;
    std::optional<std::string> saved_;
};

std::optional<std::pair<std::string, std::vector<std::string>>> requestIn(OneShotServer& server) {
    auto line = server.request();
    if (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return requestChannel::decode(line);
}

TEST(OpenUrlCommandTest, ALinkGoesToTheRunningInstanceWhichSaysWhatCameOfIt) {
    TemporaryDirectory folder;
    RuntimeFolder runtime;
    CliRunner cli(folder / "data");
    cli.environment["DISPLAY"] = ":77";
    const auto socket = requestChannel::socketPath(":77");

    // Nothing runs: nothing is started, and the user is told.
    auto result = cli.run({"open-url", "wordloom://search?query=x"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("not running on this display"), std::string::npos) << result.err;
    EXPECT_EQ(result.out, "");

    {
        OneShotServer instance(socket, "ok\topenedQuickSearch\t\n");
        result = cli.run({"open-url", "wordloom://search?query=a%20b"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "openedQuickSearch\n");
        const auto request = requestIn(instance);
        ASSERT_TRUE(request);
        EXPECT_EQ(request->first, "open-url");
        EXPECT_EQ(request->second, std::vector<std::string>{"wordloom://search?query=a%20b"});
    }
    std::filesystem::remove(socket);
    {
        // A link longer than an argument may be comes whole through standard input.
        const std::string link = "wordloom://expand?abbr=;x&args=" + std::string(70'000, 'a');
        OneShotServer instance(socket, "ok\trejected\tParameter 'args' exceeds maximum length\n");
        result = cli.run({"open-url", "--json", "-"}, link + "\n");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out,
                  "{\n  \"message\" : \"Parameter 'args' exceeds maximum length\",\n"
                  "  \"outcome\" : \"rejected\"\n}\n");
        EXPECT_EQ(
            requestIn(instance).value_or(std::pair<std::string, std::vector<std::string>>{}).second,
            std::vector<std::string>{link});
    }
    std::filesystem::remove(socket);
    {
        OneShotServer instance(socket, "ok\texpanded\n");
        result = cli.run({"open-url", "wordloom://expand?abbr=;x"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("does not understand"), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace wordloom::test
