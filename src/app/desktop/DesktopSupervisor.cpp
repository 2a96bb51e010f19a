#include "app/desktop/DesktopSupervisor.h"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "core/base/Log.h"

namespace wordloom {

namespace {

volatile sig_atomic_t stopRequested = 0;
volatile pid_t childProcess = 0;

void requestStop(int signal) {
    stopRequested = 1;
    if (childProcess > 0) {
        kill(childProcess, signal);
    }
}

std::filesystem::path runtimeFolder() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        return runtime;
    }
    return std::filesystem::temp_directory_path() / ("wordloom-" + std::to_string(getuid()));
}

std::string lockName(std::string display) {
    for (char& character : display) {
        if (character == '/' || character == ':')
            character = '_';
    }
    return "wordloom" + (display.empty() ? std::string("-nodisplay") : "-" + display) + ".lock";
}

// Why the display cannot be used now, or nullopt when it can.
std::optional<std::string> displayProblem() {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        return "no X display (DISPLAY is not set)";
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        return std::string("the X display ") + name + " does not answer";
    }
    XCloseDisplay(display);
    return std::nullopt;
}

}  // namespace

InstanceLock::InstanceLock(const std::string& display) {
    std::error_code error;
    const auto folder = runtimeFolder();
    std::filesystem::create_directories(folder, error);
    const auto path = folder / lockName(display);
    fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0) {
        Logger("Wordloom")
            .error("Cannot create " + path.string() + "; not checking for another instance");
        acquired_ = true;
        return;
    }
    if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        char buffer[32] = {};
        if (pread(fd_, buffer, sizeof buffer - 1, 0) > 0) {
            holder_ = std::strtol(buffer, nullptr, 10);
        }
        return;
    }
    acquired_ = true;
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(fd_, 0) == 0) {
        [[maybe_unused]] const auto written = pwrite(fd_, pid.data(), pid.size(), 0);
    }
}

InstanceLock::~InstanceLock() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

int superviseDesktopApplication(const DesktopLocation& location, const std::string& programName) {
    const Logger logger("Wordloom");
    struct sigaction action {};
    action.sa_handler = requestStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);

    std::optional<std::string> lastProblem;
    while (!stopRequested) {
        if (const auto problem = displayProblem()) {
            if (problem != lastProblem) {
                logger.error("Waiting: " + *problem);
                lastProblem = problem;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            continue;
        }
        lastProblem.reset();

        const pid_t child = fork();
        if (child < 0) {
            logger.error("Cannot start the application process");
            return 1;
        }
        if (child == 0) {
            signal(SIGTERM, SIG_DFL);
            signal(SIGINT, SIG_DFL);
            std::string name = programName;
            char* arguments[] = {name.data(), nullptr};
            _exit(runDesktopApplication(location, 1, arguments));
        }
        childProcess = child;
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        childProcess = 0;
        if (stopRequested || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
            return 0;
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == restartExitStatus) {
            logger.info("Starting again to reach the new accessibility bus");
            continue;
        }
        logger.error("Wordloom's connection to the display ended (" +
                     (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                          : "status " + std::to_string(WEXITSTATUS(status))) +
                     "); starting again when the display answers");
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return 0;
}

}  // namespace wordloom
