#include "core/base/Iso8601.h"

#include <charconv>
#include <cstdio>

namespace wordloom {
namespace {

using namespace std::chrono;

bool readDigits(std::string_view text, std::size_t& pos, std::size_t count, int& value) {
    if (pos + count > text.size()) {
        return false;
    }
    value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const char c = text[pos + i];
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + (c - '0');
    }
    pos += count;
    return true;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
    if (pos < text.size() && text[pos] == c) {
        ++pos;
        return true;
    }
    return false;
}

}  // namespace

bool fitsInTimestamp(std::chrono::seconds sinceEpoch) {
    // One second of margin either side for a fraction added afterwards.
    const auto limit = duration_cast<seconds>(Timestamp::duration::max()) - seconds{1};
    return sinceEpoch > -limit && sinceEpoch < limit;
}

Timestamp referenceDate2001() {
    return sys_days{year{2001} / January / 1};
}

std::string formatIso8601(Timestamp time) {
    const auto seconds = floor<std::chrono::seconds>(time);
    const auto days = floor<std::chrono::days>(seconds);
    const year_month_day date{days};
    const hh_mm_ss clock{seconds - days};
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return buffer;
}

std::optional<Timestamp> parseIso8601(std::string_view text) {
    std::size_t pos = 0;
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    if (!readDigits(text, pos, 4, y) || !expect(text, pos, '-') || !readDigits(text, pos, 2, mo) ||
        !expect(text, pos, '-') || !readDigits(text, pos, 2, d) ||
        !(expect(text, pos, 'T') || expect(text, pos, 't') || expect(text, pos, ' ')) ||
        !readDigits(text, pos, 2, h) || !expect(text, pos, ':') || !readDigits(text, pos, 2, mi) ||
        !expect(text, pos, ':') || !readDigits(text, pos, 2, s)) {
        return std::nullopt;
    }
    const year_month_day date{year{y}, month{static_cast<unsigned>(mo)},
                              day{static_cast<unsigned>(d)}};
    if (!date.ok() || h > 23 || mi > 59 || s > 60) {
        return std::nullopt;
    }
    nanoseconds fraction{0};
    if (pos < text.size() && (text[pos] == '.' || text[pos] == ',')) {
        ++pos;
        long long scale = 100'000'000;
        const std::size_t start = pos;
        while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
            fraction += nanoseconds{(text[pos] - '0') * scale};
            scale /= 10;
            ++pos;
        }
        if (pos == start) {
            return std::nullopt;
        }
    }
    seconds offset{0};
    if (pos < text.size() && (text[pos] == 'Z' || text[pos] == 'z')) {
        ++pos;
    } else if (pos < text.size() && (text[pos] == '+' || text[pos] == '-')) {
        const int sign = text[pos] == '-' ? -1 : 1;
        ++pos;
        int oh = 0, om = 0;
        if (!readDigits(text, pos, 2, oh)) {
            return std::nullopt;
        }
        expect(text, pos, ':');
        if (pos < text.size() && !readDigits(text, pos, 2, om)) {
            return std::nullopt;
        }
        if (oh > 23 || om > 59) {
            return std::nullopt;
        }
        offset = seconds{sign * (oh * 3600 + om * 60)};
    } else {
        return std::nullopt;  // a time without a zone is ambiguous
    }
    if (pos != text.size()) {
        return std::nullopt;
    }
    // In whole seconds first: a Timestamp counts nanoseconds and holds only the years 1678 to
    // 2261, so a date beyond them is refused rather than overflowed.
    const sys_seconds utc = sys_days{date} + hours{h} + minutes{mi} + seconds{s} - offset;
    if (!fitsInTimestamp(utc.time_since_epoch())) {
        return std::nullopt;
    }
    return time_point_cast<Timestamp::duration>(utc) + duration_cast<Timestamp::duration>(fraction);
}

}  // namespace wordloom
