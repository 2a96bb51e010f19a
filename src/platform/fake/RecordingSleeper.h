#pragma once

#include <functional>
#include <vector>

#include "core/expansion/Sleeper.h"

namespace wordloom {

/// Records the waits it is asked for instead of sleeping; `onSleep` lets a test act "during"
/// a wait (for instance copy something while the inserter waits after its last paste).
class RecordingSleeper final : public Sleeper {
  public:
    void sleep(Duration duration) override {
        sleeps.push_back(duration);
        if (onSleep) {
            onSleep(duration);
        }
    }

    Duration total() const {
        Duration sum{};
        for (const auto duration : sleeps) {
            sum += duration;
        }
        return sum;
    }

    std::vector<Duration> sleeps;
    std::function<void(Duration)> onSleep;
};

}  // namespace wordloom
