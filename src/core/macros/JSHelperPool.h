#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "core/macros/JSHelperProcess.h"

namespace wordloom {

/// Keeps started helpers between scripts. Starting one costs a process and an engine start-up
/// (several milliseconds); handing a script to an idle one costs well under one.
class JSHelperPool {
  public:
    /// Keeps at most `maxIdle` idle helpers and retires a helper after `maxRunsPerHelper` scripts,
    /// which bounds what the engine's heap accumulates and lets a later helper see a changed time
    /// zone.
    JSHelperPool(JSHelperLaunch launch, std::size_t maxIdle, std::size_t maxRunsPerHelper);
    ~JSHelperPool();
    JSHelperPool(const JSHelperPool&) = delete;
    JSHelperPool& operator=(const JSHelperPool&) = delete;

    /// An idle helper, or a newly started one. Throws std::runtime_error when none can start.
    std::shared_ptr<JSHelperProcess> take();

    /// Keeps `helper` for a later script when it is healthy and there is room; else stops it.
    void giveBack(std::shared_ptr<JSHelperProcess> helper);

    /// Starts one helper ahead of need. Returns false (and logs) when it cannot start.
    bool prewarm();

    /// Starts a helper when none is idle, so the next script finds one ready. Starting returns as
    /// soon as the process exists; the engine starts up in parallel.
    void ensureSpare();

    std::size_t idleCount() const;
    const JSHelperLaunch& launch() const { return launch_; }

  private:
    const JSHelperLaunch launch_;
    const std::size_t maxIdle_;
    const std::size_t maxRunsPerHelper_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<JSHelperProcess>> idle_;
};

}  // namespace wordloom
