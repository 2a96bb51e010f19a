#include "core/macros/JSHelperProcessSpawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "core/macros/JSHelperProcess.h"
#include "core/macros/JSRunnerProtocol.h"

extern char** environ;

namespace wordloom {
namespace {

std::string errnoText(const std::string& what, int error) {
    return what + ": " + std::strerror(error);
}

// posix_spawn's file actions and attributes, released however the spawn ends.
class SpawnSetup {
  public:
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

}  // namespace

SpawnedJSHelper spawnJSHelper(const JSHelperLaunch& launch, int socketType,
                              const std::vector<std::string>& extraArguments) {
    int ends[2];
    if (::socketpair(AF_UNIX, socketType | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error(errnoText("socketpair", errno));
    }
    // dup2 onto itself would leave close-on-exec set, so the child's end must not already be
    // the descriptor it is moved to.
    if (ends[1] == jsrunner::kChannelDescriptor) {
        const int moved = ::fcntl(ends[1], F_DUPFD_CLOEXEC, jsrunner::kChannelDescriptor + 1);
        ::close(ends[1]);
        ends[1] = moved;
    }

    SpawnSetup setup;
    posix_spawn_file_actions_addopen(&setup.actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&setup.actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&setup.actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&setup.actions, ends[1], jsrunner::kChannelDescriptor);
    posix_spawn_file_actions_addclosefrom_np(&setup.actions, jsrunner::kChannelDescriptor + 1);
    sigset_t noSignals;
    sigemptyset(&noSignals);
    sigset_t allSignals;
    sigfillset(&allSignals);
    posix_spawnattr_setflags(
        &setup.attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&setup.attributes, 0);
    posix_spawnattr_setsigmask(&setup.attributes, &noSignals);
    posix_spawnattr_setsigdefault(&setup.attributes, &allSignals);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(launch.executable.c_str()));
    for (const std::string& argument : launch.arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    for (const std::string& argument : extraArguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    pid_t pid = -1;
    const int spawnError = ::posix_spawn(&pid, launch.executable.c_str(), &setup.actions,
                                         &setup.attributes, argv.data(), environ);
    ::close(ends[1]);
    if (spawnError != 0) {
        ::close(ends[0]);
        throw std::runtime_error(errnoText(launch.executable, spawnError));
    }
    return SpawnedJSHelper{pid, ends[0]};
}

}  // namespace wordloom
