#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace wordloom {

/// A strftime format (espanso's "%Y-%m-%d", TextExpander's "%1d" for no padding) as a Unicode
/// date pattern ("yyyy-MM-dd"). Literal text is quoted the pattern's way. Codes with no
/// counterpart are kept as quoted text, and each is added to `unsupported` ("%U").
std::string strftimeToDatePattern(std::string_view format, std::set<std::string>& unsupported);

/// An offset in seconds as our date offset ("+1d", "-2H", "+30M", "" for none), or nothing
/// when it is no whole number of minutes.
std::optional<std::string> dateOffsetFromSeconds(std::int64_t seconds);

/// Appends `text` to a date pattern as literal text: letters quoted, apostrophes doubled.
void appendQuotedPatternLiteral(std::string& pattern, std::string_view text);

}  // namespace wordloom
