#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// The document of a JSON export: snippets and groups, without settings. The importer reads it
/// and backups alike.
struct WordloomExport {
    static constexpr std::int64_t currentVersion = 1;

    std::int64_t version = currentVersion;
    Timestamp exportDate;
    std::vector<SnippetGroup> groups;
    std::vector<Snippet> snippets;
};

/// Pretty-printed with sorted keys, dates in ISO 8601.
std::string encodeWordloomExport(const WordloomExport& document);

}  // namespace wordloom
