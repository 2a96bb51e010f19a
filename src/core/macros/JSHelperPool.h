#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "core/base/Executor.h"
#include "core/macros/JSHelperProcess.h"
#include "core/macros/JSHelperProcessLauncher.h"
#include "core/macros/JSHelperProcessZygote.h"

namespace wordloom {

struct JSHelperPoolOptions {
    /// Idle helpers kept at most.
    std::size_t maxIdle = 2;
    /// A helper is retired after this many scripts, which bounds what the engine's heap
    /// accumulates and lets a later helper see a changed time zone.
    std::size_t maxRunsPerHelper = 200;
    /// An idle helper holds 28 MB resident after one small script and keeps whatever heap its
    /// scripts grew (over 100 MB after a few that built large arrays); one unused this long is
    /// stopped. Bursts of scripts still find warm helpers.
    Duration idleLifetime = std::chrono::seconds(60);
    /// Start helpers from a zygote rather than from nothing.
    bool useZygote = true;
};

/// Keeps started helpers between scripts. Handing a script to an idle helper costs well under a
/// millisecond; starting one costs a process and an engine start, most of which the zygote saves.
class JSHelperPool {
  public:
    /// `timers` tells the time and fires the retirement of idle helpers.
    JSHelperPool(JSHelperLaunch launch, JSHelperPoolOptions options, Executor& timers);
    /// Stops the idle helpers and the zygote (and with it the helpers it forked).
    ~JSHelperPool();
    JSHelperPool(const JSHelperPool&) = delete;
    JSHelperPool& operator=(const JSHelperPool&) = delete;

    /// An idle helper, or a newly started one. Throws std::runtime_error when none can start.
    std::shared_ptr<JSHelperProcess> take();

    /// Keeps `helper` for a later script when it is healthy and there is room; else stops it.
    void giveBack(std::shared_ptr<JSHelperProcess> helper);

    /// Starts the zygote and one idle helper ahead of need, without waiting for either to load.
    /// Returns false (and logs) when the helper cannot start.
    bool prewarm();

    std::size_t idleCount() const;
    /// The zygote's pid, or -1 when none runs.
    pid_t zygotePid() const { return zygote_ ? zygote_->pid() : -1; }
    const JSHelperLaunch& launch() const { return launch_; }

  private:
    struct Idle {
        std::shared_ptr<JSHelperProcess> helper;
        Timestamp since;
    };
    std::shared_ptr<JSHelperProcess> startHelper();
    std::shared_ptr<JSHelperProcess> launchDirectly();
    void keepIdle(std::shared_ptr<JSHelperProcess> helper);
    void scheduleRetirementLocked(Timestamp due);
    void retireExpired();

    const JSHelperLaunch launch_;
    const JSHelperPoolOptions options_;
    Executor& timers_;
    JSHelperProcessLauncher launcher_;
    std::unique_ptr<JSHelperProcessZygote> zygote_;
    std::atomic<std::size_t> zygoteFailures_{0};
    mutable std::mutex mutex_;
    std::vector<Idle> idle_;
    ScheduledTask retirement_;
};

}  // namespace wordloom
