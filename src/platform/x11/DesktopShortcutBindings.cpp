#include "platform/x11/DesktopShortcutBindings.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "core/base/FileIO.h"

namespace wordloom {
namespace {

using Clock = std::chrono::steady_clock;

/// What `argv` prints, or nothing when it cannot be run or does not finish by `until` (it is
/// killed then).
std::optional<std::string> outputOf(const std::vector<std::string>& argv, Clock::time_point until) {
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    const pid_t child = fork();
    if (child < 0) {
        close(pipeFds[0]);
        close(pipeFds[1]);
        return std::nullopt;
    }
    if (child == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        const int devNull = open("/dev/null", O_WRONLY);
        if (devNull >= 0) {
            dup2(devNull, STDERR_FILENO);
        }
        std::vector<char*> arguments;
        for (const auto& argument : argv) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(pipeFds[1]);
    std::string output;
    bool finished = false;
    char buffer[4096];
    while (output.size() < 4 * 1024 * 1024) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
        pollfd waiting{pipeFds[0], POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
            break;
        }
        const auto got = read(pipeFds[0], buffer, sizeof buffer);
        if (got <= 0) {
            finished = true;
            break;
        }
        output.append(buffer, static_cast<std::size_t>(got));
    }
    close(pipeFds[0]);
    if (!finished) {
        kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!finished || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return std::nullopt;
    }
    return output;
}

}  // namespace

std::vector<ReservedShortcut> readDesktopShortcutBindings(std::chrono::milliseconds deadline) {
    const auto until = Clock::now() + deadline;
    std::vector<ReservedShortcut> found;
    for (const char* schema :
         {"org.gnome.desktop.wm.keybindings", "org.gnome.shell.keybindings",
          "org.gnome.settings-daemon.plugins.media-keys", "org.gnome.mutter.keybindings"}) {
        if (Clock::now() >= until) {
            break;
        }
        if (const auto output = outputOf({"gsettings", "list-recursively", schema}, until)) {
            const auto bindings = parseGnomeKeybindings(*output);
            found.insert(found.end(), bindings.begin(), bindings.end());
        }
    }
    std::filesystem::path config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) {
        config = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        config = std::filesystem::path(home) / ".config";
    }
    if (!config.empty()) {
        try {
            if (const auto text = readFileIfExists(config / "kglobalshortcutsrc")) {
                const auto bindings = parseKdeGlobalShortcuts(*text);
                found.insert(found.end(), bindings.begin(), bindings.end());
            }
        } catch (const std::exception&) {
            // Unreadable: its shortcuts are simply not known.
        }
    }
    return found;
}

}  // namespace wordloom
