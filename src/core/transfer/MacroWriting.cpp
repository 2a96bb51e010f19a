#include "core/transfer/MacroWriting.h"

namespace wordloom::macro_writing {

std::string escapeArgument(std::string_view text, bool inOptionList) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case ':':
                out += "\\:";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case ',':
                out += inOptionList ? "\\," : ",";
                break;
            default:
                out += c;
        }
    }
    return out;
}

namespace {

std::string field(std::string_view keyword, std::string_view name,
                  const std::optional<std::string>& defaultValue) {
    if (!defaultValue) {
        return "{{" + std::string(keyword) + ":" + escapeArgument(name) + "}}";
    }
    return "{{" + std::string(keyword) + ":name=" + escapeArgument(name) +
           ":default=" + escapeArgument(*defaultValue) + "}}";
}

}  // namespace

std::string input(std::string_view name, const std::optional<std::string>& defaultValue) {
    return field("input", name, defaultValue);
}

std::string textarea(std::string_view name, const std::optional<std::string>& defaultValue) {
    return field("textarea", name, defaultValue);
}

std::string select(std::string_view name, const std::vector<std::string>& options,
                   const std::optional<std::string>& defaultValue) {
    std::string list;
    for (const auto& option : options) {
        if (!list.empty()) {
            list += ',';
        }
        list += escapeArgument(option, true);
    }
    if (name.empty() && !defaultValue) {
        return "{{select:" + list + "}}";
    }
    std::string out = "{{select:name=" + escapeArgument(name) + ":options=" + list;
    if (defaultValue) {
        out += ":default=" + escapeArgument(*defaultValue, true);
    }
    return out + "}}";
}

std::string date(std::string_view offset, std::string_view pattern) {
    std::string out = "{{date" + std::string(offset);
    if (!pattern.empty()) {
        out += ":" + std::string(pattern);
    }
    return out + "}}";
}

}  // namespace wordloom::macro_writing
