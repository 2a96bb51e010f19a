#include "core/library/LibraryActions.h"

#include <algorithm>
#include <exception>

#include "core/base/Text.h"
#include "core/library/GroupTree.h"
#include "core/library/SnippetSearch.h"
#include "core/library/SnippetStore.h"

namespace wordloom::libraryActions {

namespace {

/// Runs `change` for every snippet still in the library, collecting the store's refusals.
template <typename Change>
LibraryActionResult forEach(SnippetStore& store, const std::vector<Uuid>& ids, Change change) {
    LibraryActionResult result;
    for (const auto& id : ids) {
        const Snippet* snippet = store.snippet(id);
        if (!snippet) {
            result.errors.push_back("A snippet is no longer in the library.");
            continue;
        }
        try {
            change(*snippet, result);
        } catch (const std::exception& error) {
            result.errors.push_back(snippet->displayName() + ": " + error.what());
        }
    }
    return result;
}

LibraryActionResult failure(std::string message) {
    LibraryActionResult result;
    result.errors.push_back(std::move(message));
    return result;
}

}  // namespace

LibraryActionResult setEnabled(SnippetStore& store, const std::vector<Uuid>& ids, bool enabled) {
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        if (snippet.isEnabled != enabled) {
            Snippet changed = snippet;
            changed.isEnabled = enabled;
            store.update(std::move(changed));
        }
    });
}

LibraryActionResult moveToGroup(SnippetStore& store, const std::vector<Uuid>& ids,
                                const std::optional<Uuid>& group) {
    if (group && !store.group(*group)) {
        return failure("That group is no longer in the library.");
    }
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        if (snippet.groupId != group) {
            store.moveToGroup(snippet.id, group);
        }
    });
}

LibraryActionResult addTag(SnippetStore& store, const std::vector<Uuid>& ids,
                           const std::string& tag) {
    const std::string trimmed(text::trimWhitespaceAndNewlines(tag));
    if (trimmed.empty()) {
        return failure("A tag can't be blank.");
    }
    const std::string folded = SnippetSearch::fold(trimmed);
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        const bool present = std::any_of(
            snippet.tags.begin(), snippet.tags.end(),
            [&](const std::string& held) { return SnippetSearch::fold(held) == folded; });
        if (!present) {
            Snippet changed = snippet;
            changed.tags.push_back(trimmed);
            store.update(std::move(changed));
        }
    });
}

LibraryActionResult moveToRecentlyDeleted(SnippetStore& store, const std::vector<Uuid>& ids) {
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        if (!snippet.isDeleted()) {
            store.softDelete(snippet.id);
        }
    });
}

LibraryActionResult duplicate(SnippetStore& store, const std::vector<Uuid>& ids) {
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult& result) {
        result.created.push_back(store.duplicate(snippet.id).id);
    });
}

LibraryActionResult restore(SnippetStore& store, const std::vector<Uuid>& ids) {
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        if (snippet.isDeleted()) {
            store.restore(snippet.id);
        }
    });
}

LibraryActionResult deletePermanently(SnippetStore& store, const std::vector<Uuid>& ids) {
    return forEach(store, ids, [&](const Snippet& snippet, LibraryActionResult&) {
        store.deletePermanently(snippet.id);
    });
}

LibraryActionResult addGroup(SnippetStore& store, const std::string& name,
                             const std::optional<Uuid>& parent, Timestamp now) {
    const std::string base(text::trimWhitespaceAndNewlines(name));
    if (base.empty()) {
        return failure("A group needs a name.");
    }
    if (parent && !store.group(*parent)) {
        return failure("That group is no longer in the library.");
    }
    std::int64_t lastOrder = -1;
    std::vector<std::string> siblingNames;
    for (const auto& group : store.groups()) {
        if (group.parentId == parent) {
            lastOrder = std::max(lastOrder, group.sortOrder);
            siblingNames.push_back(SnippetSearch::fold(group.name));
        }
    }
    std::string chosen = base;
    for (int number = 2; std::find(siblingNames.begin(), siblingNames.end(),
                                   SnippetSearch::fold(chosen)) != siblingNames.end();
         ++number) {
        chosen = base + " " + std::to_string(number);
    }
    SnippetGroup group;
    group.id = Uuid::random();
    group.name = chosen;
    group.parentId = parent;
    group.sortOrder = lastOrder + 1;
    group.createdAt = now;
    group.modifiedAt = now;
    LibraryActionResult result;
    try {
        store.addGroup(group);
        result.created.push_back(group.id);
    } catch (const std::exception& error) {
        result.errors.push_back(error.what());
    }
    return result;
}

LibraryActionResult renameGroup(SnippetStore& store, const Uuid& group, const std::string& name) {
    const std::string trimmed(text::trimWhitespaceAndNewlines(name));
    if (trimmed.empty()) {
        return failure("A group needs a name.");
    }
    if (!store.group(group)) {
        return failure("That group is no longer in the library.");
    }
    store.renameGroup(group, trimmed);
    return {};
}

LibraryActionResult setGroupEnabled(SnippetStore& store, const Uuid& group, bool enabled) {
    const SnippetGroup* held = store.group(group);
    if (!held) {
        return failure("That group is no longer in the library.");
    }
    if (held->isEnabled != enabled) {
        SnippetGroup changed = *held;
        changed.isEnabled = enabled;
        store.updateGroup(std::move(changed));
    }
    return {};
}

LibraryActionResult moveGroup(SnippetStore& store, const Uuid& group,
                              const std::optional<Uuid>& newParent) {
    const SnippetGroup* held = store.group(group);
    if (!held || (newParent && !store.group(*newParent))) {
        return failure("That group is no longer in the library.");
    }
    const GroupTree tree(store.groups(), store.snippets());
    if (!tree.canMove(group, newParent)) {
        return failure("A group can't be moved into itself or into a group inside it.");
    }
    if (held->parentId != newParent) {
        SnippetGroup changed = *held;
        changed.parentId = newParent;
        store.updateGroup(std::move(changed));
    }
    return {};
}

}  // namespace wordloom::libraryActions
