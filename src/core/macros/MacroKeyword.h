#pragma once

#include <optional>
#include <string_view>

namespace wordloom {

/// The word a macro starts with, which decides its kind; several words may name one kind.
enum class MacroKeyword {
    date,
    time,
    today,
    tomorrow,
    yesterday,
    now,
    clipboard,
    selectedText,
    cursor,
    uuid,
    input,
    textarea,
    select,
    optional,
    optionalEnd,
    conditionalIf,
    conditionalElseIf,
    conditionalElse,
    conditionalEnd,
    ai,
    key,
    snippet,
    javascript,
    random
};

/// The keyword `word` spells in any case, or nothing. Words outside ASCII are lower-cased the
/// Unicode way first, so that a Kelvin sign still spells "key".
std::optional<MacroKeyword> macroKeywordNamed(std::string_view word);

}  // namespace wordloom
