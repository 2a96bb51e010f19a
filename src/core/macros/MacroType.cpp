#include "core/macros/MacroType.h"

namespace wordloom {

std::string_view macroTypeName(const MacroType& type) {
    static constexpr std::array<std::string_view, std::variant_size_v<MacroType>> names{
        "date",
        "time",
        "input",
        "textarea",
        "select",
        "optional",
        "conditionalIf",
        "conditionalElseIf",
        "ai",
        "key",
        "snippet",
        "today",
        "tomorrow",
        "yesterday",
        "now",
        "javascript",
        "random",
        "clipboard",
        "selectedText",
        "cursor",
        "optionalEnd",
        "conditionalElse",
        "conditionalEnd",
        "uuid"};
    return names[type.index()];
}

bool isFillInMacro(const MacroType& type) {
    return std::holds_alternative<macro::Input>(type) ||
           std::holds_alternative<macro::Textarea>(type) ||
           std::holds_alternative<macro::Select>(type) ||
           std::holds_alternative<macro::Optional>(type);
}

}  // namespace wordloom
