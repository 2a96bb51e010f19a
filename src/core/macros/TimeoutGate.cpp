#include "core/macros/TimeoutGate.h"

#include <thread>
#include <utility>

namespace wordloom {

bool TimeoutGate::finish() {
    std::lock_guard guard(lock_);
    return !std::exchange(finished_, true);
}

std::string TimeoutGate::withTimeout(Executor& timers, Duration limit,
                                     std::exception_ptr timeoutError, Operation operation) {
    auto gate = std::make_shared<TimeoutGate>();
    std::future<std::string> result = gate->continuation_.get_future();
    gate->timer_ = timers.postAfter(limit, [gate, timeoutError] {
        if (gate->finish()) {
            gate->operationStop_.request_stop();
            gate->continuation_.set_exception(timeoutError);
        }
    });
    // Detached: an operation that ignores its stop token must not hold the caller past the limit.
    std::thread([gate, operation = std::move(operation)] {
        std::string value;
        std::exception_ptr error;
        try {
            value = operation(gate->operationStop_.get_token());
        } catch (...) {
            error = std::current_exception();
        }
        if (!gate->finish()) {
            return;
        }
        gate->timer_.cancel();
        if (error) {
            gate->continuation_.set_exception(error);
        } else {
            gate->continuation_.set_value(std::move(value));
        }
    }).detach();
    return result.get();
}

}  // namespace wordloom
