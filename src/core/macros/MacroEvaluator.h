#pragma once

#include <string_view>

#include "core/macros/DateMacroRenderer.h"
#include "core/macros/EvaluationContext.h"
#include "core/macros/MacroEvaluationResult.h"
#include "core/macros/MacroParser.h"

namespace wordloom {

/// Turns a snippet's content into the text to insert, with the caret position, the keys to press
/// afterwards and the fill-in fields to ask for. A macro that fails writes its error text in
/// place and evaluation goes on.
///
/// Evaluation is synchronous: a {{js:...}} or {{ai:...}} blocks while its runner or service
/// works, so callers on the main queue run it in the background. Scripts and AI requests run in
/// text order, only in the branches and sections that are taken, and a successful one is kept in
/// the context's MacroEvaluationPlan so that evaluating again after the fill-in form does not run
/// it twice. Every fill-in field of the content is reported, those inside untaken branches and
/// sections included, so that one form asks for everything.
class MacroEvaluator {
  public:
    /// Nested snippets deeper than this are not evaluated.
    static constexpr int maximumNestingDepth = 9;
    /// Snippet inclusions allowed in one evaluation, so that snippets that include each other
    /// many times over cannot grow the text without bound.
    static constexpr int maximumSnippetInclusions = 1000;
    /// Macros nested in conditions this deep are left as written.
    static constexpr int maximumConditionDepth = 8;

    MacroEvaluator() = default;
    explicit MacroEvaluator(DateFormatterCache& dateFormatters) : dates_(dateFormatters) {}

    MacroEvaluationResult evaluate(std::string_view content,
                                   const EvaluationContext& context) const;

    const MacroParser& parser() const { return parser_; }

  private:
    MacroParser parser_;
    DateMacroRenderer dates_;
};

}  // namespace wordloom
