#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "core/base/Executor.h"
#include "core/base/Log.h"

namespace wordloom {

/// Expansions per day, with the characters typed (abbreviations) and inserted (expansions),
/// for the statistics window's chart and time-saved figure. Kept in "usage-history.json" in
/// the data folder, a file of its own so that the library files stay as every copy reads them;
/// the last 400 days are kept. Lives on the main queue; saves 2 s after the last expansion and
/// at flush().
class UsageHistory {
  public:
    static constexpr std::string_view fileName = "usage-history.json";
    static constexpr std::size_t keptDays = 400;

    struct Day {
        std::int64_t expansions = 0;
        std::int64_t charactersTyped = 0;
        std::int64_t charactersInserted = 0;
        bool operator==(const Day&) const = default;
    };

    /// Reads `file` (a missing or unreadable one is an empty history; the unreadable one is
    /// logged and replaced at the next save).
    UsageHistory(Executor& executor, std::filesystem::path file);
    ~UsageHistory();
    UsageHistory(const UsageHistory&) = delete;
    UsageHistory& operator=(const UsageHistory&) = delete;

    /// Counts one expansion on the local calendar day of `when` ("2026-11-24").
    void record(const std::string& day, std::int64_t charactersTyped,
                std::int64_t charactersInserted);
    /// Days in order, oldest first.
    const std::map<std::string, Day>& days() const { return days_; }
    Day total() const;

    void flush();

  private:
    void save();

    Executor& executor_;
    std::filesystem::path file_;
    std::map<std::string, Day> days_;
    ScheduledTask saveTask_;
    bool dirty_ = false;
    Logger logger_{"UsageHistory"};
};

}  // namespace wordloom
