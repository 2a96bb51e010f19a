#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace wordloom::test {

/// A one-thread HTTP/1.1 server on 127.0.0.1 and a free port, answering every request with
/// the canned response set for it. Enough of HTTP for a client that sends Content-Length.
class LoopbackHttpServer {
  public:
    struct Request {
        std::string method;
        std::string path;
        std::string contentType;
        std::string body;
    };

    LoopbackHttpServer();
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer&) = delete;
    LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

    /// The answer to every later request. `delay` holds it back (until the server stops).
    void respondWith(int status, std::string body,
                     std::chrono::milliseconds delay = std::chrono::milliseconds(0));

    int port() const { return port_; }
    std::string endpoint() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::vector<Request> requests() const;
    int acceptedConnections() const;

  private:
    void serve();
    void answer(int connection);

    int listener_ = -1;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable stopped_;
    bool stopping_ = false;
    int status_ = 200;
    std::string body_;
    std::chrono::milliseconds delay_{0};
    std::vector<Request> requests_;
    int accepted_ = 0;
    std::thread thread_;
};

}  // namespace wordloom::test
