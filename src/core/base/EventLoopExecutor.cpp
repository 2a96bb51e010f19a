#include "core/base/EventLoopExecutor.h"

#include <algorithm>

namespace wordloom {

EventLoopExecutor::EventLoopExecutor(std::size_t backgroundThreads) {
    const std::size_t count = std::max<std::size_t>(1, backgroundThreads);
    for (std::size_t i = 0; i < count; ++i) {
        pool_.emplace_back([this] { backgroundLoop(); });
    }
}

EventLoopExecutor::~EventLoopExecutor() {
    {
        std::lock_guard lock(mutex_);
        shuttingDown_ = true;
        backgroundQueue_.clear();
    }
    backgroundWake_.notify_all();
    for (auto& thread : pool_) {
        thread.join();
    }
}

Timestamp EventLoopExecutor::now() const {
    return std::chrono::system_clock::now();
}

void EventLoopExecutor::post(Task task) {
    {
        std::lock_guard lock(mutex_);
        mainQueue_.push_back(std::move(task));
    }
    mainWake_.notify_all();
}

ScheduledTask EventLoopExecutor::postAfter(Duration delay, Task task) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    {
        std::lock_guard lock(mutex_);
        timers_.push_back(
            Timer{std::chrono::steady_clock::now() + std::max(delay, Duration::zero()),
                  nextSequence_++, cancelled, std::move(task)});
    }
    mainWake_.notify_all();
    return ScheduledTask(cancelled);
}

void EventLoopExecutor::runInBackground(Task task) {
    {
        std::lock_guard lock(mutex_);
        backgroundQueue_.push_back(std::move(task));
    }
    backgroundWake_.notify_one();
}

void EventLoopExecutor::backgroundLoop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        backgroundWake_.wait(lock, [this] { return shuttingDown_ || !backgroundQueue_.empty(); });
        if (shuttingDown_) {
            return;
        }
        Task task = std::move(backgroundQueue_.front());
        backgroundQueue_.pop_front();
        ++backgroundRunning_;
        lock.unlock();
        task();
        lock.lock();
        --backgroundRunning_;
        mainWake_.notify_all();  // runUntilIdle() watches the pool
    }
}

bool EventLoopExecutor::isIdleLocked() const {
    const bool timersPending = std::any_of(timers_.begin(), timers_.end(), [](const Timer& timer) {
        return !timer.cancelled->load();
    });
    return mainQueue_.empty() && !timersPending && backgroundQueue_.empty() &&
           backgroundRunning_ == 0;
}

bool EventLoopExecutor::runOne(std::unique_lock<std::mutex>& lock, SteadyTime until,
                               bool returnWhenIdle) {
    for (;;) {
        std::erase_if(timers_, [](const Timer& timer) { return timer.cancelled->load(); });
        if (stopRequested_) {
            stopRequested_ = false;  // one stop() ends one loop, whenever it was asked for
            return false;
        }
        if (returnWhenIdle && isIdleLocked()) {
            return false;
        }
        if (!mainQueue_.empty()) {
            Task task = std::move(mainQueue_.front());
            mainQueue_.pop_front();
            lock.unlock();
            task();
            lock.lock();
            return true;
        }
        const auto nowTime = std::chrono::steady_clock::now();
        auto due =
            std::min_element(timers_.begin(), timers_.end(), [](const Timer& a, const Timer& b) {
                return a.deadline != b.deadline ? a.deadline < b.deadline : a.sequence < b.sequence;
            });
        if (due != timers_.end() && due->deadline <= nowTime) {
            Task task = std::move(due->task);
            timers_.erase(due);
            lock.unlock();
            task();
            lock.lock();
            return true;
        }
        if (nowTime >= until) {
            return false;
        }
        const SteadyTime wakeAt = (due != timers_.end()) ? std::min(until, due->deadline) : until;
        mainWake_.wait_until(lock, wakeAt);
    }
}

void EventLoopExecutor::run() {
    std::unique_lock lock(mutex_);
    while (runOne(lock, SteadyTime::max(), false)) {
    }
}

void EventLoopExecutor::stop() {
    {
        std::lock_guard lock(mutex_);
        stopRequested_ = true;
    }
    mainWake_.notify_all();
}

bool EventLoopExecutor::runUntil(const std::function<bool()>& done, Duration timeout) {
    const auto until = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(mutex_);
    for (;;) {
        lock.unlock();
        const bool finished = done();
        lock.lock();
        if (finished) {
            return true;
        }
        if (!runOne(lock, until, false)) {
            return false;
        }
    }
}

bool EventLoopExecutor::runUntilIdle(Duration timeout) {
    const auto until = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(mutex_);
    while (runOne(lock, until, true)) {
    }
    return isIdleLocked();
}

}  // namespace wordloom
