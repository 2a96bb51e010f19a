#include "core/sync/SyncedRecordIndex.h"

#include "core/base/FileIO.h"

namespace wordloom {

SyncedRecordIndex SyncedRecordIndex::load(const std::filesystem::path& file) {
    SyncedRecordIndex index;
    const auto text = readFileIfExists(file);
    if (!text) {
        return index;
    }
    JsonDocument document(*text);
    const auto object = json::asObject(document.root());
    const auto records = object ? json::member(*object, "records") : std::nullopt;
    const auto recordObject = records ? json::asObject(*records) : std::nullopt;
    if (!recordObject) {
        throw JsonError("The sync record index has no records.");
    }
    for (auto [recordName, entryValue] : *recordObject) {
        const auto entryObject = json::asObject(entryValue);
        if (!entryObject) {
            throw JsonError("A sync record index entry is not an object.");
        }
        Entry entry;
        const auto read = [&](std::string_view key) -> std::optional<std::string> {
            const auto member = json::member(*entryObject, key);
            const auto value = member ? json::asString(*member) : std::nullopt;
            return value ? std::optional<std::string>(*value) : std::nullopt;
        };
        entry.recordType = read("recordType").value_or("");
        entry.changeTag = read("changeTag");
        entry.fingerprint = read("fingerprint").value_or("");
        if (const auto fields = json::member(*entryObject, "fields")) {
            if (const auto array = json::asArray(*fields)) {
                for (auto field : *array) {
                    if (const auto name = json::asString(field)) {
                        entry.fields.emplace_back(*name);
                    }
                }
            }
        }
        if (entry.recordType.empty()) {
            throw JsonError("A sync record index entry has no record type.");
        }
        index.entries_.emplace(std::string(recordName), std::move(entry));
    }
    return index;
}

void SyncedRecordIndex::save(const std::filesystem::path& file) const {
    JsonWriter w;
    w.beginObject();
    w.key("records");
    w.beginObject();
    for (const auto& [name, entry] : entries_) {
        w.key(name);
        w.beginObject();
        if (entry.changeTag) {
            w.field("changeTag", *entry.changeTag);
        }
        w.key("fields");
        w.beginArray();
        for (const auto& field : entry.fields) {
            w.value(field);
        }
        w.endArray();
        w.field("fingerprint", entry.fingerprint);
        w.field("recordType", entry.recordType);
        w.endObject();
    }
    w.endObject();
    w.endObject();
    writeFileAtomically(file, w.take() + "\n");
}

const SyncedRecordIndex::Entry* SyncedRecordIndex::find(const std::string& recordName) const {
    const auto it = entries_.find(recordName);
    return it == entries_.end() ? nullptr : &it->second;
}

void SyncedRecordIndex::agree(const SyncRecord& serverRecord, std::string fingerprint) {
    Entry entry{serverRecord.recordType, serverRecord.changeTag, {}, std::move(fingerprint)};
    for (const auto& [name, value] : serverRecord.fields) {
        if (!value.isCleared()) {
            entry.fields.push_back(name);
        }
    }
    entries_.insert_or_assign(serverRecord.recordName, std::move(entry));
}

void SyncedRecordIndex::remove(const std::string& recordName) {
    entries_.erase(recordName);
}

std::optional<SyncRecord> SyncedRecordIndex::serverSkeleton(const std::string& recordName) const {
    const auto* entry = find(recordName);
    if (!entry) {
        return std::nullopt;
    }
    SyncRecord record{entry->recordType, recordName, entry->changeTag, {}};
    for (const auto& field : entry->fields) {
        record.fields.emplace_back(field, SyncFieldValue{std::string()});
    }
    return record;
}

}  // namespace wordloom
