#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "core/expansion/LatencyTrace.h"
#include "support/RecordingLogSink.h"

namespace wordloom {
namespace {

// scripts/measure-desktop lines these up with its own clock: "<stage> at <ms> (+<ms>)".
const std::regex traceLine(R"(^(.+) at ([0-9]+\.[0-9]{3}) ms \(\+([0-9]+\.[0-9]{3}) ms\)(.*)$)");

struct TraceScope {
    explicit TraceScope(bool enabled) {
        logging::setDebugEnabled(enabled);
        latencyTrace::setEnabled(enabled);
    }
    ~TraceScope() {
        logging::setDebugEnabled(false);
        latencyTrace::setEnabled(false);
    }
};

TEST(LatencyTraceTests, StagesAreStampedOnTheMonotonicClockFromTheKeyThatStartedThem) {
    test::RecordingLogSink log;
    TraceScope scope(true);
    const auto nowMilliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    latencyTrace::keyArrived(static_cast<std::uint32_t>(nowMilliseconds.count()));
    latencyTrace::mark("paste keystroke down");

    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    std::smatch key;
    std::smatch paste;
    ASSERT_TRUE(std::regex_match(lines[0].message, key, traceLine)) << lines[0].message;
    ASSERT_TRUE(std::regex_match(lines[1].message, paste, traceLine)) << lines[1].message;
    EXPECT_EQ(lines[0].category, "Latency");
    EXPECT_EQ(key[1], "key arrived");
    EXPECT_EQ(key[3], "0.000");
    EXPECT_NE(key[4].str().find("after the server saw it"), std::string::npos);
    EXPECT_EQ(paste[1], "paste keystroke down");
    const double keyAt = std::stod(key[2]);
    const double pasteAt = std::stod(paste[2]);
    EXPECT_GE(pasteAt, keyAt);
    EXPECT_NEAR(std::stod(paste[3]), pasteAt - keyAt, 0.002);
    EXPECT_NEAR(keyAt, static_cast<double>(nowMilliseconds.count()), 1000.0);
}

TEST(LatencyTraceTests, NothingIsWrittenUnlessTracingAndDebugLoggingAreOn) {
    test::RecordingLogSink log;
    {
        TraceScope scope(false);
        latencyTrace::keyArrived(0);
        latencyTrace::mark("expansion began");
    }
    {
        TraceScope scope(true);
        logging::setDebugEnabled(false);  // tracing alone is not enough
        latencyTrace::mark("expansion began");
    }
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace wordloom
