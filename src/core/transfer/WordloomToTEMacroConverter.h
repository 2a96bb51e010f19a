#pragma once

#include <string>
#include <string_view>

namespace wordloom {

/// Rewrites our macros in TextExpander's syntax, for the TextExpander export: the caret, the
/// clipboard, dates and times with their format, and key presses. Everything else stays as
/// written.
class WordloomToTEMacroConverter {
  public:
    static std::string convert(std::string_view content);

    /// A date pattern ("EEEE, MMMM d, yyyy") as strftime codes ("%A, %B %e, %Y"), token by
    /// token from the left; characters that start no known token are kept.
    static std::string convertDateFormat(std::string_view pattern);
};

}  // namespace wordloom
