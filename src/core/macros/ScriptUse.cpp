#include "core/macros/ScriptUse.h"

#include <algorithm>
#include <string_view>
#include <variant>

#include "core/base/Text.h"
#include "core/macros/MacroEvaluator.h"
#include "core/macros/MacroParser.h"

namespace wordloom {
namespace {

// The macros of a condition are evaluated with it, and only the condition's own parse finds
// them; conditions nest no deeper than the evaluator follows them.
bool containsScriptMacro(std::string_view content, int depth) {
    for (const ParsedMacro& macro : MacroParser::parse(content)) {
        if (std::holds_alternative<macro::JavaScript>(macro.type)) {
            return true;
        }
        const std::string* condition = nullptr;
        if (const auto* opening = std::get_if<macro::ConditionalIf>(&macro.type)) {
            condition = &opening->condition;
        } else if (const auto* next = std::get_if<macro::ConditionalElseIf>(&macro.type)) {
            condition = &next->condition;
        }
        if (condition && depth < MacroEvaluator::maximumConditionDepth &&
            containsScriptMacro(*condition, depth + 1)) {
            return true;
        }
    }
    return false;
}

bool hasScriptMacro(std::string_view content) {
    // Most contents hold no macro at all, or none whose keyword could be a script's; only the
    // few that might are parsed.
    if (content.find("{{") == std::string_view::npos) {
        return false;
    }
    const auto lower = text::lowercased(content);
    if (lower.find("js") == std::string::npos && lower.find("javascript") == std::string::npos) {
        return false;
    }
    return containsScriptMacro(content, 0);
}

}  // namespace

bool libraryUsesScripts(const std::vector<Snippet>& snippets) {
    return std::any_of(snippets.begin(), snippets.end(), [](const Snippet& snippet) {
        if (snippet.isDeleted()) {
            return false;
        }
        return snippet.contentType == ContentType::javaScript || hasScriptMacro(snippet.content);
    });
}

}  // namespace wordloom
