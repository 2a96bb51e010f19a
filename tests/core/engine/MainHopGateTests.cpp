#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
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
    const auto ran =
        MainHopGate::run([&](std::function<void()> task) { main = std::thread(std::move(task)); },
                         [&] { ++runs; }, hours(1));
    main.join();
    EXPECT_EQ(ran, HopOutcome::ran);
    EXPECT_EQ(runs, 1);
}

TEST(MainHopGateTests, WorkThatThrowsIsReportedApartFromWorkThatRan) {
    for (const bool standardError : {true, false}) {
        std::thread main;
        const auto outcome = MainHopGate::run(
            [&](std::function<void()> task) { main = std::thread(std::move(task)); },
            [&] {
                if (standardError) {
                    throw std::runtime_error("clipboard gone");
                }
                throw 42;
            },
            hours(1));
        main.join();
        EXPECT_EQ(outcome, HopOutcome::threw) << standardError;
    }
}

TEST(MainHopGateTests, AClosedHopGivesUpLongBeforeItsLimitAndTheWorkNeverRuns) {
    std::function<void()> held;
    std::atomic<bool> giveUp{false};
    int runs = 0;
    auto waiter = std::async(std::launch::async, [&] {
        return MainHopGate::run([&](std::function<void()> task) { held = std::move(task); },
                                [&] { ++runs; }, hours(1), &giveUp);
    });
    giveUp.store(true);
    // Would block for an hour if the waiter did not look at giveUp.
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(waiter.get(), HopOutcome::cancelled);
    held();
    EXPECT_EQ(runs, 0);
}

TEST(MainHopGateTests, WorkNotStartedByTheDeadlineNeverRuns) {
    std::function<void()> held;
    int runs = 0;
    const auto ran = MainHopGate::run([&](std::function<void()> task) { held = std::move(task); },
                                      [&] { ++runs; }, Duration::zero());
    EXPECT_EQ(ran, HopOutcome::cancelled);
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
    EXPECT_EQ(waiter.get(), HopOutcome::ran);
    EXPECT_TRUE(finished);
    main.join();
}

}  // namespace
}  // namespace wordloom
