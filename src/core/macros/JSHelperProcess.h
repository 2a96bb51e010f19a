#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/macros/JSRunnerProtocol.h"

namespace wordloom {

/// How to start the helper and how closely to watch it.
struct JSHelperLaunch {
    std::string executable;
    std::vector<std::string> arguments;
    /// Resident memory above which a busy helper is killed.
    std::size_t memoryLimitBytes = 512u * 1024 * 1024;
    /// How often a busy helper's memory is sampled, in milliseconds.
    int memoryCheckIntervalMs = 20;
};

/// How a request sent to the helper ended.
struct JSHelperOutcome {
    enum class Kind {
        /// The helper answered; `reply` holds the answer.
        replied,
        /// The helper died or closed its channel, or broke the protocol.
        terminated,
        /// The helper grew past the memory limit and was killed.
        memoryExceeded,
    };
    Kind kind = Kind::terminated;
    std::optional<JSRunnerReply> reply;
    std::size_t residentBytes = 0;
};

/// One running wordloom-jsrunner process and its channel: started (by us or by the zygote) in its
/// own process group with /dev/null for its standard streams and no other descriptor than the
/// channel, watched by a
/// thread of ours that reads its replies and samples its resident memory from /proc (the engine
/// cannot start under an address-space limit, so the limit is enforced from outside).
class JSHelperProcess {
  public:
    using OutcomeHandler = std::function<void(JSHelperOutcome)>;

    /// Starts the helper. Throws std::runtime_error with the reason when it cannot be started.
    static std::shared_ptr<JSHelperProcess> launch(const JSHelperLaunch& launch);

    /// Watches a helper that another process (the zygote) started for us: `pidDescriptor` (a
    /// pidfd, taken over) names it for signals without the risk of a reused pid, and `channel`
    /// (taken over) is our end of its channel. Such a helper is not our child: the zygote reaps
    /// it.
    static std::shared_ptr<JSHelperProcess> adopt(const JSHelperLaunch& launch, pid_t pid,
                                                  int pidDescriptor, int channel);

    /// Kills the helper if it still runs.
    ~JSHelperProcess();
    JSHelperProcess(const JSHelperProcess&) = delete;
    JSHelperProcess& operator=(const JSHelperProcess&) = delete;

    /// Sends one request. `onOutcome` is called exactly once, on the watcher thread, unless
    /// kill() comes first. Returns an error text when the request could not be written (the
    /// handler is then never called); one request at a time.
    std::optional<std::string> send(const JSRunnerRequest& request, OutcomeHandler onOutcome);

    /// Kills the helper's process group. A pending request's handler is not called.
    void kill();

    /// Whether the helper still runs and is free for a request.
    bool isReusable() const;

    pid_t pid() const;
    /// Requests answered so far.
    std::size_t completedRequests() const;

  private:
    struct State;
    explicit JSHelperProcess(std::shared_ptr<State> state);
    static std::shared_ptr<JSHelperProcess> watch(std::shared_ptr<State> state);
    std::shared_ptr<State> state_;
};

}  // namespace wordloom
