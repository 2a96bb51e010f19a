#include "core/library/SettingsStore.h"

#include <set>

#include "core/base/Log.h"
#include "core/library/BackgroundWrite.h"
#include "core/library/DebouncedAction.h"
#include "core/library/PersistenceService.h"

namespace wordloom {

struct SettingsStore::Impl {
    Impl(Executor& executorIn, PersistenceService& persistenceIn)
        : executor(executorIn),
          persistence(persistenceIn),
          saveTask(executorIn, kSaveDebounce, [this] { saveInBackground(); }) {}

    Executor& executor;
    PersistenceService& persistence;
    Logger logger{"SettingsStore"};
    AppSettings settings;
    std::optional<std::string> lastError;
    bool isHydrating = false;
    bool isHydrated = false;
    std::uint64_t preHydrationMutationGeneration = 0;
    std::set<SettingField> preHydrationChangedFields;
    std::uint64_t replacementGeneration = 0;
    bool dirty = false;
    std::size_t savesInFlight = 0;
    DebouncedAction saveTask;
    ObserverList<> observers;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);

    void changed() {
        dirty = true;
        saveTask.schedule();
        observers.notify();
    }

    void recordFailure(const std::string& message) {
        logger.error("Failed to save settings: " + message);
        lastError = message;
    }

    void saveInBackground() {
        if (!isHydrated) {
            return;  // written once the load has been merged, so the file is never clobbered
        }
        dirty = false;
        const auto ticket = persistence.beginSave();
        ++savesInFlight;
        writeInBackground(
            executor, alive,
            [&files = persistence, ticket, snapshot = settings] {
                files.saveSettings(snapshot, ticket);
            },
            [this](const std::optional<std::string>& failure) {
                --savesInFlight;
                if (failure) {
                    recordFailure(*failure);
                }
            });
    }

    void applyLoaded(std::optional<AppSettings> loaded, std::optional<std::string> failure,
                     std::uint64_t generationAtStart) {
        if (failure) {
            logger.error("Failed to load settings: " + *failure);
            lastError = *failure;
        } else if (replacementGeneration == generationAtStart && loaded) {
            // Changes made while the file was loading win over the file.
            for (const auto field : preHydrationChangedFields) {
                copySettingField(field, settings, *loaded);
            }
            if (!(*loaded == settings)) {
                settings = std::move(*loaded);
                observers.notify();
            }
        }
        preHydrationChangedFields.clear();
        isHydrated = true;
        isHydrating = false;
        if (dirty) {
            // A change made before the load (merged above, or a whole replacement) goes to disk.
            saveTask.cancel();
            saveInBackground();
        }
    }
};

SettingsStore::SettingsStore(Executor& executor, PersistenceService& persistence)
    : impl_(std::make_unique<Impl>(executor, persistence)) {}

SettingsStore::~SettingsStore() = default;

void SettingsStore::startHydration() {
    auto& impl = *impl_;
    if (impl.isHydrating || impl.isHydrated) {
        return;
    }
    impl.isHydrating = true;
    Impl* self = impl_.get();
    const auto generation = impl.replacementGeneration;
    loadInBackground<std::optional<AppSettings>>(
        impl.executor, impl.alive, [&files = impl.persistence] { return files.loadSettings(); },
        [self, generation](std::optional<AppSettings> loaded,
                           const std::optional<std::string>& failure) {
            self->applyLoaded(loaded, failure, generation);
        });
}

bool SettingsStore::isHydrated() const {
    return impl_->isHydrated;
}

const std::optional<std::string>& SettingsStore::lastError() const {
    return impl_->lastError;
}

const AppSettings& SettingsStore::settings() const {
    return impl_->settings;
}

void SettingsStore::update(const std::function<void(AppSettings&)>& change) {
    auto& impl = *impl_;
    AppSettings updated = impl.settings;
    change(updated);
    bool any = false;
    for (std::size_t i = 0; i < kSettingFieldCount; ++i) {
        const auto field = static_cast<SettingField>(i);
        if (settingValueText(updated, field) != settingValueText(impl.settings, field)) {
            any = true;
            if (!impl.isHydrated) {
                impl.preHydrationChangedFields.insert(field);
            }
        }
    }
    if (!any) {
        return;
    }
    if (!impl.isHydrated) {
        ++impl.preHydrationMutationGeneration;
    }
    impl.settings = std::move(updated);
    impl.changed();
}

void SettingsStore::replaceAll(AppSettings settings) {
    auto& impl = *impl_;
    ++impl.replacementGeneration;
    impl.preHydrationChangedFields.clear();
    impl.settings = std::move(settings);
    impl.changed();
}

void SettingsStore::flush() {
    auto& impl = *impl_;
    if (!impl.isHydrated || (!impl.dirty && impl.savesInFlight == 0)) {
        return;
    }
    impl.saveTask.cancel();
    impl.dirty = false;
    try {
        impl.persistence.saveSettings(impl.settings, impl.persistence.beginSave());
    } catch (const std::exception& error) {
        impl.logger.error(std::string("Sparkle pre-relaunch saveSettings failed: ") + error.what());
        impl.lastError = error.what();
    }
}

Subscription SettingsStore::observeChanges(std::function<void()> observer) {
    return impl_->observers.subscribe(std::move(observer));
}

}  // namespace wordloom
