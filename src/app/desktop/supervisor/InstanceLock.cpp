#include "app/desktop/supervisor/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "core/base/FileIO.h"
#include "core/base/Log.h"

namespace wordloom {

namespace {

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

}  // namespace

InstanceLock::InstanceLock(const std::string& display) {
    const auto folder = runtimeFolder();
    try {
        ensurePrivateFolder(folder);
    } catch (const FileError& failure) {
        Logger("Wordloom")
            .error(std::string(failure.what()) + "; not checking for another instance");
        acquired_ = true;
        return;
    }
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

std::string InstanceLock::alreadyRunningMessage() const {
    std::string message = "Wordloom is already running";
    if (holder_) {
        message += " (process " + std::to_string(*holder_) + ")";
    }
    return message + ".";
}

}  // namespace wordloom
