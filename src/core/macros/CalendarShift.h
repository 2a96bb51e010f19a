#pragma once

#include <cstdint>
#include <optional>

#include <unicode/ucal.h>

#include "core/base/Executor.h"

namespace wordloom {

/// `now` moved by `amount` of a calendar `field` with ICU's calendar arithmetic in the default time
/// zone (days keep the wall-clock time across daylight-saving changes, months end where the
/// calendar says); nothing when ICU cannot compute it or the result is out of a timestamp's reach.
///
/// Calendar arithmetic costs about as much as formatting a date, and every expansion of a snippet
/// with {{tomorrow}} asks for it again. Within one local day, away from the time zone's offset
/// changes at both ends, every instant moves by the same amount, so each thread remembers the
/// last shifts with the span of time they hold for.
std::optional<Timestamp> shiftedByCalendar(Timestamp now, UCalendarDateFields field,
                                           std::int64_t amount);

}  // namespace wordloom
