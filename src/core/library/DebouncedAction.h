#pragma once

#include <functional>

#include "core/base/Executor.h"

namespace wordloom {

/// Runs an action on the main queue once things have been quiet for `delay`: every schedule()
/// restarts the wait, so a burst of changes leads to one run. Main queue only.
class DebouncedAction {
  public:
    DebouncedAction(Executor& executor, Duration delay, std::function<void()> action)
        : executor_(executor), delay_(delay), action_(std::move(action)) {}
    ~DebouncedAction() { task_.cancel(); }
    DebouncedAction(const DebouncedAction&) = delete;
    DebouncedAction& operator=(const DebouncedAction&) = delete;

    void schedule() {
        task_.cancel();
        task_ = executor_.postAfter(delay_, [this] {
            task_ = ScheduledTask();
            action_();
        });
    }

    void cancel() {
        task_.cancel();
        task_ = ScheduledTask();
    }

    bool isPending() const { return task_.isValid() && !task_.isCancelled(); }

  private:
    Executor& executor_;
    Duration delay_;
    std::function<void()> action_;
    ScheduledTask task_;
};

/// How long the stores wait after the last change before they write.
inline constexpr Duration kSaveDebounce = std::chrono::milliseconds(500);

}  // namespace wordloom
