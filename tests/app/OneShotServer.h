#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

namespace wordloom::test {

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

}  // namespace wordloom::test
