#include "core/library/SnippetStore.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "core/base/Log.h"
#include "core/base/Text.h"
#include "core/library/DateTimeSeed.h"
#include "core/library/DebouncedAction.h"
#include "core/library/PersistenceService.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"

namespace wordloom {
namespace {

std::string nameForMessage(const Snippet& snippet) {
    return text::trimWhitespaceAndNewlines(snippet.label).empty() ? snippet.displayName()
                                                                  : snippet.label;
}

// Puts the records named in `changedIds` from `live` over `loaded`: changed ones replace or
// join the loaded list, removed ones leave it.
template <typename Record>
void overlay(std::vector<Record>& loaded, const std::vector<Record>& live,
             const std::set<Uuid>& changedIds) {
    if (changedIds.empty()) {
        return;
    }
    std::set<Uuid> stillLive;
    for (const auto& record : live) {
        if (changedIds.count(record.id) == 0) {
            continue;
        }
        stillLive.insert(record.id);
        const auto it = std::find_if(loaded.begin(), loaded.end(),
                                     [&](const Record& r) { return r.id == record.id; });
        if (it != loaded.end()) {
            *it = record;
        } else {
            loaded.push_back(record);
        }
    }
    std::erase_if(loaded, [&](const Record& r) {
        return changedIds.count(r.id) != 0 && stillLive.count(r.id) == 0;
    });
}

// Whether two states of a snippet differ in what a version keeps.
bool differsInVersionedFields(const Snippet& a, const Snippet& b) {
    const auto epoch = Timestamp{};
    auto left = SnippetVersion::capture(a, epoch, std::nullopt);
    auto right = SnippetVersion::capture(b, epoch, std::nullopt);
    right.id = left.id;
    return !(left == right);
}

}  // namespace

std::optional<std::string> ConflictCheckResult::message() const {
    if (kind == Kind::noConflict) {
        return std::nullopt;
    }
    std::string joined;
    for (const auto& snippet : conflicting) {
        if (!joined.empty()) {
            joined += ", ";
        }
        joined += nameForMessage(snippet);
        if (kind == Kind::caseInsensitiveMatch) {
            joined += " (" + snippet.abbreviation + ")";
        }
    }
    return kind == Kind::exactMatch ? "This abbreviation is already used by: " + joined
                                    : "Similar abbreviation exists: " + joined;
}

struct SnippetStore::Impl {
    Impl(Executor& executorIn, PersistenceService& persistenceIn, SnippetImageStore& imagesIn,
         SnippetVersionStore& versionsIn, UserDefaults& defaultsIn)
        : executor(executorIn),
          persistence(persistenceIn),
          images(imagesIn),
          versions(versionsIn),
          defaults(defaultsIn),
          saveTask(executorIn, kSaveDebounce, [this] { saveInBackground(); }),
          useCountSaveTask(executorIn, SnippetStore::useCountSaveDelay,
                           [this] { saveInBackground(); }) {}

    Executor& executor;
    PersistenceService& persistence;
    SnippetImageStore& images;
    SnippetVersionStore& versions;
    UserDefaults& defaults;
    Logger logger{"SnippetStore"};

