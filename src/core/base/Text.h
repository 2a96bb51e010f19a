#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom::text {

/// Splits UTF-8 text into user-perceived characters (extended grapheme clusters). The views
/// point into `text`. "Characters" everywhere in Wordloom means these.
std::vector<std::string_view> splitCharacters(std::string_view text);

/// Byte offsets where characters start, followed by text.size(): boundaries()[i] is where
/// character i begins.
std::vector<std::size_t> characterBoundaries(std::string_view text);

/// Number of user-perceived characters.
std::size_t characterCount(std::string_view text);

/// Unicode's White_Space property (spaces, tabs, line breaks, NBSP, U+2028, ...).
bool isWhitespaceOrNewline(char32_t codePoint);

/// Removes white space and line breaks (Unicode's definition) from both ends.
std::string_view trimWhitespaceAndNewlines(std::string_view text);

/// Removes only spaces and tabs from both ends.
std::string_view trimSpacesAndTabs(std::string_view text);

/// Whether any code point is a control character (general category Cc).
bool containsControlCharacter(std::string_view text);

/// Whether every byte is below 0x80. Plain ASCII needs no break iterator: every byte is a
/// character, except that CR LF is one.
bool isAscii(std::string_view text);

/// Locale-independent full case mappings.
std::string lowercased(std::string_view text);
std::string uppercased(std::string_view text);

/// Equal after full case folding ("STRASSE" equals "straße").
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The text in double quotes with quotes, backslashes and control characters escaped, the way a
/// debugger prints a string: "a\tb" for a, tab, b.
std::string debugQuoted(std::string_view text);

/// Whether `text` is well-formed UTF-8.
bool isValidUtf8(std::string_view text);

/// Decodes UTF-8 into code points; malformed sequences become U+FFFD.
std::u32string toCodePoints(std::string_view text);

/// Encodes one code point as UTF-8 and appends it to `out`.
void appendUtf8(std::string& out, char32_t codePoint);

}  // namespace wordloom::text
