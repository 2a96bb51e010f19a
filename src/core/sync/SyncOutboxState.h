#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/sync/SyncRecord.h"

namespace wordloom {

/// One local change or deletion waiting for the server. `generation` tells a queued entry from
/// the same record queued again later.
struct SyncOutboxEntry {
    SyncRecordId record;
    std::int64_t generation = 0;
    bool operator==(const SyncOutboxEntry&) const = default;
};

/// The durable outbox: local changes to snippets and groups that the server has not confirmed.
/// A record is in `changes` or in `deletions`, never both: queuing one removes the other.
struct SyncOutboxState {
    std::vector<SyncOutboxEntry> changes;
    std::vector<SyncOutboxEntry> deletions;
    std::int64_t nextGeneration = 1;

    bool operator==(const SyncOutboxState&) const = default;

    void queueChange(const SyncRecordId& record);
    void queueDeletion(const SyncRecordId& record);

    /// Removes the entry the server has confirmed, but only when it is still the one that was
    /// uploaded (`generation`): a record changed again during its upload stays queued. Returns
    /// whether it was removed.
    bool confirmChange(const SyncRecordId& record, std::int64_t generation);
    bool confirmDeletion(const SyncRecordId& record, std::int64_t generation);

    /// Drops whatever is queued for `record` (a conflict settled in the server's favour).
    void forget(const SyncRecordId& record);

    const SyncOutboxEntry* pendingChange(const SyncRecordId& record) const;
    const SyncOutboxEntry* pendingDeletion(const SyncRecordId& record) const;
    bool isEmpty() const { return changes.empty() && deletions.empty(); }
};

/// {"changes": [...], "deletions": [...], "nextGeneration": N}, each entry
/// {"generation", "recordName", "recordType"}.
std::string encodeSyncOutboxState(const SyncOutboxState& state, bool pretty = true);
/// Throws JsonError for text that is not such a document.
SyncOutboxState decodeSyncOutboxState(std::string_view text);

}  // namespace wordloom
