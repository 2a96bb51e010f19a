#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/base/Executor.h"

#include <unicode/utypes.h>

U_NAMESPACE_BEGIN
class DateFormat;
U_NAMESPACE_END

namespace wordloom {

/// How a date is written: a Unicode date pattern, date/time styles, or the fixed ISO form.
struct DateFormatSpec {
    enum class Style { none, shortStyle, mediumStyle, longStyle, fullStyle };
    enum class Kind { pattern, styles, iso };

    Kind kind = Kind::pattern;
    std::string_view pattern;
    Style dateStyle = Style::none;
    Style timeStyle = Style::none;

    static DateFormatSpec fromPattern(std::string_view pattern) {
        return {Kind::pattern, pattern, Style::none, Style::none};
    }
    static DateFormatSpec fromStyles(Style date, Style time) {
        return {Kind::styles, {}, date, time};
    }
    static DateFormatSpec iso() { return {Kind::iso, {}, Style::none, Style::none}; }
};

/// ICU date formatters by format, built once: building one costs milliseconds, using one a few
/// microseconds. Patterns and styles use ICU's default locale and time zone as they were when the
/// formatter was built; the ISO form uses "en_US_POSIX". Safe to use from several threads.
///
/// Each formatter also keeps its last text with the span of time over which that text cannot
/// change: the local day, hour, minute or second that its pattern shows, cut short at the time
/// zone's next and previous offset changes. A later time inside the span gets the same text
/// without asking ICU, so previews that run on every keystroke format a date once a day.
class DateFormatterCache {
  public:
    static constexpr const char* isoPattern = "yyyy-MM-dd'T'HH:mm:ssZZZZZ";
    static constexpr const char* isoLocale = "en_US_POSIX";

    DateFormatterCache();
    ~DateFormatterCache();

    /// The process-wide cache.
    static DateFormatterCache& shared();

    /// `time` written as `spec` says, or nothing when ICU rejects the pattern.
    std::optional<std::string> format(const DateFormatSpec& spec, Timestamp time);

    /// Appends `time` written as `spec` says to `out`; false (and nothing appended) when ICU
    /// rejects the pattern.
    bool appendFormatted(const DateFormatSpec& spec, Timestamp time, std::string& out);

    /// Forgets every formatter, so the next ones see the current default locale and time zone.
    void clear();

  private:
    struct Entry;
    struct KeyHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const {
            return std::hash<std::string_view>()(key);
        }
    };

    // User patterns come from snippet content; the bound keeps a library full of distinct
    // patterns from growing the cache without end.
    static constexpr std::size_t maximumEntries = 128;

    std::unique_ptr<icu::DateFormat> build(const DateFormatSpec& spec) const;
    Entry* entryFor(const DateFormatSpec& spec);

    std::mutex mutex_;
    std::unordered_map<std::string, std::unique_ptr<Entry>, KeyHash, std::equal_to<>> entries_;
    std::string keyScratch_;
};

}  // namespace wordloom
