#include "core/sync/SyncScheduler.h"

#include "core/library/SettingsStore.h"
#include "core/library/SnippetStore.h"
#include "core/sync/SyncConfiguration.h"

namespace wordloom {

SyncScheduler::SyncScheduler(Executor& executor, iCloudSyncService& service, SnippetStore& store,
                             SettingsStore& settings, UserDefaults& defaults,
                             TokenStoreFactory tokenStores)
    : executor_(executor),
      service_(service),
      store_(store),
      settings_(settings),
      defaults_(defaults),
      tokenStores_(std::move(tokenStores)) {
    librarySubscription_ = store_.observeChanges([this] { libraryChanged(); });
    settingsSubscription_ = settings_.observeChanges([this] { reconfigure(); });
    reconfigure();
}

SyncScheduler::~SyncScheduler() {
    *alive_ = false;
    changeTask_.cancel();
    periodicTask_.cancel();
}

void SyncScheduler::reconfigure() {
    const bool wanted = settings_.isHydrated() && settings_.settings().iCloudSyncEnabled &&
                        !iCloudSyncService::isTestHost();
    const auto configuration = SyncConfiguration::load(defaults_);
    if (!wanted || configuration.backend == SyncConfiguration::Backend::none) {
        if (active_) {
            logger_.info("[iCloudSync] Sync turned off");
        }
        active_ = false;
        startedOnce_ = false;
        changeTask_.cancel();
        periodicTask_.cancel();
        service_.setBackend(nullptr);
        return;
    }
    if (active_) {
        return;
    }
    try {
        service_.setBackend(configuration.makeBackend(
            defaults_, tokenStores_ ? tokenStores_(configuration) : nullptr));
    } catch (const SyncBackendError& error) {
        logger_.error(std::string("[iCloudSync] ") + error.what());
        service_.setBackend(nullptr);
        return;
    }
    active_ = true;
    logger_.info("[iCloudSync] Syncing through " + configuration.backendName());
    if (store_.isHydrated()) {
        startedOnce_ = true;
        runSync();
    }
}

void SyncScheduler::libraryChanged() {
    if (!active_ || service_.isApplyingRemoteChanges()) {
        return;
    }
    if (!startedOnce_ && store_.isHydrated()) {
        startedOnce_ = true;
        runSync();
        return;
    }
    scheduleChangeSync();
}

void SyncScheduler::scheduleChangeSync() {
    changeTask_.cancel();
    changeTask_ = executor_.postAfter(changeDelay, [this] { runSync(); });
}

void SyncScheduler::schedulePeriodicSync() {
    periodicTask_.cancel();
    periodicTask_ = executor_.postAfter(period, [this] { runSync(); });
}

void SyncScheduler::runSync() {
    if (!active_) {
        return;
    }
    if (executor_.now() < notBefore_) {
        changeTask_.cancel();
        changeTask_ = executor_.postAfter(notBefore_ - executor_.now(), [this] { runSync(); });
        return;
    }
    changeTask_.cancel();
    service_.queueLocalChanges();
    std::weak_ptr<bool> alive = alive_;
    service_.syncNow([this, alive](const SyncPassReport& report) {
        if (alive.expired()) {
            return;
        }
        if (!report.succeeded) {
            logger_.error("[iCloudSync] " + report.error);
        }
        if (report.retryAfter) {
            notBefore_ = executor_.now() + *report.retryAfter;
        }
        for (const auto& warning : report.warnings) {
            logger_.error("[iCloudSync] " + warning);
        }
        if (active_) {
            schedulePeriodicSync();
        }
    });
}

}  // namespace wordloom
