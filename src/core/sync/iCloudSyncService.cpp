#include "core/sync/iCloudSyncService.h"

#include <cstdlib>
#include <stdexcept>

#include "core/base/FileIO.h"
#include "core/base/Iso8601.h"
#include "core/library/LibraryCoding.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"
#include "core/sync/SyncLock.h"

namespace wordloom {

namespace {

constexpr int maximumUploadRounds = 3;
const std::string remoteVersionReason = "Other copy's version (sync conflict)";
const std::string beforeSyncReason = "Before sync";

std::optional<Uuid> snippetIdOf(const SyncRecordId& id) {
    return id.recordType == syncRecordType::snippet ? Uuid::parse(id.recordName) : std::nullopt;
}

}  // namespace

/// The state of one pass, shared by its steps on the main queue and in the background.
struct iCloudSyncService::Pass {
    SyncPassReport report;
    std::shared_ptr<SyncBackend> backend;
    std::optional<std::string> token;
    bool clearToken = false;
    std::shared_ptr<SyncLock> lock;
    std::vector<std::function<void(const SyncPassReport&)>> callbacks;
};

iCloudSyncService::iCloudSyncService(Executor& executor, SnippetStore& store,
                                     SnippetVersionStore& versions, SnippetImageStore& images,
                                     UserDefaults& defaults, std::filesystem::path dataFolder)
    : executor_(executor),
      store_(store),
      versions_(versions),
      images_(images),
      defaults_(defaults),
      dataFolder_(std::move(dataFolder)),
      outboxJournal_(dataFolder_ / SyncOutboxJournal::fileName, defaults) {
    if (const auto raw = defaults_.stringForKey(strategyKey)) {
        strategy_ = enumFromRaw<ConflictResolutionStrategy>(*raw).value_or(strategy_);
    }
}

iCloudSyncService::~iCloudSyncService() {
    *alive_ = false;
}

bool iCloudSyncService::isTestHost() {
    return std::getenv("WORDLOOM_TEST_HOST") != nullptr ||
           std::getenv("XCTestConfigurationFilePath") != nullptr;
}

std::string iCloudSyncService::backendName() const {
    return backend_ ? backend_->name() : std::string("off");
}

void iCloudSyncService::setBackend(std::shared_ptr<SyncBackend> backend) {
    backend_ = std::move(backend);
    if (!backend_ || isTestHost()) {
        setStatus({SyncStatus::Kind::disabled, {}});
        return;
    }
    SyncLock lock(dataFolder_);
    if (lock.isHeld()) {
        loadState();
    }
    setStatus({SyncStatus::Kind::idle, {}});
}

void iCloudSyncService::setConflictResolutionStrategy(ConflictResolutionStrategy strategy) {
    strategy_ = strategy;
    defaults_.setString(strategyKey, rawValue(strategy));
}

void iCloudSyncService::setStatus(SyncStatus status) {
    syncStatus_ = std::move(status);
    if (onStateChanged) {
        onStateChanged();
    }
}

std::string iCloudSyncService::stateFilesStamp() const {
    std::string stamp;
    for (const auto& name :
         {std::string(SyncOutboxJournal::fileName), std::string(SyncedRecordIndex::fileName),
          std::string(conflictsFileName)}) {
        std::error_code failure;
        const auto path = dataFolder_ / name;
        const auto size = std::filesystem::file_size(path, failure);
        const auto time = failure ? std::filesystem::file_time_type{}
                                  : std::filesystem::last_write_time(path, failure);
        stamp += std::to_string(failure ? -1 : static_cast<long long>(size)) + ":" +
                 std::to_string(time.time_since_epoch().count()) + ";";
    }
    return stamp;
}

void iCloudSyncService::loadState() {
    // Read afresh when another process (a `wordloom sync` command) changed the files since
    // this one last read or wrote them.
    if (!stateFilesStamp_.empty() && stateFilesStamp_ == stateFilesStamp() &&
        !outboxRequiresFullReconciliation_) {
        return;
    }
    auto loaded = outboxJournal_.load();
    outboxState_ = std::move(loaded.state);
    outboxRequiresFullReconciliation_ =
        outboxRequiresFullReconciliation_ || loaded.requiresFullReconciliation;
    if (loaded.message) {
        journalMessage_ = std::move(loaded.message);
    }
    pendingConflicts_.clear();
    if (const auto last = defaults_.stringForKey(lastSyncDateKey)) {
        lastSyncDate_ = parseIso8601(*last);
    }
    try {
        index_ = SyncedRecordIndex::load(dataFolder_ / SyncedRecordIndex::fileName);
    } catch (const std::exception& error) {
        // Without it every record is compared with the server again: nothing is lost, the
        // first pass only does more work.
        logger_.error(std::string("[iCloudSync] Sync record index unreadable, reconciling "
                                  "everything: ") +
                      error.what());
        index_.clear();
        outboxRequiresFullReconciliation_ = true;
    }
    try {
        if (const auto text = readFileIfExists(dataFolder_ / conflictsFileName)) {
            JsonDocument document(*text);
            const auto array = json::asArray(document.root());
            for (auto element : array ? *array : JsonArray{}) {
                const auto object = json::asObject(element);
                if (!object) {
                    continue;
                }
                SyncConflict conflict;
                const auto id = json::member(*object, "snippetId");
                const auto type = json::member(*object, "conflictType");
                const auto idValue = id ? json::asUuid(*id) : std::nullopt;
                const auto typeText = type ? json::asString(*type) : std::nullopt;
                const auto typeValue =
                    typeText ? enumFromRaw<ConflictType>(*typeText) : std::nullopt;
                if (!idValue || !typeValue) {
                    continue;
                }
                conflict.snippetId = *idValue;
                conflict.conflictType = *typeValue;
                if (const auto local = json::member(*object, "localSnippet")) {
                    conflict.localSnippet = decodeSnippet(*local, executor_.now());
                }
                if (const auto remote = json::member(*object, "remoteSnippet")) {
                    conflict.remoteSnippet = decodeSnippet(*remote, executor_.now());
                }
                pendingConflicts_.push_back(std::move(conflict));
            }
        }
    } catch (const std::exception& error) {
        logger_.error(std::string("[iCloudSync] Pending conflicts unreadable: ") + error.what());
    }
    if (outboxRequiresFullReconciliation_) {
        // What the server last agreed to is unknown: compare everything with it again.
        index_.clear();
        defaults_.removeValue(serverChangeTokenKey);
    }
    stateFilesStamp_ = stateFilesStamp();
}

void iCloudSyncService::saveJournal() {
    outboxPersistenceError_ = outboxJournal_.save(outboxState_);
    stateFilesStamp_ = stateFilesStamp();
}

void iCloudSyncService::saveIndex() {
    store_.flush();
    versions_.flush();
    try {
        index_.save(dataFolder_ / SyncedRecordIndex::fileName);
    } catch (const std::exception& error) {
        // The index only saves work: losing it means comparing everything next time.
        logger_.error(std::string("[iCloudSync] Couldn't save the sync record index: ") +
                      error.what());
    }
    stateFilesStamp_ = stateFilesStamp();
}

void iCloudSyncService::saveConflicts() {
    try {
        writeFileAtomically(dataFolder_ / conflictsFileName,
                            encodeSyncConflicts(pendingConflicts_) + "\n");
    } catch (const std::exception& error) {
        logger_.error(std::string("[iCloudSync] Couldn't save pending conflicts: ") + error.what());
    }
}

bool iCloudSyncService::hasPendingConflict(const Uuid& id) const {
    for (const auto& conflict : pendingConflicts_) {
        if (conflict.snippetId == id) {
            return true;
        }
    }
    return false;
}

std::optional<SyncRecord> iCloudSyncService::localRecord(const SyncRecordId& id,
                                                         std::string* fingerprint,
                                                         std::vector<std::string>* warnings) {
    const auto uuid = Uuid::parse(id.recordName);
    if (!uuid) {
        return std::nullopt;
    }
    const auto skeleton = index_.serverSkeleton(id.recordName);
    const SyncRecord* previous = serverRecordCache_.find(id.recordName);
    if (!previous && skeleton) {
        previous = &*skeleton;
    }
    std::optional<SyncRecord> record;
    if (id.recordType == syncRecordType::snippet) {
        const auto* snippet = store_.snippet(*uuid);
        if (!snippet) {
            return std::nullopt;
        }
        try {
            record = encodeSnippetRecord(
                *snippet,
                [&](const Snippet& s) -> std::optional<Bytes> {
                    try {
                        return images_.read(s.id);
                    } catch (const std::exception&) {
                        return std::nullopt;
                    }
                },
                previous);
        } catch (const SyncImageAssetError& error) {
            if (warnings) {
                warnings->push_back(error.what());
            }
            return std::nullopt;
        }
    } else if (id.recordType == syncRecordType::group) {
        const auto* group = store_.group(*uuid);
        if (!group) {
            return std::nullopt;
        }
        record = encodeGroupRecord(*group, previous);
    } else {
        return std::nullopt;
    }
    if (const auto* agreed = index_.find(id.recordName)) {
        record->changeTag = agreed->changeTag;
    }
    if (fingerprint) {
        *fingerprint = syncRecordFingerprint(*record);
    }
    return record;
}

void iCloudSyncService::queueLocalChanges() {
    if (!backend_ || isApplyingRemoteChanges_ || isTestHost()) {
        return;
    }
    // During a pass this process holds the lock and its state is current.
    std::optional<SyncLock> lock;
    if (!passInProgress_) {
        lock.emplace(dataFolder_);
        if (!lock->isHeld()) {
            return;  // another process is syncing; the next comparison finds these changes
        }
        loadState();
    }
    bool changed = false;
    const auto consider = [&](const SyncRecordId& id, const std::string& fingerprint) {
        const auto* agreed = index_.find(id.recordName);
        const bool differs = !agreed || agreed->fingerprint != fingerprint;
        const auto queued = queuedFingerprints_.find(id.recordName);
        const bool pending = outboxState_.pendingChange(id) != nullptr;
        if (!differs && !pending) {
            return;
        }
        if (!differs && pending) {
            return;  // queued, and unchanged since it was queued or since the server agreed
        }
        if (pending && queued != queuedFingerprints_.end() && queued->second == fingerprint) {
            return;
        }
        outboxState_.queueChange(id);
        queuedFingerprints_[id.recordName] = fingerprint;
        changed = true;
    };
    std::map<std::string, bool> present;
    for (const auto& snippet : store_.snippets()) {
        const SyncRecordId id{std::string(syncRecordType::snippet), snippet.id.toString()};
        present[id.recordName] = true;
        if (hasPendingConflict(snippet.id)) {
            continue;
        }
        if (const auto fingerprint = snippetFingerprint(snippet)) {
            consider(id, *fingerprint);
        }
    }
    for (const auto& group : store_.groups()) {
        const SyncRecordId id{std::string(syncRecordType::group), group.id.toString()};
        present[id.recordName] = true;
        std::string fingerprint;
        if (localRecord(id, &fingerprint, nullptr)) {
            consider(id, fingerprint);
        }
    }
    for (const auto& [name, entry] : index_.entries()) {
        const SyncRecordId id{entry.recordType, name};
        if (!present.contains(name) && !outboxState_.pendingDeletion(id)) {
            outboxState_.queueDeletion(id);
            queuedFingerprints_.erase(name);
            changed = true;
        }
    }
    // A change queued for a record that is gone again, never uploaded: drop it.
    std::vector<SyncRecordId> vanished;
    for (const auto& entry : outboxState_.changes) {
        if (!present.contains(entry.record.recordName) && !index_.find(entry.record.recordName)) {
            vanished.push_back(entry.record);
        }
    }
    for (const auto& id : vanished) {
        outboxState_.forget(id);
        changed = true;
    }
    if (changed || outboxRequiresFullReconciliation_) {
        outboxRequiresFullReconciliation_ = false;
        saveJournal();
        if (onStateChanged) {
            onStateChanged();
        }
    }
}

namespace {

/// FNV-1a over the fields of a snippet: cheap next to encoding its record, and enough to tell
/// that the snippet is not the one a memoised fingerprint was computed from.
class QuickHash {
  public:
    void add(std::string_view bytes) {
        for (const auto c : bytes) {
            value_ = (value_ ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
        }
        add(bytes.size());
    }
    void add(std::uint64_t number) {
        for (int i = 0; i < 8; ++i) {
            value_ = (value_ ^ ((number >> (i * 8)) & 0xFF)) * 0x100000001b3ULL;
        }
    }
    void add(const std::optional<Timestamp>& time) {
        add(time ? static_cast<std::uint64_t>(time->time_since_epoch().count()) : ~0ULL);
    }
    void add(const std::optional<Bytes>& bytes) {
        add(bytes ? std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size())
                  : std::string_view("\x01none"));
    }
    std::uint64_t value() const { return value_; }

