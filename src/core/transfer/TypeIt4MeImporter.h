#pragma once

#include <string>
#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads a TypeIt4Me property list: a dictionary with a `Clippings` list, or a bare list, of
/// entries with `Abbreviation`, `Plain Text`, `Label`, dates and `uuidString` (keys matched
/// without regard to case or spaces). TypeIt4Me's own codes are not documented anywhere we
/// could read: bodies are kept as written and snippets that seem to use them are counted in the
/// notes. Throws ImportError.
class TypeIt4MeImporter {
  public:
    static ImportDocument importBytes(std::string_view bytes, const std::string& fileName,
                                      Timestamp now);
};

}  // namespace wordloom
