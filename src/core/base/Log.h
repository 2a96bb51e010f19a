#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace wordloom {

/// The subsystem every log line is filed under.
inline constexpr std::string_view kLogSubsystem = "com.corvelindahl.Wordloom";

enum class LogLevel { debug, info, error };

struct LogRecord {
    LogLevel level;
    std::string_view category;
    std::string_view message;
};

/// Where log lines go. The default writes to stderr; tests install one that records.
class LogSink {
  public:
    virtual ~LogSink() = default;
    virtual void write(const LogRecord& record) = 0;
};

/// Process-wide logging configuration: the sink, whether debug lines are wanted (the
/// `debugLoggingEnabled` setting), and the lowest level that reaches the sink.
namespace logging {
/// Installs `sink` (nullptr restores the stderr sink) and returns the previous one.
std::shared_ptr<LogSink> setSink(std::shared_ptr<LogSink> sink);
void setDebugEnabled(bool enabled);
void setMinimumLevel(LogLevel level);
}  // namespace logging

/// A logger for one category (by convention the class, or "Class.operation").
class Logger {
  public:
    explicit Logger(std::string category) : category_(std::move(category)) {}

    void debug(std::string_view message) const;
    void info(std::string_view message) const;
    void error(std::string_view message) const;

    const std::string& category() const { return category_; }

  private:
    void write(LogLevel level, std::string_view message) const;

    std::string category_;
};

}  // namespace wordloom
