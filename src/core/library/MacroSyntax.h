#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// A macro as the macro builder inserts it: the text, and where the caret goes in it (inside a
/// section, between its opening and closing macros).
struct BuiltMacro {
    std::string text;
    std::size_t caret = 0;  // bytes into `text`
};

/// Writes macros from what a person fills into the builder's forms, in exactly the syntax the
/// macro parser reads, with the escapes its keyed arguments need. Values that can't be written
/// (a "{{" or "}}", which no escape protects) are refused with std::invalid_argument and a
/// message to show.
namespace macroSyntax {

/// A macro without arguments: "clipboard", "selected", "cursor", "uuid", ...
BuiltMacro plain(std::string_view keyword);
/// `keyword` is date, time, today, now, tomorrow or yesterday; the offset (date and time only)
/// in `unit` d, w, m, y, H or M; the format may be empty.
BuiltMacro date(std::string_view keyword, long long offset, char unit, std::string_view format);
BuiltMacro key(std::string_view name);
BuiltMacro snippet(std::string_view abbreviation);
BuiltMacro random(long long lowest, long long highest);
/// A one-line fill-in field; `width` 0 leaves it out.
BuiltMacro input(std::string_view name, std::string_view defaultValue, int width = 0);
/// A multi-line field; `rows` 0 leaves it out.
BuiltMacro textarea(std::string_view name, std::string_view defaultValue, int rows = 0);
BuiltMacro select(std::string_view name, const std::vector<std::string>& options,
                  std::string_view defaultValue);
/// "{{optional:...}}" and "{{/optional}}", the caret between them.
BuiltMacro optionalSection(std::string_view name, bool ticked);
/// "{{if:LEFT OPERATOR RIGHT}}" and "{{/if}}", the caret between them; an empty operator
/// makes a condition of `left` alone. The sides may hold macros, evaluated first.
BuiltMacro condition(std::string_view left, std::string_view op, std::string_view right);
BuiltMacro script(std::string_view code);
BuiltMacro ai(std::string_view prompt);

/// The key names "{{key:...}}" knows, and the operators a condition may use.
const std::vector<std::string>& keyNames();
const std::vector<std::string>& conditionOperators();

/// A keyed argument's value with ":", "\", line feeds and tabs escaped.
std::string escapeSegment(std::string_view value);

}  // namespace macroSyntax
}  // namespace wordloom
