#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/sync/SyncRecord.h"

namespace wordloom {

/// What one fetch of the zone's changes brought: records changed or deleted since the token
/// it was given, and the token to give next time.
struct CollectedChanges {
    std::vector<SyncRecord> changedRecords;
    std::vector<SyncRecordId> deletedRecordIDs;
    std::optional<std::string> token;
    std::vector<std::string> errors;
};

/// The server's answer for one record of a modify request.
struct SyncWriteResult {
    enum class Status {
        /// Saved (or deleted); `serverRecord` is the saved record with its new change tag.
        saved,
        /// The server's copy changed since the change tag the write was based on.
        /// `serverRecord` is the server's copy when the backend has it at hand, nothing when
        /// the record was deleted there.
        conflict,
        /// Refused for a reason of its own (`message`); the entry stays queued.
        failed,
    };
    SyncRecordId record;
    Status status = Status::failed;
    std::optional<SyncRecord> serverRecord;
    std::string message;
};

/// A failure of the whole request: no network, no account, throttled, a server error. The
/// outbox stays as it is and the next sync tries again (not before `retryAfter`).
class SyncBackendError : public std::runtime_error {
  public:
    explicit SyncBackendError(const std::string& message,
                              std::optional<std::chrono::seconds> retryAfter = std::nullopt)
        : std::runtime_error(message), retryAfter_(retryAfter) {}
    std::optional<std::chrono::seconds> retryAfter() const { return retryAfter_; }

  private:
    std::optional<std::chrono::seconds> retryAfter_;
};

/// Where the records live: CloudKit's private database, or a folder that a file-sync tool
/// keeps in step between machines. Calls block (the sync service runs them in the background)
/// and throw SyncBackendError.
class SyncBackend {
  public:
    virtual ~SyncBackend() = default;

    /// A short name for status output ("folder", "cloudkit").
    virtual std::string name() const = 0;
    /// Creates the zone the records live in when it is missing.
    virtual void ensureZone() = 0;
    /// Records changed and deleted since `token` (everything without one).
    virtual CollectedChanges fetchChanges(const std::optional<std::string>& token) = 0;
    /// Saves `saves` (each based on its `changeTag`; none for a new record) and deletes
    /// `deletions`. One result per record, saves first.
    virtual std::vector<SyncWriteResult> modify(const std::vector<SyncRecord>& saves,
                                                const std::vector<SyncRecordId>& deletions) = 0;
    /// The server's current copy of one record, or nothing when it has none.
    virtual std::optional<SyncRecord> lookup(const SyncRecordId& record) = 0;
};

}  // namespace wordloom
