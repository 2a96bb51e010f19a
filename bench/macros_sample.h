// The content both macro benchmarks work on: 2,000 characters holding 20 macros of the common
// kinds (dates, clipboard, fill-ins, a condition, an optional section, caret and keys), without
// scripts, AI or nested snippets, and the context it is evaluated in.
#pragma once

#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <string>

#include "core/base/Iso8601.h"
#include "core/base/Text.h"
#include "core/macros/EvaluationContext.h"

namespace wordloom::bench {

inline const char* const sampleMacros[] = {"{{date:MMMM d, yyyy}}",
                                           "{{clipboard}}",
                                           "{{input:Name:Alex}}",
                                           "{{time:HH:mm}}",
                                           "{{date+7d:EEEE}}",
                                           "{{select:name=Plan:options=Free,Pro,Team}}",
                                           "{{if:{{input:Name}} == Alex}}",
                                           "{{else}}",
                                           "{{/if}}",
                                           "{{optional:Signature}}",
                                           "{{/optional}}",
                                           "{{cursor}}",
                                           "{{key:tab}}",
                                           "{{today:yyyy-MM-dd}}",
                                           "{{selection}}",
                                           "{{random:1-6}}",
                                           "{{textarea:Notes}}",
                                           "{{tomorrow:short}}",
                                           "{{date-1m:MMM yyyy}}",
                                           "{{now:medium}}"};

inline std::string sampleContent() {
    const std::string filler =
        "Thank you for reaching out about your account. We have looked into the matter and ";
    std::string content;
    for (const char* macro : sampleMacros) {
        content += filler;
        content += macro;
        content += ' ';
    }
    while (text::characterCount(content) < 2000) {
        content += 'x';
    }
    return content;
}

/// A clock that stands still unless moved.
class SettableClock : public Clock {
  public:
    Timestamp now() const override { return now_; }
    void advance(std::chrono::milliseconds by) { now_ += by; }

  private:
    Timestamp now_ = *parseIso8601("2026-01-31T09:30:00Z");
};

inline void pinIcuDefaults() {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
}

inline EvaluationContext sampleContext(const Clock& clock) {
    EvaluationContext context;
    context.clock = &clock;
    context.capturedClipboard = "clipboard text";
    context.capturedSelectedText = "selected text";
    context.fillInValues = {{"Name", "Alex"}, {"Signature", "true"}};
    context.evaluationPlan = std::make_shared<MacroEvaluationPlan>();
    return context;
}

}  // namespace wordloom::bench
