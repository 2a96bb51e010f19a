#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Log.h"
#include "core/sync/ServerRecordCache.h"
#include "core/sync/SyncBackend.h"
#include "core/sync/SyncConflict.h"
#include "core/sync/SyncOutboxJournal.h"
#include "core/sync/SyncRecordCoding.h"
#include "core/sync/SyncedRecordIndex.h"

namespace wordloom {

class SnippetStore;
class SnippetImageStore;
class SnippetVersionStore;
class UserDefaults;

/// Where sync stands, for the status line and the preferences.
struct SyncStatus {
    enum class Kind { error, idle, syncing, disabled };
    Kind kind = Kind::disabled;
    /// The error's message (`error` only).
    std::string message;
};

/// What one sync pass did.
struct SyncPassReport {
    bool succeeded = false;
    std::string error;
    int uploaded = 0;
    int deletedRemotely = 0;
    int downloaded = 0;
    int deletedLocally = 0;
    int conflictsSettled = 0;
    std::vector<std::string> warnings;
    /// The server asked not to be called again before this.
    std::optional<std::chrono::seconds> retryAfter;
};

/// Mirrors the library to a sync backend (CloudKit's private database, or a shared folder):
/// queues every local change in a durable outbox before anything is uploaded, fetches the
/// server's changes since the stored change token and applies them through the snippet store
/// (versions and change announcements behave as for local edits), uploads what is queued, and
/// settles conflicts by the chosen strategy, keeping the losing side in the version history.
///
/// Local changes are found by comparing each record's fingerprint with the one the server last
/// agreed to (`SyncedRecordIndex`), so changes made by any process (the command line, a backup
/// restore) are seen, and a lost journal is rebuilt from the library.
///
/// Lives on the main queue; backend requests run in the background and never block it.
class iCloudSyncService {
  public:
    static constexpr std::string_view serverChangeTokenKey = "iCloudSyncServerChangeToken";
    static constexpr std::string_view strategyKey = "syncConflictResolutionStrategy";
    static constexpr std::string_view lastSyncDateKey = "iCloudSyncLastSyncDate";
    static constexpr std::string_view conflictsFileName = "icloud-sync-conflicts.json";
    /// Records per modify request.
    static constexpr std::size_t batchLimit = 100;

    iCloudSyncService(Executor& executor, SnippetStore& store, SnippetVersionStore& versions,
                      SnippetImageStore& images, UserDefaults& defaults,
                      std::filesystem::path dataFolder);
    ~iCloudSyncService();
    iCloudSyncService(const iCloudSyncService&) = delete;
    iCloudSyncService& operator=(const iCloudSyncService&) = delete;

    /// Whether this process runs as a test host (WORDLOOM_TEST_HOST or
    /// XCTestConfigurationFilePath set): sync then does nothing.
    static bool isTestHost();

    /// Where records go; nothing turns sync off. Reads the journal, the record index and the
    /// pending conflicts the first time.
    void setBackend(std::shared_ptr<SyncBackend> backend);

    const SyncStatus& syncStatus() const { return syncStatus_; }
    const std::optional<Timestamp>& lastSyncDate() const { return lastSyncDate_; }
    bool isCloudAvailable() const { return isCloudAvailable_; }
    const std::vector<SyncConflict>& pendingConflicts() const { return pendingConflicts_; }
    const std::optional<std::string>& outboxPersistenceError() const {
        return outboxPersistenceError_;
    }
    /// The message about a corrupt journal, shown to the user once.
    const std::optional<std::string>& journalMessage() const { return journalMessage_; }
    ConflictResolutionStrategy conflictResolutionStrategy() const { return strategy_; }
    void setConflictResolutionStrategy(ConflictResolutionStrategy strategy);
    const SyncOutboxState& outboxState() const { return outboxState_; }
    bool isApplyingRemoteChanges() const { return isApplyingRemoteChanges_; }
    std::string backendName() const;

    /// Compares the library with what the server last agreed to and queues the differences in
    /// the journal. Call on every library change (debounced); changes applied from the server
    /// are never queued.
    void queueLocalChanges();

