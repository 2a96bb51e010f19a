#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/UsageHistory.h"

namespace wordloom {

/// What the statistics window shows, computed from what the library keeps: each snippet's use
/// count and last use, and the usage history's days.
struct LibraryStatistics {
    /// The typing speed time saved is computed at: 200 characters a minute (40 words).
    static constexpr double charactersPerMinute = 200.0;

    std::int64_t expansionsToday = 0;
    std::int64_t expansionsRecorded = 0;  // since the history began
    std::int64_t usesAllTime = 0;         // the snippets' use counts together
    std::int64_t charactersTyped = 0;
    std::int64_t charactersInserted = 0;
    /// Minutes not typed: (inserted - typed) at charactersPerMinute.
    double minutesSaved = 0;
    /// The most used snippets, most first (ties: the one used last first).
    std::vector<const Snippet*> top;
    /// Snippets never expanded, oldest first.
    std::vector<const Snippet*> neverUsed;
    /// Expansions per day for the chart, the last `chartDays` days up to today, oldest first,
    /// days without expansions included as zero.
    std::vector<std::pair<std::string, std::int64_t>> perDay;

    /// `today` is the local calendar day ("2026-11-24"). Recently Deleted is left out.
    static LibraryStatistics compute(const std::vector<Snippet>& snippets,
                                     const UsageHistory& history, const std::string& today,
                                     std::size_t topCount = 10, std::size_t chartDays = 30);
};

/// The local calendar day of `time` ("2026-11-24").
std::string localDay(Timestamp time);

/// The calendar day `days` before `day` ("2026-03-01", 1 -> "2026-02-28").
std::string dayBefore(const std::string& day, int days);

}  // namespace wordloom
