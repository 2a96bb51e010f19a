#include "LoopbackHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "core/base/Text.h"

namespace wordloom::test {

LoopbackHttpServer::LoopbackHttpServer() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 8) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    stopped_.notify_all();
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
}

void LoopbackHttpServer::respondWith(int status, std::string body,
                                     std::chrono::milliseconds delay) {
    std::lock_guard lock(mutex_);
    status_ = status;
    body_ = std::move(body);
    delay_ = delay;
}

std::vector<LoopbackHttpServer::Request> LoopbackHttpServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

int LoopbackHttpServer::acceptedConnections() const {
    std::lock_guard lock(mutex_);
    return accepted_;
}

void LoopbackHttpServer::serve() {
    for (;;) {
        const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            return;  // shut down
        }
        {
            std::lock_guard lock(mutex_);
            ++accepted_;
        }
        answer(connection);
        ::close(connection);
    }
}

void LoopbackHttpServer::answer(int connection) {
    std::string received;
    char chunk[4096];
    std::size_t headerEnd = std::string::npos;
    std::size_t contentLength = 0;
    for (;;) {
        pollfd descriptor{connection, POLLIN, 0};
        if (::poll(&descriptor, 1, 5000) <= 0) {
            return;
        }
        const ssize_t got = ::read(connection, chunk, sizeof chunk);
        if (got <= 0) {
            return;
        }
        received.append(chunk, static_cast<std::size_t>(got));
        if (headerEnd == std::string::npos) {
            headerEnd = received.find("\r\n\r\n");
            if (headerEnd != std::string::npos) {
                const std::string headers = text::lowercased(received.substr(0, headerEnd));
                const std::size_t at = headers.find("content-length:");
                if (at != std::string::npos) {
                    contentLength = std::stoul(headers.substr(at + 15));
                }
            }
        }
        if (headerEnd != std::string::npos && received.size() >= headerEnd + 4 + contentLength) {
            break;
        }
    }

    Request request;
    const std::string head = received.substr(0, headerEnd);
    const std::size_t firstSpace = head.find(' ');
    request.method = head.substr(0, firstSpace);
    request.path = head.substr(firstSpace + 1, head.find(' ', firstSpace + 1) - firstSpace - 1);
    const std::string lowerHead = text::lowercased(head);
    if (const std::size_t at = lowerHead.find("\r\ncontent-type:"); at != std::string::npos) {
        const std::size_t start = at + 15;
        request.contentType = std::string(
            text::trimWhitespaceAndNewlines(head.substr(start, head.find("\r\n", start) - start)));
    }
    request.body = received.substr(headerEnd + 4, contentLength);

    std::unique_lock lock(mutex_);
    requests_.push_back(request);
    const int status = status_;
    const std::string body = body_;
    if (delay_.count() > 0) {
        stopped_.wait_for(lock, delay_, [this] { return stopping_; });
        if (stopping_) {
            return;
        }
    }
    lock.unlock();

    const std::string response = "HTTP/1.1 " + std::to_string(status) +
                                 " Canned\r\nContent-Type: application/json\r\nContent-Length: " +
                                 std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
                                 body;
    std::size_t offset = 0;
    while (offset < response.size()) {
        const ssize_t written =
            ::send(connection, response.data() + offset, response.size() - offset, MSG_NOSIGNAL);
        if (written <= 0) {
            return;
        }
        offset += static_cast<std::size_t>(written);
    }
}

}  // namespace wordloom::test
