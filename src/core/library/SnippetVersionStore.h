#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/ObserverList.h"
#include "core/library/SnippetVersion.h"

namespace wordloom {

class PersistenceService;

/// For every snippet, its earlier states, newest first, at most 50. Lives on the main queue;
/// loads versions.json once in the background and keeps what was done before the load finished.
class SnippetVersionStore {
  public:
    static constexpr std::size_t maxVersionsPerSnippet = 50;

    struct SaveOperation {
        SnippetVersion version;
    };
    struct DeleteAllOperation {
        Uuid snippetId;
    };
    struct DeleteOneOperation {
        Uuid snippetId;
        Uuid versionId;
    };
    /// A change made before the history was loaded, replayed on the loaded history.
    using PreHydrationOperation =
        std::variant<SaveOperation, DeleteAllOperation, DeleteOneOperation>;

    SnippetVersionStore(Executor& executor, PersistenceService& persistence);
    ~SnippetVersionStore();
    SnippetVersionStore(const SnippetVersionStore&) = delete;
    SnippetVersionStore& operator=(const SnippetVersionStore&) = delete;

    void startHydration();
    bool isLoading() const;
    bool isHydrated() const;

    void saveVersion(SnippetVersion version);
    /// The versions of `snippetId`, newest first.
    std::vector<SnippetVersion> versions(const Uuid& snippetId) const;
    /// The version with `versionId`, whichever snippet it belongs to.
    std::optional<SnippetVersion> version(const Uuid& versionId) const;
    void deleteVersion(const Uuid& snippetId, const Uuid& versionId);
    void deleteAllVersions(const Uuid& snippetId);

    /// Writes a pending change now. Returns false (and logs) when the write failed.
    bool flush();

    [[nodiscard]] Subscription observeChanges(std::function<void()> observer);

  private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace wordloom
