#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "core/base/Executor.h"

namespace wordloom {

/// An executor for tests: nothing runs until the test says so, and time moves only when the
/// test advances it. Background tasks run on the calling thread, in the order they were posted.
class ManualExecutor final : public Executor {
  public:
    /// Starts the clock at `start` (by default 2026-01-15 10:00:00 UTC).
    explicit ManualExecutor(Timestamp start = defaultStart());

    Timestamp now() const override;
    void post(Task task) override;
    ScheduledTask postAfter(Duration delay, Task task) override;
    void runInBackground(Task task) override;

    /// Runs main-queue tasks until the queue is empty, including tasks they post. Returns how
    /// many ran.
    std::size_t runMain();

    /// Runs the background tasks queued so far (not the ones they post). Returns how many ran.
    std::size_t runBackground();

    /// Runs main and background work, and timers already due, until nothing is left to do at
    /// the current time.
    void runUntilIdle();

    /// Moves the clock forward by `delta`, firing due timers in deadline order and running the
    /// work they cause after each one.
    void advance(Duration delta);

    /// Number of delayed tasks not yet run or cancelled.
    std::size_t pendingTimerCount() const;
    std::size_t pendingBackgroundCount() const;

    static Timestamp defaultStart();

  private:
    struct Timer {
        Timestamp deadline;
        std::size_t sequence;
        std::shared_ptr<std::atomic<bool>> cancelled;
        Task task;
    };

    bool fireNextDueTimer();

    mutable std::mutex mutex_;
    Timestamp now_;
    std::deque<Task> mainQueue_;
    std::deque<Task> backgroundQueue_;
    std::vector<Timer> timers_;
    std::size_t nextSequence_ = 0;
};

}  // namespace wordloom
