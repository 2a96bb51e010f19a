#include "core/macros/RunnerSlots.h"

#include <algorithm>

namespace wordloom {

bool RunnerSlots::acquireOrWait(WaiterId id, std::function<void()> onGranted) {
    std::lock_guard lock(mutex_);
    if (available_ > 0 && waiters_.empty()) {
        --available_;
        return true;
    }
    waiters_.push_back(Waiter{id, std::move(onGranted)});
    return false;
}

bool RunnerSlots::cancelWait(WaiterId id) {
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(waiters_.begin(), waiters_.end(),
                                    [id](const Waiter& waiter) { return waiter.id == id; });
    if (found == waiters_.end()) {
        return false;
    }
    waiters_.erase(found);
    return true;
}

void RunnerSlots::release() {
    std::function<void()> grant;
    {
        std::lock_guard lock(mutex_);
        if (waiters_.empty()) {
            ++available_;
            return;
        }
        grant = std::move(waiters_.front().onGranted);
        waiters_.pop_front();
    }
    grant();
}

std::size_t RunnerSlots::available() const {
    std::lock_guard lock(mutex_);
    return available_;
}

std::size_t RunnerSlots::waiting() const {
    std::lock_guard lock(mutex_);
    return waiters_.size();
}

}  // namespace wordloom
