#pragma once

#include <string>
#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads aText's CSV export (no header; abbreviation, content) or its property-list export
/// (a list of `shortcut`/`phrase` entries). aText's placeholders are not documented anywhere
/// we could read, so bodies are kept as they are and snippets that seem to hold placeholders
/// are counted in the notes. The file becomes one group named after it. Throws ImportError.
class ATextImporter {
  public:
    static ImportDocument importBytes(std::string_view bytes, const std::string& fileName,
                                      Timestamp now);
};

}  // namespace wordloom
