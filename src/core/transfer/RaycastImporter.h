#pragma once

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads Raycast's snippet export: a JSON list of {name, text, keyword} (or an object holding
/// such a list under "snippets"). Dynamic placeholders become our macros where one exists:
/// clipboard, cursor, selection, dates with format and offset, uuid, arguments (with options
/// and defaults) and snippets named by name (resolved to their keyword). Modifiers and
/// placeholders without an equivalent are counted in the notes. Throws ImportError.
class RaycastImporter {
  public:
    static ImportDocument importText(std::string_view text, const std::string& fileName,
                                     Timestamp now);

    /// One snippet's text; `keywordsByName` resolves {snippet name="..."}.
    static std::string convertPlaceholders(
        std::string_view text, const std::unordered_map<std::string, std::string>& keywordsByName,
        std::set<std::string>& kinds);
};

}  // namespace wordloom