    /// One pass: queue, fetch and apply, upload. `done` runs on the main queue. A pass asked
    /// for while one runs runs again right after it.
    void syncNow(std::function<void(const SyncPassReport&)> done = {});
    bool isSyncing() const { return passInProgress_; }

    /// Settles a conflict the strategy left to the user. Throws std::invalid_argument when no
    /// conflict is pending for `snippetId`.
    void resolveConflict(const Uuid& snippetId, bool keepLocal);

    /// Called on the main queue whenever the published state changes.
    std::function<void()> onStateChanged;

  private:
    struct Upload {
        SyncRecord record;
        std::string fingerprint;
        std::int64_t generation = 0;
    };
    struct Pass;

    void loadState();
    std::string stateFilesStamp() const;
    /// The fingerprint of a snippet's record, from the memo when the snippet is unchanged.
    std::optional<std::string> snippetFingerprint(const Snippet& snippet);
    void saveJournal();
    /// Writes the library (and its versions) and then the record index: the index must never
    /// claim an agreement that a crash could take back from the library.
    void saveIndex();
    void saveConflicts();
    void setStatus(SyncStatus status);

    std::optional<SyncRecord> localRecord(const SyncRecordId& id, std::string* fingerprint,
                                          std::vector<std::string>* warnings);
    void applyFetched(Pass& pass, CollectedChanges changes);
    void applyRemoteRecord(Pass& pass, const SyncRecord& record);
    void applyRemoteDeletion(Pass& pass, const SyncRecordId& deleted);
    /// A record new to this copy that it already has under another id (never synced): the
    /// local twin gives way to it, so that two machines set up alike do not end with doubles.
    void adoptIdenticalGroup(const SnippetGroup& remote);
    void adoptIdenticalSnippet(const Snippet& remote);
    void settleConflict(Pass& pass, SyncConflict conflict, const SyncRecord* serverRecord);
    std::vector<Upload> prepareUploads(Pass& pass, std::vector<SyncRecordId>& deletions);
    void uploadRound(std::shared_ptr<Pass> pass, int round);
    void applyWriteResults(Pass& pass, const std::vector<Upload>& uploads,
                           const std::vector<SyncRecordId>& deletions,
                           const std::vector<SyncWriteResult>& results);
    void finishPass(std::shared_ptr<Pass> pass, std::optional<std::string> error);
    void agreeWithLocal(const SyncRecord& serverRecord);
    bool hasPendingConflict(const Uuid& id) const;

    Executor& executor_;
    SnippetStore& store_;
    SnippetVersionStore& versions_;
    SnippetImageStore& images_;
    UserDefaults& defaults_;
    std::filesystem::path dataFolder_;
    Logger logger_{"iCloudSyncService"};

    std::shared_ptr<SyncBackend> backend_;
    SyncStatus syncStatus_;
    std::optional<Timestamp> lastSyncDate_;
    bool isCloudAvailable_ = false;
    std::vector<SyncConflict> pendingConflicts_;
    std::optional<std::string> outboxPersistenceError_;
    std::optional<std::string> journalMessage_;
    ConflictResolutionStrategy strategy_ = ConflictResolutionStrategy::mostRecent;
    SyncOutboxState outboxState_;
    SyncOutboxJournal outboxJournal_;
    bool outboxRequiresFullReconciliation_ = false;
    bool isApplyingRemoteChanges_ = false;
    bool pendingResync_ = false;
    bool passInProgress_ = false;
    ServerRecordCache serverRecordCache_;
    SyncedRecordIndex index_;
    /// The fingerprint each queued record had when it was queued: a later difference means it
    /// changed again and gets a new generation.
    std::map<std::string, std::string> queuedFingerprints_;
    /// The fingerprint of each snippet as last computed, with a cheap hash of the snippet it was
    /// computed from: most snippets are unchanged between two comparisons.
    std::map<Uuid, std::pair<std::uint64_t, std::string>> fingerprintMemo_;
    /// Size and modification time of the state files as this process last read or wrote them.
    std::string stateFilesStamp_;
    std::vector<std::function<void(const SyncPassReport&)>> waiting_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
