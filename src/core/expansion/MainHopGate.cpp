#include "core/expansion/MainHopGate.h"

#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <memory>

#include "core/base/Log.h"

namespace wordloom {

namespace {

struct HopCompletion {
    MainHopGate gate;
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
};

}  // namespace

bool MainHopGate::tryStart() {
    std::lock_guard lock(lock_);
    if (state_ != State::pending) {
        return false;
    }
    state_ = State::running;
    return true;
}

bool MainHopGate::cancelIfPending() {
    std::lock_guard lock(lock_);
    if (state_ != State::pending) {
        return false;
    }
    state_ = State::cancelled;
    return true;
}

MainHopGate::State MainHopGate::state() const {
    std::lock_guard lock(lock_);
    return state_;
}

bool MainHopGate::run(const Poster& post, std::function<void()> work, Duration limit) {
    auto completion = std::make_shared<HopCompletion>();
    post([completion, work = std::move(work)] {
        if (completion->gate.tryStart()) {
            try {
                work();
            } catch (const std::exception& error) {
                Logger("MainHopGate").error(std::string("Main-queue work failed: ") + error.what());
            }
        }
        {
            std::lock_guard lock(completion->mutex);
            completion->done = true;
        }
        completion->finished.notify_all();
    });

    std::unique_lock lock(completion->mutex);
    if (completion->finished.wait_for(lock, limit, [&] { return completion->done; })) {
        return true;
    }
    if (completion->gate.cancelIfPending()) {
        return false;
    }
    // Started just before the deadline: it will finish, and its effects must be waited for.
    completion->finished.wait(lock, [&] { return completion->done; });
    return true;
}

ExecutorMainQueueHop::ExecutorMainQueueHop(Executor& executor, Duration limit)
    : executor_(executor), limit_(limit), mainThread_(std::this_thread::get_id()) {}

bool ExecutorMainQueueHop::run(std::function<void()> work) {
    if (std::this_thread::get_id() == mainThread_) {
        Logger("MainHopGate").error("A main-queue hop was requested from the main queue");
        std::abort();
    }
    return MainHopGate::run([this](std::function<void()> task) { executor_.post(std::move(task)); },
                            std::move(work), limit_);
}

}  // namespace wordloom
