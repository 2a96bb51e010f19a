#include "core/macros/DateFormatterCache.h"

#include <unicode/datefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <chrono>

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

std::string cacheKey(const DateFormatSpec& spec) {
    std::string key;
    key += static_cast<char>('0' + static_cast<int>(spec.kind));
    key += static_cast<char>('0' + static_cast<int>(spec.dateStyle));
    key += static_cast<char>('0' + static_cast<int>(spec.timeStyle));
    key += spec.pattern;
    return key;
}

UDate toUDate(Timestamp time) {
    using namespace std::chrono;
    return static_cast<UDate>(duration_cast<milliseconds>(time.time_since_epoch()).count());
}

}  // namespace

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
                icu::UnicodeString::fromUTF8(spec.pattern), status);
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

std::optional<std::string> DateFormatterCache::format(const DateFormatSpec& spec, Timestamp time) {
    std::string key = cacheKey(spec);
    std::lock_guard lock(mutex_);
    auto found = formatters_.find(key);
    if (found == formatters_.end()) {
        auto formatter = build(spec);
        if (!formatter) {
            return std::nullopt;
        }
        if (formatters_.size() >= maximumEntries) {
            formatters_.clear();
        }
        found = formatters_.emplace(std::move(key), std::move(formatter)).first;
    }
    icu::UnicodeString formatted;
    found->second->format(toUDate(time), formatted);
    std::string text;
    formatted.toUTF8String(text);
    return text;
}

void DateFormatterCache::clear() {
    std::lock_guard lock(mutex_);
    formatters_.clear();
}

}  // namespace wordloom
