#include "core/expansion/MainHopGate.h"

#include <algorithm>
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
    bool threw = false;
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

HopOutcome MainHopGate::run(const Poster& post, std::function<void()> work, Duration limit,
                            const std::atomic<bool>* giveUp) {
    auto completion = std::make_shared<HopCompletion>();
    post([completion, work = std::move(work)] {
        bool threw = false;
        if (completion->gate.tryStart()) {
            // Whatever the work throws stays on this side: the main queue goes on, and the
            // waiter learns the work did not do what it was asked.
            try {
                work();
            } catch (const std::exception& error) {
                threw = true;
                Logger("MainHopGate").error(std::string("Main-queue work failed: ") + error.what());
            } catch (...) {
                threw = true;
                Logger("MainHopGate").error("Main-queue work failed with an unknown error");
            }
        }
        {
            std::lock_guard lock(completion->mutex);
            completion->threw = threw;
            completion->done = true;
        }
        completion->finished.notify_all();
    });

    std::unique_lock lock(completion->mutex);
    const auto isDone = [&] { return completion->done; };
    const auto deadline = std::chrono::steady_clock::now() + limit;
    bool done = false;
    if (giveUp) {
        constexpr auto slice = std::chrono::milliseconds(10);
        while (!(done = completion->finished.wait_for(
                     lock, std::min<Duration>(slice, deadline - std::chrono::steady_clock::now()),
                     isDone))) {
            if (giveUp->load() || std::chrono::steady_clock::now() >= deadline) {
                break;
            }
        }
    } else {
        done = completion->finished.wait_until(lock, deadline, isDone);
    }
    if (!done) {
        if (completion->gate.cancelIfPending()) {
            return HopOutcome::cancelled;
        }
        // Started just before the deadline: it will finish, and its effects must be waited for.
        completion->finished.wait(lock, isDone);
    }
    if (completion->gate.state() == State::cancelled) {
        return HopOutcome::cancelled;
    }
    return completion->threw ? HopOutcome::threw : HopOutcome::ran;
}

ExecutorMainQueueHop::ExecutorMainQueueHop(Executor& executor, Duration limit)
    : executor_(executor), limit_(limit), mainThread_(std::this_thread::get_id()) {}

void ExecutorMainQueueHop::close() {
    closed_.store(true);
}

HopOutcome ExecutorMainQueueHop::run(std::function<void()> work) {
    if (closed_.load()) {
        return HopOutcome::cancelled;
    }
    if (std::this_thread::get_id() == mainThread_) {
        Logger("MainHopGate").error("A main-queue hop was requested from the main queue");
        std::abort();
    }
    return MainHopGate::run([this](std::function<void()> task) { executor_.post(std::move(task)); },
                            std::move(work), limit_, &closed_);
}

}  // namespace wordloom
