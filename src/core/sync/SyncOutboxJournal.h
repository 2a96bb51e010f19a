#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "core/library/UserDefaults.h"
#include "core/sync/SyncOutboxState.h"

namespace wordloom {

/// Keeps the outbox on disk, so that no local change is lost to a quit, a crash or a failed
/// upload. The journal is "icloud-sync-outbox.json" in the data folder; when it cannot be
/// written, the state goes into the user defaults ("iCloudSyncOutboxFallback") and the next
/// load prefers that copy ("iCloudSyncOutboxFallbackPreferred").
class SyncOutboxJournal {
  public:
    static constexpr std::string_view fileName = "icloud-sync-outbox.json";
    static constexpr std::string_view fallbackKey = "iCloudSyncOutboxFallback";
    static constexpr std::string_view fallbackPreferredKey = "iCloudSyncOutboxFallbackPreferred";

    struct Loaded {
        SyncOutboxState state;
        /// The journal was unreadable: every local record must be compared with the server.
        bool requiresFullReconciliation = false;
        /// What the user is told about it.
        std::optional<std::string> message;
    };

    SyncOutboxJournal(std::filesystem::path url, UserDefaults& defaults);

    const std::filesystem::path& url() const { return url_; }

    /// Reads the journal (or the fallback copy when it is preferred). An unreadable journal is
    /// moved aside to "icloud-sync-outbox-corrupt-<UUID>.json" and never deleted.
    Loaded load();

    /// Writes `state`. Returns nothing when the journal was written, else the message for
    /// `outboxPersistenceError` (the state then lives in the fallback copy).
    std::optional<std::string> save(const SyncOutboxState& state);

  private:
    std::filesystem::path url_;
    UserDefaults& defaults_;
};

}  // namespace wordloom
