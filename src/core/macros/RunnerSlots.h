#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

namespace wordloom {

/// A counting semaphore whose waiters are callbacks, so a wait can end by a clock that tests
/// move by hand. Waiters are served first come, first served.
class RunnerSlots {
  public:
    using WaiterId = std::uint64_t;

    explicit RunnerSlots(std::size_t count) : available_(count) {}

    /// Takes a slot and returns true when one is free. Otherwise queues `onGranted`, which is
    /// called (on the thread that releases a slot, outside any lock) once the slot is this
    /// waiter's, and returns false.
    bool acquireOrWait(WaiterId id, std::function<void()> onGranted);

    /// Withdraws a queued waiter. Returns false when it was not queued (already granted).
    bool cancelWait(WaiterId id);

    /// Gives a slot back: to the first waiter, or to the pool.
    void release();

    std::size_t available() const;
    std::size_t waiting() const;

  private:
    struct Waiter {
        WaiterId id;
        std::function<void()> onGranted;
    };
    mutable std::mutex mutex_;
    std::size_t available_;
    std::deque<Waiter> waiters_;
};

}  // namespace wordloom
