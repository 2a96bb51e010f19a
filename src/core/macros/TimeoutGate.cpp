#include "core/macros/TimeoutGate.h"

#include <utility>

namespace wordloom {

bool TimeoutGate::finish() {
    std::lock_guard guard(lock_);
    return !std::exchange(finished_, true);
}

std::string TimeoutGate::withTimeout(Executor& timers, OwnedThreads& threads, Duration limit,
                                     std::exception_ptr timeoutError, Operation operation) {
    auto gate = std::make_shared<TimeoutGate>();
    std::future<std::string> result = gate->continuation_.get_future();
    // The thread is started before the timer: with no room, nothing was scheduled.
    std::promise<void> timerSet;
    auto timerReady = timerSet.get_future().share();
    const bool started = threads.start(
        [gate, timerReady, operation = std::move(operation)](std::stop_token ownerStop) {
            // Quitting stops the operation as a time-out does.
            std::stop_callback forward(ownerStop, [gate] { gate->operationStop_.request_stop(); });
            std::string value;
            std::exception_ptr error;
            try {
                value = operation(gate->operationStop_.get_token());
            } catch (...) {
                error = std::current_exception();
            }
            timerReady.wait();
            if (!gate->finish()) {
                return;
            }
            gate->timer_.cancel();
            if (error) {
                gate->continuation_.set_exception(error);
            } else {
                gate->continuation_.set_value(std::move(value));
            }
        });
    if (!started) {
        std::rethrow_exception(timeoutError);
    }
    gate->timer_ = timers.postAfter(limit, [gate, timeoutError] {
        if (gate->finish()) {
            gate->operationStop_.request_stop();
            gate->continuation_.set_exception(timeoutError);
        }
    });
    timerSet.set_value();
    return result.get();
}

}  // namespace wordloom