    std::vector<Snippet> snippets;
    std::vector<SnippetGroup> groups;
    bool isLoading = false;
    bool isHydrated = false;
    bool loadFailed = false;
    std::optional<std::string> lastError;
    std::uint64_t preHydrationMutationGeneration = 0;
    bool needsSaveAfterHydration = false;
    std::uint64_t replacementGeneration = 0;
    std::set<Uuid> preHydrationSnippetIds;
    std::set<Uuid> preHydrationGroupIds;
    // What the last save was handed, shared rather than copied: while the live list still
    // equals it nothing extra is held; the first change after a handover keeps the in-flight
    // save's snapshot alive, or copies the list once if that save has already finished.
    using SnippetList = std::vector<Snippet>;
    std::uint64_t snippetGeneration = 0;
    std::optional<std::uint64_t> handedOverGeneration;
    std::shared_ptr<const SnippetList> handedOver;
    std::weak_ptr<const SnippetList> snapshotInFlight;
    // While the live list differs from the handed-over one only in counted uses, the counts as
    // they were handed over, rather than a copy of the whole list kept until the next save.
    struct UseCounts {
        std::int64_t useCount = 0;
        std::optional<Timestamp> lastUsedAt;
    };
    std::unordered_map<Uuid, UseCounts> countsAsHandedOver;
    // Built only when lastPersistableSnippets() is asked for while such counts are pending.
    mutable std::optional<SnippetList> withCountsAsHandedOver;
    bool dirty = false;
    // Uses counted since the last snapshot handed to a save.
    bool usesUnsaved = false;
    std::size_t savesInFlight = 0;
    DebouncedAction saveTask;
    // Started by the first unsaved use and not restarted by later ones, so that steady typing
    // still has its counts written every `useCountSaveDelay`.
    DebouncedAction useCountSaveTask;
    ObserverList<> observers;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);

    Snippet* find(const Uuid& id) {
        const auto it = std::find_if(snippets.begin(), snippets.end(),
                                     [&](const Snippet& s) { return s.id == id; });
        return it == snippets.end() ? nullptr : &*it;
    }
    SnippetGroup* findGroup(const Uuid& id) {
        const auto it = std::find_if(groups.begin(), groups.end(),
                                     [&](const SnippetGroup& g) { return g.id == id; });
        return it == groups.end() ? nullptr : &*it;
    }

    // Call before every change to `snippets`, and bump `snippetGeneration` after it.
    void willChangeSnippets() {
        if (handedOverGeneration != snippetGeneration || handedOver) {
            return;
        }
        handedOver = snapshotInFlight.lock();
        if (!handedOver) {
            handedOver = std::make_shared<const SnippetList>(listAsHandedOver());
        }
        forgetCountsAsHandedOver();
    }

    std::shared_ptr<const SnippetList> handOverSnippets() {
        auto snapshot = std::make_shared<const SnippetList>(snippets);
        handedOverGeneration = snippetGeneration;
        handedOver.reset();
        forgetCountsAsHandedOver();
        snapshotInFlight = snapshot;
        return snapshot;
    }

    const SnippetList& lastPersistable() const {
        static const SnippetList nothingYet;
        if (!handedOverGeneration) {
            return nothingYet;
        }
        if (handedOver) {
            return *handedOver;
        }
        if (*handedOverGeneration != snippetGeneration || countsAsHandedOver.empty()) {
            return snippets;
        }
        if (!withCountsAsHandedOver) {
            withCountsAsHandedOver = listAsHandedOver();
        }
        return *withCountsAsHandedOver;
    }

    // The live list with counted uses taken back to what was handed over.
    SnippetList listAsHandedOver() const {
        SnippetList list = snippets;
        if (countsAsHandedOver.empty()) {
            return list;
        }
        for (auto& snippet : list) {
            if (const auto it = countsAsHandedOver.find(snippet.id);
                it != countsAsHandedOver.end()) {
                snippet.useCount = it->second.useCount;
                snippet.lastUsedAt = it->second.lastUsedAt;
            }
        }
        return list;
    }

    void forgetCountsAsHandedOver() {
        countsAsHandedOver.clear();
        withCountsAsHandedOver.reset();
    }

    // Call before counting a use of `snippet`; it needs no generation bump.
    void willCountUse(const Snippet& snippet) {
        withCountsAsHandedOver.reset();
        if (handedOverGeneration != snippetGeneration || handedOver) {
            return;
        }
        handedOver = snapshotInFlight.lock();
        if (!handedOver) {
            countsAsHandedOver.try_emplace(snippet.id,
                                           UseCounts{snippet.useCount, snippet.lastUsedAt});
        }
    }

    void markDirty() {
        dirty = true;
        saveTask.schedule();
    }

