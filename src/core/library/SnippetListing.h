#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/library/SnippetSearch.h"

namespace wordloom {

/// Which snippets the library window lists: every one, those in no group, those in a group
/// (and the groups below it), or those in Recently Deleted.
struct LibraryScope {
    enum class Kind { allSnippets, ungrouped, group, recentlyDeleted };
    Kind kind = Kind::allSnippets;
    std::optional<Uuid> group;

    static LibraryScope all() { return {}; }
    static LibraryScope ungrouped() { return {Kind::ungrouped, std::nullopt}; }
    static LibraryScope inGroup(const Uuid& id) { return {Kind::group, id}; }
    static LibraryScope deleted() { return {Kind::recentlyDeleted, std::nullopt}; }
    bool operator==(const LibraryScope&) const = default;
};

/// The columns of the snippet list, in their order.
enum class SnippetColumn { abbreviation, label, type, trigger, uses, lastUsed };
inline constexpr int snippetColumnCount = 6;

/// "Plain Text", "Rich Text", ... as the list and the editor name them.
std::string contentTypeTitle(ContentType type);
/// "Immediately", "After a delimiter", "Manually".
std::string triggerModeTitle(TriggerMode mode);

/// The rows of the library window's snippet list: the snippets of a scope, filtered by a
/// search ranked as quick search ranks (disabled snippets included, since the window is where
/// they are turned back on), and sorted by a column when one is chosen. The library is indexed
/// once per change in rebuild(); a keystroke costs one ranked scan and no copies of snippets.
class SnippetListing {
  public:
    /// The snippets and groups must stay unchanged until the next rebuild().
    void rebuild(const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups);

    void setScope(LibraryScope scope);
    const LibraryScope& scope() const { return scope_; }
    void setQuery(std::string query);
    const std::string& query() const { return query_; }
    /// No column: by relevance while searching, else by abbreviation.
    void setSort(std::optional<SnippetColumn> column, bool ascending);

    /// The listed snippets; they point into the vector given to rebuild().
    const std::vector<const Snippet*>& rows() const { return rows_; }
    /// The listed snippets' ids, safe to read after the library changed and before the next
    /// rebuild() (when the pointers of rows() may not be).
    const std::vector<Uuid>& rowIds() const { return rowIds_; }
    std::optional<std::size_t> rowOf(const Uuid& id) const;

  private:
    void refilter();
    bool inScope(const Snippet& snippet) const;
    int compare(SnippetColumn column, const Snippet& a, const Snippet& b) const;

    struct SortKeys {
        std::string abbreviation;  // folded
        std::string label;         // folded
    };

    const std::vector<Snippet>* snippets_ = nullptr;
    const std::vector<SnippetGroup>* groups_ = nullptr;
    std::unordered_map<Uuid, const Snippet*> byId_;
    std::vector<SortKeys> sortKeys_;     // by position in the snippet list
    std::unordered_set<Uuid> groupIds_;  // by position in the snippet list
    SnippetSearch search_;
    LibraryScope scope_;
    std::vector<Uuid> scopeGroups_;  // the scope's group and every group below it
    std::string query_;
    std::optional<SnippetColumn> sortColumn_;
    bool ascending_ = true;
    std::vector<const Snippet*> rows_;
    std::vector<Uuid> rowIds_;
};

}  // namespace wordloom
