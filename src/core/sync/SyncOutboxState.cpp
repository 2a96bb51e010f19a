#include "core/sync/SyncOutboxState.h"

#include <algorithm>

namespace wordloom {
namespace {

using Entries = std::vector<SyncOutboxEntry>;

Entries::iterator find(Entries& entries, const SyncRecordId& record) {
    return std::find_if(entries.begin(), entries.end(),
                        [&](const SyncOutboxEntry& entry) { return entry.record == record; });
}

const SyncOutboxEntry* findConst(const Entries& entries, const SyncRecordId& record) {
    const auto it = std::find_if(entries.begin(), entries.end(),
                                 [&](const SyncOutboxEntry& e) { return e.record == record; });
    return it == entries.end() ? nullptr : &*it;
}

void queue(Entries& into, Entries& outOf, const SyncRecordId& record, std::int64_t& next) {
    if (const auto other = find(outOf, record); other != outOf.end()) {
        outOf.erase(other);
    }
    const auto generation = next++;
    if (const auto existing = find(into, record); existing != into.end()) {
        existing->generation = generation;
    } else {
        into.push_back({record, generation});
    }
}

bool confirm(Entries& entries, const SyncRecordId& record, std::int64_t generation) {
    const auto it = find(entries, record);
    if (it == entries.end() || it->generation != generation) {
        return false;
    }
    entries.erase(it);
    return true;
}

void encodeEntries(JsonWriter& w, const Entries& entries) {
    w.beginArray();
    for (const auto& entry : entries) {
        w.beginObject();
        w.field("generation", entry.generation);
        w.field("recordName", entry.record.recordName);
        w.field("recordType", entry.record.recordType);
        w.endObject();
    }
    w.endArray();
}

Entries decodeEntries(JsonObject object, std::string_view key) {
    Entries entries;
    const auto member = json::member(object, key);
    if (!member) {
        return entries;
    }
    const auto array = json::asArray(*member);
    if (!array) {
        throw JsonError("The outbox's " + std::string(key) + " are not a list.");
    }
    for (auto element : *array) {
        const auto entry = json::asObject(element);
        if (!entry) {
            throw JsonError("An outbox entry is not an object.");
        }
        const auto generation = json::member(*entry, "generation");
        const auto name = json::member(*entry, "recordName");
        const auto type = json::member(*entry, "recordType");
        if (!generation || !name || !type) {
            throw JsonError("An outbox entry is incomplete.");
        }
        const auto generationValue = json::asInt(*generation);
        const std::string nameValue(json::asString(*name).value_or(""));
        const std::string typeValue(json::asString(*type).value_or(""));
        if (!generationValue || nameValue.empty() || typeValue.empty()) {
            throw JsonError("An outbox entry is incomplete.");
        }
        entries.push_back({{typeValue, nameValue}, *generationValue});
    }
    return entries;
}

}  // namespace

void SyncOutboxState::queueChange(const SyncRecordId& record) {
    queue(changes, deletions, record, nextGeneration);
}

void SyncOutboxState::queueDeletion(const SyncRecordId& record) {
    queue(deletions, changes, record, nextGeneration);
}

bool SyncOutboxState::confirmChange(const SyncRecordId& record, std::int64_t generation) {
    return confirm(changes, record, generation);
}

bool SyncOutboxState::confirmDeletion(const SyncRecordId& record, std::int64_t generation) {
    return confirm(deletions, record, generation);
}

void SyncOutboxState::forget(const SyncRecordId& record) {
    if (const auto it = find(changes, record); it != changes.end()) {
        changes.erase(it);
    }
    if (const auto it = find(deletions, record); it != deletions.end()) {
        deletions.erase(it);
    }
}

const SyncOutboxEntry* SyncOutboxState::pendingChange(const SyncRecordId& record) const {
    return findConst(changes, record);
}

const SyncOutboxEntry* SyncOutboxState::pendingDeletion(const SyncRecordId& record) const {
    return findConst(deletions, record);
}

std::string encodeSyncOutboxState(const SyncOutboxState& state, bool pretty) {
    JsonWriter w(pretty);
    w.beginObject();
    w.key("changes");
    encodeEntries(w, state.changes);
    w.key("deletions");
    encodeEntries(w, state.deletions);
    w.field("nextGeneration", state.nextGeneration);
    w.endObject();
    auto text = w.take();
    if (pretty) {
        text += '\n';
    }
    return text;
}

SyncOutboxState decodeSyncOutboxState(std::string_view text) {
    JsonDocument document(text);
    const auto object = json::asObject(document.root());
    if (!object) {
        throw JsonError("The outbox is not a JSON object.");
    }
    SyncOutboxState state;
    state.changes = decodeEntries(*object, "changes");
    state.deletions = decodeEntries(*object, "deletions");
    const auto next = json::member(*object, "nextGeneration");
    const auto nextValue = next ? json::asInt(*next) : std::nullopt;
    if (!nextValue) {
        throw JsonError("The outbox has no next generation.");
    }
    state.nextGeneration = *nextValue;
    // A generation at or past the counter would let a new entry look older than it is.
    for (const auto* entries : {&state.changes, &state.deletions}) {
        for (const auto& entry : *entries) {
            state.nextGeneration = std::max(state.nextGeneration, entry.generation + 1);
        }
    }
    return state;
}

}  // namespace wordloom
