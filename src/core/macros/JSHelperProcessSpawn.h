#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace wordloom {

struct JSHelperLaunch;

/// A wordloom-jsrunner process just started by us, and our end of its channel.
struct SpawnedJSHelper {
    pid_t pid = -1;
    int channel = -1;
};

/// Starts `launch.executable` with `launch.arguments` plus `extraArguments`: in a process group
/// of its own, with /dev/null for its standard streams, default signal dispositions, and no
/// descriptor of ours except its end of a new socket pair of `socketType`, at
/// jsrunner::kChannelDescriptor. posix_spawn keeps the start cheap however large this process
/// is. Throws std::runtime_error with the reason when it cannot start.
SpawnedJSHelper spawnJSHelper(const JSHelperLaunch& launch, int socketType,
                              const std::vector<std::string>& extraArguments = {});

}  // namespace wordloom
