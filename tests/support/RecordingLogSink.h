#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/base/Log.h"

namespace wordloom::test {

/// Records log lines while it is installed; the previous sink comes back when it goes away.
class RecordingLogSink {
  public:
    struct Line {
        LogLevel level;
        std::string category;
        std::string message;
    };

    RecordingLogSink();
    ~RecordingLogSink();
    RecordingLogSink(const RecordingLogSink&) = delete;
    RecordingLogSink& operator=(const RecordingLogSink&) = delete;

    std::vector<Line> lines() const;
    /// Whether some line of `category` contains `fragment`.
    bool contains(const std::string& category, const std::string& fragment) const;

  private:
    class Sink;
    std::shared_ptr<Sink> sink_;
    std::shared_ptr<LogSink> previous_;
};

}  // namespace wordloom::test
