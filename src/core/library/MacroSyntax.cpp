#include "core/library/MacroSyntax.h"

#include <stdexcept>

namespace wordloom::macroSyntax {

namespace {

// No escape protects braces: a value holding them would end the macro early.
void refuseBraces(std::string_view value, std::string_view what) {
    if (value.find("{{") != std::string_view::npos || value.find("}}") != std::string_view::npos) {
        throw std::invalid_argument(std::string(what) +
                                    " can't hold \u201c{{\u201d or \u201c}}\u201d.");
    }
}

void refuseBlank(std::string_view value, std::string_view what) {
    if (value.find_first_not_of(" \t\r\n") == std::string_view::npos) {
        throw std::invalid_argument(std::string(what) + " can't be blank.");
    }
}

BuiltMacro whole(std::string text) {
    const auto size = text.size();
    return {std::move(text), size};
}

BuiltMacro section(const std::string& opening, const std::string& closing) {
    return {opening + closing, opening.size()};
}

std::string escapeOption(std::string_view option) {
    std::string escaped;
    for (const char c : escapeSegment(option)) {
        if (c == ',') {
            escaped += "\\,";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

}  // namespace

std::string escapeSegment(std::string_view value) {
    std::string escaped;
    for (const char c : value) {
        switch (c) {
            case ':':
                escaped += "\\:";
                break;
            case '\\':
                escaped += "\\\\";
                break;
            case '\n':
                escaped += "\\n";
                break;
            case '\t':
                escaped += "\\t";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

const std::vector<std::string>& keyNames() {
    static const std::vector<std::string> names{"tab",   "return",    "enter", "escape",
                                                "space", "up",        "down",  "left",
                                                "right", "backspace", "delete"};
    return names;
}

const std::vector<std::string>& conditionOperators() {
    static const std::vector<std::string> operators{
        "==", "!=", "~=", "=~", ">=", "<=", ">", "<", "in", "contains"};
    return operators;
}

BuiltMacro plain(std::string_view keyword) {
    return whole("{{" + std::string(keyword) + "}}");
}

BuiltMacro date(std::string_view keyword, long long offset, char unit, std::string_view format) {
    refuseBraces(format, "A format");
    std::string text = "{{" + std::string(keyword);
    if (offset != 0) {
        if (keyword != "date" && keyword != "time") {
            throw std::invalid_argument("Only {{date}} and {{time}} take an offset.");
        }
        if (std::string_view("dwmyHM").find(unit) == std::string_view::npos) {
            throw std::invalid_argument("An offset is counted in d, w, m, y, H or M.");
        }
        text += (offset > 0 ? "+" : "-") + std::to_string(offset > 0 ? offset : -offset) + unit;
    }
    if (!format.empty()) {
        text += ":" + std::string(format);
    }
    return whole(text + "}}");
}

BuiltMacro key(std::string_view name) {
    for (const auto& known : keyNames()) {
        if (known == name) {
            return whole("{{key:" + known + "}}");
        }
    }
    throw std::invalid_argument("\u201c" + std::string(name) +
                                "\u201d is not a key {{key}} knows.");
}

BuiltMacro snippet(std::string_view abbreviation) {
    refuseBlank(abbreviation, "The abbreviation");
    refuseBraces(abbreviation, "The abbreviation");
    return whole("{{snippet:" + std::string(abbreviation) + "}}");
}

BuiltMacro random(long long lowest, long long highest) {
    if (lowest > highest) {
        throw std::invalid_argument("The lowest number must not be above the highest.");
    }
    return whole("{{random:" + std::to_string(lowest) + "-" + std::to_string(highest) + "}}");
}

BuiltMacro input(std::string_view name, std::string_view defaultValue, int width) {
    refuseBlank(name, "A field's name");
    refuseBraces(name, "A field's name");
    refuseBraces(defaultValue, "A default");
    std::string text = "{{input:name=" + escapeSegment(name);
    if (!defaultValue.empty()) {
        text += ":default=" + escapeSegment(defaultValue);
    }
    if (width > 0) {
        text += ":width=" + std::to_string(width);
    }
    return whole(text + "}}");
}

BuiltMacro textarea(std::string_view name, std::string_view defaultValue, int rows) {
    refuseBlank(name, "A field's name");
    refuseBraces(name, "A field's name");
    refuseBraces(defaultValue, "A default");
    std::string text = "{{textarea:name=" + escapeSegment(name);
    if (!defaultValue.empty()) {
        text += ":default=" + escapeSegment(defaultValue);
    }
    if (rows > 0) {
        text += ":rows=" + std::to_string(rows);
    }
    return whole(text + "}}");
}

BuiltMacro select(std::string_view name, const std::vector<std::string>& options,
                  std::string_view defaultValue) {
    refuseBlank(name, "A field's name");
    refuseBraces(name, "A field's name");
    if (options.empty()) {
        throw std::invalid_argument("A dropdown needs at least one option.");
    }
    std::string joined;
    for (const auto& option : options) {
        refuseBraces(option, "An option");
        joined += (joined.empty() ? "" : ",") + escapeOption(option);
    }
    std::string text = "{{select:name=" + escapeSegment(name) + ":options=" + joined;
    if (!defaultValue.empty()) {
        refuseBraces(defaultValue, "A default");
        text += ":default=" + escapeSegment(defaultValue);
    }
    return whole(text + "}}");
}

BuiltMacro optionalSection(std::string_view name, bool ticked) {
    refuseBlank(name, "A section's name");
    refuseBraces(name, "A section's name");
    return section("{{optional:name=" + escapeSegment(name) + (ticked ? ":default=yes" : "") + "}}",
                   "{{/optional}}");
}

BuiltMacro condition(std::string_view left, std::string_view op, std::string_view right) {
    // Macros inside a condition are evaluated first ({{if:{{input:Plan}} == pro}}), so braces
    // are allowed here.
    std::string text(left);
    if (!op.empty()) {
        // Word operators need spaces around them; the others read better with them too.
        text += " " + std::string(op) + " " + std::string(right);
    }
    refuseBlank(text, "A condition");
    return section("{{if:" + text + "}}", "{{/if}}");
}

BuiltMacro script(std::string_view code) {
    refuseBlank(code, "The script");
    refuseBraces(code, "The script");
    return whole("{{js:" + std::string(code) + "}}");
}

BuiltMacro ai(std::string_view prompt) {
    refuseBlank(prompt, "The prompt");
    refuseBraces(prompt, "The prompt");
    return whole("{{ai:" + std::string(prompt) + "}}");
}

}  // namespace wordloom::macroSyntax
