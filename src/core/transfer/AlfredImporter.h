#pragma once

#include <set>
#include <string>
#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads an .alfredsnippets archive: a zip of one JSON file per snippet
/// ({"alfredsnippet": {snippet, keyword, name, uid, dontautoexpand}}) and an info.plist with
/// the collection's keyword prefix and suffix, which are added to every keyword. The archive
/// becomes one group named after it. Throws ImportError for a damaged archive, or one whose
/// contents would unpack beyond the import limits.
class AlfredImporter {
  public:
    static ImportDocument importBytes(std::string_view bytes, const std::string& fileName,
                                      Timestamp now);

    /// One snippet's text with Alfred's placeholders as our macros.
    static std::string convertPlaceholders(std::string_view text, std::string_view prefix,
                                           std::string_view suffix, std::set<std::string>& kinds);
};

}  // namespace wordloom
