#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// What happens to an imported snippet whose abbreviation the library already uses.
enum class ConflictPolicy { skip, rename, replace };

std::optional<ConflictPolicy> conflictPolicyNamed(std::string_view name);

struct ImportOptions {
    ConflictPolicy onConflict = ConflictPolicy::skip;
    /// A group (by name or id) every imported snippet and group goes into; made when missing.
    std::optional<std::string> intoGroup;
};

/// One imported abbreviation that the library (or an earlier snippet of the same import)
/// already uses, and what the plan does about it.
struct ImportConflict {
    std::string abbreviation;
    /// The snippet already holding the abbreviation; nothing when it is an earlier snippet of
    /// the same import.
    std::optional<Uuid> existingId;
    ConflictPolicy resolution = ConflictPolicy::skip;
    /// The abbreviation given instead, for `rename`.
    std::string renamedTo;
};

/// Everything an import will do, worked out without changing anything: shown as it is by a
/// dry run, applied in one change otherwise.
struct ImportPlan {
    ImportFormat format = ImportFormat::wordloom;
    /// New snippets, with their final ids, abbreviations and groups.
    std::vector<Snippet> added;
    /// Library snippets replaced: the state before, and the imported state that takes its place
    /// under the same id.
    struct Replacement {
        Snippet before;
        Snippet after;
    };
    std::vector<Replacement> replaced;
    std::vector<SnippetGroup> addedGroups;
    std::vector<ImportConflict> conflicts;
    std::size_t skippedConflicts = 0;
    std::size_t invalidAbbreviations = 0;
    /// The source's notes, then the invalid abbreviations.
    std::vector<std::string> warnings;

    bool changesNothing() const { return added.empty() && replaced.empty() && addedGroups.empty(); }
};

/// Works out the import of `document` into a library holding `snippets` and `groups`.
/// Imported groups are merged with existing groups of the same name under the same parent.
ImportPlan planImport(const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
                      ImportDocument document, const ImportOptions& options, Timestamp now);

}  // namespace wordloom
