#include "core/base/Log.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace wordloom {
namespace {

class StderrSink final : public LogSink {
  public:
    void write(const LogRecord& record) override {
        static constexpr const char* kLevelNames[] = {"debug", "info", "error"};
        std::fprintf(stderr, "wordloom[%s] %s: %.*s\n", kLevelNames[static_cast<int>(record.level)],
                     std::string(record.category).c_str(), static_cast<int>(record.message.size()),
                     record.message.data());
    }
};

struct LogState {
    std::mutex mutex;
    std::shared_ptr<LogSink> sink = std::make_shared<StderrSink>();
    std::atomic<bool> debugEnabled{false};
    std::atomic<int> minimumLevel{static_cast<int>(LogLevel::info)};
};

LogState& state() {
    static LogState instance;
    return instance;
}

}  // namespace

namespace logging {

std::shared_ptr<LogSink> setSink(std::shared_ptr<LogSink> sink) {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    auto previous = std::move(s.sink);
    s.sink = sink ? std::move(sink) : std::make_shared<StderrSink>();
    return previous;
}

void setDebugEnabled(bool enabled) {
    state().debugEnabled = enabled;
}

void setMinimumLevel(LogLevel level) {
    state().minimumLevel = static_cast<int>(level);
}

}  // namespace logging

void Logger::debug(std::string_view message) const {
    if (state().debugEnabled) {
        write(LogLevel::debug, message);
    }
}

void Logger::info(std::string_view message) const {
    write(LogLevel::info, message);
}

void Logger::error(std::string_view message) const {
    write(LogLevel::error, message);
}

void Logger::write(LogLevel level, std::string_view message) const {
    auto& s = state();
    if (level != LogLevel::debug && static_cast<int>(level) < s.minimumLevel) {
        return;
    }
    std::shared_ptr<LogSink> sink;
    {
        std::lock_guard lock(s.mutex);
        sink = s.sink;
    }
    sink->write(LogRecord{level, category_, message});
}

}  // namespace wordloom
