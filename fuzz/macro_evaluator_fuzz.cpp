// Evaluates arbitrary content against a small library (which includes the content itself as a
// snippet), with a pinned clock and no script runner or AI service, and checks the offsets of
// the result against its text.
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "FuzzSupport.h"
#include "core/base/Iso8601.h"
#include "core/base/Text.h"
#include "core/macros/MacroEvaluator.h"

using namespace wordloom;

namespace {

class PinnedClock : public Clock {
  public:
    Timestamp now() const override { return *parseIso8601("2026-01-31T09:30:00Z"); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const bool pinned = [] {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale("en_US"), status);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
        return true;
    }();
    (void)pinned;
    static const PinnedClock clock;
    static const MacroEvaluator evaluator;

    std::string content(fuzz::asText(data, size));
    EvaluationContext context;
    context.clock = &clock;
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    context.capturedClipboard = "clip{{cursor}}";
    context.capturedSelectedText = "sel";
    context.fillInValues = {{"a", "1"}, {"Name", "x{{uuid}}"}, {"__wordloom_unnamed__/0", "yes"}};
    context.findSnippet = [&content](const std::string& abbreviation) -> std::optional<Snippet> {
        Snippet snippet;
        snippet.abbreviation = abbreviation;
        if (abbreviation == "self" || abbreviation == "a") {
            snippet.content = content;
        } else if (abbreviation == "b") {
            snippet.content = "B{{cursor}}{{key:tab}}{{input:Name}}{{snippet:a}}";
        } else {
            return std::nullopt;
        }
        return snippet;
    };

    auto result = evaluator.evaluate(content, context);
    const std::size_t characters = text::characterCount(result.expandedContent);
    std::size_t previous = 0;
    for (std::size_t candidate : result.cursorCandidates) {
        FUZZ_CHECK(candidate <= characters);
        FUZZ_CHECK(candidate >= previous);
        previous = candidate;
    }
    previous = 0;
    for (const KeystrokeAction& action : result.keystrokes) {
        FUZZ_CHECK(action.position <= characters);
        FUZZ_CHECK(action.position >= previous);
        previous = action.position;
    }
    FUZZ_CHECK(result.cursorPosition.has_value() == !result.cursorCandidates.empty());
    FUZZ_CHECK(result.pendingAIRequests.empty());
    // Every error reaches both the result and the plan shared with nested evaluations. (Errors
    // inside a condition's own macros become part of the condition, not of the text.)
    FUZZ_CHECK(result.macroErrors == context.evaluationPlan->errors());

    context.isPreviewOnly = true;
    evaluator.evaluate(content, context);
    return 0;
}
