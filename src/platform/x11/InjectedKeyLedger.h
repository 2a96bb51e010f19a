#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

namespace wordloom {

/// The keys Wordloom injected and has not yet seen come back through the keyboard monitor.
/// XTest's keys and the user's arrive from the same device, so "ours" is known by counting.
/// The injector notes each event before posting it; the monitor takes it off when it sees it.
/// Entries that never come back (an event the server dropped) expire after a few seconds.
class InjectedKeyLedger {
  public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    static constexpr std::chrono::seconds entryLifetime{5};

    explicit InjectedKeyLedger(Clock now = std::chrono::steady_clock::now) : now_(std::move(now)) {}

    void expect(std::uint8_t keycode, bool down);
    /// Whether this event is one of ours; it is then taken off the ledger.
    bool consume(std::uint8_t keycode, bool down);

  private:
    struct Entry {
        std::uint8_t keycode;
        bool down;
        std::chrono::steady_clock::time_point expires;
    };
    Clock now_;
    std::mutex mutex_;
    std::deque<Entry> entries_;
};

}  // namespace wordloom
