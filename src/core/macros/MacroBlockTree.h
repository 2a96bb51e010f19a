#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "core/macros/ParsedMacro.h"

namespace wordloom {

/// Content arranged into literal text, macros and the sections that {{if}} ... {{/if}} and
/// {{optional}} ... {{/optional}} enclose.
///
/// A closing macro closes the innermost open section of its kind, closing any section of the
/// other kind opened inside it. A section still open at the end of the content ends there. A
/// closing macro with no open section of its kind is `stray`. Sections deeper than
/// `maximumDepth` are `tooDeep` (their markers are reported and their contents kept flat), which
/// keeps evaluation's recursion bounded on hostile content.
struct MacroBlock {
    enum class Kind { text, macro, conditional, section, stray, tooDeep };

    struct Branch {
        /// Index of the {{if}} or {{elseif}} macro; nothing for {{else}}.
        std::optional<std::size_t> conditionMacro;
        std::vector<MacroBlock> body;
    };

    Kind kind = Kind::text;
    /// Bytes of the content, for text.
    TextRange bytes;
    /// Index into the parsed macros, for macro, section (its {{optional}}), stray and tooDeep.
    std::size_t macroIndex = 0;
    /// For conditional.
    std::vector<Branch> branches;
    /// For section.
    std::vector<MacroBlock> body;

    static constexpr std::size_t maximumDepth = 64;

    static std::vector<MacroBlock> arrange(std::string_view content,
                                           const std::vector<ParsedMacro>& macros);
};

}  // namespace wordloom
