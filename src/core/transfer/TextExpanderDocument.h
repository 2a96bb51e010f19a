#pragma once

#include <string>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// The group every snippet whose group is gone is exported under.
inline constexpr const char* kOrphanedSnippetsGroupName = "Imported from Wordloom";

struct TextExpanderExportResult {
    std::string text;
    std::vector<std::string> warnings;
};

/// The library as a TextExpander property list (XML): `groupsTE2` lists the groups with the
/// ids of their snippets (and `parentUuidString` for a nested group), `snippetsTE2` the
/// snippets with their content converted to TextExpander's macros. JavaScript and rich-text
/// snippets are carried as text and marked in their label, image snippets are left out, and
/// every such loss is counted in a warning.
TextExpanderExportResult renderTextExpanderExport(const std::vector<Snippet>& snippets,
                                                  const std::vector<SnippetGroup>& groups);

/// The label marks of snippets whose content TextExpander cannot hold as it is.
inline constexpr const char* kJavaScriptPreservedMark = " [JavaScript source preserved]";
inline constexpr const char* kRichTextFlattenedMark = "[rich text flattened]";
/// The first line of an exported script.
inline constexpr const char* kJavaScriptSourceHeader =
    "/* Wordloom JS \u2014 not executable in TextExpander */\n";

}  // namespace wordloom