    void snippetsChanged(std::initializer_list<Uuid> ids) { snippetsChanged(std::vector(ids)); }
    void snippetsChanged(const std::vector<Uuid>& ids) {
        ++snippetGeneration;
        if (!isHydrated) {
            preHydrationSnippetIds.insert(ids.begin(), ids.end());
            ++preHydrationMutationGeneration;
            needsSaveAfterHydration = true;
        }
        markDirty();
        observers.notify();
    }
    void groupsChanged(std::initializer_list<Uuid> ids) {
        if (!isHydrated) {
            preHydrationGroupIds.insert(ids.begin(), ids.end());
            ++preHydrationMutationGeneration;
            needsSaveAfterHydration = true;
        }
        markDirty();
        observers.notify();
    }

    // Moves image bytes held in memory into the snippet's side file.
    void storeImage(Snippet& snippet) {
        if (snippet.contentType != ContentType::image || !snippet.imageData) {
            return;
        }
        try {
            images.write(snippet.id, *snippet.imageData);
            snippet.imageFileName = SnippetImageStore::fileName(snippet.id);
            snippet.imageData.reset();
        } catch (const std::exception& error) {
            // The bytes stay in the record and travel inside snippets.json instead.
            logger.error(std::string("Couldn't store the image of a snippet: ") + error.what());
            lastError = error.what();
        }
    }

    void removeImage(const Snippet& snippet) {
        if (snippet.contentType != ContentType::image && !snippet.imageFileName) {
            return;
        }
        try {
            images.remove(snippet.id);
        } catch (const std::exception& error) {
            logger.error(std::string("Couldn't remove an image side file: ") + error.what());
        }
    }

    void recordSaveFailure(std::string_view what, const std::string& message) {
        logger.error("Failed to save " + std::string(what) + ": " + message);
        lastError = message;
    }

    void saveInBackground() {
        if (!isHydrated) {
            // Before the load is merged a write would replace the user's file with a partial
            // library; the merge saves instead.
            return;
        }
        dirty = false;
        usesUnsaved = false;
        useCountSaveTask.cancel();
        const auto ticket = persistence.beginSave();
        ++savesInFlight;
        std::weak_ptr<bool> weakAlive = alive;
        executor.runInBackground([this, &files = persistence, &queue = executor, weakAlive, ticket,
                                  snippetsSnapshot = handOverSnippets(), groupsSnapshot = groups] {
            std::optional<std::string> snippetFailure;
            std::optional<std::string> groupFailure;
            try {
                files.saveSnippets(*snippetsSnapshot, ticket);
            } catch (const std::exception& error) {
                snippetFailure = error.what();
            }
            try {
                files.saveGroups(groupsSnapshot, ticket);
            } catch (const std::exception& error) {
                groupFailure = error.what();
            }
            queue.post([this, weakAlive, snippetFailure, groupFailure] {
                if (weakAlive.expired()) {
                    return;
                }
                --savesInFlight;
                if (snippetFailure) {
                    recordSaveFailure("snippets", *snippetFailure);
                }
                if (groupFailure) {
                    recordSaveFailure("groups", *groupFailure);
                }
            });
        });
    }

    struct LoadResult {
        std::vector<Snippet> snippets;
        std::vector<SnippetGroup> groups;
        std::optional<std::string> snippetFailure;
        std::optional<std::string> groupFailure;
    };

