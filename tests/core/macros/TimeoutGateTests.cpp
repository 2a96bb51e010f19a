#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "core/base/EventLoopExecutor.h"
#include "core/macros/TimeoutGate.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;

struct TimersRig {
    TimersRig() : thread([this] { timers.run(); }) {}
    ~TimersRig() {
        timers.stop();
        thread.join();
    }
    EventLoopExecutor timers{1};
    std::thread thread;
};

std::exception_ptr timedOut() {
    return std::make_exception_ptr(std::runtime_error("timed out"));
}

TEST(TimeoutGateTests, AnOperationPastItsLimitKeepsItsOwnedThreadUntilItEnds) {
    TimersRig rig;
    OwnedThreads threads(1);
    std::promise<void> release;
    const auto released = release.get_future().share();
    EXPECT_THROW(TimeoutGate::withTimeout(rig.timers, threads, milliseconds(10), timedOut(),
                                          [released](std::stop_token) {
                                              released.wait();  // ignores its stop token
                                              return std::string("late");
                                          }),
                 std::runtime_error);
    // Still running, it holds the only place: the next request times out at once rather than
    // starting another thread.
    EXPECT_EQ(threads.running(), 1u);
    EXPECT_THROW(TimeoutGate::withTimeout(rig.timers, threads, std::chrono::hours(1), timedOut(),
                                          [](std::stop_token) { return std::string("x"); }),
                 std::runtime_error);
    release.set_value();
    EXPECT_TRUE(threads.stopAndJoin(milliseconds(10000)));
}

TEST(TimeoutGateTests, QuittingStopsAWaitingOperationThroughItsStopToken) {
    TimersRig rig;
    OwnedThreads threads(1);
    auto request = std::async(std::launch::async, [&] {
        return TimeoutGate::withTimeout(rig.timers, threads, std::chrono::hours(1), timedOut(),
                                        [](std::stop_token stop) {
                                            while (!stop.stop_requested()) {
                                                std::this_thread::sleep_for(milliseconds(1));
                                            }
                                            return std::string("stopped");
                                        });
    });
    while (threads.running() == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(threads.stopAndJoin(milliseconds(10000)));
    EXPECT_EQ(request.get(), "stopped");
}

}  // namespace
}  // namespace wordloom
