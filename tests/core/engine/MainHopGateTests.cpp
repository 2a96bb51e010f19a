#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "core/expansion/MainHopGate.h"

namespace wordloom {
namespace {

using std::chrono::hours;

TEST(MainHopGateTests, StateMovesOnlyFromPending) {
    MainHopGate started;
    EXPECT_TRUE(started.tryStart());
    EXPECT_FALSE(started.cancelIfPending());
    EXPECT_EQ(started.state(), MainHopGate::State::running);

    MainHopGate cancelled;
    EXPECT_TRUE(cancelled.cancelIfPending());
    EXPECT_FALSE(cancelled.tryStart());
    EXPECT_EQ(cancelled.state(), MainHopGate::State::cancelled);
}

TEST(MainHopGateTests, WorkTakenByTheMainQueueRunsAndIsReported) {
    int runs = 0;
    // The "main queue" runs the task on another thread right away.
    std::thread main;
    const bool ran =
        MainHopGate::run([&](std::function<void()> task) { main = std::thread(std::move(task)); },
                         [&] { ++runs; }, hours(1));
    main.join();
    EXPECT_TRUE(ran);
    EXPECT_EQ(runs, 1);
}

TEST(MainHopGateTests, WorkNotStartedByTheDeadlineNeverRuns) {
    std::function<void()> held;
    int runs = 0;
    const bool ran = MainHopGate::run([&](std::function<void()> task) { held = std::move(task); },
                                      [&] { ++runs; }, Duration::zero());
    EXPECT_FALSE(ran);
    held();  // the main queue gets to it late
    EXPECT_EQ(runs, 0);
}

TEST(MainHopGateTests, WorkStartedBeforeTheDeadlineIsWaitedFor) {
    std::promise<void> started;
    const auto startedFuture = started.get_future().share();
    std::promise<void> release;
    std::thread main;
    bool finished = false;
    auto waiter = std::async(std::launch::async, [&] {
        // The main queue takes the work before the waiter looks at the (zero) deadline.
        return MainHopGate::run(
            [&](std::function<void()> task) {
                main = std::thread(std::move(task));
                startedFuture.wait();
            },
            [&] {
                started.set_value();
                release.get_future().wait();
                finished = true;
            },
            Duration::zero());
    });
    startedFuture.wait();
    release.set_value();
    EXPECT_TRUE(waiter.get());
    EXPECT_TRUE(finished);
    main.join();
}

}  // namespace
}  // namespace wordloom
