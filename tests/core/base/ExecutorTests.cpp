#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "core/base/EventLoopExecutor.h"
#include "core/base/ManualExecutor.h"

using namespace std::chrono_literals;
using wordloom::EventLoopExecutor;
using wordloom::ManualExecutor;

TEST(ManualExecutor, TimersFireInDeadlineOrderOnlyWhenTimeReachesThem) {
    ManualExecutor executor;
    std::vector<std::string> order;
    executor.postAfter(300ms, [&] { order.push_back("c"); });
    executor.postAfter(100ms, [&] { order.push_back("a"); });
    executor.postAfter(100ms, [&] { order.push_back("b"); });  // same deadline: posting order
    executor.advance(99ms);
    EXPECT_TRUE(order.empty());
    executor.advance(1ms);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b"}));
    executor.advance(1s);
    EXPECT_EQ(order.back(), "c");
}

TEST(ManualExecutor, ClockMovesWithAdvanceAndTimersSeeTheirOwnDeadline) {
    ManualExecutor executor;
    const auto start = executor.now();
    wordloom::Timestamp seenAt;
    executor.postAfter(250ms, [&] { seenAt = executor.now(); });
    executor.advance(1s);
    EXPECT_EQ(seenAt - start, 250ms);
    EXPECT_EQ(executor.now() - start, 1s);
}

TEST(ManualExecutor, CancelledTimerNeverRunsAndTimersPostedByTimersFireInTheSameAdvance) {
    ManualExecutor executor;
    int fired = 0;
    auto handle = executor.postAfter(100ms, [&] { ++fired; });
    handle.cancel();
    executor.postAfter(100ms, [&] { executor.postAfter(100ms, [&] { fired += 10; }); });
    EXPECT_EQ(executor.pendingTimerCount(), 1u);
    executor.advance(200ms);
    EXPECT_EQ(fired, 10);
}

TEST(ManualExecutor, BackgroundWorkWaitsForTheTestAndItsCompletionGoesToMain) {
    ManualExecutor executor;
    std::vector<std::string> order;
    executor.runInBackground([&] {
        order.push_back("background");
        executor.post([&] { order.push_back("main"); });
    });
    EXPECT_EQ(executor.runMain(), 0u);
    EXPECT_EQ(executor.runBackground(), 1u);
    EXPECT_EQ(order, std::vector<std::string>{"background"});
    executor.runUntilIdle();
    EXPECT_EQ(order, (std::vector<std::string>{"background", "main"}));
}

TEST(EventLoopExecutor, RunsBackgroundWorkAndDeliversResultsOnTheLoopThread) {
    EventLoopExecutor executor;
    const auto loopThread = std::this_thread::get_id();
    std::atomic<bool> ranInBackground{false};
    bool delivered = false;
    bool deliveredOnLoop = false;
    executor.runInBackground([&] {
        ranInBackground = std::this_thread::get_id() != loopThread;
        executor.post([&] {
            delivered = true;
            deliveredOnLoop = std::this_thread::get_id() == loopThread;
        });
    });
    ASSERT_TRUE(executor.runUntil([&] { return delivered; }, 10s));
    EXPECT_TRUE(ranInBackground);
    EXPECT_TRUE(deliveredOnLoop);
}

TEST(EventLoopExecutor, RunUntilIdleWaitsForTimersAndBackgroundTasksThatPostNothing) {
    EventLoopExecutor executor;
    std::atomic<int> count{0};
    executor.runInBackground([&] { ++count; });
    executor.postAfter(5ms, [&] { ++count; });
    auto cancelled = executor.postAfter(1h, [&] { count += 100; });
    cancelled.cancel();
    EXPECT_TRUE(executor.runUntilIdle(10s));
    EXPECT_EQ(count, 2);
}

TEST(EventLoopExecutor, RunUntilGivesUpAtTheTimeout) {
    EventLoopExecutor executor;
    EXPECT_FALSE(executor.runUntil([] { return false; }, 10ms));
}

TEST(EventLoopExecutor, AStopRequestedBeforeRunIsNotLost) {
    EventLoopExecutor executor;
    std::thread stopper([&] { executor.stop(); });
    stopper.join();
    executor.run();  // returns at once instead of waiting for a second stop()

    bool ranAfterRestart = false;
    executor.post([&] {
        ranAfterRestart = true;
        executor.stop();
    });
    executor.run();
    EXPECT_TRUE(ranAfterRestart);
}
