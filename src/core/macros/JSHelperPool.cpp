#include "core/macros/JSHelperPool.h"

#include <stdexcept>

#include "core/base/Log.h"

namespace wordloom {

JSHelperPool::JSHelperPool(JSHelperLaunch launch, std::size_t maxIdle, std::size_t maxRunsPerHelper)
    : launch_(std::move(launch)), maxIdle_(maxIdle), maxRunsPerHelper_(maxRunsPerHelper) {}

JSHelperPool::~JSHelperPool() {
    std::vector<std::shared_ptr<JSHelperProcess>> idle;
    {
        std::lock_guard lock(mutex_);
        idle.swap(idle_);
    }
    for (auto& helper : idle) {
        helper->kill();
    }
}

std::shared_ptr<JSHelperProcess> JSHelperPool::take() {
    {
        std::lock_guard lock(mutex_);
        while (!idle_.empty()) {
            std::shared_ptr<JSHelperProcess> helper = std::move(idle_.back());
            idle_.pop_back();
            if (helper->isReusable()) {
                return helper;
            }
        }
    }
    return JSHelperProcess::launch(launch_);
}

void JSHelperPool::giveBack(std::shared_ptr<JSHelperProcess> helper) {
    if (helper->isReusable() && helper->completedRequests() < maxRunsPerHelper_) {
        std::lock_guard lock(mutex_);
        if (idle_.size() < maxIdle_) {
            idle_.push_back(std::move(helper));
            return;
        }
    }
    helper->kill();
}

bool JSHelperPool::prewarm() {
    try {
        auto helper = JSHelperProcess::launch(launch_);
        std::lock_guard lock(mutex_);
        if (idle_.size() < maxIdle_) {
            idle_.push_back(std::move(helper));
        } else {
            helper->kill();
        }
        return true;
    } catch (const std::exception& error) {
        Logger("JSHelperPool")
            .error(std::string("cannot start the script helper: ") + error.what());
        return false;
    }
}

void JSHelperPool::ensureSpare() {
    if (idleCount() == 0) {
        prewarm();
    }
}

std::size_t JSHelperPool::idleCount() const {
    std::lock_guard lock(mutex_);
    return idle_.size();
}

}  // namespace wordloom
