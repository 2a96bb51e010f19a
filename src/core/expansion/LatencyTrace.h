#pragma once

#include <cstdint>
#include <string_view>

namespace wordloom::latencyTrace {

/// Timestamps along the road of one expansion, from the key that completed the abbreviation to
/// the paste keystroke, written as debug lines of the "Latency" category:
///
///     Latency: <stage> at <monotonic ms> (+<ms since the key>)
///
/// The absolute time is CLOCK_MONOTONIC, the clock the X server stamps its events with and the
/// one a measuring script can read, so stages line up with outside observations. With debug
/// logging off a mark costs one relaxed atomic load.

/// Starts a new trace: a key arrived. `serverMilliseconds` is the X server's timestamp of the
/// event (0 when unknown); the delay between it and now is logged.
void keyArrived(std::uint32_t serverMilliseconds);

/// Notes that `stage` was reached.
void mark(std::string_view stage);

/// Whether marks are written (debug logging is on).
bool enabled();

/// Turns marks on or off; the app follows its debug-logging setting.
void setEnabled(bool enabled);

}  // namespace wordloom::latencyTrace
