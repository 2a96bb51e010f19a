#include "app/desktop/DesktopSupervisor.h"

#include "core/base/FileIO.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "core/base/Log.h"

namespace wordloom {

namespace {

std::vector<std::string> ownCommandLine() {
    std::ifstream stream("/proc/self/cmdline", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)),
                            std::istreambuf_iterator<char>());
    std::vector<std::string> arguments;
    std::string::size_type start = 0;
    while (start < bytes.size()) {
        const auto end = bytes.find('\0', start);
        arguments.push_back(bytes.substr(start, end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return arguments;
}

}  // namespace

int superviseDesktopApplication() {
    const Logger logger("Wordloom");
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    auto command = ownCommandLine();
    if (error || command.empty()) {
        logger.error("Cannot find this program's own path and arguments");
        return 1;
    }
    // The same program and arguments; the supervisor marks the run as its application's.
    command.front() = self.string();
    const std::string supervisor = helperProgramPath("wordloom-supervisor");
    std::vector<char*> arguments{const_cast<char*>(supervisor.c_str())};
    for (auto& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    execv(supervisor.c_str(), arguments.data());
    logger.error("Cannot run " + supervisor + ": " + std::strerror(errno));
    return 1;
}

int runSupervisedDesktopApplication(const DesktopLocation& location,
                                    const std::string& programName) {
    // Programs Wordloom starts (the JavaScript helper) are not supervised applications.
    unsetenv(supervisedApplicationVariable);
    std::string name = programName;
    char* arguments[] = {name.data(), nullptr};
    return runDesktopApplication(location, 1, arguments);
}

}  // namespace wordloom
