#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// A new snippet as importers start one: a fresh id, the import's time and where it came from.
Snippet importedSnippet(ImportSourceType type, std::string_view fileName, Timestamp now);

/// A new top-level group named `name`.
SnippetGroup importedGroup(std::string name, Timestamp now);

/// The whole file, within the size limit of imported documents. Throws ImportError naming the
/// file and the reason.
std::string readImportFile(const std::filesystem::path& path);

/// Throws ImportError when `document` already holds the most snippets one import may bring.
void requireRoomForAnotherSnippet(const ImportDocument& document);

}  // namespace wordloom
