#include "core/library/GroupTree.h"

#include <algorithm>
#include <map>

namespace wordloom {

GroupTree::GroupTree(const std::vector<SnippetGroup>& groups,
                     const std::vector<Snippet>& snippets) {
    auto& index = index_;
    nodes_.reserve(groups.size());
    for (const auto& group : groups) {
        if (index.emplace(group.id, nodes_.size()).second) {
            nodes_.push_back({&group});
        }
    }
    // A parent chain that comes back to where it started is a cycle: its groups go to the top.
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const auto& parentId = nodes_[i].group->parentId;
        if (!parentId) {
            continue;
        }
        const auto parent = index.find(*parentId);
        if (parent == index.end()) {
            continue;
        }
        bool cycle = false;
        std::size_t steps = 0;
        for (auto at = std::optional<std::size_t>(parent->second); at; ++steps) {
            if (*at == i || steps > nodes_.size()) {
                cycle = true;
                break;
            }
            const auto& up = nodes_[*at].group->parentId;
            const auto next = up ? index.find(*up) : index.end();
            at = next == index.end() ? std::nullopt : std::optional<std::size_t>(next->second);
        }
        if (!cycle) {
            nodes_[i].parent = parent->second;
        }
    }
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].parent) {
            nodes_[*nodes_[i].parent].children.push_back(i);
        } else {
            roots_.push_back(i);
        }
    }
    const auto order = [&](std::size_t left, std::size_t right) {
        const auto& a = *nodes_[left].group;
        const auto& b = *nodes_[right].group;
        return a.sortOrder != b.sortOrder ? a.sortOrder < b.sortOrder : a.name < b.name;
    };
    std::sort(roots_.begin(), roots_.end(), order);
    for (auto& node : nodes_) {
        std::sort(node.children.begin(), node.children.end(), order);
    }
    for (const auto& snippet : snippets) {
        if (snippet.isDeleted()) {
            continue;
        }
        const auto group = snippet.groupId ? index.find(*snippet.groupId) : index.end();
        if (group == index.end()) {
            ++ungrouped_;
        } else {
            ++nodes_[group->second].snippetCount;
        }
    }
    // Totals and inherited disabling, from the top down and back up.
    const auto visit = [&](auto& self, std::size_t at, bool disabledAbove) -> std::size_t {
        auto& node = nodes_[at];
        node.effectivelyDisabled = disabledAbove || !node.group->isEnabled;
        node.totalSnippetCount = node.snippetCount;
        for (const auto child : node.children) {
            node.totalSnippetCount += self(self, child, node.effectivelyDisabled);
        }
        return node.totalSnippetCount;
    };
    for (const auto root : roots_) {
        visit(visit, root, false);
    }
}

std::optional<std::size_t> GroupTree::find(const Uuid& groupId) const {
    const auto it = index_.find(groupId);
    return it == index_.end() ? std::nullopt : std::optional<std::size_t>(it->second);
}

bool GroupTree::canMove(const Uuid& group, const std::optional<Uuid>& newParent) const {
    if (!newParent) {
        return find(group).has_value();
    }
    const auto below = subtree(group);
    return find(*newParent) && std::find(below.begin(), below.end(), *newParent) == below.end();
}

std::vector<Uuid> GroupTree::subtree(const Uuid& group) const {
    std::vector<Uuid> out;
    const auto start = find(group);
    if (!start) {
        return out;
    }
    std::vector<std::size_t> pending{*start};
    while (!pending.empty()) {
        const auto at = pending.back();
        pending.pop_back();
        out.push_back(nodes_[at].group->id);
        pending.insert(pending.end(), nodes_[at].children.begin(), nodes_[at].children.end());
    }
    return out;
}

std::string GroupTree::path(const Uuid& group, std::string_view separator) const {
    std::vector<std::string_view> names;
    for (auto at = find(group); at; at = nodes_[*at].parent) {
        names.push_back(nodes_[*at].group->name);
    }
    std::string out;
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        if (!out.empty()) {
            out += separator;
        }
        out += *it;
    }
    return out;
}

}  // namespace wordloom
