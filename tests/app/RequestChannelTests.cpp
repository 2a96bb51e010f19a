#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "app/desktop/RequestChannel.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using std::chrono::seconds;

/// A one-connection server that records the request line and sends `answer`.
class OneShotServer {
  public:
    OneShotServer(const std::filesystem::path& path, std::string answer) {
        fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd_, 1), 0);
        thread_ = std::thread([this, answer = std::move(answer)] {
            const int client = accept(fd_, nullptr, nullptr);
            char buffer[256];
            ssize_t count = 0;
            while (request_.find('\n') == std::string::npos &&
                   (count = read(client, buffer, sizeof buffer)) > 0) {
                request_.append(buffer, static_cast<std::size_t>(count));
            }
            [[maybe_unused]] const auto written = write(client, answer.data(), answer.size());
            close(client);
        });
    }
    ~OneShotServer() {
        if (thread_.joinable()) {
            thread_.join();
        }
        close(fd_);
    }
    /// The line received, once the connection is over.
    std::string request() {
        thread_.join();
        return request_;
    }

  private:
    int fd_ = -1;
    std::string request_;
    std::thread thread_;
};

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
