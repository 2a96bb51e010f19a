#pragma once

#include <array>
#include <string_view>

namespace wordloom {

/// The characters after which a delimiter-mode abbreviation expands: white space and line
/// breaks, sentence punctuation, brackets, typographic quotes and dashes. The ASCII quote,
/// apostrophe, hyphen and slash are deliberately not among them.
inline constexpr std::array<std::string_view, 25> delimiterCharacters{
    " ",      "\t",     "\n",     "\r",     ".",      ",",      "!",     "?",      ";",
    ":",      "(",      ")",      "[",      "]",      "{",      "}",     "\u201C", "\u201D",
    "\u2018", "\u2019", "\u2014", "\u2013", "\u00A0", "\u2028", "\u2029"};

/// Whether `text`, taken as one character, is a delimiter.
bool isDelimiter(std::string_view text);

}  // namespace wordloom
