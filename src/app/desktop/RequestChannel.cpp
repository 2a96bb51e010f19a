#include "app/desktop/RequestChannel.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "core/base/FileIO.h"

namespace wordloom {

namespace {

constexpr std::size_t maxRequestBytes = 4096;
// The client writes its line as soon as it connects; the wait is on the main loop, so short.
constexpr auto clientLimit = std::chrono::milliseconds(100);

std::optional<sockaddr_un> addressOf(const std::filesystem::path& socket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socket.string();
    if (path.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Reads up to a newline, within `timeout` in all; nullopt on time-out, error or overflow.
std::optional<std::string> readLine(int fd, Duration timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::string line;
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
            return std::nullopt;
        }
        char buffer[512];
        const ssize_t count = read(fd, buffer, sizeof buffer);
        if (count <= 0) {
            return std::nullopt;
        }
        line.append(buffer, static_cast<std::size_t>(count));
        if (const auto end = line.find('\n'); end != std::string::npos) {
            return line.substr(0, end);
        }
        if (line.size() > maxRequestBytes) {
            return std::nullopt;
        }
    }
}

void writeAll(int fd, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count =
            send(fd, text.data() + written, text.size() - written, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count <= 0) {
            return;  // the client went away or does not read: its loss
        }
        written += static_cast<std::size_t>(count);
    }
}

}  // namespace

namespace requestChannel {

std::filesystem::path socketPath(const std::string& display) {
    std::filesystem::path folder;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        folder = runtime;
    } else {
        folder = std::filesystem::temp_directory_path() / ("wordloom-" + std::to_string(getuid()));
    }
    std::string name = display.empty() ? "nodisplay" : display;
    for (char& character : name) {
        if (character == '/' || character == ':') {
            character = '_';
        }
    }
    return folder / ("wordloom-" + name + ".requests");
}

std::string send(const std::filesystem::path& socket, const std::string& command,
                 const std::string& argument, Duration timeout) {
    // A socket in a folder someone else controls may be theirs, listening for our requests.
    try {
        ensurePrivateFolder(socket.parent_path());
    } catch (const FileError& error) {
        throw std::runtime_error(error.what());
    }
    const auto address = addressOf(socket);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (!address || fd < 0 ||
        connect(fd, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
        if (fd >= 0) {
            close(fd);
        }
        throw std::runtime_error(
            "Wordloom is not running on this display (start it with "
            "\u201cwordloom start\u201d).");
    }
    writeAll(fd, command + "\t" + argument + "\n");
    const auto answer = readLine(fd, timeout);
    close(fd);
    if (!answer) {
        throw std::runtime_error("Wordloom did not answer in time.");
    }
    if (*answer == "ok") {
        return {};
    }
    if (answer->rfind("error\t", 0) == 0) {
        throw std::runtime_error(answer->substr(6));
    }
    throw std::runtime_error("Wordloom gave an answer this command does not understand.");
}

}  // namespace requestChannel

RequestListener::RequestListener(std::filesystem::path socket, Handler handler)
    : path_(std::move(socket)), handler_(std::move(handler)) {
    const auto address = addressOf(path_);
    try {
        // In the shared temporary folder another user may have made the folder first.
        ensurePrivateFolder(path_.parent_path());
    } catch (const FileError& failure) {
        logger_.error(std::string("Not listening for requests: ") + failure.what());
        return;
    }
    std::error_code error;
    // Only one instance runs per display (its lock), so a socket left here is a dead one's.
    std::filesystem::remove(path_, error);
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const mode_t previousMask = umask(0077);
    const bool bound =
        address && fd_ >= 0 &&
        bind(fd_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 &&
        listen(fd_, 8) == 0;
    umask(previousMask);
    if (!bound) {
        logger_.error("Cannot listen for requests at " + path_.string() + ": " +
                      std::strerror(errno));
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
        return;
    }
    notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { acceptOne(); });
}

RequestListener::~RequestListener() {
    notifier_.reset();
    if (fd_ >= 0) {
        close(fd_);
        std::error_code error;
        std::filesystem::remove(path_, error);
    }
}

void RequestListener::acceptOne() {
    const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    const auto line = readLine(client, clientLimit);
    const auto tab = line ? line->find('\t') : std::string::npos;
    if (tab == std::string::npos) {
        logger_.info("Dropped a request that was not one");
        writeAll(client, "error\tThe request was not understood.\n");
        close(client);
        return;
    }
    std::string refusal = handler_(line->substr(0, tab), line->substr(tab + 1));
    std::replace(refusal.begin(), refusal.end(), '\n', ' ');
    writeAll(client, refusal.empty() ? "ok\n" : "error\t" + refusal + "\n");
    close(client);
}

}  // namespace wordloom
