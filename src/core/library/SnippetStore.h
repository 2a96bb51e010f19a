#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/ObserverList.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/library/SnippetVersion.h"

namespace wordloom {

class PersistenceService;
class SnippetImageStore;
class SnippetVersionStore;
class UserDefaults;

/// Outcome of checking an abbreviation against the rest of the library.
struct ConflictCheckResult {
    enum class Kind { noConflict, exactMatch, caseInsensitiveMatch };
    Kind kind = Kind::noConflict;
    std::vector<Snippet> conflicting;

    /// "This abbreviation is already used by: ..." / "Similar abbreviation exists: ..." /
    /// nothing for noConflict.
    std::optional<std::string> message() const;
};

/// The single owner of the live library: snippets (deleted ones included, they carry
/// `deletedAt`) and groups. Lives on the main queue. Loads once in the background, keeps changes
/// made before the load finished, saves 0.5 s after the last change, and announces every change
/// to the snippet list to its observers ("WordloomSnippetsDidChange").
///
/// Counting a use is the one change made on every expansion, and writing the whole library for
/// it would cost far more than the expansion itself. Use counts therefore ride along with the
/// next save of any other change, and are otherwise written `useCountSaveDelay` after the first
/// use not yet on disk, and by flush(): a crash loses at most that long's counts.
class SnippetStore {
  public:
    /// The name of the announcement observeChanges() delivers.
    static constexpr std::string_view didChangeNotification = "WordloomSnippetsDidChange";
    /// The longest a counted use waits for a save of its own.
    static constexpr Duration useCountSaveDelay = std::chrono::seconds(60);

    SnippetStore(Executor& executor, PersistenceService& persistence, SnippetImageStore& images,
                 SnippetVersionStore& versions, UserDefaults& defaults);
    ~SnippetStore();
    SnippetStore(const SnippetStore&) = delete;
    SnippetStore& operator=(const SnippetStore&) = delete;

    /// Starts the one background load; later calls do nothing.
    void startHydration();
    bool isLoading() const;
    bool isHydrated() const;
    /// Message of the last load or save failure.
    const std::optional<std::string>& lastError() const;
    /// Whether snippets.json was present but could not be read. The file is left alone until
    /// the next change is saved over it.
    bool loadFailed() const;

    const std::vector<Snippet>& snippets() const;
    const std::vector<SnippetGroup>& groups() const;
    /// The snippets as last handed to the persistence service.
    const std::vector<Snippet>& lastPersistableSnippets() const;

    const Snippet* snippet(const Uuid& id) const;
    const SnippetGroup* group(const Uuid& id) const;
    /// Snippets not in Recently Deleted whose abbreviation is exactly `abbreviation`.
    std::vector<const Snippet*> snippetsWithAbbreviation(std::string_view abbreviation) const;
    std::vector<const Snippet*> snippetsInGroup(const Uuid& groupId) const;

    /// Compares `abbreviation` with every other snippet's (`editingId` is skipped).
    ConflictCheckResult checkConflict(std::string_view abbreviation,
                                      std::optional<Uuid> editingId) const;

    /// Adds a snippet (a nil id gets a new one). Image bytes move into a side file. Throws
    /// std::invalid_argument for an invalid abbreviation or an id already in the library.
    void add(Snippet snippet);
    /// Replaces the snippet with the same id and sets its `modifiedAt`. When a field a version
    /// keeps changed, the earlier state is saved as a version ("Before edit") first. Throws
    /// std::invalid_argument for an invalid abbreviation or an unknown id.
    void update(Snippet snippet);
    /// Moves to Recently Deleted (sets `deletedAt`).
    void softDelete(const Uuid& id);
    /// Brings back from Recently Deleted.
    void restore(const Uuid& id);
    /// Removes for good, with the image side file.
    void deletePermanently(const Uuid& id);
    void emptyRecentlyDeleted();
    /// A copy labelled "<label> Copy" with a new id (and its own image file). Throws
    /// std::runtime_error("Couldn't load the image for <label>. Duplicate not created.").
    Snippet duplicate(const Uuid& id);
    void moveToGroup(const Uuid& snippetId, std::optional<Uuid> groupId);

    void addGroup(SnippetGroup group);
    void renameGroup(const Uuid& id, std::string name);
    void updateGroup(SnippetGroup group);
    /// Removes the group; its snippets become ungrouped and its child groups move to its parent.
    void deleteGroup(const Uuid& id);

    /// Replaces snippets and groups at once (backup restore, import of a backup).
    void replaceAll(std::vector<Snippet> snippets, std::vector<SnippetGroup> groups);

    /// Writes a snippet as another copy of the library has it (sync): added when new, else
    /// replaced with every field as given, `modifiedAt` included. When a field a version keeps
    /// changes, the local state is saved as a version (`versionReason`) first, so that nothing
    /// the user wrote here is lost. Throws std::invalid_argument for an invalid abbreviation.
    void applyExternalSnippet(Snippet snippet, const std::string& versionReason);
    /// Keeps `snippet`'s current state in its version history without changing it (the side
    /// of a sync conflict that lost).
    void keepAsVersion(const Snippet& snippet, const std::string& reason);
    /// Adds or replaces a group as another copy has it, `modifiedAt` included.
    void applyExternalGroup(SnippetGroup group);

    /// Counts one expansion: `useCount` + 1, `lastUsedAt` now. Written with the next save, or
    /// within `useCountSaveDelay`.
    void recordUse(const Uuid& id);

    /// Saves the current state as a version ("Before restore"), then applies `version`. Throws
    /// std::invalid_argument when its snippet is gone.
    void restoreVersion(const SnippetVersion& version);

    /// Writes a pending save, use counts included, now (before quitting). Failures are logged and
    /// kept in lastError().
    void flush();

    /// "WordloomSnippetsDidChange": called on the main queue after every change to the snippet
    /// list, including the load.
    [[nodiscard]] Subscription observeChanges(std::function<void()> observer);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace wordloom
