#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "core/base/Executor.h"

namespace wordloom {

/// Runs tasks one at a time, in submission order, on the executor's background pool. A task
/// starts only after the previous one has finished, however many pool threads there are.
///
/// Tasks already submitted still run after the queue object is destroyed (they must not
/// reach back into their submitter without checking it is alive). The executor must outlive
/// them.
class SerialBackgroundQueue {
  public:
    using Task = Executor::Task;

    SerialBackgroundQueue(Executor& executor, std::string label);
    SerialBackgroundQueue(const SerialBackgroundQueue&) = delete;
    SerialBackgroundQueue& operator=(const SerialBackgroundQueue&) = delete;

    void submit(Task task);

    const std::string& label() const { return label_; }

  private:
    struct State {
        std::mutex mutex;
        std::deque<Task> tasks;
        bool draining = false;
    };

    static void runNext(Executor& executor, const std::shared_ptr<State>& state);

    Executor& executor_;
    std::string label_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace wordloom
