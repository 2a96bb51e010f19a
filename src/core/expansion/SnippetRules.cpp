#include "core/expansion/SnippetRules.h"

#include <algorithm>
#include <array>

namespace wordloom {
namespace {

// Walks from the snippet's group up through its parents, stopping at a missing group, a group
// already visited, or the depth limit. `visit` returns false to stop early.
template <typename Visit>
void walkGroupChain(const SnippetGroupLookup& groups, const Snippet& snippet, Visit visit) {
    if (!snippet.groupId) {
        return;
    }
    std::array<Uuid, SnippetRules::maxGroupDepth> visited;
    std::size_t depth = 0;
    auto next = snippet.groupId;
    while (next && depth < visited.size()) {
        if (std::find(visited.begin(), visited.begin() + static_cast<std::ptrdiff_t>(depth),
                      *next) != visited.begin() + static_cast<std::ptrdiff_t>(depth)) {
            return;  // a cycle
        }
        const SnippetGroup* group = groups.group(*next);
        if (group == nullptr) {
            return;
        }
        visited[depth++] = group->id;
        if (!visit(*group)) {
            return;
        }
        next = group->parentId;
    }
}

}  // namespace

EffectiveSnippetRules SnippetRules::resolve(const Snippet& snippet,
                                            const AppSettings& settings) const {
    EffectiveSnippetRules rules;
    rules.triggerMode = snippet.triggerMode;
    auto caseRule = snippet.caseSensitivity;
    walkGroupChain(groups_, snippet, [&](const SnippetGroup& group) {
        if (!group.isEnabled) {
            rules.inDisabledGroup = true;
        }
        if (caseRule == CaseSensitivity::autoDetect && group.defaultCaseSensitivity) {
            caseRule = *group.defaultCaseSensitivity;
        }
        return true;
    });
    if (caseRule == CaseSensitivity::autoDetect) {
        caseRule = settings.defaultCaseSensitivity;
    }
    rules.caseInsensitive = caseRule != CaseSensitivity::sensitive;
    return rules;
}

bool SnippetRules::isEffectivelyEnabled(const Snippet& snippet) const {
    if (!snippet.isEnabled || snippet.isDeleted()) {
        return false;
    }
    bool enabled = true;
    walkGroupChain(groups_, snippet, [&](const SnippetGroup& group) {
        enabled = group.isEnabled;
        return enabled;
    });
    return enabled;
}

}  // namespace wordloom
