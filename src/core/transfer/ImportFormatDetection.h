#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "core/transfer/ImportFormat.h"

namespace wordloom {

/// The format of a file from its first bytes, whatever its name says: a zip archive (Alfred),
/// a property list (TextExpander or TypeIt4Me, told apart by their keys), JSON (our export or
/// Raycast's list), espanso YAML, or aText's two-column CSV. Nothing when it is none of these.
std::optional<ImportFormat> detectImportFormat(std::string_view content);

/// The format of a file or folder (a folder is an espanso configuration). Throws ImportError
/// when it cannot be read or its format is not recognised.
ImportFormat detectImportFormatOfPath(const std::filesystem::path& path);

}  // namespace wordloom
