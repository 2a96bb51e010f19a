#pragma once

#include <string>

namespace wordloom::jsrunner {

/// Confines the helper to computing: once applied, the process may use memory, threads, time and
/// its channel, and nothing else. Any other system call (opening files, sockets, starting
/// processes, ...) from any thread ends the helper at once: the SIGSYS handler writes a
/// security-violation reply on the channel and exits, so the application learns what happened.
/// Applied after the engine has started, because starting it reads files the filter forbids.
class SyscallSandbox {
  public:
    /// Installs the filter for every thread of the process. Returns an empty string on success,
    /// else why it failed (the helper then refuses to run scripts).
    static std::string apply(int channelDescriptor);
};

}  // namespace wordloom::jsrunner
