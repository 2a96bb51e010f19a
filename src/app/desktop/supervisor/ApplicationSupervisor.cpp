#include "app/desktop/supervisor/ApplicationSupervisor.h"

#include <X11/Xlib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>

#include "app/desktop/DesktopApplication.h"
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

[[noreturn]] void executeChild(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    setenv(supervisedApplicationVariable, "1", 1);
    execv(arguments[0], arguments.data());
    _exit(cannotExecuteStatus);
}

std::string describe(int status) {
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::optional<std::string> x11DisplayProblem() {
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

int superviseApplication(const std::vector<std::string>& command,
                         const DisplayCheck& displayProblem) {
    const Logger logger("Wordloom");
    if (command.empty()) {
        logger.error("No application to run");
        return 1;
    }
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
            executeChild(command);
        }
        childProcess = child;
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        childProcess = 0;
        if (stopRequested || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
            return 0;
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == cannotExecuteStatus) {
            logger.error("Cannot run " + command.front());
            return 1;
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == restartExitStatus) {
            logger.info("Starting again to reach the new accessibility bus");
            continue;
        }
        logger.error("Wordloom's connection to the display ended (" + describe(status) +
                     "); starting again when the display answers");
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return 0;
}

}  // namespace wordloom
