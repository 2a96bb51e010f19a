#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Log.h"

struct _XDisplay;

namespace wordloom {

/// Keeps the user's keys away from applications while Wordloom types, and hands them on in
/// order afterwards.
///
/// Every physical keyboard (each slave keyboard device except the XTest ones) is grabbed with
/// XInput 2, asynchronously: its key events then come to this connection instead of going
/// through the core keyboard, while XTest events, ours, still reach the focused window. On
/// release the held events are posted again through XTest, downs and ups in the order they
/// came, so Shift, AltGr, dead keys and auto-repeat come out as typed and the keyboard monitor
/// sees them like any other typing. They are not noted in the injected-key ledger: to the
/// rest of Wordloom they are the user's keys.
///
/// A hold never outlives its limit: a watchdog thread releases it at the deadline whatever the
/// inserter is doing. A keyboard that cannot be grabbed (another client holds it, no XInput
/// 2.0) is left alone and keeps typing straight into the application.
class X11KeyHold {
  public:
    X11KeyHold();
    ~X11KeyHold();
    X11KeyHold(const X11KeyHold&) = delete;
    X11KeyHold& operator=(const X11KeyHold&) = delete;

    /// Starts holding, if not already. False when no keyboard could be grabbed.
    bool hold(Duration limit);
    /// Posts what was held, in order, and lets the keyboards go.
    void release();
    bool isHolding();

    /// Where the hold stands, for the log and tests.
    struct Counts {
        std::uint64_t holds = 0;
        std::uint64_t expired = 0;
        std::uint64_t keysReplayed = 0;
    };
    Counts counts();

  private:
    bool ensureDisplay();
    std::vector<int> physicalKeyboards();
    void releaseLocked();
    /// Reads the held key events that have arrived and posts them through XTest.
    void replayArrived();
    void watch();

    Logger logger_{"KeyHold"};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread watchdog_;
    bool stopping_ = false;

    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    int inputOpcode_ = -1;
    std::vector<int> grabbed_;
    std::chrono::steady_clock::time_point deadline_;
    Counts counts_;
};

}  // namespace wordloom
