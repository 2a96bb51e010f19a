#include "core/transfer/WordloomToTEMacroConverter.h"

#include <array>
#include <utility>

namespace wordloom {
namespace {

// Longer tokens come before their prefixes, so the first match at a position is the right one.
constexpr std::array<std::pair<std::string_view, std::string_view>, 15> kDateTokens{{
    {"MMMM", "%B"},
    {"MMM", "%b"},
    {"MM", "%m"},
    {"EEEE", "%A"},
    {"EEE", "%a"},
    {"yyyy", "%Y"},
    {"yy", "%y"},
    {"zzz", "%Z"},
    {"dd", "%d"},
    {"d", "%e"},
    {"HH", "%H"},
    {"hh", "%I"},
    {"mm", "%M"},
    {"ss", "%S"},
    {"a", "%p"},
}};

constexpr std::array<std::string_view, 10> kKeyNames{
    "tab", "return", "enter", "escape", "backspace", "delete", "up", "down", "left", "right"};

std::string replaceAll(std::string_view text, std::string_view from, std::string_view to) {
    std::string out;
    out.reserve(text.size());
    std::size_t start = 0;
    while (true) {
        const auto at = text.find(from, start);
        if (at == std::string_view::npos) {
            out.append(text.substr(start));
            return out;
        }
        out.append(text.substr(start, at - start));
        out.append(to);
        start = at + from.size();
    }
}

// Every "{{KEYWORD:FORMAT}}" where FORMAT is one or more characters other than "}".
std::string convertDateMacros(std::string_view text, std::string_view keyword) {
    const std::string opener = "{{" + std::string(keyword) + ":";
    std::string out;
    out.reserve(text.size());
    std::size_t start = 0;
    while (true) {
        const auto at = text.find(opener, start);
        if (at == std::string_view::npos) {
            out.append(text.substr(start));
            return out;
        }
        const auto formatStart = at + opener.size();
        const auto close = text.find('}', formatStart);
        const bool wellFormed = close != std::string_view::npos && close > formatStart &&
                                close + 1 < text.size() && text[close + 1] == '}';
        if (!wellFormed) {
            // Not a date macro here; keep the opening brace and look again one character on.
            out.append(text.substr(start, at + 1 - start));
            start = at + 1;
            continue;
        }
        out.append(text.substr(start, at - start));
        out += "%@strftime{";
        out += WordloomToTEMacroConverter::convertDateFormat(
            text.substr(formatStart, close - formatStart));
        out += '}';
        start = close + 2;
    }
}

}  // namespace

std::string WordloomToTEMacroConverter::convertDateFormat(std::string_view pattern) {
    std::string out;
    out.reserve(pattern.size() * 2);
    std::size_t i = 0;
    while (i < pattern.size()) {
        bool matched = false;
        for (const auto& [token, code] : kDateTokens) {
            if (pattern.substr(i, token.size()) == token) {
                out += code;
                i += token.size();
                matched = true;
                break;
            }
        }
        if (!matched) {
            out += pattern[i++];
        }
    }
    return out;
}

std::string WordloomToTEMacroConverter::convert(std::string_view content) {
    auto text = replaceAll(content, "{{cursor}}", "%|");
    text = replaceAll(text, "{{clipboard}}", "%clipboard");
    text = convertDateMacros(text, "date");
    text = convertDateMacros(text, "time");
    for (const auto name : kKeyNames) {
        text = replaceAll(text, "{{key:" + std::string(name) + "}}",
                          "%key:" + std::string(name) + "%");
    }
    return text;
}

}  // namespace wordloom
