#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "core/macros/MacroType.h"
#include "core/macros/ParsedMacro.h"

namespace wordloom {

/// The one definition of the macro syntax. Finds the well-formed {{...}} macros of a content
/// string; anything else, malformed macros included, is plain text and is not returned.
/// Stateless and safe to call from any thread.
class MacroParser {
  public:
    /// Every well-formed macro of `content`, in order; they never overlap.
    static std::vector<ParsedMacro> parse(std::string_view content);

    /// The macro written as `innerText` (what stands between "{{" and "}}"), or nothing.
    static std::optional<MacroType> parseInnerText(std::string_view innerText);
};

}  // namespace wordloom