    void applyLoaded(LoadResult result, std::uint64_t generationAtStart) {
        if (replacementGeneration != generationAtStart) {
            logger.info("Dropping a library load that finished after the library was replaced.");
        } else if (result.snippetFailure) {
            loadFailed = true;
            lastError = *result.snippetFailure;
            logger.error("Failed to load snippets: " + *result.snippetFailure);
        } else {
            overlay(result.snippets, snippets, preHydrationSnippetIds);
            willChangeSnippets();
            snippets = std::move(result.snippets);
            // The decoder grew the list by doubling; the library lives for the whole session.
            snippets.shrink_to_fit();
            ++snippetGeneration;
            if (result.groupFailure) {
                lastError =
                    "Snippets loaded, but groups could not be read: " + *result.groupFailure;
                logger.error(*lastError);
            } else {
                overlay(result.groups, groups, preHydrationGroupIds);
                groups = std::move(result.groups);
            }
        }
        preHydrationSnippetIds.clear();
        preHydrationGroupIds.clear();
        isHydrated = true;
        isLoading = false;
        observers.notify();
        // After a failed load the unreadable file stays until the user's next change.
        if (!loadFailed && (needsSaveAfterHydration || dirty)) {
            needsSaveAfterHydration = false;
            saveTask.cancel();
            saveInBackground();
        }
        if (!loadFailed) {
            removeOrphanedImages();
            seedIfFirstRun();
        }
    }

    void removeOrphanedImages() {
        std::unordered_set<Uuid> referenced;
        for (const auto& snippet : snippets) {
            if (snippet.contentType == ContentType::image || snippet.imageFileName) {
                referenced.insert(snippet.id);
            }
        }
        for (const auto& id : images.storedIds()) {
            if (referenced.count(id) == 0) {
                try {
                    images.remove(id);
                } catch (const std::exception& error) {
                    logger.error(std::string("Couldn't remove an unused image: ") + error.what());
                }
            }
        }
    }

    void seedIfFirstRun() {
        if (defaults.boolForKey(DateTimeSeed::createdFlag)) {
            return;
        }
        auto seed = DateTimeSeed::make(executor.now());
        groups.push_back(seed.group);
        std::vector<Uuid> ids;
        willChangeSnippets();
        for (auto& snippet : seed.snippets) {
            ids.push_back(snippet.id);
            snippets.push_back(std::move(snippet));
        }
        defaults.setBool(DateTimeSeed::createdFlag, true);
        groupsChanged({seed.group.id});
        snippetsChanged(ids);
    }

    void writeNow() {
        saveTask.cancel();
        useCountSaveTask.cancel();
        dirty = false;
        usesUnsaved = false;
        const auto ticket = persistence.beginSave();
        handedOverGeneration = snippetGeneration;
        handedOver.reset();
        forgetCountsAsHandedOver();
        snapshotInFlight.reset();
        try {
            persistence.saveSnippets(snippets, ticket);
        } catch (const std::exception& error) {
            logger.error(std::string("Sparkle pre-relaunch saveSnippets failed: ") + error.what());
            lastError = error.what();
        }
        try {
            persistence.saveGroups(groups, ticket);
        } catch (const std::exception& error) {
            logger.error(std::string("Sparkle pre-relaunch saveGroups failed: ") + error.what());
            lastError = error.what();
        }
    }
};

SnippetStore::SnippetStore(Executor& executor, PersistenceService& persistence,
                           SnippetImageStore& images, SnippetVersionStore& versions,
                           UserDefaults& defaults)
    : impl_(std::make_unique<Impl>(executor, persistence, images, versions, defaults)) {}

SnippetStore::~SnippetStore() = default;

void SnippetStore::startHydration() {
    auto& impl = *impl_;
    if (impl.isLoading || impl.isHydrated) {
        return;
    }
    impl.isLoading = true;
    Impl* self = impl_.get();
    std::weak_ptr<bool> weakAlive = impl.alive;
    const auto generation = impl.replacementGeneration;
    impl.executor.runInBackground(
        [self, &files = impl.persistence, &queue = impl.executor, weakAlive, generation] {
            Impl::LoadResult result;
            try {
                result.snippets = files.loadSnippets();
                try {
                    result.groups = files.loadGroups();
                } catch (const std::exception& error) {
                    result.groupFailure = error.what();
                }
            } catch (const std::exception& error) {
                result.snippetFailure = error.what();
            }
            queue.post([self, weakAlive, generation, result = std::move(result)]() mutable {
                if (!weakAlive.expired()) {
                    self->applyLoaded(std::move(result), generation);
                }
            });
        });
}

