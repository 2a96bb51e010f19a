#include "app/desktop/RequestChannel.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
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
        char buffer[16384];
        const ssize_t count = read(fd, buffer, sizeof buffer);
        if (count <= 0) {
            return std::nullopt;
        }
        const std::size_t searchFrom = line.size();
        line.append(buffer, static_cast<std::size_t>(count));
        if (const auto end = line.find('\n', searchFrom); end != std::string::npos) {
            return line.substr(0, end);
        }
        if (line.size() > requestChannel::maximumRequestBytes) {
            return std::nullopt;
        }
    }
}

/// Writes `text`; `block` waits for room in the socket (the client), else what does not fit at
/// once is dropped (the main loop never waits for a client that does not read).
void writeAll(int fd, const std::string& text, bool block = false) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = send(fd, text.data() + written, text.size() - written,
                                   MSG_NOSIGNAL | (block ? 0 : MSG_DONTWAIT));
        if (count <= 0) {
            return;  // the client went away or does not read: its loss
        }
        written += static_cast<std::size_t>(count);
    }
}

constexpr const char* escapedForm = "2";

std::string escaped(const std::string& field) {
    std::string result;
    result.reserve(field.size());
    for (const char character : field) {
        switch (character) {
            case '\\':
                result += "\\\\";
                break;
            case '\t':
                result += "\\t";
                break;
            case '\n':
                result += "\\n";
                break;
            case '\r':
                result += "\\r";
                break;
            default:
                result += character;
        }
    }
    return result;
}

std::optional<std::string> unescaped(std::string_view field) {
    std::string result;
    result.reserve(field.size());
    for (std::size_t index = 0; index < field.size(); ++index) {
        if (field[index] != '\\') {
            result += field[index];
            continue;
        }
        if (++index == field.size()) {
            return std::nullopt;
        }
        switch (field[index]) {
            case '\\':
                result += '\\';
                break;
            case 't':
                result += '\t';
                break;
            case 'n':
                result += '\n';
                break;
            case 'r':
                result += '\r';
                break;
            default:
                return std::nullopt;
        }
    }
    return result;
}

std::string exchange(const std::filesystem::path& socket, const std::string& line,
                     Duration timeout) {
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
    // A hung instance must not hold the command line up for longer than an answer may take.
    const auto limit = std::chrono::duration_cast<std::chrono::microseconds>(timeout);
    timeval sendLimit{static_cast<time_t>(limit.count() / 1'000'000),
                      static_cast<suseconds_t>(limit.count() % 1'000'000)};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendLimit, sizeof sendLimit);
    writeAll(fd, line + "\n", true);
    const auto answer = readLine(fd, timeout);
    close(fd);
    if (!answer) {
        throw std::runtime_error("Wordloom did not answer in time.");
    }
    if (*answer == "ok") {
        return {};
    }
    if (answer->rfind("ok\t", 0) == 0) {
        return answer->substr(3);
    }
    if (answer->rfind("error\t", 0) == 0) {
        throw std::runtime_error(answer->substr(6));
    }
    throw std::runtime_error("Wordloom gave an answer this command does not understand.");
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
    return exchange(socket, command + "\t" + argument, timeout);
}

std::string sendArguments(const std::filesystem::path& socket, const std::string& command,
                          const std::vector<std::string>& arguments, Duration timeout) {
    return exchange(socket, encode(command, arguments), timeout);
}

std::vector<std::string> ask(const std::filesystem::path& socket, const std::string& command,
                             const std::vector<std::string>& arguments, Duration timeout) {
    const auto result = exchange(socket, encode(command, arguments), timeout);
    if (result.empty()) {
        return {};
    }
    // The result's fields read as a request's arguments do.
    auto fields = decode(std::string(escapedForm) + "\t" + result);
    if (!fields) {
        throw std::runtime_error("Wordloom gave an answer this command does not understand.");
    }
    fields->second.insert(fields->second.begin(), std::move(fields->first));
    return std::move(fields->second);
}

std::string encode(const std::string& command, const std::vector<std::string>& arguments) {
    std::string line = std::string(escapedForm) + "\t" + escaped(command);
    for (const auto& argument : arguments) {
        line += "\t" + escaped(argument);
    }
    return line;
}

std::optional<std::pair<std::string, std::vector<std::string>>> decode(const std::string& line) {
    const auto tab = line.find('\t');
    if (tab == std::string::npos) {
        return std::nullopt;
    }
    if (line.compare(0, tab, escapedForm) != 0) {
        // The first form: one argument, taken as it is.
        return std::pair{line.substr(0, tab), std::vector{line.substr(tab + 1)}};
    }
    std::vector<std::string> fields;
    std::size_t start = tab + 1;
    while (true) {
        const auto end = line.find('\t', start);
        auto field = unescaped(std::string_view(line).substr(
            start, end == std::string::npos ? std::string::npos : end - start));
        if (!field) {
            return std::nullopt;
        }
        fields.push_back(std::move(*field));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    auto command = std::move(fields.front());
    fields.erase(fields.begin());
    return std::pair{std::move(command), std::move(fields)};
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
    const auto request = line ? requestChannel::decode(*line) : std::nullopt;
    if (!request) {
        logger_.info("Dropped a request that was not one");
        writeAll(client, "error\tThe request was not understood.\n");
        close(client);
        return;
    }
    auto answer = handler_(request->first, request->second);
    std::string reply;
    if (!answer.refusal.empty()) {
        std::replace(answer.refusal.begin(), answer.refusal.end(), '\n', ' ');
        reply = "error\t" + answer.refusal;
    } else if (answer.result.empty()) {
        reply = "ok";
    } else {
        // The first field takes the place of a request's command: "2\tFIELD\t..." less "2".
        auto first = std::move(answer.result.front());
        answer.result.erase(answer.result.begin());
        reply = "ok" + requestChannel::encode(first, answer.result).substr(1);
    }
    writeAll(client, reply + "\n");
    close(client);
}

}  // namespace wordloom
