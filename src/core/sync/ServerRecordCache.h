#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "core/sync/SyncRecord.h"

namespace wordloom {

/// The last server copy seen of recently touched records, so that an upload can build on the
/// server's copy (its change tag and fields) without asking for it. Holds at most `limit`
/// records; the oldest are dropped first.
class ServerRecordCache {
  public:
    /// Enough for a burst of edits and a first sync's conflicts; a miss only costs a lookup.
    static constexpr std::size_t defaultLimit = 1000;

    explicit ServerRecordCache(std::size_t limit = defaultLimit) : limit_(limit) {}

    void remember(const SyncRecord& record);
    void forget(const std::string& recordName);
    const SyncRecord* find(const std::string& recordName) const;
    std::size_t size() const { return records_.size(); }
    std::size_t limit() const { return limit_; }

  private:
    std::map<std::string, SyncRecord> records_;
    std::deque<std::string> order_;
    std::size_t limit_;
};

}  // namespace wordloom
