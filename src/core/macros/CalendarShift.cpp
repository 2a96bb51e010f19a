#include "core/macros/CalendarShift.h"

#include <unicode/basictz.h>
#include <unicode/calendar.h>
#include <unicode/tztrans.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>

namespace wordloom {
namespace {

constexpr double millisecondsPerDay = 86'400'000;

// A timestamp counts nanoseconds, which reach about 292 years either side of 1970.
constexpr double reachableMilliseconds =
    static_cast<double>(std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::system_clock::duration::max())
                            .count());

icu::Calendar* calendar() {
    // A calendar per thread: creating one costs more than the whole evaluation of a snippet.
    thread_local std::unique_ptr<icu::Calendar> shared = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Calendar> created(icu::Calendar::createInstance(status));
        return U_SUCCESS(status) ? std::move(created) : nullptr;
    }();
    return shared.get();
}

struct RememberedShift {
    UCalendarDateFields field = UCAL_DATE;
    int32_t amount = 0;
    UDate validFrom = 0;
    UDate validUntil = 0;
    double by = 0;
};

struct ShiftMemory {
    std::array<RememberedShift, 8> shifts;
    std::size_t next = 0;
};

// Hours and minutes are added as elapsed time, the same at every instant.
bool movesByElapsedTime(UCalendarDateFields field) {
    return field == UCAL_HOUR_OF_DAY || field == UCAL_HOUR || field == UCAL_MINUTE ||
           field == UCAL_SECOND || field == UCAL_MILLISECOND;
}

// The span around `time` in which the zone's offset stays what it is at `time`.
std::pair<UDate, UDate> steadyOffsetAround(const icu::BasicTimeZone& zone, UDate time) {
    UDate from = -std::numeric_limits<double>::infinity();
    UDate until = std::numeric_limits<double>::infinity();
    icu::TimeZoneTransition transition;
    if (zone.getPreviousTransition(time, true, transition)) {
        from = transition.getTime();
    }
    if (zone.getNextTransition(time, false, transition)) {
        until = transition.getTime();
    }
    return {from, until};
}

// The span of `now` over which moving by whole days (or longer) moves by `by`: the local day
// holding `now`, where neither end meets an offset change.
std::optional<std::pair<UDate, UDate>> steadySpan(const icu::Calendar& shifter, UDate now,
                                                  double by) {
    const auto* zone = dynamic_cast<const icu::BasicTimeZone*>(&shifter.getTimeZone());
    if (!zone) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    int32_t raw = 0;
    int32_t daylight = 0;
    zone->getOffset(now, false, raw, daylight, status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    const double offset = static_cast<double>(raw) + daylight;
    UDate from = std::floor((now + offset) / millisecondsPerDay) * millisecondsPerDay - offset;
    UDate until = from + millisecondsPerDay;
    auto [nowFrom, nowUntil] = steadyOffsetAround(*zone, now);
    auto [movedFrom, movedUntil] = steadyOffsetAround(*zone, now + by);
    from = std::max({from, nowFrom, movedFrom - by});
    until = std::min({until, nowUntil, movedUntil - by});
    if (!(from <= now && now < until)) {
        return std::nullopt;
    }
    return std::make_pair(from, until);
}

std::optional<UDate> shiftWithCalendar(icu::Calendar& shifter, UDate now, UCalendarDateFields field,
                                       int32_t amount) {
    UErrorCode status = U_ZERO_ERROR;
    shifter.setTime(now, status);
    shifter.add(field, amount, status);
    UDate moved = shifter.getTime(status);
    if (U_FAILURE(status) || !std::isfinite(moved)) {
        return std::nullopt;
    }
    return moved;
}

}  // namespace

std::optional<Timestamp> shiftedByCalendar(Timestamp now, UCalendarDateFields field,
                                           std::int64_t amount) {
    if (amount < std::numeric_limits<int32_t>::min() ||
        amount > std::numeric_limits<int32_t>::max()) {
        return std::nullopt;
    }
    icu::Calendar* shifter = calendar();
    if (!shifter) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const auto nowMilliseconds = duration_cast<milliseconds>(now.time_since_epoch()).count();
    const UDate start = static_cast<UDate>(nowMilliseconds);
    const auto count = static_cast<int32_t>(amount);

    thread_local ShiftMemory memory;
    std::optional<UDate> moved;
    for (const RememberedShift& shift : memory.shifts) {
        if (shift.field == field && shift.amount == count && start >= shift.validFrom &&
            start < shift.validUntil) {
            moved = start + shift.by;
            break;
        }
    }
    if (!moved) {
        moved = shiftWithCalendar(*shifter, start, field, count);
        if (!moved) {
            return std::nullopt;
        }
        const double by = *moved - start;
        std::optional<std::pair<UDate, UDate>> span;
        if (std::fabs(*moved) > reachableMilliseconds) {
            // ICU pins results past its range; such a shift says nothing about other instants.
        } else if (movesByElapsedTime(field)) {
            span = {-std::numeric_limits<double>::infinity(),
                    std::numeric_limits<double>::infinity()};
        } else {
            span = steadySpan(*shifter, start, by);
        }
        if (span) {
            memory.shifts[memory.next] = {field, count, span->first, span->second, by};
            memory.next = (memory.next + 1) % memory.shifts.size();
        }
    }
    if (std::fabs(*moved) > reachableMilliseconds) {
        return std::nullopt;
    }
    return Timestamp(
        duration_cast<system_clock::duration>(milliseconds(static_cast<int64_t>(*moved))));
}

}  // namespace wordloom
