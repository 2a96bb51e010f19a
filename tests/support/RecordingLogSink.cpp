#include "support/RecordingLogSink.h"

namespace wordloom::test {

class RecordingLogSink::Sink final : public LogSink {
  public:
    void write(const LogRecord& record) override {
        std::lock_guard lock(mutex);
        lines.push_back(
            Line{record.level, std::string(record.category), std::string(record.message)});
    }
    mutable std::mutex mutex;
    std::vector<Line> lines;
};

RecordingLogSink::RecordingLogSink() : sink_(std::make_shared<Sink>()) {
    previous_ = logging::setSink(sink_);
}

RecordingLogSink::~RecordingLogSink() {
    logging::setSink(previous_);
}

std::vector<RecordingLogSink::Line> RecordingLogSink::lines() const {
    std::lock_guard lock(sink_->mutex);
    return sink_->lines;
}

bool RecordingLogSink::contains(const std::string& category, const std::string& fragment) const {
    for (const auto& line : lines()) {
        if (line.category == category && line.message.find(fragment) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace wordloom::test
