#include "core/sync/CloudKitSignIn.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/base/JsonReader.h"

namespace wordloom {
namespace {

class Listener {
  public:
    explicit Listener(int port) {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd_ < 0) {
            throw SyncBackendError("Couldn't open the sign-in callback listener.");
        }
        const int yes = 1;
        ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(fd_, 4) != 0) {
            ::close(fd_);
            throw SyncBackendError("Couldn't listen on 127.0.0.1:" + std::to_string(port) +
                                   " for the sign-in callback (is another program using it?).");
        }
    }
    ~Listener() { ::close(fd_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// The next connection, or -1 when `until` passed first.
    int accept(std::chrono::steady_clock::time_point until) const {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            until - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return -1;
        }
        pollfd waiting{fd_, POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
            return -1;
        }
        return ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    }

  private:
    int fd_ = -1;
};

/// The request line of one connection, read with a short deadline of its own.
std::string readRequestLine(int connection) {
    std::string data;
    char buffer[2048];
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (data.find("\r\n") == std::string::npos && data.size() < 16384) {
        pollfd waiting{connection, POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            until - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
            break;
        }
        const auto got = ::recv(connection, buffer, sizeof buffer, 0);
        if (got <= 0) {
            break;
        }
        data.append(buffer, static_cast<std::size_t>(got));
    }
    return data.substr(0, data.find("\r\n"));
}

void answer(int connection, int status, const std::string& text) {
    const std::string page =
        "<!doctype html><meta charset=utf-8><title>Wordloom</title><p>" + text + "</p>";
    const std::string response =
        "HTTP/1.1 " + std::to_string(status) + (status == 200 ? " OK" : " Not Found") +
        "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
        std::to_string(page.size()) + "\r\nConnection: close\r\n\r\n" + page;
    [[maybe_unused]] const auto sent =
        ::send(connection, response.data(), response.size(), MSG_NOSIGNAL);
    ::close(connection);
}

std::optional<std::string> queryValue(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const auto end = query.find('&');
        const auto pair = query.substr(0, end);
        const auto equals = pair.find('=');
        if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
            return percentDecode(pair.substr(equals + 1));
        }
        if (end == std::string_view::npos) {
            break;
        }
        query.remove_prefix(end + 1);
    }
    return std::nullopt;
}

}  // namespace

std::string signInToCloudKit(CloudKitWebServicesBackend& backend, WebAuthTokenStore& tokens,
                             const CloudKitSignInOptions& options) {
    tokens.clear();
    std::string redirect;
    try {
        backend.call("public", "users/current", "");
    } catch (const CloudKitAuthenticationError& error) {
        redirect = error.redirectURL();
    }
    if (redirect.empty()) {
        throw CloudKitAuthenticationError(
            "CloudKit gave no sign-in page. Check the API token and that its sign-in callback is "
            "http://127.0.0.1:" +
                std::to_string(options.callbackPort) + options.callbackPath + ".",
            "");
    }
    Listener listener(options.callbackPort);
    if (!options.openBrowser || !options.openBrowser(redirect)) {
        if (options.showAddress) {
            options.showAddress(redirect);
        }
    }
    const auto until = std::chrono::steady_clock::now() + options.deadline;
    while (true) {
        const int connection = listener.accept(until);
        if (connection < 0) {
            throw CloudKitAuthenticationError("Sign-in was not finished within " +
                                                  std::to_string(options.deadline.count()) +
                                                  " seconds.",
                                              redirect);
        }
        // "GET /wordloom/ck-callback?ckWebAuthToken=...&ckSession=... HTTP/1.1"
        const auto line = readRequestLine(connection);
        const auto start = line.find(' ');
        const auto end = line.rfind(' ');
        if (start == std::string::npos || end <= start) {
            answer(connection, 404, "Not found.");
            continue;
        }
        const std::string_view target(line.data() + start + 1, end - start - 1);
        const auto question = target.find('?');
        const auto path = target.substr(0, question);
        if (path != options.callbackPath || question == std::string_view::npos) {
            answer(connection, 404, "Not found.");  // a favicon or another stray request
            continue;
        }
        const auto token = queryValue(target.substr(question + 1), "ckWebAuthToken");
        if (!token || token->empty()) {
            answer(connection, 200, "Sign-in did not give Wordloom a token. Try again.");
            continue;
        }
        answer(connection, 200, "Wordloom is signed in to iCloud. You can close this tab.");
        tokens.save(*token);
        break;
    }
    const auto user = backend.call("public", "users/current", "");
    JsonDocument document(user);
    const auto object = json::asObject(document.root());
    const auto name = object ? json::member(*object, "userRecordName") : std::nullopt;
    const auto text = name ? json::asString(*name) : std::nullopt;
    if (!text) {
        throw CloudKitAuthenticationError("CloudKit did not accept the sign-in.", "");
    }
    return std::string(*text);
}

}  // namespace wordloom
