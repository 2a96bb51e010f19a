#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "core/base/Executor.h"

namespace wordloom {

/// A real executor: the thread that calls run() or runUntil() is the main queue, and a small
/// pool of threads does background work. Used by the command line and by tools; the desktop
/// app backs Executor with its own event loop instead.
class EventLoopExecutor final : public Executor {
  public:
    explicit EventLoopExecutor(std::size_t backgroundThreads = 2);
    /// Waits for background tasks already running; queued ones that never started are dropped.
    ~EventLoopExecutor() override;

    EventLoopExecutor(const EventLoopExecutor&) = delete;
    EventLoopExecutor& operator=(const EventLoopExecutor&) = delete;

    Timestamp now() const override;
    void post(Task task) override;
    ScheduledTask postAfter(Duration delay, Task task) override;
    void runInBackground(Task task) override;

    /// Runs the main queue until stop() is called. A stop() that comes before run() starts is
    /// not lost: run() then returns at once.
    void run();
    /// Makes run() return; from any thread.
    void stop();

    /// Runs the main queue until `done()` holds (checked after every task) or `timeout` passes.
    /// Returns whether `done()` held.
    bool runUntil(const std::function<bool()>& done, Duration timeout);

    /// Runs the main queue until no main task, no timer and no background task is left, or
    /// `timeout` passes. Returns whether everything settled.
    bool runUntilIdle(Duration timeout);

  private:
    using SteadyTime = std::chrono::steady_clock::time_point;
    struct Timer {
        SteadyTime deadline;
        std::size_t sequence;
        std::shared_ptr<std::atomic<bool>> cancelled;
        Task task;
    };

    // Runs one main task or due timer, waiting until `until` for one. Returns false on time-out,
    // on stop(), or (with `returnWhenIdle`) once nothing at all is left to do.
    bool runOne(std::unique_lock<std::mutex>& lock, SteadyTime until, bool returnWhenIdle);
    bool isIdleLocked() const;
    void backgroundLoop();

    mutable std::mutex mutex_;
    std::condition_variable mainWake_;
    std::condition_variable backgroundWake_;
    std::deque<Task> mainQueue_;
    std::vector<Timer> timers_;
    std::size_t nextSequence_ = 0;
    std::deque<Task> backgroundQueue_;
    std::size_t backgroundRunning_ = 0;
    bool stopRequested_ = false;
    bool shuttingDown_ = false;
    std::vector<std::thread> pool_;
};

}  // namespace wordloom
