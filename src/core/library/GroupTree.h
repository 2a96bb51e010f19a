#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// The groups as the library window shows them: nested by `parentId`, siblings in `sortOrder`
/// then by name, each with its snippet counts (Recently Deleted left out). A group whose parent
/// is missing, or that sits in a cycle of parents, shows at the top, so that no group is ever
/// out of reach.
class GroupTree {
  public:
    struct Node {
        const SnippetGroup* group = nullptr;
        std::vector<std::size_t> children;  // indexes into nodes()
        std::optional<std::size_t> parent;
        /// Snippets directly in the group, and in it and every group below it.
        std::size_t snippetCount = 0;
        std::size_t totalSnippetCount = 0;
        /// The group or a group above it is disabled: its snippets do not expand.
        bool effectivelyDisabled = false;
    };

    /// The groups and snippets must outlive the tree.
    GroupTree(const std::vector<SnippetGroup>& groups, const std::vector<Snippet>& snippets);

    const std::vector<Node>& nodes() const { return nodes_; }
    const std::vector<std::size_t>& roots() const { return roots_; }
    std::optional<std::size_t> find(const Uuid& groupId) const;
    /// Snippets in no group (or in a group that no longer exists).
    std::size_t ungroupedCount() const { return ungrouped_; }

    /// Whether `group` may move under `newParent` (none: the top): never under itself or a
    /// group below it.
    bool canMove(const Uuid& group, const std::optional<Uuid>& newParent) const;
    /// The group and every group below it.
    std::vector<Uuid> subtree(const Uuid& group) const;
    /// "Work / Mail" for a group inside "Work".
    std::string path(const Uuid& group, std::string_view separator = " / ") const;

  private:
    std::map<Uuid, std::size_t> index_;
    std::vector<Node> nodes_;
    std::vector<std::size_t> roots_;
    std::size_t ungrouped_ = 0;
};

}  // namespace wordloom
