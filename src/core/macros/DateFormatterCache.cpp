#include "core/macros/DateFormatterCache.h"

#include <unicode/basictz.h>
#include <unicode/bytestream.h>
#include <unicode/datefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/tztrans.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace wordloom {
namespace {

icu::DateFormat::EStyle icuStyle(DateFormatSpec::Style style) {
    switch (style) {
        case DateFormatSpec::Style::none:
            return icu::DateFormat::kNone;
        case DateFormatSpec::Style::shortStyle:
            return icu::DateFormat::kShort;
        case DateFormatSpec::Style::mediumStyle:
            return icu::DateFormat::kMedium;
        case DateFormatSpec::Style::longStyle:
            return icu::DateFormat::kLong;
        case DateFormatSpec::Style::fullStyle:
            return icu::DateFormat::kFull;
    }
    return icu::DateFormat::kNone;
}

void writeCacheKey(const DateFormatSpec& spec, std::string& key) {
    key.clear();
    key += static_cast<char>('0' + static_cast<int>(spec.kind));
    key += static_cast<char>('0' + static_cast<int>(spec.dateStyle));
    key += static_cast<char>('0' + static_cast<int>(spec.timeStyle));
    key += spec.pattern;
}

constexpr double millisecondsPerSecond = 1000;
constexpr double millisecondsPerMinute = 60 * millisecondsPerSecond;
constexpr double millisecondsPerHour = 60 * millisecondsPerMinute;
constexpr double millisecondsPerDay = 24 * millisecondsPerHour;

// The shortest span of local time over which a text written with `pattern` can change, or
// nothing when it may change at any instant (milliseconds) or cannot be told. Zone fields are
// kept to the ones written from the offset alone: zone names follow ICU's metazone data, whose
// changes need not fall on the zone's own transitions.
std::optional<double> unchangingSpan(const icu::UnicodeString& pattern) {
    double span = millisecondsPerDay;
    bool quoted = false;
    for (int32_t i = 0; i < pattern.length(); ++i) {
        const char16_t c = pattern.charAt(i);
        if (c == u'\'') {
            quoted = !quoted;
            continue;
        }
        if (quoted || !((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'))) {
            continue;
        }
        switch (c) {
            case u'G':
            case u'y':
            case u'Y':
            case u'u':
            case u'U':
            case u'r':
            case u'Q':
            case u'q':
            case u'M':
            case u'L':
            case u'w':
            case u'W':
            case u'd':
            case u'D':
            case u'F':
            case u'g':
            case u'E':
            case u'e':
            case u'c':
            case u'Z':
            case u'O':
            case u'X':
            case u'x':
                break;
            case u'h':
            case u'H':
            case u'k':
            case u'K':
            case u'a':
            case u'b':
            case u'B':
                span = std::min(span, millisecondsPerHour);
                break;
            case u'm':
                span = std::min(span, millisecondsPerMinute);
                break;
            case u's':
                span = std::min(span, millisecondsPerSecond);
                break;
            default:
                return std::nullopt;
        }
    }
    return span;
}

UDate toUDate(Timestamp time) {
    using namespace std::chrono;
    return static_cast<UDate>(duration_cast<milliseconds>(time.time_since_epoch()).count());
}

}  // namespace

struct DateFormatterCache::Entry {
    std::unique_ptr<icu::DateFormat> formatter;
    /// Local span within which the text cannot change; nothing when it can at any time.
    std::optional<double> span;
    /// The last text, valid for times in [validFrom, validUntil).
    std::string text;
    UDate validFrom = 0;
    UDate validUntil = 0;

    explicit Entry(std::unique_ptr<icu::DateFormat> built) : formatter(std::move(built)) {
        if (auto* simple = dynamic_cast<icu::SimpleDateFormat*>(formatter.get())) {
            icu::UnicodeString pattern;
            simple->toPattern(pattern);
            span = unchangingSpan(pattern);
        }
    }

    void append(UDate time, std::string& out) {
        if (time >= validFrom && time < validUntil) {
            out += text;
            return;
        }
        icu::UnicodeString formatted;
        formatter->format(time, formatted);
        text.clear();
        icu::StringByteSink<std::string> sink(&text);
        formatted.toUTF8(sink);
        out += text;
        remember(time);
    }

    // The span of local time holding `time`, cut at the zone's offset changes around it: inside
    // it every field the pattern shows stays the same.
    void remember(UDate time) {
        validFrom = validUntil = 0;
        const auto* zone = dynamic_cast<const icu::BasicTimeZone*>(&formatter->getTimeZone());
        if (!span || !zone || !std::isfinite(time)) {
            return;
        }
        UErrorCode status = U_ZERO_ERROR;
        int32_t raw = 0;
        int32_t daylight = 0;
        zone->getOffset(time, false, raw, daylight, status);
        if (U_FAILURE(status)) {
            return;
        }
        const double offset = static_cast<double>(raw) + daylight;
        UDate from = std::floor((time + offset) / *span) * *span - offset;
        UDate until = from + *span;
        icu::TimeZoneTransition transition;
        if (zone->getPreviousTransition(time, true, transition)) {
            from = std::max(from, transition.getTime());
        }
        if (zone->getNextTransition(time, false, transition)) {
            until = std::min(until, transition.getTime());
        }
        if (from <= time && time < until) {
            validFrom = from;
            validUntil = until;
        }
    }
};

DateFormatterCache::DateFormatterCache() = default;
DateFormatterCache::~DateFormatterCache() = default;

DateFormatterCache& DateFormatterCache::shared() {
    static DateFormatterCache cache;
    return cache;
}

std::unique_ptr<icu::DateFormat> DateFormatterCache::build(const DateFormatSpec& spec) const {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateFormat> formatter;
    switch (spec.kind) {
        case DateFormatSpec::Kind::pattern:
            formatter = std::make_unique<icu::SimpleDateFormat>(
                icu::UnicodeString::fromUTF8(icu::StringPiece(
                    spec.pattern.data(), static_cast<int32_t>(spec.pattern.size()))),
                status);
            break;
        case DateFormatSpec::Kind::iso:
            formatter = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(isoPattern),
                                                                icu::Locale(isoLocale), status);
            break;
        case DateFormatSpec::Kind::styles:
            formatter.reset(icu::DateFormat::createDateTimeInstance(icuStyle(spec.dateStyle),
                                                                    icuStyle(spec.timeStyle)));
            break;
    }
    if (U_FAILURE(status) || !formatter) {
        return nullptr;
    }
    return formatter;
}

DateFormatterCache::Entry* DateFormatterCache::entryFor(const DateFormatSpec& spec) {
    writeCacheKey(spec, keyScratch_);
    auto found = entries_.find(std::string_view(keyScratch_));
    if (found != entries_.end()) {
        return found->second.get();
    }
    auto formatter = build(spec);
    if (!formatter) {
        return nullptr;
    }
    if (entries_.size() >= maximumEntries) {
        entries_.clear();
    }
    auto entry = std::make_unique<Entry>(std::move(formatter));
    return entries_.emplace(keyScratch_, std::move(entry)).first->second.get();
}

bool DateFormatterCache::appendFormatted(const DateFormatSpec& spec, Timestamp time,
                                         std::string& out) {
    std::lock_guard lock(mutex_);
    Entry* entry = entryFor(spec);
    if (!entry) {
        return false;
    }
    entry->append(toUDate(time), out);
    return true;
}

std::optional<std::string> DateFormatterCache::format(const DateFormatSpec& spec, Timestamp time) {
    std::string text;
    if (!appendFormatted(spec, time, text)) {
        return std::nullopt;
    }
    return text;
}

void DateFormatterCache::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

}  // namespace wordloom
