#include <gtest/gtest.h>

#include "core/base/ManualExecutor.h"
#include "core/expansion/TrustPoller.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;

TEST(TrustPollerTests, GrantNoticedByPollAndSignalRunsTheCallbackOnce) {
    ManualExecutor executor;
    bool trusted = false;
    int checks = 0;
    TrustPoller poller(executor, [&] {
        ++checks;
        return trusted;
    });
    int grants = 0;
    poller.setOnGranted([&] { ++grants; });
    EXPECT_FALSE(poller.isTrusted());
    EXPECT_TRUE(poller.isPolling());

    executor.advance(milliseconds(1499));
    EXPECT_EQ(checks, 1);
    executor.advance(milliseconds(1));
    EXPECT_EQ(checks, 2);

    trusted = true;
    EXPECT_TRUE(poller.recheck());  // the status signal arrives first
    executor.advance(milliseconds(3000));
    EXPECT_EQ(grants, 1);
    EXPECT_FALSE(poller.isPolling());
    EXPECT_TRUE(poller.isRestartingForAccessibility());

    // Revoked and granted again: the callback does not run a second time.
    trusted = false;
    poller.recheck();
    EXPECT_TRUE(poller.isPolling());
    trusted = true;
    executor.advance(milliseconds(1500));
    EXPECT_TRUE(poller.isTrusted());
    EXPECT_EQ(grants, 1);
}

TEST(TrustPollerTests, TrustedAtStartNeverPollsNorCallsTheGrantCallback) {
    ManualExecutor executor;
    TrustPoller poller(executor, [] { return true; });
    int grants = 0;
    poller.setOnGranted([&] { ++grants; });
    EXPECT_FALSE(poller.isPolling());
    executor.advance(milliseconds(5000));
    EXPECT_EQ(grants, 0);
}

}  // namespace
}  // namespace wordloom
