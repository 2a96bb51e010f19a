#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/library/Snippet.h"
#include "core/macros/FillInField.h"

namespace wordloom {

/// An abbreviation typed with inline arguments, such as ";greet<Alice>".
struct ParsedInlineInvocation {
    /// The abbreviation as typed; its case may differ from the snippet's.
    std::string typedAbbreviation;
    std::vector<std::string> arguments;
    /// The invocation ended with ">".
    bool hasExplicitClosingBracket = false;

    bool operator==(const ParsedInlineInvocation&) const = default;
};

struct MatchedInlineSnippet {
    Snippet snippet;
    ParsedInlineInvocation invocation;
};

/// Recognises inline arguments after an abbreviation and binds them to the snippet's fill-in
/// fields.
class InlineParameterParser {
  public:
    /// The invocation that `typedText` makes of `abbreviation`: the abbreviation, "<", then
    /// arguments separated by "<" with an optional final ">"; "\" escapes the next character.
    /// Nothing when the text is not such an invocation or spans lines.
    static std::optional<ParsedInlineInvocation> parse(std::string_view typedText,
                                                       std::string_view abbreviation,
                                                       bool caseSensitive);

    /// Values by field value key: the n-th distinct key takes the n-th argument. A checkbox
    /// takes "1", "true", "yes", "on" as "true" and "0", "false", "no", "off" as "false" (trimmed,
    /// any case); a dropdown with options takes one of them (any case, stored in the option's own
    /// spelling). An argument that fits neither is left out, as are fields without an argument,
    /// so they keep their default or go to the fill-in form.
    static std::map<std::string, std::string> bind(const std::vector<FillInField>& fields,
                                                   const std::vector<std::string>& arguments);

    /// The fill-in fields of `content` that inline arguments bind to, in order of first
    /// appearance; empty when none.
    static std::vector<FillInField> fillableFields(std::string_view content);
};

}  // namespace wordloom
