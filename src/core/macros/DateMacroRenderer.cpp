#include "core/macros/DateMacroRenderer.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>

#include "core/macros/CalendarShift.h"

namespace wordloom {
namespace {

using Style = DateFormatSpec::Style;

enum class Family { date, time, dateTime };

// The style and ISO names are ASCII, and no other text lower-cases to ASCII letters but the
// Kelvin sign (to "k", in none of them), so an ASCII comparison ignoring case decides.
bool namedIgnoringCase(std::string_view format, std::string_view lowerName) {
    if (format.size() != lowerName.size()) {
        return false;
    }
    for (std::size_t i = 0; i < format.size(); ++i) {
        char c = format[i];
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (c != lowerName[i]) {
            return false;
        }
    }
    return true;
}

std::optional<Style> styleNamed(std::string_view format) {
    if (namedIgnoringCase(format, "short")) {
        return Style::shortStyle;
    }
    if (namedIgnoringCase(format, "medium")) {
        return Style::mediumStyle;
    }
    if (namedIgnoringCase(format, "long")) {
        return Style::longStyle;
    }
    if (namedIgnoringCase(format, "full")) {
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
    if (namedIgnoringCase(*format, "iso") || namedIgnoringCase(*format, "iso8601")) {
        return DateFormatSpec::iso();
    }
    return DateFormatSpec::fromPattern(*format);
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

DateMacroRenderer::Outcome DateMacroRenderer::renderInto(const MacroType& type, Timestamp now,
                                                         std::string& out) const {
    const std::optional<std::string>* format = nullptr;
    Family family = Family::date;
    std::optional<Timestamp> when = now;
    if (const auto* date = std::get_if<macro::Date>(&type)) {
        format = &date->format;
        if (date->offset) {
            const DateOffset& offset = *date->offset;
            if (offset.unit == DateOffsetUnit::hours || offset.unit == DateOffsetUnit::minutes) {
                family = Family::dateTime;
            }
            when = shiftedByCalendar(now, fieldFor(offset.unit), offset.value);
        }
    } else if (const auto* time = std::get_if<macro::Time>(&type)) {
        format = &time->format;
        family = Family::time;
    } else if (const auto* today = std::get_if<macro::Today>(&type)) {
        format = &today->format;
    } else if (const auto* tomorrow = std::get_if<macro::Tomorrow>(&type)) {
        format = &tomorrow->format;
        when = shiftedByCalendar(now, UCAL_DATE, 1);
    } else if (const auto* yesterday = std::get_if<macro::Yesterday>(&type)) {
        format = &yesterday->format;
        when = shiftedByCalendar(now, UCAL_DATE, -1);
    } else if (const auto* current = std::get_if<macro::Now>(&type)) {
        format = &current->format;
        family = Family::dateTime;
    } else {
        return {};
    }
    if (!when) {
        return {true, "[invalid date offset]"};
    }
    if (!cache_.appendFormatted(specFor(*format, family), *when, out)) {
        return {true, std::nullopt, true};
    }
    return {true, std::nullopt};
}

}  // namespace wordloom
