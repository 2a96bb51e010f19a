#pragma once

#include <string>
#include <string_view>

#include "core/transfer/ImportDocument.h"

namespace wordloom {

/// Reads a TextExpander property list (XML or binary): a group export (`groupInfo` with
/// `snippetsTE2`/`snippetsTE3`), a whole library (`snippetsTE2` with `groupsTE2`), a group
/// file of a settings bundle (`snippetPlists`), or our own TextExpander export, whose label
/// marks and nesting it reads back. Throws ImportError.
class TextExpanderImporter {
  public:
    static ImportDocument importBytes(std::string_view bytes, const std::string& fileName,
                                      Timestamp now);
};

}  // namespace wordloom