bool SnippetStore::isLoading() const {
    return impl_->isLoading;
}
bool SnippetStore::isHydrated() const {
    return impl_->isHydrated;
}
bool SnippetStore::loadFailed() const {
    return impl_->loadFailed;
}
const std::optional<std::string>& SnippetStore::lastError() const {
    return impl_->lastError;
}

const std::vector<Snippet>& SnippetStore::snippets() const {
    return impl_->snippets;
}
const std::vector<SnippetGroup>& SnippetStore::groups() const {
    return impl_->groups;
}
const std::vector<Snippet>& SnippetStore::lastPersistableSnippets() const {
    return impl_->lastPersistable();
}

const Snippet* SnippetStore::snippet(const Uuid& id) const {
    return impl_->find(id);
}
const SnippetGroup* SnippetStore::group(const Uuid& id) const {
    return impl_->findGroup(id);
}

std::vector<const Snippet*> SnippetStore::snippetsWithAbbreviation(
    std::string_view abbreviation) const {
    std::vector<const Snippet*> found;
    for (const auto& s : impl_->snippets) {
        if (!s.isDeleted() && s.abbreviation == abbreviation) {
            found.push_back(&s);
        }
    }
    return found;
}

std::vector<const Snippet*> SnippetStore::snippetsInGroup(const Uuid& groupId) const {
    std::vector<const Snippet*> found;
    for (const auto& s : impl_->snippets) {
        if (s.groupId == groupId) {
            found.push_back(&s);
        }
    }
    return found;
}

ConflictCheckResult SnippetStore::checkConflict(std::string_view abbreviation,
                                                std::optional<Uuid> editingId) const {
    ConflictCheckResult exact{ConflictCheckResult::Kind::exactMatch, {}};
    ConflictCheckResult similar{ConflictCheckResult::Kind::caseInsensitiveMatch, {}};
    for (const auto& s : impl_->snippets) {
        // Snippets in Recently Deleted never expand, so they cannot collide.
        if ((editingId && s.id == *editingId) || s.isDeleted()) {
            continue;
        }
        if (s.abbreviation == abbreviation) {
            exact.conflicting.push_back(s);
        } else if (text::equalsIgnoringCase(s.abbreviation, abbreviation)) {
            similar.conflicting.push_back(s);
        }
    }
    if (!exact.conflicting.empty()) {
        return exact;
    }
    if (!similar.conflicting.empty()) {
        return similar;
    }
    return {};
}

void SnippetStore::add(Snippet snippet) {
    if (!isValidAbbreviation(snippet.abbreviation)) {
        throw std::invalid_argument(invalidAbbreviationMessage(snippet.abbreviation));
    }
    if (snippet.id.isNil()) {
        snippet.id = Uuid::random();
    }
    if (impl_->find(snippet.id)) {
        throw std::invalid_argument("A snippet with the id " + snippet.id.toString() +
                                    " already exists.");
    }
    impl_->storeImage(snippet);
    const auto id = snippet.id;
    impl_->willChangeSnippets();
    impl_->snippets.push_back(std::move(snippet));
    impl_->snippetsChanged({id});
}

void SnippetStore::update(Snippet snippet) {
    auto& impl = *impl_;
    if (!isValidAbbreviation(snippet.abbreviation)) {
        throw std::invalid_argument(invalidAbbreviationMessage(snippet.abbreviation));
    }
    auto* current = impl.find(snippet.id);
    if (!current) {
        throw std::invalid_argument("No snippet has the id " + snippet.id.toString() + ".");
    }
    if (differsInVersionedFields(*current, snippet)) {
        impl.versions.saveVersion(
            SnippetVersion::capture(*current, impl.executor.now(), "Before edit"));
    }
    snippet.modifiedAt = impl.executor.now();
    impl.storeImage(snippet);
    impl.willChangeSnippets();
    *current = std::move(snippet);
    impl.snippetsChanged({current->id});
}

void SnippetStore::softDelete(const Uuid& id) {
    if (auto* s = impl_->find(id); s && !s->isDeleted()) {
        impl_->willChangeSnippets();
        s->deletedAt = impl_->executor.now();
        impl_->snippetsChanged({id});
    }
}

