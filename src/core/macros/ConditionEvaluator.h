#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wordloom {

/// Decides the condition of {{if:...}} and {{elseif:...}} once the macros inside it have been
/// replaced by their text.
///
/// "||" or " OR " joins alternatives, "&&" or " AND " joins requirements (AND binds tighter).
/// A comparison uses the first operator found, tried in this order: "==", "!=", "~=", "~~", "=~",
/// ">=", "<=", "=", ">", "<", then " in " and " contains " (any case). Both sides are trimmed.
///   - "==" and "=": equal, exactly. "!=": not equal.
///   - "~=" and "~~": equal ignoring case.
///   - "=~": the right side is an ICU regular expression found anywhere in the left side.
///   - ">", "<", ">=", "<=": as numbers when both sides are numbers, else by code point order.
///   - " contains ": the left side contains the right side, ignoring case.
///   - " in ": the left side equals an item of "[a, 'b', "c"]" (items trimmed, quotes removed).
/// A lone value is true unless, trimmed and lower-cased, it is "", "false", "0", "no" or "off".
class ConditionEvaluator {
  public:
    struct Outcome {
        bool value = false;
        /// Set when part of the condition could not be evaluated (a bad regular expression).
        std::optional<std::string> error;
    };

    static Outcome evaluate(std::string_view condition);

    /// The truth of a lone value, as above.
    static bool isTrue(std::string_view value);
};

}  // namespace wordloom
