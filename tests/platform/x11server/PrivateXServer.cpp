#include "platform/x11server/PrivateXServer.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace wordloom::test {

namespace {

pid_t spawn(const std::vector<std::string>& arguments, const posix_spawn_file_actions_t* files) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], files, nullptr, argv.data(), environ) != 0) {
        return -1;
    }
    return pid;
}

}  // namespace

PrivateXServer::PrivateXServer() {
    int fds[2];
    if (pipe(fds) != 0) {
        throw std::runtime_error("pipe failed");
    }
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addclose(&files, fds[0]);
    posix_spawn_file_actions_adddup2(&files, fds[1], 3);
    pid_ = spawn({"Xvfb", "-displayfd", "3", "-screen", "0", "640x480x24", "-nolisten", "tcp"},
                 &files);
    posix_spawn_file_actions_destroy(&files);
    close(fds[1]);
    std::string number;
    pollfd readable{fds[0], POLLIN, 0};
    char c = 0;
    while (pid_ > 0 && poll(&readable, 1, 20000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') {
        number += c;
    }
    close(fds[0]);
    if (number.empty()) {
        throw std::runtime_error("Xvfb did not start");
    }
    display_ = ":" + number;
    if (const char* previous = std::getenv("DISPLAY")) {
        previousDisplay_ = previous;
    }
    setenv("DISPLAY", display_.c_str(), 1);
}

PrivateXServer::~PrivateXServer() {
    // A server made for one test must not leave the process pointing at a display that is gone.
    if (previousDisplay_) {
        setenv("DISPLAY", previousDisplay_->c_str(), 1);
    } else {
        unsetenv("DISPLAY");
    }
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

int PrivateXServer::run(const std::vector<std::string>& arguments) {
    const pid_t pid = spawn(arguments, nullptr);
    if (pid < 0) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace wordloom::test
