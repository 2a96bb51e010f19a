#pragma once

#include <QSocketNotifier>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Log.h"

namespace wordloom {

/// The local socket through which `wordloom expand-now`, `copy`, `quick-search` and
/// `quick-create` reach the instance running on their display. One request per connection: a
/// line "COMMAND<TAB>ARGUMENT", answered by "ok" or "error<TAB>MESSAGE". A request with any
/// number of arguments is "2<TAB>COMMAND<TAB>ARG<TAB>ARG...", each field with backslash, tab,
/// line feed and carriage return escaped as \\, \t, \n and \r; the first form stays for
/// clients (and key bindings) made before it. An answer may carry a result: "ok<TAB>FIELD..."
/// with the fields escaped the same way (`wordloom open-url` gets the link's outcome so).
namespace requestChannel {

/// The longest request line the instance reads: room for a link whose parameters hold the
/// longest value a link may carry, percent-encoded.
constexpr std::size_t maximumRequestBytes = 4 * 1024 * 1024;

/// Where the instance for `display` listens: the user's runtime folder, readable by the user
/// only.
std::filesystem::path socketPath(const std::string& display);

/// Sends one request and returns the answer's message: empty for "ok". Throws
/// std::runtime_error with a message for the user when nothing listens, or no answer came
/// within `timeout`, or the instance refused the request.
std::string send(const std::filesystem::path& socket, const std::string& command,
                 const std::string& argument, Duration timeout);

/// As send(), with any number of arguments, each of any text.
std::string sendArguments(const std::filesystem::path& socket, const std::string& command,
                          const std::vector<std::string>& arguments, Duration timeout);

/// As sendArguments(), and returns the fields of the answer's result (none for a plain "ok").
std::vector<std::string> ask(const std::filesystem::path& socket, const std::string& command,
                             const std::vector<std::string>& arguments, Duration timeout);

/// The request line (without its line feed) for `command` and `arguments`, and back. decode
/// returns nullopt for a line that is not a request.
std::string encode(const std::string& command, const std::vector<std::string>& arguments);
std::optional<std::pair<std::string, std::vector<std::string>>> decode(const std::string& line);

}  // namespace requestChannel

/// The running instance's end of the channel, on the Qt main loop. A client gets 100 ms to send
/// its line; a silent or malformed one is dropped without holding the keyboard up longer.
class RequestListener {
  public:
    /// What a request was answered: refused (with the reason) or taken, with a result of any
    /// number of fields. A plain string is a refusal, empty for taken.
    struct Answer {
        Answer(std::string why = {}) : refusal(std::move(why)) {}  // NOLINT: implicit
        static Answer taken(std::vector<std::string> result) {
            Answer answer;
            answer.result = std::move(result);
            return answer;
        }
        std::string refusal;
        std::vector<std::string> result;
    };
    using Handler = std::function<Answer(const std::string& command,
                                         const std::vector<std::string>& arguments)>;

    RequestListener(std::filesystem::path socket, Handler handler);
    ~RequestListener();
    RequestListener(const RequestListener&) = delete;
    RequestListener& operator=(const RequestListener&) = delete;

    bool isListening() const { return fd_ >= 0; }

  private:
    void acceptOne();

    std::filesystem::path path_;
    Handler handler_;
    Logger logger_{"RequestListener"};
    int fd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace wordloom
