#pragma once

#include "core/base/Executor.h"

namespace wordloom {

/// The fixed waits between synthetic events. Tests record them instead of sleeping.
class Sleeper {
  public:
    virtual ~Sleeper() = default;
    virtual void sleep(Duration duration) = 0;
};

/// Sleeps the calling thread.
class ThreadSleeper final : public Sleeper {
  public:
    void sleep(Duration duration) override;
};

}  // namespace wordloom
