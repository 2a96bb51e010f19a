#pragma once

#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads our own JSON export or a backup (its settings are not imported). Snippets keep every
/// field; one that cannot be decoded is skipped and named in the notes, and snippets in Recently
/// Deleted are left out. Throws ImportError when the text is not such a document.
class WordloomImporter {
  public:
    static ImportDocument importText(std::string_view text, Timestamp now);
};

}  // namespace wordloom
