#include "core/library/SnippetListing.h"

#include <algorithm>
#include <limits>

#include "core/base/Text.h"
#include "core/library/GroupTree.h"

namespace wordloom {

std::string contentTypeTitle(ContentType type) {
    switch (type) {
        case ContentType::plainText:
            return "Plain Text";
        case ContentType::richText:
            return "Rich Text";
        case ContentType::markdown:
            return "Markdown";
        case ContentType::code:
            return "Code";
        case ContentType::javaScript:
            return "JavaScript";
        case ContentType::image:
            return "Image";
    }
    return "Plain Text";
}

std::string triggerModeTitle(TriggerMode mode) {
    switch (mode) {
        case TriggerMode::immediate:
            return "Immediately";
        case TriggerMode::delimiter:
            return "After a delimiter";
        case TriggerMode::manual:
            return "Manually";
    }
    return "After a delimiter";
}

void SnippetListing::rebuild(const std::vector<Snippet>& snippets,
                             const std::vector<SnippetGroup>& groups) {
    snippets_ = &snippets;
    groups_ = &groups;
    byId_.clear();
    byId_.reserve(snippets.size());
    sortKeys_.clear();
    sortKeys_.reserve(snippets.size());
    for (const auto& snippet : snippets) {
        byId_.emplace(snippet.id, &snippet);
        sortKeys_.push_back(
            {SnippetSearch::fold(snippet.abbreviation), SnippetSearch::fold(snippet.label)});
    }
    std::unordered_map<Uuid, const SnippetGroup*> groupsById;
    groupIds_.clear();
    for (const auto& group : groups) {
        groupsById.emplace(group.id, &group);
        groupIds_.insert(group.id);
    }
    search_.rebuild(
        snippets,
        [&groupsById](const std::optional<Uuid>& id) {
            if (!id) {
                return std::string();
            }
            const auto found = groupsById.find(*id);
            return found == groupsById.end() ? std::string() : found->second->name;
        },
        /*includeDisabled=*/true);
    setScope(scope_);
}

void SnippetListing::setScope(LibraryScope scope) {
    scope_ = std::move(scope);
    scopeGroups_.clear();
    if (scope_.kind == LibraryScope::Kind::group && scope_.group && groups_ && snippets_) {
        const GroupTree tree(*groups_, *snippets_);
        if (tree.find(*scope_.group)) {
            scopeGroups_ = tree.subtree(*scope_.group);
        }
    }
    refilter();
}

void SnippetListing::setQuery(std::string query) {
    query_ = std::move(query);
    refilter();
}

void SnippetListing::setSort(std::optional<SnippetColumn> column, bool ascending) {
    sortColumn_ = column;
    ascending_ = ascending;
    refilter();
}

std::optional<std::size_t> SnippetListing::rowOf(const Uuid& id) const {
    for (std::size_t row = 0; row < rowIds_.size(); ++row) {
        if (rowIds_[row] == id) {
            return row;
        }
    }
    return std::nullopt;
}

bool SnippetListing::inScope(const Snippet& snippet) const {
    switch (scope_.kind) {
        case LibraryScope::Kind::allSnippets:
            return !snippet.isDeleted();
        case LibraryScope::Kind::recentlyDeleted:
            return snippet.isDeleted();
        case LibraryScope::Kind::ungrouped: {
            if (snippet.isDeleted()) {
                return false;
            }
            // A snippet whose group no longer exists is shown with the ungrouped ones, so that
            // it can always be found.
            if (!snippet.groupId) {
                return true;
            }
            return !groupIds_.contains(*snippet.groupId);
        }
        case LibraryScope::Kind::group:
            return !snippet.isDeleted() && snippet.groupId &&
                   std::find(scopeGroups_.begin(), scopeGroups_.end(), *snippet.groupId) !=
                       scopeGroups_.end();
    }
    return false;
}

int SnippetListing::compare(SnippetColumn column, const Snippet& a, const Snippet& b) const {
    const auto order = [](const auto& x, const auto& y) { return x < y ? -1 : (y < x ? 1 : 0); };
    const auto& keysOfA = sortKeys_[static_cast<std::size_t>(&a - snippets_->data())];
    const auto& keysOfB = sortKeys_[static_cast<std::size_t>(&b - snippets_->data())];
    switch (column) {
        case SnippetColumn::abbreviation: {
            const int byAbbreviation = order(keysOfA.abbreviation, keysOfB.abbreviation);
            return byAbbreviation != 0 ? byAbbreviation : order(keysOfA.label, keysOfB.label);
        }
        case SnippetColumn::label:
            return order(keysOfA.label, keysOfB.label);
        case SnippetColumn::type:
            return order(contentTypeTitle(a.contentType), contentTypeTitle(b.contentType));
        case SnippetColumn::trigger:
            return order(triggerModeTitle(a.triggerMode), triggerModeTitle(b.triggerMode));
        case SnippetColumn::uses:
            return order(a.useCount, b.useCount);
        case SnippetColumn::lastUsed:
            return order(a.lastUsedAt.value_or(Timestamp{}), b.lastUsedAt.value_or(Timestamp{}));
    }
    return 0;
}

void SnippetListing::refilter() {
    rows_.clear();
    rowIds_.clear();
    if (!snippets_) {
        return;
    }
    const std::string trimmed(text::trimWhitespaceAndNewlines(query_));
    if (trimmed.empty()) {
        for (const auto& snippet : *snippets_) {
            if (inScope(snippet)) {
                rows_.push_back(&snippet);
            }
        }
    } else if (scope_.kind == LibraryScope::Kind::recentlyDeleted) {
        // Quick search never lists deleted snippets; the few in Recently Deleted are matched
        // by their folded text directly.
        const std::string folded = SnippetSearch::fold(trimmed);
        for (const auto& snippet : *snippets_) {
            if (!snippet.isDeleted()) {
                continue;
            }
            for (const auto* field : {&snippet.abbreviation, &snippet.label, &snippet.content}) {
                if (SnippetSearch::fold(*field).find(folded) != std::string::npos) {
                    rows_.push_back(&snippet);
                    break;
                }
            }
        }
    } else {
        for (const auto& hit : search_.search(trimmed, std::numeric_limits<std::size_t>::max())) {
            const auto found = byId_.find(hit.id);
            if (found != byId_.end() && inScope(*found->second)) {
                rows_.push_back(found->second);
            }
        }
    }
    // Without a chosen column a search keeps its ranking and the full list is alphabetical.
    std::optional<SnippetColumn> column = sortColumn_;
    bool ascending = ascending_;
    if (!column && trimmed.empty()) {
        column = SnippetColumn::abbreviation;
        ascending = true;
    }
    if (column) {
        std::stable_sort(rows_.begin(), rows_.end(), [&](const Snippet* a, const Snippet* b) {
            const int order = compare(*column, *a, *b);
            return ascending ? order < 0 : order > 0;
        });
    }
    rowIds_.reserve(rows_.size());
    for (const auto* snippet : rows_) {
        rowIds_.push_back(snippet->id);
    }
}

}  // namespace wordloom
