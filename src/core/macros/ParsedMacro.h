#pragma once

#include <cstddef>

#include "core/base/InlineText.h"
#include "core/macros/MacroType.h"

namespace wordloom {

/// A half-open span [start, end).
struct TextRange {
    std::size_t start = 0;
    std::size_t end = 0;
    std::size_t length() const { return end - start; }
    bool operator==(const TextRange&) const = default;
};

/// One macro found in a content string.
struct ParsedMacro {
    MacroType type;
    /// From the first "{" of "{{" to just past the closing "}}", in characters (grapheme
    /// clusters) of the content.
    TextRange range;
    /// The whole macro as written, braces included.
    InlineText originalText;
    /// The same span as `range`, in bytes of the UTF-8 content.
    TextRange byteRange;

    bool operator==(const ParsedMacro&) const = default;
};

}  // namespace wordloom
