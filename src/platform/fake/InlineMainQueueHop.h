#pragma once

#include <functional>
#include <optional>

#include "core/expansion/MainHopGate.h"

namespace wordloom {

/// A main-queue hop for tests that run the inserter on the test thread: the work runs at once,
/// or, once `busy` is set, never (as when the main queue did not answer in time).
class InlineMainQueueHop final : public MainQueueHop {
  public:
    HopOutcome run(std::function<void()> work) override {
        ++hops;
        if (busy || (failAfter && hops > *failAfter)) {
            return HopOutcome::cancelled;
        }
        try {
            work();
        } catch (...) {
            return HopOutcome::threw;
        }
        return HopOutcome::ran;
    }

    bool busy = false;
    /// Hops after this many fail.
    std::optional<int> failAfter;
    int hops = 0;
};

}  // namespace wordloom
