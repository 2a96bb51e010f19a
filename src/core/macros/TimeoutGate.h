#pragma once

#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

#include "core/base/Executor.h"
#include "core/base/OwnedThreads.h"

namespace wordloom {

/// The race between an operation and its time limit. Whichever ends first takes the lock, finds
/// the gate unfinished, marks it finished and hands its result (the operation's value or error,
/// or the time-out error) to the waiting caller; the loser finds it finished and does nothing.
class TimeoutGate {
  public:
    using Operation = std::function<std::string(std::stop_token)>;

    /// Runs `operation` on a thread of `threads` and blocks until it ends or `limit` has passed
    /// on `timers`' clock. Returns its value or rethrows its error; on expiry throws
    /// `timeoutError` and asks the operation to stop through its stop token (its thread stays
    /// with `threads` until it ends, and counts against their limit). When `threads` has no
    /// room, throws `timeoutError` at once: earlier operations that would not stop are still
    /// running.
    static std::string withTimeout(Executor& timers, OwnedThreads& threads, Duration limit,
                                   std::exception_ptr timeoutError, Operation operation);

  private:
    /// True for the first caller only.
    bool finish();

    std::mutex lock_;
    std::promise<std::string> continuation_;
    std::stop_source operationStop_;
    ScheduledTask timer_;
    bool finished_ = false;
};

}  // namespace wordloom
