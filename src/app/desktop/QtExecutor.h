#pragma once

#include "core/base/Executor.h"

namespace wordloom {

/// The app's Executor: the main queue is Qt's event loop on the GUI thread, timers are Qt
/// timers there, and background work goes to Qt's global thread pool. Safe to call from any
/// thread.
class QtExecutor final : public Executor {
  public:
    Timestamp now() const override;
    void post(Task task) override;
    ScheduledTask postAfter(Duration delay, Task task) override;
    void runInBackground(Task task) override;
};

}  // namespace wordloom
