#pragma once

#include <optional>
#include <string>

#include "core/base/Executor.h"
#include "core/macros/DateFormatterCache.h"
#include "core/macros/MacroType.h"

namespace wordloom {

/// The text of the date and time macros ({{date}}, {{time}}, {{today}}, {{tomorrow}},
/// {{yesterday}}, {{now}}). A format of "short", "medium", "long" or "full" (any case) picks a
/// style: the date style for the date macros, the time style for {{time}}, both for {{now}}.
/// "iso" or "iso8601" picks the fixed form yyyy-MM-dd'T'HH:mm:ssZZZZZ. Anything else is a
/// Unicode date pattern. Without a format the date macros write a medium date, {{time}} a short
/// time, {{now}} and hour or minute offsets a medium date with a short time. Days move by the
/// calendar (ICU's default calendar and time zone), so they stay correct across daylight-saving
/// changes and months end where the calendar says.
class DateMacroRenderer {
  public:
    struct Outcome {
        bool isDateMacro = false;
        /// Set when the macro failed with its error text; nothing was written then.
        std::optional<std::string> error;
        /// Set when the format is not a pattern that can be written (an unclosed quote, say);
        /// nothing was written then, and there is no error text for the output.
        bool unusableFormat = false;
    };

    explicit DateMacroRenderer(DateFormatterCache& cache = DateFormatterCache::shared())
        : cache_(cache) {}

    /// Appends the text of a date or time macro to `out`. Other macros are left alone and
    /// reported as not being date macros.
    Outcome renderInto(const MacroType& type, Timestamp now, std::string& out) const;

  private:
    DateFormatterCache& cache_;
};

}  // namespace wordloom
