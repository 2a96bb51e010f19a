#include "core/sync/ServerRecordCache.h"

#include <algorithm>

namespace wordloom {

void ServerRecordCache::remember(const SyncRecord& record) {
    if (limit_ == 0) {
        return;
    }
    const auto [it, inserted] = records_.insert_or_assign(record.recordName, record);
    if (!inserted) {
        std::erase(order_, record.recordName);
    }
    order_.push_back(record.recordName);
    while (order_.size() > limit_) {
        records_.erase(order_.front());
        order_.pop_front();
    }
}

void ServerRecordCache::forget(const std::string& recordName) {
    if (records_.erase(recordName) > 0) {
        std::erase(order_, recordName);
    }
}

const SyncRecord* ServerRecordCache::find(const std::string& recordName) const {
    const auto it = records_.find(recordName);
    return it == records_.end() ? nullptr : &it->second;
}

}  // namespace wordloom