void SnippetStore::restore(const Uuid& id) {
    if (auto* s = impl_->find(id); s && s->isDeleted()) {
        impl_->willChangeSnippets();
        s->deletedAt.reset();
        impl_->snippetsChanged({id});
    }
}

void SnippetStore::deletePermanently(const Uuid& id) {
    auto& impl = *impl_;
    const auto* s = impl.find(id);
    if (!s) {
        return;
    }
    impl.removeImage(*s);
    impl.versions.deleteAllVersions(id);
    impl.willChangeSnippets();
    std::erase_if(impl.snippets, [&](const Snippet& x) { return x.id == id; });
    impl.snippetsChanged({id});
}

void SnippetStore::emptyRecentlyDeleted() {
    auto& impl = *impl_;
    std::vector<Uuid> removed;
    for (const auto& s : impl.snippets) {
        if (s.isDeleted()) {
            impl.removeImage(s);
            impl.versions.deleteAllVersions(s.id);
            removed.push_back(s.id);
        }
    }
    if (removed.empty()) {
        return;
    }
    impl.willChangeSnippets();
    std::erase_if(impl.snippets, [](const Snippet& s) { return s.isDeleted(); });
    impl.snippetsChanged(removed);
}

Snippet SnippetStore::duplicate(const Uuid& id) {
    auto& impl = *impl_;
    const auto* original = impl.find(id);
    if (!original) {
        throw std::invalid_argument("No snippet has the id " + id.toString() + ".");
    }
    Snippet copy = *original;
    copy.id = Uuid::random();
    copy.label = original->label + " Copy";
    copy.createdAt = impl.executor.now();
    copy.modifiedAt = copy.createdAt;
    copy.useCount = 0;
    copy.lastUsedAt.reset();
    copy.deletedAt.reset();
    copy.imageFileName.reset();
    if (original->contentType == ContentType::image) {
        try {
            copy.imageData =
                original->imageData ? *original->imageData : impl.images.read(original->id);
            impl.images.write(copy.id, *copy.imageData);
        } catch (const std::exception&) {
            throw std::runtime_error("Couldn't load the image for " + original->label +
                                     ". Duplicate not created.");
        }
        copy.imageFileName = SnippetImageStore::fileName(copy.id);
        copy.imageData.reset();
    }
    impl.willChangeSnippets();
    impl.snippets.push_back(copy);
    impl.snippetsChanged({copy.id});
    return copy;
}

void SnippetStore::moveToGroup(const Uuid& snippetId, std::optional<Uuid> groupId) {
    if (auto* s = impl_->find(snippetId)) {
        impl_->willChangeSnippets();
        s->groupId = groupId;
        s->modifiedAt = impl_->executor.now();
        impl_->snippetsChanged({snippetId});
    }
}

void SnippetStore::addGroup(SnippetGroup group) {
    if (group.id.isNil()) {
        group.id = Uuid::random();
    }
    const auto id = group.id;
    impl_->groups.push_back(std::move(group));
    impl_->groupsChanged({id});
}

void SnippetStore::renameGroup(const Uuid& id, std::string name) {
    if (auto* g = impl_->findGroup(id)) {
        g->name = std::move(name);
        g->modifiedAt = impl_->executor.now();
        impl_->groupsChanged({id});
    }
}

void SnippetStore::updateGroup(SnippetGroup group) {
    if (auto* g = impl_->findGroup(group.id)) {
        group.modifiedAt = impl_->executor.now();
        *g = std::move(group);
        impl_->groupsChanged({g->id});
    }
}

