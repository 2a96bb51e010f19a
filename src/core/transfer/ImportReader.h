#pragma once

#include <filesystem>
#include <optional>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads the library at `path` (a file, or an espanso folder) in `format`, or in the format its
/// content shows when none is given. Throws ImportError.
ImportDocument readImport(const std::filesystem::path& path, std::optional<ImportFormat> format,
                          Timestamp now);

}  // namespace wordloom
