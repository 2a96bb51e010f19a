#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "core/base/Executor.h"
#include "core/library/Snippet.h"
#include "core/macros/AITextGenerating.h"
#include "core/macros/JavaScriptExecuting.h"
#include "core/macros/MacroEvaluationPlan.h"

namespace wordloom {

/// Everything one evaluation may read from outside the content.
struct EvaluationContext {
    /// The snippet a {{snippet:...}} names, looked up by exact abbreviation. Called on the
    /// evaluating thread: the caller makes it safe there (a copy of the library, or a lookup that
    /// hops to the main queue). Empty: every nested snippet is unknown.
    std::function<std::optional<Snippet>(const std::string& abbreviation)> findSnippet;
    /// 0 for the snippet being expanded, +1 per nested {{snippet:...}}.
    int nestingDepth = 0;
    /// Abbreviations on the current nesting path. Callers put the expanded snippet's own
    /// abbreviation here so that a snippet that includes itself is caught at once.
    std::set<std::string> visitedAbbreviations;
    /// The clipboard text read once when the expansion started.
    std::optional<std::string> capturedClipboard;
    /// The text selected in the target application when the expansion started.
    std::optional<std::string> capturedSelectedText;
    /// Entered values by FillInField::valueKey.
    std::map<std::string, std::string> fillInValues;
    /// Prefix that makes field keys of nested snippets unique; empty at the top.
    std::string fillInPath;
    /// Results kept across evaluations of one expansion. When null, each evaluation uses a plan
    /// of its own.
    std::shared_ptr<MacroEvaluationPlan> evaluationPlan;
    /// Editor preview: no scripts or AI requests run (their macros stay as written and AI
    /// requests are listed as pending).
    bool isPreviewOnly = false;
    /// An enclosing snippet already collects fill-ins; set by the evaluator for nested snippets.
    bool hasAncestorFillInMacros = false;
    /// Where "now" comes from; null means the system clock.
    const Clock* clock = nullptr;
    /// Runs {{js:...}}; null means scripts fail with "JavaScript runner is not available".
    JavaScriptExecuting* javaScriptRunner = nullptr;
    /// Generates {{ai:...}}; null means AI macros fail with "AI service is not available".
    AITextGenerating* aiService = nullptr;
};

}  // namespace wordloom
