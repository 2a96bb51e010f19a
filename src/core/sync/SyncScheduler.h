#pragma once

#include <filesystem>
#include <memory>

#include "core/base/Executor.h"
#include "core/base/Log.h"
#include "core/base/ObserverList.h"
#include "core/sync/SyncConfiguration.h"
#include "core/sync/iCloudSyncService.h"

namespace wordloom {

class SettingsStore;

/// When the app syncs: once the library has loaded, a few seconds after the last change, and
/// every few minutes (no push reaches a Linux copy). Follows the `iCloudSyncEnabled` setting
/// and the backend set up in the user defaults; does nothing while they say off.
class SyncScheduler {
  public:
    /// Quiet time after a change before it goes out: a burst of edits is one sync.
    static constexpr Duration changeDelay = std::chrono::seconds(3);
    /// How often other machines' changes are fetched when nothing happens here.
    static constexpr Duration period = std::chrono::minutes(5);

    /// Makes the store of CloudKit's web auth token for a configuration (the desktop's Secret
    /// Service); without one the token is kept in a file.
    using TokenStoreFactory =
        std::function<std::shared_ptr<WebAuthTokenStore>(const SyncConfiguration&)>;

    SyncScheduler(Executor& executor, iCloudSyncService& service, SnippetStore& store,
                  SettingsStore& settings, UserDefaults& defaults,
                  TokenStoreFactory tokenStores = {});
    ~SyncScheduler();
    SyncScheduler(const SyncScheduler&) = delete;
    SyncScheduler& operator=(const SyncScheduler&) = delete;

    bool isActive() const { return active_; }

  private:
    void reconfigure();
    void libraryChanged();
    void scheduleChangeSync();
    void schedulePeriodicSync();
    void runSync();

    Executor& executor_;
    iCloudSyncService& service_;
    SnippetStore& store_;
    SettingsStore& settings_;
    UserDefaults& defaults_;
    TokenStoreFactory tokenStores_;
    Logger logger_{"iCloudSyncService.scheduler"};
    bool active_ = false;
    bool startedOnce_ = false;
    /// The server asked for quiet until then (throttling).
    Timestamp notBefore_{};
    ScheduledTask changeTask_;
    ScheduledTask periodicTask_;
    Subscription librarySubscription_;
    Subscription settingsSubscription_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
