#include "core/library/SnippetVersionStore.h"

#include <algorithm>

#include "core/base/Log.h"
#include "core/library/BackgroundWrite.h"
#include "core/library/DebouncedAction.h"
#include "core/library/PersistenceService.h"

namespace wordloom {

struct SnippetVersionStore::Impl {
    Impl(Executor& executorIn, PersistenceService& persistenceIn)
        : executor(executorIn),
          persistence(persistenceIn),
          saveTask(executorIn, kSaveDebounce, [this] { saveInBackground(); }) {}

    Executor& executor;
    PersistenceService& persistence;
    Logger logger{"SnippetVersionStore"};
    std::map<Uuid, std::vector<SnippetVersion>> versions;
    std::vector<PreHydrationOperation> preHydrationOperations;
    bool isLoading = false;
    bool isHydrated = false;
    bool dirty = false;
    std::size_t savesInFlight = 0;
    DebouncedAction saveTask;
    ObserverList<> observers;
    // Background work posts its result back only while the store is alive.
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);

    void insert(SnippetVersion version) {
        auto& list = versions[version.snippetId];
        list.insert(list.begin(), std::move(version));
        if (list.size() > maxVersionsPerSnippet) {
            list.resize(maxVersionsPerSnippet);
        }
    }

    void eraseOne(const Uuid& snippetId, const Uuid& versionId) {
        const auto it = versions.find(snippetId);
        if (it == versions.end()) {
            return;
        }
        std::erase_if(it->second, [&](const SnippetVersion& v) { return v.id == versionId; });
        if (it->second.empty()) {
            versions.erase(it);
        }
    }

    void apply(const PreHydrationOperation& operation) {
        std::visit(
            [this](const auto& op) {
                using Op = std::decay_t<decltype(op)>;
                if constexpr (std::is_same_v<Op, SaveOperation>) {
                    insert(op.version);
                } else if constexpr (std::is_same_v<Op, DeleteAllOperation>) {
                    versions.erase(op.snippetId);
                } else {
                    eraseOne(op.snippetId, op.versionId);
                }
            },
            operation);
    }

    void changed() {
        dirty = true;
        saveTask.schedule();
        observers.notify();
    }

    void perform(PreHydrationOperation operation) {
        if (!isHydrated) {
            // Applied now for readers, and again on top of the file once it is loaded.
            apply(operation);
            preHydrationOperations.push_back(std::move(operation));
            observers.notify();
            return;
        }
        apply(operation);
        changed();
    }

    std::vector<SnippetVersion> snapshot() const {
        std::vector<SnippetVersion> all;
        for (const auto& [id, list] : versions) {
            all.insert(all.end(), list.begin(), list.end());
        }
        return all;
    }

    void saveInBackground() {
        if (!isHydrated) {
            return;  // the load's merge saves once it lands
        }
        dirty = false;
        auto ticket = persistence.beginSave();
        auto all = snapshot();
        ++savesInFlight;
        writeInBackground(
            executor, alive,
            [&files = persistence, ticket, all = std::move(all)] {
                files.saveSnippetVersions(all, ticket);
            },
            [this](const std::optional<std::string>& failure) {
                --savesInFlight;
                if (failure) {
                    logger.error("Failed to save snippet versions: " + *failure);
                }
            });
    }
};

SnippetVersionStore::SnippetVersionStore(Executor& executor, PersistenceService& persistence)
    : impl_(std::make_shared<Impl>(executor, persistence)) {}

SnippetVersionStore::~SnippetVersionStore() = default;

void SnippetVersionStore::startHydration() {
    auto& impl = *impl_;
    if (impl.isLoading || impl.isHydrated) {
        return;
    }
    impl.isLoading = true;
    Impl* self = impl_.get();
    loadInBackground<std::vector<SnippetVersion>>(
        impl.executor, impl.alive,
        [&files = impl.persistence] { return files.loadSnippetVersions(); },
        [self](std::vector<SnippetVersion> loaded, const std::optional<std::string>& failure) {
            if (failure) {
                self->logger.error("Failed to load snippet versions: " + *failure);
            }
            self->versions.clear();
            // The file lists each snippet's versions newest first.
            for (auto& version : loaded) {
                auto& list = self->versions[version.snippetId];
                if (list.size() < maxVersionsPerSnippet) {
                    list.push_back(std::move(version));
                }
            }
            const bool replayed = !self->preHydrationOperations.empty();
            for (const auto& operation : self->preHydrationOperations) {
                self->apply(operation);
            }
            self->preHydrationOperations.clear();
            self->isHydrated = true;
            self->isLoading = false;
            if (replayed) {
                self->changed();
            } else {
                self->observers.notify();
            }
        });
}

bool SnippetVersionStore::isLoading() const {
    return impl_->isLoading;
}
bool SnippetVersionStore::isHydrated() const {
    return impl_->isHydrated;
}

void SnippetVersionStore::saveVersion(SnippetVersion version) {
    impl_->perform(SaveOperation{std::move(version)});
}

std::vector<SnippetVersion> SnippetVersionStore::versions(const Uuid& snippetId) const {
    const auto it = impl_->versions.find(snippetId);
    return it == impl_->versions.end() ? std::vector<SnippetVersion>{} : it->second;
}

std::optional<SnippetVersion> SnippetVersionStore::version(const Uuid& versionId) const {
    for (const auto& [snippetId, list] : impl_->versions) {
        for (const auto& v : list) {
            if (v.id == versionId) {
                return v;
            }
        }
    }
    return std::nullopt;
}

void SnippetVersionStore::deleteVersion(const Uuid& snippetId, const Uuid& versionId) {
    impl_->perform(DeleteOneOperation{snippetId, versionId});
}

void SnippetVersionStore::deleteAllVersions(const Uuid& snippetId) {
    impl_->perform(DeleteAllOperation{snippetId});
}

bool SnippetVersionStore::flush() {
    auto& impl = *impl_;
    if (!impl.isHydrated || (!impl.dirty && impl.savesInFlight == 0)) {
        return true;
    }
    impl.saveTask.cancel();
    impl.dirty = false;
    try {
        impl.persistence.saveSnippetVersions(impl.snapshot(), impl.persistence.beginSave());
        return true;
    } catch (const std::exception& error) {
        impl.logger.error(std::string("Sparkle pre-relaunch saveSnippetVersions failed: ") +
                          error.what());
        return false;
    }
}

Subscription SnippetVersionStore::observeChanges(std::function<void()> observer) {
    return impl_->observers.subscribe(std::move(observer));
}

}  // namespace wordloom
