#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "core/base/Base64.h"
#include "core/base/Executor.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"

namespace wordloom {

/// The record types the library is mirrored as.
namespace syncRecordType {
inline constexpr std::string_view snippet = "Snippet";
inline constexpr std::string_view group = "SnippetGroup";
}  // namespace syncRecordType

/// A file attached to a record (the snippet's image). Only its bytes travel through the core;
/// each backend stores them its own way.
struct SyncAsset {
    Bytes bytes;
    bool operator==(const SyncAsset&) const = default;
};

/// Marks a field that the record clears on the server (it had a value before, it has none now).
struct SyncFieldCleared {
    bool operator==(const SyncFieldCleared&) const = default;
};

/// One field value, in the shapes the server's schema knows: text, 64-bit integers (flags are
/// 0/1), dates in milliseconds since 1970, bytes, lists of text, and assets.
struct SyncFieldValue {
    struct Milliseconds {
        std::int64_t value = 0;
        bool operator==(const Milliseconds&) const = default;
    };
    using Value = std::variant<SyncFieldCleared, std::string, std::int64_t, Milliseconds, Bytes,
                               std::vector<std::string>, SyncAsset>;
    Value value;

    bool operator==(const SyncFieldValue&) const = default;

    static SyncFieldValue timestamp(Timestamp time);
    std::optional<Timestamp> asTimestamp() const;
    const std::string* asString() const { return std::get_if<std::string>(&value); }
    const std::int64_t* asInt() const { return std::get_if<std::int64_t>(&value); }
    const Bytes* asBytes() const { return std::get_if<Bytes>(&value); }
    const std::vector<std::string>* asStringList() const {
        return std::get_if<std::vector<std::string>>(&value);
    }
    const SyncAsset* asAsset() const { return std::get_if<SyncAsset>(&value); }
    bool isCleared() const { return std::holds_alternative<SyncFieldCleared>(value); }
};

/// A record as the sync server keeps it: its type, its name (the snippet's or group's UUID),
/// the server's change tag for the version it describes, and its fields in the order they are
/// written.
struct SyncRecord {
    std::string recordType;
    std::string recordName;
    std::optional<std::string> changeTag;
    std::vector<std::pair<std::string, SyncFieldValue>> fields;

    bool operator==(const SyncRecord&) const = default;

    const SyncFieldValue* field(std::string_view name) const;
    void set(std::string name, SyncFieldValue value);
};

/// A record's identity without its contents (deletions).
struct SyncRecordId {
    std::string recordType;
    std::string recordName;
    auto operator<=>(const SyncRecordId&) const = default;
};

/// Records in the JSON shape our own files use (the folder backend's logs and the record index):
/// {"recordType", "recordName", "changeTag", "fields": {"name": {"type": "STRING", "value": ...}}}
/// with field order kept. Assets are written as base64 bytes.
void encodeSyncRecord(JsonWriter& writer, const SyncRecord& record);
/// Throws JsonError for a record without a type or name, or with a field it cannot read.
SyncRecord decodeSyncRecord(JsonElement element);

}  // namespace wordloom
