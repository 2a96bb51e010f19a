#include "core/base/ManualExecutor.h"

#include <algorithm>

namespace wordloom {

ManualExecutor::ManualExecutor(Timestamp start) : now_(start) {}

Timestamp ManualExecutor::defaultStart() {
    using namespace std::chrono;
    return sys_days{year{2026} / January / 15} + hours{10};
}

Timestamp ManualExecutor::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void ManualExecutor::post(Task task) {
    std::lock_guard lock(mutex_);
    mainQueue_.push_back(std::move(task));
}

ScheduledTask ManualExecutor::postAfter(Duration delay, Task task) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    std::lock_guard lock(mutex_);
    const auto deadline =
        now_ + std::chrono::duration_cast<Timestamp::duration>(std::max(delay, Duration::zero()));
    timers_.push_back(Timer{deadline, nextSequence_++, cancelled, std::move(task)});
    return ScheduledTask(cancelled);
}

void ManualExecutor::runInBackground(Task task) {
    std::lock_guard lock(mutex_);
    backgroundQueue_.push_back(std::move(task));
}

std::size_t ManualExecutor::runMain() {
    std::size_t count = 0;
    for (;;) {
        Task task;
        {
            std::lock_guard lock(mutex_);
            if (mainQueue_.empty()) {
                return count;
            }
            task = std::move(mainQueue_.front());
            mainQueue_.pop_front();
        }
        task();
        ++count;
    }
}

std::size_t ManualExecutor::runBackground() {
    std::deque<Task> batch;
    {
        std::lock_guard lock(mutex_);
        batch.swap(backgroundQueue_);
    }
    for (auto& task : batch) {
        task();
    }
    return batch.size();
}

bool ManualExecutor::fireNextDueTimer() {
    Task task;
    {
        std::lock_guard lock(mutex_);
        std::erase_if(timers_, [](const Timer& timer) { return timer.cancelled->load(); });
        auto due =
            std::min_element(timers_.begin(), timers_.end(), [](const Timer& a, const Timer& b) {
                return a.deadline != b.deadline ? a.deadline < b.deadline : a.sequence < b.sequence;
            });
        if (due == timers_.end() || due->deadline > now_) {
            return false;
        }
        task = std::move(due->task);
        timers_.erase(due);
    }
    task();
    return true;
}

void ManualExecutor::runUntilIdle() {
    for (;;) {
        const std::size_t ran = runMain() + runBackground();
        if (ran == 0 && !fireNextDueTimer()) {
            return;
        }
    }
}

void ManualExecutor::advance(Duration delta) {
    Timestamp target;
    {
        std::lock_guard lock(mutex_);
        target = now_ + std::chrono::duration_cast<Timestamp::duration>(delta);
    }
    runUntilIdle();
    for (;;) {
        Timestamp nextDeadline = target;
        {
            std::lock_guard lock(mutex_);
            for (const auto& timer : timers_) {
                if (!timer.cancelled->load() && timer.deadline < nextDeadline) {
                    nextDeadline = timer.deadline;
                }
            }
            now_ = std::max(now_, nextDeadline);
        }
        runUntilIdle();
        if (nextDeadline >= target) {
            return;
        }
    }
}

std::size_t ManualExecutor::pendingTimerCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(timers_.begin(), timers_.end(),
                      [](const Timer& timer) { return !timer.cancelled->load(); }));
}

std::size_t ManualExecutor::pendingBackgroundCount() const {
    std::lock_guard lock(mutex_);
    return backgroundQueue_.size();
}

}  // namespace wordloom
