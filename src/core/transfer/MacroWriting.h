#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Our macros written from parts, with the escapes their arguments need, for the importers.
namespace wordloom::macro_writing {

/// `text` as one ":"-separated argument segment: backslashes doubled, ":" and line breaks
/// escaped; with `inOptionList`, "," escaped too.
std::string escapeArgument(std::string_view text, bool inOptionList = false);

/// {{input:NAME}} or {{input:name=NAME:default=D}}.
std::string input(std::string_view name, const std::optional<std::string>& defaultValue = {});
/// {{textarea:NAME}} or {{textarea:name=NAME:default=D}}.
std::string textarea(std::string_view name, const std::optional<std::string>& defaultValue = {});
/// {{select:name=NAME:options=A,B}} (":default=D" when given); unnamed: {{select:A,B}}.
std::string select(std::string_view name, const std::vector<std::string>& options,
                   const std::optional<std::string>& defaultValue = {});
/// {{date:PATTERN}}, {{date+1d:PATTERN}}, {{date}} for an empty pattern.
std::string date(std::string_view offset, std::string_view pattern);

}  // namespace wordloom::macro_writing
