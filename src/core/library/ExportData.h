#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/library/AppSettings.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// The document of a full backup: the whole library with its settings. Image snippets carry
/// their bytes in `imageData`, so the document stands on its own.
struct ExportData {
    /// The format version written into new backups.
    static constexpr std::int64_t currentVersion = 1;

    std::vector<Snippet> snippets;
    std::vector<SnippetGroup> groups;
    AppSettings settings;
    Timestamp exportedAt;
    std::int64_t version = currentVersion;

    bool operator==(const ExportData&) const = default;
};

/// The backup document as JSON (pretty-printed, keys sorted).
std::string encodeExportData(const ExportData& data);

/// Reads a backup document. Snippets that cannot be decoded are skipped, like in the library
/// file; a document that is not an object with a `snippets` list throws JsonError.
ExportData decodeExportData(std::string_view text, Timestamp fallbackDate);

}  // namespace wordloom
