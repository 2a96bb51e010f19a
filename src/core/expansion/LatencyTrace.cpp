#include "core/expansion/LatencyTrace.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>

#include "core/base/Log.h"

namespace wordloom::latencyTrace {

namespace {

std::atomic<bool> traceEnabled{false};
std::atomic<std::int64_t> originNanoseconds{0};

std::int64_t nowNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

const Logger& logger() {
    static const Logger instance("Latency");
    return instance;
}

void write(std::string_view stage, std::int64_t now, std::int64_t origin, const char* extra) {
    char line[160];
    std::snprintf(line, sizeof line, "%.*s at %.3f ms (+%.3f ms)%s",
                  static_cast<int>(std::min<std::size_t>(stage.size(), 80)), stage.data(),
                  static_cast<double>(now) / 1e6, static_cast<double>(now - origin) / 1e6, extra);
    logger().debug(line);
}

}  // namespace

bool enabled() {
    return traceEnabled.load(std::memory_order_relaxed);
}

void setEnabled(bool enabled) {
    traceEnabled.store(enabled, std::memory_order_relaxed);
}

void keyArrived(std::uint32_t serverMilliseconds) {
    if (!enabled()) {
        return;
    }
    const auto now = nowNanoseconds();
    originNanoseconds.store(now, std::memory_order_relaxed);
    char extra[64] = "";
    if (serverMilliseconds != 0) {
        // The server's clock is CLOCK_MONOTONIC in milliseconds, wrapping every 49 days.
        const auto nowMilliseconds = static_cast<std::uint32_t>(now / 1'000'000);
        const auto queued = static_cast<std::int32_t>(nowMilliseconds - serverMilliseconds);
        std::snprintf(extra, sizeof extra, ", %d ms after the server saw it", queued);
    }
    write("key arrived", now, now, extra);
}

void mark(std::string_view stage) {
    if (!enabled()) {
        return;
    }
    write(stage, nowNanoseconds(), originNanoseconds.load(std::memory_order_relaxed), "");
}

}  // namespace wordloom::latencyTrace
