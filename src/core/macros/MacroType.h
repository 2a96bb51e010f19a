#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/base/EnumCoding.h"

namespace wordloom {

/// The calendar unit of a date offset, written as one case-sensitive letter.
enum class DateOffsetUnit { days, weeks, months, years, hours, minutes };

template <>
struct EnumNames<DateOffsetUnit> {
    static constexpr std::array names{"d", "w", "m", "y", "H", "M"};
};

/// How far {{date+7d}} moves from now: `value` units, negative for "-".
struct DateOffset {
    std::int64_t value = 0;
    DateOffsetUnit unit = DateOffsetUnit::days;
    bool operator==(const DateOffset&) const = default;
};

/// The kinds of macro, each with its parsed arguments. MacroType's alternatives are in this order.
namespace macro {

struct Date {
    std::optional<std::string> format;
    std::optional<DateOffset> offset;
    bool operator==(const Date&) const = default;
};
struct Time {
    std::optional<std::string> format;
    bool operator==(const Time&) const = default;
};
struct Input {
    std::optional<std::string> name;
    std::optional<std::string> defaultValue;
    std::optional<std::int64_t> width;
    bool operator==(const Input&) const = default;
};
struct Textarea {
    std::optional<std::string> name;
    std::optional<std::string> defaultValue;
    std::optional<std::int64_t> rows;
    std::optional<std::int64_t> cols;
    bool operator==(const Textarea&) const = default;
};
struct Select {
    std::optional<std::string> name;
    std::vector<std::string> options;
    std::optional<std::string> defaultValue;
    bool operator==(const Select&) const = default;
};
struct Optional {
    std::optional<std::string> name;
    bool defaultOn = false;
    bool operator==(const Optional&) const = default;
};
struct ConditionalIf {
    std::string condition;
    bool operator==(const ConditionalIf&) const = default;
};
struct ConditionalElseIf {
    std::string condition;
    bool operator==(const ConditionalElseIf&) const = default;
};
struct AI {
    std::string prompt;
    std::optional<std::string> provider;
    std::optional<std::string> model;
    bool operator==(const AI&) const = default;
};
struct Key {
    /// Lower case; whether it names a real key is decided when evaluating.
    std::string keyName;
    bool operator==(const Key&) const = default;
};
struct Snippet {
    std::string abbreviation;
    bool operator==(const Snippet&) const = default;
};
struct Today {
    std::optional<std::string> format;
    bool operator==(const Today&) const = default;
};
struct Tomorrow {
    std::optional<std::string> format;
    bool operator==(const Tomorrow&) const = default;
};
struct Yesterday {
    std::optional<std::string> format;
    bool operator==(const Yesterday&) const = default;
};
struct Now {
    std::optional<std::string> format;
    bool operator==(const Now&) const = default;
};
struct JavaScript {
    std::string code;
    bool operator==(const JavaScript&) const = default;
};
/// Bounds are inclusive. A malformed range is kept with lower > upper so that evaluating it
/// reports the mistake.
struct Random {
    std::int64_t lower = 0;
    std::int64_t upper = 100;
    bool operator==(const Random&) const = default;
};
struct Clipboard {
    bool operator==(const Clipboard&) const = default;
};
struct SelectedText {
    bool operator==(const SelectedText&) const = default;
};
struct Cursor {
    bool operator==(const Cursor&) const = default;
};
struct OptionalEnd {
    bool operator==(const OptionalEnd&) const = default;
};
struct ConditionalElse {
    bool operator==(const ConditionalElse&) const = default;
};
struct ConditionalEnd {
    bool operator==(const ConditionalEnd&) const = default;
};
struct Uuid {
    bool operator==(const Uuid&) const = default;
};

}  // namespace macro

/// One macro's kind with its arguments.
using MacroType =
    std::variant<macro::Date, macro::Time, macro::Input, macro::Textarea, macro::Select,
                 macro::Optional, macro::ConditionalIf, macro::ConditionalElseIf, macro::AI,
                 macro::Key, macro::Snippet, macro::Today, macro::Tomorrow, macro::Yesterday,
                 macro::Now, macro::JavaScript, macro::Random, macro::Clipboard,
                 macro::SelectedText, macro::Cursor, macro::OptionalEnd, macro::ConditionalElse,
                 macro::ConditionalEnd, macro::Uuid>;

/// The case name of a macro kind: "date", "conditionalIf", "selectedText", ...
std::string_view macroTypeName(const MacroType& type);

/// Whether the macro asks the user for a value ({{input}}, {{textarea}}, {{select}},
/// {{optional}}).
bool isFillInMacro(const MacroType& type);

}  // namespace wordloom
