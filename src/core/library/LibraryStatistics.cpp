#include "core/library/LibraryStatistics.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace wordloom {

std::string localDay(Timestamp time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &local);
    return text;
}

std::string dayBefore(const std::string& day, int days) {
    int year = 0;
    unsigned month = 0;
    unsigned dayOfMonth = 0;
    if (std::sscanf(day.c_str(), "%d-%u-%u", &year, &month, &dayOfMonth) != 3) {
        return day;
    }
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(dayOfMonth)};
    if (!date.ok()) {
        return day;
    }
    const std::chrono::year_month_day earlier{std::chrono::sys_days(date) -
                                              std::chrono::days(days)};
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(earlier.year()),
                  static_cast<unsigned>(earlier.month()), static_cast<unsigned>(earlier.day()));
    return text;
}

LibraryStatistics LibraryStatistics::compute(const std::vector<Snippet>& snippets,
                                             const UsageHistory& history, const std::string& today,
                                             std::size_t topCount, std::size_t chartDays) {
    LibraryStatistics s;
    std::vector<const Snippet*> used;
    for (const auto& snippet : snippets) {
        if (snippet.isDeleted()) {
            continue;
        }
        s.usesAllTime += snippet.useCount;
        if (snippet.useCount > 0) {
            used.push_back(&snippet);
        } else {
            s.neverUsed.push_back(&snippet);
        }
    }
    std::sort(used.begin(), used.end(), [](const Snippet* a, const Snippet* b) {
        if (a->useCount != b->useCount) {
            return a->useCount > b->useCount;
        }
        return a->lastUsedAt.value_or(Timestamp{}) > b->lastUsedAt.value_or(Timestamp{});
    });
    used.resize(std::min(used.size(), topCount));
    s.top = std::move(used);
    std::stable_sort(
        s.neverUsed.begin(), s.neverUsed.end(),
        [](const Snippet* a, const Snippet* b) { return a->createdAt < b->createdAt; });

    const auto total = history.total();
    s.expansionsRecorded = total.expansions;
    s.charactersTyped = total.charactersTyped;
    s.charactersInserted = total.charactersInserted;
    s.minutesSaved =
        std::max<double>(0, static_cast<double>(total.charactersInserted - total.charactersTyped)) /
        charactersPerMinute;
    const auto& days = history.days();
    if (const auto it = days.find(today); it != days.end()) {
        s.expansionsToday = it->second.expansions;
    }
    for (std::size_t back = chartDays; back-- > 0;) {
        const auto day = dayBefore(today, static_cast<int>(back));
        const auto it = days.find(day);
        s.perDay.emplace_back(day, it == days.end() ? 0 : it->second.expansions);
    }
    return s;
}

}  // namespace wordloom
