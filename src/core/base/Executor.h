#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

namespace wordloom {

/// Wall-clock time: what records store and what dates are computed from.
using Timestamp = std::chrono::system_clock::time_point;

/// A span of time for delays and deadlines.
using Duration = std::chrono::nanoseconds;

/// Tells the time. Everything in the core asks a Clock instead of the system, so tests can
/// pin and move it.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual Timestamp now() const = 0;
};

/// Handle of a task posted with a delay. Cancelling is idempotent and safe from any thread;
/// a cancelled task never runs. A default-constructed handle refers to nothing.
class ScheduledTask {
  public:
    ScheduledTask() = default;
    explicit ScheduledTask(std::shared_ptr<std::atomic<bool>> cancelled)
        : cancelled_(std::move(cancelled)) {}

    void cancel() {
        if (cancelled_) {
            cancelled_->store(true);
        }
    }
    bool isCancelled() const { return !cancelled_ || cancelled_->load(); }
    bool isValid() const { return cancelled_ != nullptr; }

  private:
    std::shared_ptr<std::atomic<bool>> cancelled_;
};

/// The application's main queue (the one thread that owns stores, detector and engine), a
/// timer on that queue, and a pool for background work. The app backs it with its event loop,
/// the command line with EventLoopExecutor, tests with ManualExecutor.
class Executor : public Clock {
  public:
    using Task = std::function<void()>;

    /// Runs `task` on the main queue after the tasks already posted.
    virtual void post(Task task) = 0;

    /// Runs `task` on the main queue once `delay` has passed, unless cancelled first.
    virtual ScheduledTask postAfter(Duration delay, Task task) = 0;

    /// Runs `task` off the main queue. Results go back with post().
    virtual void runInBackground(Task task) = 0;
};

}  // namespace wordloom
