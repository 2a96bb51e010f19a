#include "platform/x11/InjectedKeyLedger.h"

#include <algorithm>

namespace wordloom {

void InjectedKeyLedger::expect(std::uint8_t keycode, bool down) {
    std::lock_guard lock(mutex_);
    entries_.push_back({keycode, down, now_() + entryLifetime});
}

bool InjectedKeyLedger::consume(std::uint8_t keycode, bool down) {
    std::lock_guard lock(mutex_);
    const auto now = now_();
    while (!entries_.empty() && entries_.front().expires < now) {
        entries_.pop_front();
    }
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.keycode == keycode && entry.down == down;
    });
    if (found == entries_.end()) {
        return false;
    }
    entries_.erase(found);
    return true;
}

}  // namespace wordloom
