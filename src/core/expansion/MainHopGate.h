#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "core/base/Executor.h"

namespace wordloom {

/// How a hop to the main queue ended. Only `ran` means the work's effects happened.
enum class HopOutcome {
    ran,        ///< the work ran to its end
    threw,      ///< the work started and ended with an exception (logged)
    cancelled,  ///< the main queue did not start it in time, or the hop was closed; it never runs
};

/// One hop from a background thread to the main queue, with a deadline: the main queue either
/// starts the work before the waiter gives up, or never starts it. There is no third outcome,
/// so a waiter that gave up knows the work did not and will not happen.
class MainHopGate {
  public:
    enum class State {
        pending,    ///< queued, not started
        running,    ///< the main queue took it; it will finish
        cancelled,  ///< the waiter gave up; the work must not start
    };

    /// How long a waiter waits for the main queue to start the work.
    static constexpr Duration defaultLimit = std::chrono::milliseconds(500);

    using Poster = std::function<void(std::function<void()>)>;

    /// Posts `work` with `post` and blocks until it ended. Work started by the deadline is
    /// always waited for, so `ran` and `threw` are final; `cancelled` when the main queue did
    /// not start it within `limit`, and it then never runs.
    /// A waiter also gives up before `limit` once `giveUp` turns true (checked every 10 ms).
    static HopOutcome run(const Poster& post, std::function<void()> work,
                          Duration limit = defaultLimit, const std::atomic<bool>* giveUp = nullptr);

    /// Main side: pending → running. False when the waiter already gave up.
    bool tryStart();
    /// Waiting side: pending → cancelled. False when the work already started.
    bool cancelIfPending();
    State state() const;

  private:
    mutable std::mutex lock_;
    State state_ = State::pending;
};

/// Hops work from the inserter's background thread to the main queue.
class MainQueueHop {
  public:
    virtual ~MainQueueHop() = default;
    /// Runs `work` on the main queue and tells how that ended.
    virtual HopOutcome run(std::function<void()> work) = 0;
};

/// The real hop: posts to the executor's main queue through a MainHopGate. Must be created on
/// the main queue's thread; calling run() from that thread is a programming error and aborts
/// (it could only dead-lock).
class ExecutorMainQueueHop final : public MainQueueHop {
  public:
    explicit ExecutorMainQueueHop(Executor& executor, Duration limit = MainHopGate::defaultLimit);
    HopOutcome run(std::function<void()> work) override;

    /// From now on every hop is `cancelled` at once, and a waiting one gives up now: the main
    /// queue is about to stop taking work (quitting), so nothing may wait for it.
    void close();

  private:
    Executor& executor_;
    Duration limit_;
    std::thread::id mainThread_;
    std::atomic<bool> closed_{false};
};

}  // namespace wordloom
