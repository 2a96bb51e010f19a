#include "core/library/UsageHistory.h"

#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"

namespace wordloom {

UsageHistory::UsageHistory(Executor& executor, std::filesystem::path file)
    : executor_(executor), file_(std::move(file)) {
    try {
        const auto text = readFileIfExists(file_);
        if (!text) {
            return;
        }
        JsonDocument document(*text);
        const auto root = json::asObject(document.root());
        const auto daysMember = root ? json::member(*root, "days") : std::nullopt;
        const auto daysObject = daysMember ? json::asObject(*daysMember) : std::nullopt;
        if (!daysObject) {
            throw JsonError("it has no days");
        }
        for (auto [name, value] : *daysObject) {
            const auto object = json::asObject(value);
            if (!object || name.size() != 10) {
                continue;
            }
            const auto read = [&](std::string_view key) {
                const auto member = json::member(*object, key);
                return std::max<std::int64_t>(0, member ? json::asInt(*member).value_or(0) : 0);
            };
            days_[std::string(name)] = {read("expansions"), read("charactersTyped"),
                                        read("charactersInserted")};
        }
    } catch (const std::exception& error) {
        logger_.error("Couldn't read " + file_.string() + ": " + error.what());
        days_.clear();
    }
}

UsageHistory::~UsageHistory() {
    saveTask_.cancel();
}

void UsageHistory::record(const std::string& day, std::int64_t charactersTyped,
                          std::int64_t charactersInserted) {
    auto& entry = days_[day];
    ++entry.expansions;
    entry.charactersTyped += std::max<std::int64_t>(0, charactersTyped);
    entry.charactersInserted += std::max<std::int64_t>(0, charactersInserted);
    while (days_.size() > keptDays) {
        days_.erase(days_.begin());
    }
    dirty_ = true;
    saveTask_.cancel();
    saveTask_ = executor_.postAfter(std::chrono::seconds(2), [this] { save(); });
}

UsageHistory::Day UsageHistory::total() const {
    Day sum;
    for (const auto& [name, day] : days_) {
        sum.expansions += day.expansions;
        sum.charactersTyped += day.charactersTyped;
        sum.charactersInserted += day.charactersInserted;
    }
    return sum;
}

void UsageHistory::flush() {
    if (dirty_) {
        save();
    }
}

void UsageHistory::save() {
    saveTask_.cancel();
    JsonWriter w;
    w.beginObject();
    w.key("days");
    w.beginObject();
    for (const auto& [name, day] : days_) {
        w.key(name);
        w.beginObject();
        w.field("charactersInserted", day.charactersInserted);
        w.field("charactersTyped", day.charactersTyped);
        w.field("expansions", day.expansions);
        w.endObject();
    }
    w.endObject();
    w.endObject();
    try {
        writeFileAtomically(file_, w.take() + "\n");
        dirty_ = false;
    } catch (const std::exception& error) {
        // Kept in memory; the next expansion tries again.
        logger_.error("Couldn't save " + file_.string() + ": " + error.what());
    }
}

}  // namespace wordloom
