#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/macros/MacroType.h"

/// The small grammars inside a macro's argument: field, option and section specs, AI specs,
/// random ranges, dates with offsets and the key/value segments they share. MacroParser is their
/// one caller; they are separate so each can be read and tested on its own.
namespace wordloom::macro_arguments {

/// Removes spaces and tabs from both ends.
inline std::string_view trimSpacesAndTabs(std::string_view text) {
    auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// Splits at unescaped ":". "\n", "\t" and "\r" become a line feed, tab and carriage return and
/// "\:" a colon; "\," and "\\" stay two characters for the later option and backslash rules;
/// any other escaped character stands for itself; a trailing lone backslash stays. The last
/// segment is always present, even when empty.
std::vector<std::string> splitEscapedSegments(std::string_view argument);

/// "key=value" segments by lower-cased key; segments without "=" are skipped and a later key
/// replaces an earlier one.
std::map<std::string, std::string> keyValueSegments(std::string_view argument);

/// Splits an option list at unescaped ",", trimming each option of spaces and tabs. Empty options
/// are kept; an empty list text has no options.
std::vector<std::string> splitOptionList(std::string_view list);

/// Turns every pair of backslashes into one.
std::string collapseDoubleBackslashes(std::string_view text);

/// Drops each backslash and keeps the character after it; a trailing lone backslash stays.
std::string unescapeAll(std::string_view text);

macro::Input parseInputSpec(std::optional<std::string_view> argument);
macro::Textarea parseTextareaSpec(std::optional<std::string_view> argument);
macro::Select parseSelectSpec(std::optional<std::string_view> argument);
macro::Optional parseSectionSpec(std::optional<std::string_view> argument);

/// Nothing when the prompt comes out empty.
std::optional<macro::AI> parseAISpec(std::string_view argument);

/// Bounds of {{random:...}}; a malformed range gives lower = INT64_MAX, upper = INT64_MIN.
macro::Random parseRandomRange(std::optional<std::string_view> argument);

/// Matches "date", a sign, decimal digits and a unit letter, optionally followed by ":" and a
/// format, with the rules of an ICU regular expression
/// "^date([+-])(\d+)([dwmyHM])(?::(.+))?$" (so "." stops at line terminators and "$" also
/// matches before one final line terminator). Nothing when the text does not match or the
/// number does not fit 64 bits.
std::optional<macro::Date> matchDateWithOffset(std::string_view text);

/// A decimal integer with an optional sign that fits 64 bits, spaces and tabs around allowed.
std::optional<std::int64_t> parseInteger(std::string_view text);

}  // namespace wordloom::macro_arguments
