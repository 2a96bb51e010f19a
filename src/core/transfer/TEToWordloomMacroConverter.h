#pragma once

#include <set>
#include <string>
#include <string_view>

namespace wordloom {

/// Rewrites TextExpander's "%" macros as ours: the caret, the clipboard, keys, nested
/// snippets, fill-ins, dates (runs of date codes with their separators become one date macro,
/// shifted by a preceding "%@+1D"), and the "%@strftime{...}" our own export writes. What has
/// no equivalent is kept as written (or dropped where it only steers TextExpander) and named
/// in `kinds`, one sentence per kind for the import notes.
class TEToWordloomMacroConverter {
  public:
    static std::string convert(std::string_view text, std::set<std::string>& kinds);
};

}  // namespace wordloom
