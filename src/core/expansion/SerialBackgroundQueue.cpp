#include "core/expansion/SerialBackgroundQueue.h"

#include <exception>

#include "core/base/Log.h"

namespace wordloom {

SerialBackgroundQueue::SerialBackgroundQueue(Executor& executor, std::string label)
    : executor_(executor), label_(std::move(label)) {}

void SerialBackgroundQueue::submit(Task task) {
    {
        std::lock_guard lock(state_->mutex);
        state_->tasks.push_back(std::move(task));
        if (state_->draining) {
            return;  // the running drain picks it up
        }
        state_->draining = true;
    }
    runNext(executor_, state_);
}

void SerialBackgroundQueue::runNext(Executor& executor, const std::shared_ptr<State>& state) {
    // One pool task per queued task: a long queue never holds a pool thread for long, and the
    // next task is only handed to the pool once this one is done.
    executor.runInBackground([&executor, state] {
        Task task;
        {
            std::lock_guard lock(state->mutex);
            task = std::move(state->tasks.front());
            state->tasks.pop_front();
        }
        try {
            task();
        } catch (const std::exception& error) {
            // A failed task must not stall the ones behind it.
            Logger("SerialBackgroundQueue")
                .error(std::string("Background task failed: ") + error.what());
        }
        {
            std::lock_guard lock(state->mutex);
            if (state->tasks.empty()) {
                state->draining = false;
                return;
            }
        }
        runNext(executor, state);
    });
}

}  // namespace wordloom