void SnippetStore::deleteGroup(const Uuid& id) {
    auto& impl = *impl_;
    const auto* g = impl.findGroup(id);
    if (!g) {
        return;
    }
    const auto parent = g->parentId;
    std::vector<Uuid> movedSnippets;
    for (auto& s : impl.snippets) {
        if (s.groupId == id) {
            impl.willChangeSnippets();
            s.groupId.reset();
            movedSnippets.push_back(s.id);
        }
    }
    for (auto& child : impl.groups) {
        if (child.parentId == id) {
            child.parentId = parent;
            impl.groupsChanged({child.id});
        }
    }
    std::erase_if(impl.groups, [&](const SnippetGroup& x) { return x.id == id; });
    impl.groupsChanged({id});
    if (!movedSnippets.empty()) {
        impl.snippetsChanged(movedSnippets);
    }
}

void SnippetStore::replaceAll(std::vector<Snippet> snippets, std::vector<SnippetGroup> groups) {
    auto& impl = *impl_;
    ++impl.replacementGeneration;
    impl.preHydrationSnippetIds.clear();
    impl.preHydrationGroupIds.clear();
    impl.willChangeSnippets();
    impl.snippets = std::move(snippets);
    ++impl.snippetGeneration;
    impl.groups = std::move(groups);
    impl.loadFailed = false;  // the replacement is a whole library of its own
    impl.markDirty();
    impl.observers.notify();
}

void SnippetStore::applyExternalSnippet(Snippet snippet, const std::string& versionReason) {
    auto& impl = *impl_;
    if (!isValidAbbreviation(snippet.abbreviation)) {
        throw std::invalid_argument(invalidAbbreviationMessage(snippet.abbreviation));
    }
    auto* current = impl.find(snippet.id);
    if (!current) {
        add(std::move(snippet));
        return;
    }
    if (differsInVersionedFields(*current, snippet)) {
        impl.versions.saveVersion(
            SnippetVersion::capture(*current, impl.executor.now(), versionReason));
    }
    impl.storeImage(snippet);
    impl.willChangeSnippets();
    *current = std::move(snippet);
    impl.snippetsChanged({current->id});
}

void SnippetStore::keepAsVersion(const Snippet& snippet, const std::string& reason) {
    impl_->versions.saveVersion(SnippetVersion::capture(snippet, impl_->executor.now(), reason));
}

void SnippetStore::applyExternalGroup(SnippetGroup group) {
    if (auto* g = impl_->findGroup(group.id)) {
        *g = std::move(group);
        impl_->groupsChanged({g->id});
    } else {
        addGroup(std::move(group));
    }
}

void SnippetStore::recordUse(const Uuid& id) {
    auto& impl = *impl_;
    auto* s = impl.find(id);
    if (!s) {
        return;
    }
    if (!impl.isHydrated) {
        // Merged into the loaded library and saved with it, like any early change.
        impl.willChangeSnippets();
        ++s->useCount;
        s->lastUsedAt = impl.executor.now();
        impl.snippetsChanged({id});
        return;
    }
    impl.willCountUse(*s);
    ++s->useCount;
    s->lastUsedAt = impl.executor.now();
    impl.usesUnsaved = true;
    if (!impl.saveTask.isPending() && !impl.useCountSaveTask.isPending()) {
        impl.useCountSaveTask.schedule();
    }
    impl.observers.notify();
}

void SnippetStore::restoreVersion(const SnippetVersion& version) {
    auto& impl = *impl_;
    auto* s = impl.find(version.snippetId);
    if (!s) {
        throw std::invalid_argument("The snippet of this version no longer exists.");
    }
    impl.versions.saveVersion(SnippetVersion::capture(*s, impl.executor.now(), "Before restore"));
    impl.willChangeSnippets();
    version.applyTo(*s);
    s->modifiedAt = impl.executor.now();
    impl.snippetsChanged({s->id});
}

void SnippetStore::flush() {
    auto& impl = *impl_;
    if (!impl.isHydrated || (!impl.dirty && !impl.usesUnsaved && impl.savesInFlight == 0)) {
        return;
    }
    impl.writeNow();
}

Subscription SnippetStore::observeChanges(std::function<void()> observer) {
    return impl_->observers.subscribe(std::move(observer));
}

}  // namespace wordloom
