#include <gtest/gtest.h>

#include <QCoreApplication>
#include <cstdlib>
#include <future>
#include <stdexcept>

#include "OneShotServer.h"
#include "app/desktop/RequestChannel.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using std::chrono::seconds;
using test::OneShotServer;

TEST(RequestChannelTests, RequestIsOneLineAndTheAnswerSaysWhetherItWasTaken) {
    test::TemporaryDirectory folder;
    const auto path = folder / "requests";
    {
        OneShotServer server(path, "ok\n");
        EXPECT_EQ(requestChannel::send(path, "expand-now", ";sig word", seconds(10)), "");
        EXPECT_EQ(server.request(), "expand-now\t;sig word\n");
    }
    std::filesystem::remove(path);
    {
        OneShotServer server(path,
                             "error\tNo enabled snippet has the abbreviation \u201c;x\u201d.\n");
        try {
            requestChannel::send(path, "copy", ";x", seconds(10));
            ADD_FAILURE() << "a refusal must throw";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "No enabled snippet has the abbreviation \u201c;x\u201d.");
        }
    }
}

TEST(RequestChannelTests, ArgumentsOfAnyTextTravelOnOneLineAndTheFirstFormStillReads) {
    const std::vector<std::string> arguments{"content=Dear\tAnna,\nsee C:\\new\\ \u2014 \U0001F600",
                                             "", "label=\r\\t"};
    const auto line = requestChannel::encode("quick-create", arguments);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const auto decoded = requestChannel::decode(line);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->first, "quick-create");
    EXPECT_EQ(decoded->second, arguments);
    EXPECT_EQ(requestChannel::decode("2\tquick-search")->second, std::vector<std::string>{});

    // A line from a client of the first form: everything after the tab, as sent.
    const auto old = requestChannel::decode("expand-now\t\\t;sig\tx");
    ASSERT_TRUE(old);
    EXPECT_EQ(old->first, "expand-now");
    EXPECT_EQ(old->second, std::vector<std::string>{"\\t;sig\tx"});

    EXPECT_FALSE(requestChannel::decode("quick-search"));
    EXPECT_FALSE(requestChannel::decode("2\tquick-create\tbad\\q"));
    EXPECT_FALSE(requestChannel::decode("2\tquick-create\tends\\"));

    test::TemporaryDirectory folder;
    const auto path = folder / "requests";
    OneShotServer server(path, "ok\n");
    EXPECT_EQ(requestChannel::sendArguments(path, "quick-create", arguments, seconds(10)), "");
    EXPECT_EQ(server.request(), line + "\n");
}

TEST(RequestChannelTests, TheInstanceAnswersWithAResultOfAnyTextOrARefusal) {
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    test::TemporaryDirectory folder;
    const auto path = folder / "requests";
    std::vector<std::string> received;
    RequestListener listener(
        path,
        [&](const std::string& command,
            const std::vector<std::string>& arguments) -> RequestListener::Answer {
            received = arguments;
            if (command == "refuse") {
                return std::string("Not now.\nLater.");
            }
            if (command == "plain") {
                return std::string();
            }
            return RequestListener::Answer::taken(
                {"rejected", "Parameter 'q' exceeds\tmaximum\nlength \\ \u2014"});
        });
    ASSERT_TRUE(listener.isListening());
    // The listener answers on this thread's event loop; the client waits on another.
    const auto ask = [&](const std::string& command) {
        auto answer = std::async(std::launch::async, [&] {
            return requestChannel::ask(path, command, {"wordloom://x?a=1\tb"}, seconds(10));
        });
        while (answer.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return answer.get();
    };

    EXPECT_EQ(
        ask("open-url"),
        (std::vector<std::string>{"rejected", "Parameter 'q' exceeds\tmaximum\nlength \\ \u2014"}));
    EXPECT_EQ(received, std::vector<std::string>{"wordloom://x?a=1\tb"});
    EXPECT_EQ(ask("plain"), std::vector<std::string>{});
    try {
        ask("refuse");
        ADD_FAILURE() << "a refusal must throw";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Not now. Later.");
    }
}

TEST(RequestChannelTests, NothingListeningSaysWordloomIsNotRunning) {
    test::TemporaryDirectory folder;
    try {
        requestChannel::send(folder / "nobody", "copy", ";sig", seconds(1));
        ADD_FAILURE() << "no listener must throw";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("not running on this display"), std::string::npos);
    }
}

TEST(RequestChannelTests, RequestsGoOnlyThroughAFolderThatIsPrivatelyOurs) {
    // Without a runtime folder the socket lives in the shared temporary folder, where anyone
    // could have made the folder first, or planted a link to one of their own.
    test::TemporaryDirectory folder;
    const auto theirs = folder / "theirs";
    std::filesystem::create_directory(theirs);
    std::filesystem::create_directory_symlink(theirs, folder / "planted");
    OneShotServer server(theirs / "requests", "ok\n");
    try {
        requestChannel::send(folder / "planted" / "requests", "copy", ";pin", seconds(10));
        ADD_FAILURE() << "a request went through a planted link";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("not a folder"), std::string::npos)
            << error.what();
    }
    // A folder of ours that others may enter is closed to them first.
    std::filesystem::permissions(theirs, std::filesystem::perms::all);
    EXPECT_EQ(requestChannel::send(theirs / "requests", "copy", ";sig", seconds(10)), "");
    EXPECT_EQ(server.request(), "copy\t;sig\n");
    EXPECT_EQ(std::filesystem::status(theirs).permissions(), std::filesystem::perms::owner_all);
}

TEST(RequestChannelTests, SocketIsPerDisplayInTheRuntimeFolder) {
    const char* previous = std::getenv("XDG_RUNTIME_DIR");
    const std::string saved = previous ? previous : "";
    setenv("XDG_RUNTIME_DIR", "/run/user/1000", 1);
    EXPECT_EQ(requestChannel::socketPath(":1"), "/run/user/1000/wordloom-_1.requests");
    EXPECT_EQ(requestChannel::socketPath("host/unix:0.0"),
              "/run/user/1000/wordloom-host_unix_0.0.requests");
    EXPECT_NE(requestChannel::socketPath(":1"), requestChannel::socketPath(":2"));
    if (previous) {
        setenv("XDG_RUNTIME_DIR", saved.c_str(), 1);
    } else {
        unsetenv("XDG_RUNTIME_DIR");
    }
}

}  // namespace
}  // namespace wordloom
