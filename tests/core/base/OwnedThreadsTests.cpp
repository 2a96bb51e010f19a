#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>

#include "core/base/OwnedThreads.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;

TEST(OwnedThreadsTests, NoMoreThanTheLimitRunAndAnEndedOneMakesRoom) {
    OwnedThreads threads(2);
    std::promise<void> release;
    const auto released = release.get_future().share();
    EXPECT_TRUE(threads.start([released](std::stop_token) { released.wait(); }));
    EXPECT_TRUE(threads.start([released](std::stop_token) { released.wait(); }));
    bool thirdRan = false;
    EXPECT_FALSE(threads.start([&](std::stop_token) { thirdRan = true; }));
    EXPECT_EQ(threads.running(), 2u);

    release.set_value();
    ASSERT_TRUE(threads.stopAndJoin(milliseconds(10000)));
    EXPECT_EQ(threads.running(), 0u);
    EXPECT_FALSE(thirdRan);
}

TEST(OwnedThreadsTests, StoppingAsksEveryThreadToStopAndRefusesNewOnes) {
    OwnedThreads threads(4);
    std::atomic<int> stopped{0};
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(threads.start([&](std::stop_token stop) {
            while (!stop.stop_requested()) {
                std::this_thread::yield();
            }
            stopped.fetch_add(1);
        }));
    }
    EXPECT_TRUE(threads.stopAndJoin(milliseconds(10000)));
    EXPECT_EQ(stopped.load(), 3);
    EXPECT_FALSE(threads.start([](std::stop_token) {}));
}

TEST(OwnedThreadsTests, AThreadThatIgnoresStoppingIsReportedAndStillJoinedLater) {
    std::promise<void> release;
    const auto released = release.get_future().share();
    bool ended = false;
    {
        OwnedThreads threads(1);
        ASSERT_TRUE(threads.start([&, released](std::stop_token) {
            released.wait();
            ended = true;
        }));
        EXPECT_FALSE(threads.stopAndJoin(milliseconds(20)));
        EXPECT_EQ(threads.running(), 1u);
        release.set_value();
    }  // the destructor waits for it
    EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace wordloom
