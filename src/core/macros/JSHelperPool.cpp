#include "core/macros/JSHelperPool.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "core/base/Log.h"

namespace wordloom {
namespace {

// After this many zygote failures in a row the pool starts helpers directly: a zygote that keeps
// failing would only add its own time-out to every cold start.
constexpr std::size_t kMaxZygoteFailures = 3;

const Logger& logger() {
    static const Logger instance("JSHelperPool");
    return instance;
}

}  // namespace

JSHelperPool::JSHelperPool(JSHelperLaunch launch, JSHelperPoolOptions options, Executor& timers)
    : launch_(std::move(launch)),
      options_(options),
      timers_(timers),
      zygote_(options_.useZygote ? std::make_unique<JSHelperProcessZygote>(launch_, launcher_)
                                 : nullptr) {}

JSHelperPool::~JSHelperPool() {
    std::vector<Idle> idle;
    {
        std::lock_guard lock(mutex_);
        retirement_.cancel();
        idle.swap(idle_);
    }
    for (auto& entry : idle) {
        entry.helper->kill();
    }
}

std::shared_ptr<JSHelperProcess> JSHelperPool::take() {
    {
        std::lock_guard lock(mutex_);
        while (!idle_.empty()) {
            std::shared_ptr<JSHelperProcess> helper = std::move(idle_.back().helper);
            idle_.pop_back();
            if (helper->isReusable()) {
                return helper;
            }
        }
    }
    return startHelper();
}

std::shared_ptr<JSHelperProcess> JSHelperPool::startHelper() {
    if (zygote_ && zygoteFailures_ < kMaxZygoteFailures) {
        if (std::shared_ptr<JSHelperProcess> helper = zygote_->fork()) {
            zygoteFailures_ = 0;
            return helper;
        }
        if (++zygoteFailures_ == kMaxZygoteFailures) {
            logger().error("the helper zygote keeps failing; starting helpers directly");
        }
    }
    return launchDirectly();
}

std::shared_ptr<JSHelperProcess> JSHelperPool::launchDirectly() {
    std::shared_ptr<JSHelperProcess> helper;
    launcher_.run([&] { helper = JSHelperProcess::launch(launch_); });
    return helper;
}

void JSHelperPool::giveBack(std::shared_ptr<JSHelperProcess> helper) {
    if (helper->isReusable() && helper->completedRequests() < options_.maxRunsPerHelper) {
        keepIdle(std::move(helper));
        return;
    }
    helper->kill();
}

void JSHelperPool::keepIdle(std::shared_ptr<JSHelperProcess> helper) {
    {
        std::lock_guard lock(mutex_);
        if (idle_.size() < options_.maxIdle) {
            const Timestamp now = timers_.now();
            idle_.push_back(Idle{std::move(helper), now});
            if (retirement_.isCancelled()) {
                scheduleRetirementLocked(now + options_.idleLifetime);
            }
            return;
        }
    }
    helper->kill();
}

void JSHelperPool::scheduleRetirementLocked(Timestamp due) {
    retirement_ = timers_.postAfter(std::max(Duration::zero(), due - timers_.now()),
                                    [this] { retireExpired(); });
}

void JSHelperPool::retireExpired() {
    std::vector<std::shared_ptr<JSHelperProcess>> expired;
    {
        std::lock_guard lock(mutex_);
        retirement_ = ScheduledTask();
        const Timestamp now = timers_.now();
        std::optional<Timestamp> nextDue;
        auto kept = idle_.begin();
        for (auto& entry : idle_) {
            const Timestamp due = entry.since + options_.idleLifetime;
            if (due <= now) {
                expired.push_back(std::move(entry.helper));
            } else {
                nextDue = nextDue ? std::min(*nextDue, due) : due;
                *kept++ = std::move(entry);
            }
        }
        idle_.erase(kept, idle_.end());
        if (nextDue) {
            scheduleRetirementLocked(*nextDue);
        }
    }
    if (!expired.empty()) {
        logger().debug("stopping " + std::to_string(expired.size()) + " idle script helper(s)");
    }
    for (auto& helper : expired) {
        helper->kill();
    }
}

bool JSHelperPool::prewarm() {
    if (zygote_) {
        zygote_->start();
    }
    // Started directly rather than from the zygote: that returns at once, while the first fork
    // would wait for the zygote to finish loading.
    try {
        keepIdle(launchDirectly());
        return true;
    } catch (const std::exception& error) {
        logger().error(std::string("cannot start the script helper: ") + error.what());
        return false;
    }
}

std::size_t JSHelperPool::idleCount() const {
    std::lock_guard lock(mutex_);
    return idle_.size();
}

}  // namespace wordloom
