#include "core/sync/SyncRecord.h"

#include <algorithm>
#include <chrono>

namespace wordloom {

SyncFieldValue SyncFieldValue::timestamp(Timestamp time) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    return {Milliseconds{milliseconds}};
}

std::optional<Timestamp> SyncFieldValue::asTimestamp() const {
    const auto* milliseconds = std::get_if<Milliseconds>(&value);
    if (!milliseconds) {
        return std::nullopt;
    }
    return Timestamp(std::chrono::duration_cast<Timestamp::duration>(
        std::chrono::milliseconds(milliseconds->value)));
}

const SyncFieldValue* SyncRecord::field(std::string_view name) const {
    const auto it = std::find_if(fields.begin(), fields.end(),
                                 [&](const auto& entry) { return entry.first == name; });
    return it == fields.end() ? nullptr : &it->second;
}

void SyncRecord::set(std::string name, SyncFieldValue value) {
    const auto it = std::find_if(fields.begin(), fields.end(),
                                 [&](const auto& entry) { return entry.first == name; });
    if (it != fields.end()) {
        it->second = std::move(value);
    } else {
        fields.emplace_back(std::move(name), std::move(value));
    }
}

namespace {

std::optional<std::string_view> stringMember(JsonObject object, std::string_view key) {
    const auto value = json::member(object, key);
    return value ? json::asString(*value) : std::nullopt;
}

void encodeValue(JsonWriter& w, const SyncFieldValue& field) {
    w.beginObject();
    std::visit(
        [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, SyncFieldCleared>) {
                w.field("type", "CLEARED");
            } else if constexpr (std::is_same_v<T, std::string>) {
                w.field("type", "STRING");
                w.field("value", v);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                w.field("type", "INT64");
                w.field("value", v);
            } else if constexpr (std::is_same_v<T, SyncFieldValue::Milliseconds>) {
                w.field("type", "TIMESTAMP");
                w.field("value", v.value);
            } else if constexpr (std::is_same_v<T, Bytes>) {
                w.field("type", "BYTES");
                w.field("value", encodeBase64(v));
            } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
                w.field("type", "STRING_LIST");
                w.key("value");
                w.beginArray();
                for (const auto& item : v) {
                    w.value(item);
                }
                w.endArray();
            } else {
                w.field("type", "ASSET");
                w.field("value", encodeBase64(v.bytes));
            }
        },
        field.value);
    w.endObject();
}

SyncFieldValue decodeValue(std::string_view name, JsonElement element) {
    const auto object = json::asObject(element);
    const auto type = object ? stringMember(*object, "type") : std::nullopt;
    if (!type) {
        throw JsonError("Field " + std::string(name) + " has no type.");
    }
    const auto value = json::member(*object, "value");
    const auto fail = [&]() -> SyncFieldValue {
        throw JsonError("Field " + std::string(name) + " has an unreadable " + std::string(*type) +
                        " value.");
    };
    if (*type == "CLEARED") {
        return {SyncFieldCleared{}};
    }
    if (!value) {
        return fail();
    }
    if (*type == "STRING") {
        const auto text = json::asString(*value);
        return text ? SyncFieldValue{std::string(*text)} : fail();
    }
    if (*type == "INT64" || *type == "TIMESTAMP") {
        const auto number = json::asInt(*value);
        if (!number) {
            return fail();
        }
        return *type == "INT64" ? SyncFieldValue{*number}
                                : SyncFieldValue{SyncFieldValue::Milliseconds{*number}};
    }
    if (*type == "BYTES" || *type == "ASSET") {
        const auto bytes = json::asBytes(*value);
        if (!bytes) {
            return fail();
        }
        return *type == "BYTES" ? SyncFieldValue{*bytes} : SyncFieldValue{SyncAsset{*bytes}};
    }
    if (*type == "STRING_LIST") {
        const auto array = json::asArray(*value);
        if (!array) {
            return fail();
        }
        std::vector<std::string> items;
        for (auto item : *array) {
            const auto text = json::asString(item);
            if (!text) {
                return fail();
            }
            items.emplace_back(*text);
        }
        return {std::move(items)};
    }
    throw JsonError("Field " + std::string(name) + " has the unknown type " + std::string(*type) +
                    ".");
}

}  // namespace

void encodeSyncRecord(JsonWriter& w, const SyncRecord& record) {
    w.beginObject();
    w.field("recordType", record.recordType);
    w.field("recordName", record.recordName);
    if (record.changeTag) {
        w.field("changeTag", *record.changeTag);
    }
    w.key("fields");
    w.beginObject();
    for (const auto& [name, value] : record.fields) {
        w.key(name);
        encodeValue(w, value);
    }
    w.endObject();
    w.endObject();
}

SyncRecord decodeSyncRecord(JsonElement element) {
    const auto object = json::asObject(element);
    if (!object) {
        throw JsonError("A record is not a JSON object.");
    }
    SyncRecord record;
    const auto type = stringMember(*object, "recordType");
    const auto name = stringMember(*object, "recordName");
    if (!type || !name || type->empty() || name->empty()) {
        throw JsonError("A record has no type or name.");
    }
    record.recordType = *type;
    record.recordName = *name;
    if (const auto tag = stringMember(*object, "changeTag")) {
        record.changeTag = std::string(*tag);
    }
    if (const auto fields = json::member(*object, "fields")) {
        const auto fieldObject = json::asObject(*fields);
        if (!fieldObject) {
            throw JsonError("A record's fields are not a JSON object.");
        }
        for (auto [key, value] : *fieldObject) {
            record.fields.emplace_back(std::string(key), decodeValue(key, value));
        }
    }
    return record;
}

}  // namespace wordloom
