#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/base/Executor.h"
#include "core/base/Uuid.h"

namespace wordloom {

class SnippetStore;

/// What a change to several snippets or a group did: the snippets it made (duplicates, a new
/// group's id) and a message for each part that could not be done. Nothing is half-done for a
/// single snippet: each one either changes through the store or is left as it was.
struct LibraryActionResult {
    std::vector<Uuid> created;
    std::vector<std::string> errors;
    bool ok() const { return errors.empty(); }
};

/// The changes the library window makes to its selection and its groups, each through
/// `SnippetStore` so that saves, versions and change announcements are those of any other edit.
namespace libraryActions {

LibraryActionResult setEnabled(SnippetStore& store, const std::vector<Uuid>& ids, bool enabled);
LibraryActionResult moveToGroup(SnippetStore& store, const std::vector<Uuid>& ids,
                                const std::optional<Uuid>& group);
/// Adds `tag` to each snippet that lacks it (tags are compared without regard to case).
LibraryActionResult addTag(SnippetStore& store, const std::vector<Uuid>& ids,
                           const std::string& tag);
LibraryActionResult moveToRecentlyDeleted(SnippetStore& store, const std::vector<Uuid>& ids);
LibraryActionResult duplicate(SnippetStore& store, const std::vector<Uuid>& ids);
LibraryActionResult restore(SnippetStore& store, const std::vector<Uuid>& ids);
LibraryActionResult deletePermanently(SnippetStore& store, const std::vector<Uuid>& ids);

/// A new group "name" (or "name 2", "name 3", ... when a sibling has that name) under `parent`,
/// placed after its siblings.
LibraryActionResult addGroup(SnippetStore& store, const std::string& name,
                             const std::optional<Uuid>& parent, Timestamp now);
/// Refuses a blank name.
LibraryActionResult renameGroup(SnippetStore& store, const Uuid& group, const std::string& name);
LibraryActionResult setGroupEnabled(SnippetStore& store, const Uuid& group, bool enabled);
/// Refuses to move a group under itself or a group below it.
LibraryActionResult moveGroup(SnippetStore& store, const Uuid& group,
                              const std::optional<Uuid>& newParent);

}  // namespace libraryActions
}  // namespace wordloom
