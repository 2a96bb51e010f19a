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
    struct Rendering {
        std::string text;
        /// Set when `text` is an error text.
        bool failed = false;
    };

    explicit DateMacroRenderer(DateFormatterCache& cache = DateFormatterCache::shared())
        : cache_(cache) {}

    /// Nothing when `type` is not a date or time macro.
    std::optional<Rendering> render(const MacroType& type, Timestamp now) const;

  private:
    DateFormatterCache& cache_;
};

}  // namespace wordloom
