#include "core/library/DateTimeSeed.h"

#include <array>

namespace wordloom {
namespace {

struct SeedEntry {
    std::string_view abbreviation;
    std::string_view label;
    std::string_view content;
};

constexpr std::array<SeedEntry, 12> kEntries{{
    {";today", "Today's Date", "{{today}}"},
    {";tomorrow", "Tomorrow's Date", "{{tomorrow}}"},
    {";yesterday", "Yesterday's Date", "{{yesterday}}"},
    {";now", "Current Date & Time", "{{now}}"},
    {";time", "Current Time", "{{time}}"},
    {";date", "Current Date (Short)", "{{date:yyyy-MM-dd}}"},
    {";datelong", "Current Date (Long)", "{{date:MMMM d, yyyy}}"},
    {";year", "Current Year", "{{date:yyyy}}"},
    {";month", "Current Month", "{{date:MMMM}}"},
    {";weekday", "Current Weekday", "{{date:EEEE}}"},
    {";nextweek", "Next Week", "{{date+7d:MMMM d, yyyy}}"},
    {";nextmonth", "Next Month", "{{date+1m:MMMM d, yyyy}}"},
}};

}  // namespace

DateTimeSeed DateTimeSeed::make(Timestamp now) {
    DateTimeSeed seed;
    seed.group.id = Uuid::random();
    seed.group.name = std::string(groupName);
    seed.group.isEnabled = true;
    seed.group.sortOrder = 0;
    seed.group.createdAt = now;
    seed.group.modifiedAt = now;
    for (const auto& entry : kEntries) {
        Snippet snippet;
        snippet.id = Uuid::random();
        snippet.abbreviation = std::string(entry.abbreviation);
        snippet.label = std::string(entry.label);
        snippet.content = std::string(entry.content);
        snippet.contentType = ContentType::plainText;
        snippet.groupId = seed.group.id;
        snippet.isEnabled = true;
        snippet.createdAt = now;
        snippet.modifiedAt = now;
        seed.snippets.push_back(std::move(snippet));
    }
    return seed;
}

}  // namespace wordloom