  private:
    std::uint64_t value_ = 0xcbf29ce484222325ULL;
};

std::uint64_t quickHash(const Snippet& s) {
    QuickHash h;
    h.add(s.abbreviation);
    h.add(s.label);
    h.add(s.content);
    h.add(static_cast<std::uint64_t>(s.contentType));
    h.add(s.richTextData);
    h.add(s.groupId ? s.groupId->toString() : std::string());
    for (const auto& tag : s.tags) {
        h.add(tag);
    }
    h.add(static_cast<std::uint64_t>(s.tags.size()));
    h.add(static_cast<std::uint64_t>(s.isEnabled));
    h.add(static_cast<std::uint64_t>(s.caseSensitivity));
    h.add(static_cast<std::uint64_t>(s.triggerMode));
    h.add(s.hotkey ? (static_cast<std::uint64_t>(s.hotkey->keyCode) << 32) | s.hotkey->modifiers
                   : ~0ULL);
    h.add(std::optional<Timestamp>(s.createdAt));
    h.add(std::optional<Timestamp>(s.modifiedAt));
    h.add(static_cast<std::uint64_t>(s.useCount));
    h.add(s.lastUsedAt);
    h.add(s.deletedAt);
    h.add(static_cast<std::uint64_t>(s.matchType));
    h.add(static_cast<std::uint64_t>(s.appFilterMode));
    for (const auto& app : s.filteredApps) {
        h.add(app.bundleId);
        h.add(app.name);
        h.add(app.iconData);
    }
    h.add(static_cast<std::uint64_t>(s.filteredApps.size()));
    h.add(s.imageData);
    h.add(s.imageFileName.value_or("\x01none"));
    h.add(s.codeLanguage ? static_cast<std::uint64_t>(*s.codeLanguage) : ~0ULL);
    return h.value();
}

}  // namespace

std::optional<std::string> iCloudSyncService::snippetFingerprint(const Snippet& snippet) {
    const auto hash = quickHash(snippet);
    if (const auto it = fingerprintMemo_.find(snippet.id);
        it != fingerprintMemo_.end() && it->second.first == hash) {
        return it->second.second;
    }
    std::string fingerprint;
    if (!localRecord({std::string(syncRecordType::snippet), snippet.id.toString()}, &fingerprint,
                     nullptr)) {
        return std::nullopt;
    }
    fingerprintMemo_[snippet.id] = {hash, fingerprint};
    return fingerprint;
}

void iCloudSyncService::syncNow(std::function<void(const SyncPassReport&)> done) {
    if (!backend_ || isTestHost()) {
        SyncPassReport report;
        report.error = isTestHost() ? "Sync does nothing in a test host."
                                    : "Sync is off. Set it up with `wordloom sync setup`.";
        if (done) {
            executor_.post([done, report] { done(report); });
        }
        return;
    }
    if (passInProgress_) {
        pendingResync_ = true;
        if (done) {
            waiting_.push_back(std::move(done));
        }
        return;
    }
    auto pass = std::make_shared<Pass>();
    pass->backend = backend_;
    if (done) {
        pass->callbacks.push_back(std::move(done));
    }
    pass->lock = std::make_shared<SyncLock>(dataFolder_);
    if (!pass->lock->isHeld()) {
        pass->report.error = "Another Wordloom process is syncing this library right now.";
        for (const auto& callback : pass->callbacks) {
            executor_.post([callback, report = pass->report] { callback(report); });
        }
        return;
    }
    loadState();
    passInProgress_ = true;
    setStatus({SyncStatus::Kind::syncing, {}});
    // Everything local is in the journal before anything goes out.
    queueLocalChanges();
    pass->token = defaults_.stringForKey(serverChangeTokenKey);

    std::weak_ptr<bool> alive = alive_;
    executor_.runInBackground([this, alive, pass] {
        std::optional<std::string> error;
        CollectedChanges changes;
        try {
            try {
                pass->backend->ensureZone();
            } catch (const std::exception& zoneError) {
                logger_.error(
                    std::string("[iCloudSync] createCustomZoneIfNeeded failed (will retry): ") +
                    zoneError.what());
                throw;
            }
            changes = pass->backend->fetchChanges(pass->token);
        } catch (const SyncBackendError& failure) {
            error = failure.what();
            pass->report.retryAfter = failure.retryAfter();
        } catch (const std::exception& failure) {
            error = failure.what();
        }
        executor_.post([this, alive, pass, error, changes = std::move(changes)]() mutable {
            if (alive.expired()) {
                return;
            }
            if (error) {
                isCloudAvailable_ = false;
                finishPass(pass, error);
                return;
            }
            isCloudAvailable_ = true;
            if (!changes.token) {
                const auto missing = SyncRecordError::missingChangeToken();
                finishPass(pass, std::string(missing.what()));
                return;
            }
            applyFetched(*pass, std::move(changes));
            uploadRound(pass, 1);
        });
    });
}

void iCloudSyncService::applyFetched(Pass& pass, CollectedChanges changes) {
    isApplyingRemoteChanges_ = true;
    // Groups first, so that snippets arriving in a new group find it.
    for (const auto& record : changes.changedRecords) {
        if (record.recordType == syncRecordType::group) {
            applyRemoteRecord(pass, record);
        }
    }
    for (const auto& record : changes.changedRecords) {
        if (record.recordType != syncRecordType::group) {
            applyRemoteRecord(pass, record);
        }
    }
    for (const auto& id : changes.deletedRecordIDs) {
        applyRemoteDeletion(pass, id);
    }
    isApplyingRemoteChanges_ = false;
    for (const auto& error : changes.errors) {
        pass.report.warnings.push_back(error);
    }
    // The token goes last: a crash before it only fetches the same changes again, while a
    // token saved ahead of the library would skip changes the library never kept.
    saveIndex();
    saveJournal();
    if (pass.clearToken) {
        defaults_.removeValue(serverChangeTokenKey);
    } else {
        defaults_.setString(serverChangeTokenKey, *changes.token);
    }
}

void iCloudSyncService::agreeWithLocal(const SyncRecord& serverRecord) {
    serverRecordCache_.remember(serverRecord);
    // Stale until the local record is read back: applied records are fingerprinted as the
    // library holds them, which is what later comparisons see.
    index_.agree(serverRecord, "");
    std::string fingerprint;
    const SyncRecordId id{serverRecord.recordType, serverRecord.recordName};
    if (localRecord(id, &fingerprint, nullptr)) {
        index_.agree(serverRecord, fingerprint);
    }
}

void iCloudSyncService::applyRemoteRecord(Pass& pass, const SyncRecord& record) {
    const SyncRecordId id{record.recordType, record.recordName};
    if (record.recordType != syncRecordType::snippet &&
        record.recordType != syncRecordType::group) {
        logger_.error("[iCloudSync] Skipping unknown record type " + record.recordType +
                      " (recordName: " + record.recordName +
                      "). Clearing change token so next sync re-fetches.");
        pass.clearToken = true;
        return;
    }
    if (const auto* agreed = index_.find(record.recordName);
        agreed && agreed->changeTag && agreed->changeTag == record.changeTag) {
        return;  // our own upload coming back
    }
    try {
        if (record.recordType == syncRecordType::group) {
            auto group = decodeGroupRecord(record, executor_.now());
            const auto* local = store_.group(group.id);
            const bool localPending = outboxState_.pendingChange(id) != nullptr;
            const bool keepLocal = localPending && local &&
                                   (strategy_ == ConflictResolutionStrategy::localWins ||
                                    (strategy_ != ConflictResolutionStrategy::remoteWins &&
                                     local->modifiedAt > group.modifiedAt));
            if (keepLocal) {
                // Uploaded over the server's copy in this pass.
                serverRecordCache_.remember(record);
                auto entry = index_.find(record.recordName);
                index_.agree(record, entry ? entry->fingerprint : std::string());
                return;
            }
            if (!local) {
                adoptIdenticalGroup(group);
            }
            store_.applyExternalGroup(std::move(group));
            outboxState_.forget(id);
            agreeWithLocal(record);
            ++pass.report.downloaded;
            return;
        }
        auto remote = decodeSnippetRecord(record, executor_.now());
        if (!store_.snippet(remote.id)) {
            adoptIdenticalSnippet(remote);
        }
        const auto* local = store_.snippet(remote.id);
        if (outboxState_.pendingChange(id) && local) {
            settleConflict(pass, {remote.id, *local, remote, ConflictType::bothModified}, &record);
            return;
        }
        if (outboxState_.pendingDeletion(id)) {
            settleConflict(
                pass, {remote.id, std::nullopt, remote, ConflictType::localDeletedRemoteModified},
                &record);
            return;
        }
        store_.applyExternalSnippet(std::move(remote), beforeSyncReason);
        agreeWithLocal(record);
        ++pass.report.downloaded;
    } catch (const SyncRecordError& error) {
        pass.report.warnings.push_back(error.what());
    } catch (const SyncImageAssetError& error) {
        pass.report.warnings.push_back(error.what());
    } catch (const std::exception& error) {
        pass.report.warnings.push_back(std::string(
            SyncRecordError::couldNotDecode(record.recordType, record.recordName, error.what())
                .what()));
    }
}

void iCloudSyncService::adoptIdenticalGroup(const SnippetGroup& remote) {
    std::optional<Uuid> twin;
    for (const auto& group : store_.groups()) {
        if (!index_.find(group.id.toString()) && group.name == remote.name &&
            group.parentId == remote.parentId) {
            twin = group.id;
            break;
        }
    }
    if (!twin) {
        return;
    }
    // The same group made on both machines (the first-run "Date & Time" group, or one library
    // restored from the same backup on both): keep one, under the server's id.
    store_.applyExternalGroup(remote);
    std::vector<Snippet> moved;
    for (const auto& snippet : store_.snippets()) {
        if (snippet.groupId == twin) {
            moved.push_back(snippet);
        }
    }
    for (auto& snippet : moved) {
        snippet.groupId = remote.id;
        store_.applyExternalSnippet(std::move(snippet), beforeSyncReason);
    }
    store_.deleteGroup(*twin);
    outboxState_.forget({std::string(syncRecordType::group), twin->toString()});
}

void iCloudSyncService::adoptIdenticalSnippet(const Snippet& remote) {
    for (const auto& snippet : store_.snippets()) {
        if (!index_.find(snippet.id.toString()) && !snippet.isDeleted() &&
            snippet.abbreviation == remote.abbreviation && snippet.content == remote.content &&
            snippet.contentType == remote.contentType && snippet.groupId == remote.groupId) {
            const auto twin = snippet.id;
            store_.deletePermanently(twin);
            outboxState_.forget({std::string(syncRecordType::snippet), twin.toString()});
            return;
        }
    }
}

void iCloudSyncService::applyRemoteDeletion(Pass& pass, const SyncRecordId& deleted) {
    const auto uuid = Uuid::parse(deleted.recordName);
    if (!uuid) {
        return;
    }
    // Some servers name only the record of a deletion: what it was, this copy knows.
    auto id = deleted;
    if (id.recordType.empty()) {
        const auto* agreed = index_.find(id.recordName);
        id.recordType = agreed                ? agreed->recordType
                        : store_.group(*uuid) ? std::string(syncRecordType::group)
                                              : std::string(syncRecordType::snippet);
    }
    serverRecordCache_.forget(id.recordName);
    if (id.recordType == syncRecordType::group) {
        index_.remove(id.recordName);
        outboxState_.forget(id);
        if (store_.group(*uuid)) {
            store_.deleteGroup(*uuid);
            ++pass.report.deletedLocally;
        }
        return;
    }
    const auto* local = store_.snippet(*uuid);
    if (!local) {
        index_.remove(id.recordName);
        outboxState_.forget(id);
        return;
    }
    if (outboxState_.pendingChange(id)) {
        index_.remove(id.recordName);
        settleConflict(
            pass, {*uuid, *local, std::nullopt, ConflictType::localModifiedRemoteDeleted}, nullptr);
        return;
    }
    index_.remove(id.recordName);
    outboxState_.forget(id);
    store_.deletePermanently(*uuid);
    ++pass.report.deletedLocally;
}

void iCloudSyncService::settleConflict(Pass& pass, SyncConflict conflict,
                                       const SyncRecord* serverRecord) {
    const SyncRecordId id{std::string(syncRecordType::snippet), conflict.snippetId.toString()};
    const auto decision = decideConflict(conflict, strategy_);
    using Outcome = ConflictDecision::Outcome;
    // Uploads after this are based on the server's current copy, so they do not conflict again.
    const auto basedOnServer = [&] {
        if (serverRecord) {
            serverRecordCache_.remember(*serverRecord);
            const auto* entry = index_.find(id.recordName);
            index_.agree(*serverRecord, entry ? entry->fingerprint : std::string());
        } else {
            index_.remove(id.recordName);
            serverRecordCache_.forget(id.recordName);
        }
    };
    switch (decision.outcome) {
        case Outcome::keepLocal:
            basedOnServer();
            if (conflict.localSnippet && conflict.remoteSnippet) {
                store_.keepAsVersion(*conflict.remoteSnippet, remoteVersionReason);
            }
            if (conflict.localSnippet) {
                outboxState_.queueChange(id);
            } else {
                outboxState_.queueDeletion(id);
            }
            ++pass.report.conflictsSettled;
            return;
        case Outcome::takeRemote:
            outboxState_.forget(id);
            if (conflict.remoteSnippet) {
                store_.applyExternalSnippet(*conflict.remoteSnippet, beforeSyncReason);
                if (serverRecord) {
                    agreeWithLocal(*serverRecord);
                }
            } else if (conflict.localSnippet) {
                // Deleted there: the edited copy goes to Recently Deleted here rather than away
                // for good, and comes back up as a deleted snippet.
                store_.softDelete(conflict.snippetId);
                index_.remove(id.recordName);
            }
            ++pass.report.conflictsSettled;
            return;
        case Outcome::useMerged:
            basedOnServer();
            store_.applyExternalSnippet(*decision.merged, "Before merge");
            outboxState_.queueChange(id);
            ++pass.report.conflictsSettled;
            return;
        case Outcome::askUser:
            basedOnServer();
            outboxState_.forget(id);
            std::erase_if(pendingConflicts_, [&](const SyncConflict& pending) {
                return pending.snippetId == conflict.snippetId;
            });
            pendingConflicts_.push_back(std::move(conflict));
            saveConflicts();
            return;
    }
}

std::vector<iCloudSyncService::Upload> iCloudSyncService::prepareUploads(
    Pass& pass, std::vector<SyncRecordId>& deletions) {
    std::vector<Upload> uploads;
    std::vector<SyncRecordId> gone;
    for (const auto& entry : outboxState_.changes) {
        std::string fingerprint;
        auto record = localRecord(entry.record, &fingerprint, &pass.report.warnings);
        if (!record) {
            const bool exists =
                entry.record.recordType == syncRecordType::snippet
                    ? snippetIdOf(entry.record) && store_.snippet(*snippetIdOf(entry.record))
                    : Uuid::parse(entry.record.recordName) &&
                          store_.group(*Uuid::parse(entry.record.recordName));
            if (!exists) {
                gone.push_back(entry.record);
            }
            continue;  // an image without its bytes waits for them
        }
        uploads.push_back({std::move(*record), std::move(fingerprint), entry.generation});
    }
    for (const auto& id : gone) {
        if (index_.find(id.recordName)) {
            outboxState_.queueDeletion(id);
        } else {
            outboxState_.forget(id);
        }
    }
    for (const auto& entry : outboxState_.deletions) {
        deletions.push_back(entry.record);
    }
    return uploads;
}

void iCloudSyncService::uploadRound(std::shared_ptr<Pass> pass, int round) {
    std::vector<SyncRecordId> deletions;
    auto uploads = prepareUploads(*pass, deletions);
    if ((uploads.empty() && deletions.empty()) || round > maximumUploadRounds) {
        finishPass(pass, std::nullopt);
        return;
    }
    saveJournal();
    auto shared = std::make_shared<std::vector<Upload>>(std::move(uploads));
    std::weak_ptr<bool> alive = alive_;
    executor_.runInBackground([this, alive, pass, round, shared, deletions] {
        std::vector<SyncWriteResult> results;
        std::optional<std::string> error;
        try {
            for (std::size_t start = 0; start < shared->size(); start += batchLimit) {
                std::vector<SyncRecord> batch;
                for (std::size_t i = start; i < std::min(shared->size(), start + batchLimit); ++i) {
                    batch.push_back((*shared)[i].record);
                }
                auto answer = pass->backend->modify(batch, {});
                results.insert(results.end(), answer.begin(), answer.end());
            }
            for (std::size_t start = 0; start < deletions.size(); start += batchLimit) {
                std::vector<SyncRecordId> batch(
                    deletions.begin() + static_cast<std::ptrdiff_t>(start),
                    deletions.begin() + static_cast<std::ptrdiff_t>(
                                            std::min(deletions.size(), start + batchLimit)));
                auto answer = pass->backend->modify({}, batch);
                results.insert(results.end(), answer.begin(), answer.end());
            }
            // A conflict answer may come without the server's copy: look it up here, off the
            // main queue.
            for (auto& result : results) {
                if (result.status == SyncWriteResult::Status::conflict && !result.serverRecord) {
                    result.serverRecord = pass->backend->lookup(result.record);
                }
            }
        } catch (const SyncBackendError& failure) {
            error = failure.what();
            pass->report.retryAfter = failure.retryAfter();
        } catch (const std::exception& failure) {
            error = failure.what();
        }
        executor_.post([this, alive, pass, round, shared, deletions, results = std::move(results),
                        error]() mutable {
            if (alive.expired()) {
                return;
            }
            // Results that came back before a failure still count.
            applyWriteResults(*pass, *shared, deletions, results);
            if (error) {
                finishPass(pass, error);
                return;
            }
            uploadRound(pass, round + 1);
        });
    });
}

void iCloudSyncService::applyWriteResults(Pass& pass, const std::vector<Upload>& uploads,
                                          const std::vector<SyncRecordId>& deletions,
                                          const std::vector<SyncWriteResult>& results) {
    std::map<std::string, const Upload*> uploadByName;
    for (const auto& upload : uploads) {
        uploadByName[upload.record.recordName] = &upload;
    }
    std::map<std::string, bool> isDeletion;
    for (const auto& id : deletions) {
        isDeletion[id.recordName] = true;
    }
    for (const auto& result : results) {
        const auto name = result.record.recordName;
        const auto upload = uploadByName.find(name);
        const bool deletion = isDeletion.contains(name) && upload == uploadByName.end();
        switch (result.status) {
            case SyncWriteResult::Status::saved:
                if (deletion) {
                    if (const auto* entry = outboxState_.pendingDeletion(result.record)) {
                        outboxState_.confirmDeletion(result.record, entry->generation);
                    }
                    index_.remove(name);
                    serverRecordCache_.forget(name);
                    ++pass.report.deletedRemotely;
                } else if (upload != uploadByName.end() && result.serverRecord) {
                    if (!result.message.empty()) {
                        pass.report.warnings.push_back(result.message);
                    }
                    serverRecordCache_.remember(*result.serverRecord);
                    index_.agree(*result.serverRecord, upload->second->fingerprint);
                    outboxState_.confirmChange(result.record, upload->second->generation);
                    ++pass.report.uploaded;
                }
                break;
            case SyncWriteResult::Status::conflict: {
                const auto uuid = Uuid::parse(name);
                if (!uuid) {
                    break;
                }
                if (result.record.recordType == syncRecordType::group) {
                    // Groups: the server's copy wins unless ours is newer (or the strategy
                    // says otherwise); either way the next round is based on its tag.
                    if (result.serverRecord) {
                        isApplyingRemoteChanges_ = true;
                        applyRemoteRecord(pass, *result.serverRecord);
                        isApplyingRemoteChanges_ = false;
                    } else {
                        index_.remove(name);
                    }
                    break;
                }
                const auto* local = store_.snippet(*uuid);
                std::optional<Snippet> remote;
                if (result.serverRecord) {
                    try {
                        remote = decodeSnippetRecord(*result.serverRecord, executor_.now());
                    } catch (const std::exception& error) {
                        pass.report.warnings.push_back(error.what());
                        break;
                    }
                }
                SyncConflict conflict{*uuid, local ? std::optional<Snippet>(*local) : std::nullopt,
                                      remote, ConflictType::bothModified};
                if (!local) {
                    conflict.conflictType = ConflictType::localDeletedRemoteModified;
                } else if (!remote) {
                    conflict.conflictType = ConflictType::localModifiedRemoteDeleted;
                }
                isApplyingRemoteChanges_ = true;
                settleConflict(pass, std::move(conflict),
                               result.serverRecord ? &*result.serverRecord : nullptr);
                isApplyingRemoteChanges_ = false;
                break;
            }
            case SyncWriteResult::Status::failed:
                pass.report.warnings.push_back(result.message);
                break;
        }
    }
    saveIndex();
    saveJournal();
}

void iCloudSyncService::finishPass(std::shared_ptr<Pass> pass, std::optional<std::string> error) {
    saveIndex();
    saveJournal();
    if (error) {
        pass->report.error = *error;
        logger_.error("[iCloudSync] Sync failed: " + *error);
        setStatus({SyncStatus::Kind::error, *error});
    } else {
        pass->report.succeeded = true;
        lastSyncDate_ = executor_.now();
        defaults_.setString(lastSyncDateKey, formatIso8601(*lastSyncDate_));
        setStatus({SyncStatus::Kind::idle, {}});
    }
    passInProgress_ = false;
    pass->lock.reset();
    for (const auto& callback : pass->callbacks) {
        callback(pass->report);
    }
    if (pendingResync_) {
        pendingResync_ = false;
        auto waiting = std::move(waiting_);
        waiting_.clear();
        syncNow([waiting](const SyncPassReport& report) {
            for (const auto& callback : waiting) {
                callback(report);
            }
        });
    }
}

void iCloudSyncService::resolveConflict(const Uuid& snippetId, bool keepLocal) {
    std::optional<SyncLock> lock;
    if (!passInProgress_) {
        lock.emplace(dataFolder_);
        if (!lock->isHeld()) {
            throw std::runtime_error("Another Wordloom process is syncing this library right now.");
        }
        loadState();
    }
    const auto it = std::find_if(pendingConflicts_.begin(), pendingConflicts_.end(),
                                 [&](const SyncConflict& c) { return c.snippetId == snippetId; });
    if (it == pendingConflicts_.end()) {
        throw std::invalid_argument("No sync conflict is pending for the snippet " +
                                    snippetId.toString() + ".");
    }
    auto conflict = std::move(*it);
    pendingConflicts_.erase(it);
    const SyncRecordId id{std::string(syncRecordType::snippet), snippetId.toString()};
    if (keepLocal) {
        if (conflict.remoteSnippet && store_.snippet(snippetId)) {
            store_.keepAsVersion(*conflict.remoteSnippet, remoteVersionReason);
        }
        if (store_.snippet(snippetId)) {
            outboxState_.queueChange(id);
        } else if (index_.find(id.recordName)) {
            outboxState_.queueDeletion(id);
        }
    } else {
        outboxState_.forget(id);
        if (conflict.remoteSnippet) {
            isApplyingRemoteChanges_ = true;
            store_.applyExternalSnippet(*conflict.remoteSnippet, beforeSyncReason);
            isApplyingRemoteChanges_ = false;
            // What the server has is what we have now; the index keeps the server's tag.
            std::string fingerprint;
            const auto skeleton = index_.serverSkeleton(id.recordName);
            if (skeleton && localRecord(id, &fingerprint, nullptr)) {
                index_.agree(*skeleton, fingerprint);
            }
        } else if (store_.snippet(snippetId)) {
            store_.softDelete(snippetId);
        }
    }
    saveConflicts();
    saveIndex();
    saveJournal();
}

}  // namespace wordloom
