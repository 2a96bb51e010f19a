#include "core/macros/DateMacroRenderer.h"

#include <unicode/calendar.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>

#include "core/base/Text.h"

namespace wordloom {
namespace {

using Style = DateFormatSpec::Style;

enum class Family { date, time, dateTime };

std::optional<Style> styleNamed(std::string_view format) {
    std::string lower = text::lowercased(format);
    if (lower == "short") {
        return Style::shortStyle;
    }
    if (lower == "medium") {
        return Style::mediumStyle;
    }
    if (lower == "long") {
        return Style::longStyle;
    }
    if (lower == "full") {
        return Style::fullStyle;
    }
    return std::nullopt;
}

DateFormatSpec specFor(const std::optional<std::string>& format, Family family) {
    if (!format) {
        switch (family) {
            case Family::date:
                return DateFormatSpec::fromStyles(Style::mediumStyle, Style::none);
            case Family::time:
                return DateFormatSpec::fromStyles(Style::none, Style::shortStyle);
            case Family::dateTime:
                return DateFormatSpec::fromStyles(Style::mediumStyle, Style::shortStyle);
        }
    }
    if (auto style = styleNamed(*format)) {
        switch (family) {
            case Family::date:
                return DateFormatSpec::fromStyles(*style, Style::none);
            case Family::time:
                return DateFormatSpec::fromStyles(Style::none, *style);
            case Family::dateTime:
                return DateFormatSpec::fromStyles(*style, *style);
        }
    }
    std::string lower = text::lowercased(*format);
    if (lower == "iso" || lower == "iso8601") {
        return DateFormatSpec::iso();
    }
    return DateFormatSpec::fromPattern(*format);
}

icu::Calendar* calendar() {
    // A calendar per thread: creating one costs more than the whole evaluation of a snippet.
    thread_local std::unique_ptr<icu::Calendar> shared = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Calendar> created(icu::Calendar::createInstance(status));
        return U_SUCCESS(status) ? std::move(created) : nullptr;
    }();
    return shared.get();
}

// `now` moved by `amount` of `field` with calendar arithmetic; nothing when ICU cannot.
std::optional<Timestamp> shifted(Timestamp now, UCalendarDateFields field, std::int64_t amount) {
    if (amount < std::numeric_limits<int32_t>::min() ||
        amount > std::numeric_limits<int32_t>::max()) {
        return std::nullopt;
    }
    icu::Calendar* shared = calendar();
    if (!shared) {
        return std::nullopt;
    }
    using namespace std::chrono;
    UErrorCode status = U_ZERO_ERROR;
    shared->setTime(static_cast<UDate>(duration_cast<milliseconds>(now.time_since_epoch()).count()),
                    status);
    shared->add(field, static_cast<int32_t>(amount), status);
    UDate moved = shared->getTime(status);
    // Beyond a few hundred thousand years system_clock itself overflows.
    constexpr double limit = 8.0e15;
    if (U_FAILURE(status) || !std::isfinite(moved) || std::fabs(moved) > limit) {
        return std::nullopt;
    }
    return Timestamp(
        duration_cast<system_clock::duration>(milliseconds(static_cast<int64_t>(moved))));
}

UCalendarDateFields fieldFor(DateOffsetUnit unit) {
    switch (unit) {
        case DateOffsetUnit::days:
            return UCAL_DATE;
        case DateOffsetUnit::weeks:
            return UCAL_WEEK_OF_YEAR;
        case DateOffsetUnit::months:
            return UCAL_MONTH;
        case DateOffsetUnit::years:
            return UCAL_YEAR;
        case DateOffsetUnit::hours:
            return UCAL_HOUR_OF_DAY;
        case DateOffsetUnit::minutes:
            return UCAL_MINUTE;
    }
    return UCAL_DATE;
}

}  // namespace

std::optional<DateMacroRenderer::Rendering> DateMacroRenderer::render(const MacroType& type,
                                                                      Timestamp now) const {
    std::optional<std::string> format;
    Family family = Family::date;
    std::optional<Timestamp> when = now;
    if (const auto* date = std::get_if<macro::Date>(&type)) {
        format = date->format;
        if (date->offset) {
            const DateOffset& offset = *date->offset;
            if (offset.unit == DateOffsetUnit::hours || offset.unit == DateOffsetUnit::minutes) {
                family = Family::dateTime;
            }
            when = shifted(now, fieldFor(offset.unit), offset.value);
        }
    } else if (const auto* time = std::get_if<macro::Time>(&type)) {
        format = time->format;
        family = Family::time;
    } else if (const auto* today = std::get_if<macro::Today>(&type)) {
        format = today->format;
    } else if (const auto* tomorrow = std::get_if<macro::Tomorrow>(&type)) {
        format = tomorrow->format;
        when = shifted(now, UCAL_DATE, 1);
    } else if (const auto* yesterday = std::get_if<macro::Yesterday>(&type)) {
        format = yesterday->format;
        when = shifted(now, UCAL_DATE, -1);
    } else if (const auto* current = std::get_if<macro::Now>(&type)) {
        format = current->format;
        family = Family::dateTime;
    } else {
        return std::nullopt;
    }
    if (!when) {
        return Rendering{"[invalid date offset]", true};
    }
    auto text = cache_.format(specFor(format, family), *when);
    if (!text) {
        return Rendering{"[Invalid date format: " + format.value_or("") + "]", true};
    }
    return Rendering{std::move(*text), false};
}

}  // namespace wordloom
