#include "core/sync/SyncRecordCoding.h"

#include <sodium.h>

#include "core/base/EnumCoding.h"
#include "core/base/Log.h"
#include "core/library/LibraryEnums.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("iCloudSyncService.records");
    return instance;
}

/// The content type older copies understand.
std::string_view legacyContentType(ContentType type) {
    switch (type) {
        case ContentType::plainText:
        case ContentType::markdown:
        case ContentType::code:
            return "plainText";
        case ContentType::richText:
            return "richText";
        case ContentType::javaScript:
            return "javaScript";
        case ContentType::image:
            return "image";
    }
    return "plainText";
}

SyncFieldValue text(std::string_view value) {
    return {std::string(value)};
}
SyncFieldValue flag(bool value) {
    return {static_cast<std::int64_t>(value ? 1 : 0)};
}

std::string hotkeyJson(const SnippetHotkey& hotkey) {
    JsonWriter w(false);
    w.beginObject();
    w.field("keyCode", static_cast<std::int64_t>(hotkey.keyCode));
    w.field("modifiers", static_cast<std::int64_t>(hotkey.modifiers));
    w.endObject();
    return w.take();
}

std::string appsJson(const std::vector<AppIdentifier>& apps) {
    JsonWriter w(false);
    w.beginArray();
    for (const auto& app : apps) {
        w.beginObject();
        w.field("bundleId", app.bundleId);
        if (app.iconData) {
            w.field("iconData", encodeBase64(*app.iconData));
        }
        w.field("name", app.name);
        w.endObject();
    }
    w.endArray();
    return w.take();
}

Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

/// Adds a JSON blob field, or skips it with the log line the other copies write.
void setJson(SyncRecord& record, std::string name, const std::function<std::string()>& encode) {
    try {
        record.set(std::move(name), {bytesOf(encode())});
    } catch (const std::exception& error) {
        logger().error("[iCloudSync] setJSON encode failed for key " + name + ": " + error.what());
    }
}

void clearWhatWasDropped(SyncRecord& record, const SyncRecord* previous) {
    if (!previous) {
        return;
    }
    record.changeTag = previous->changeTag;
    for (const auto& [name, value] : previous->fields) {
        if (!value.isCleared() && !record.field(name)) {
            record.fields.emplace_back(name, SyncFieldValue{SyncFieldCleared{}});
        }
    }
}

template <typename E>
std::optional<E> enumField(const SyncRecord& record, std::string_view name) {
    const auto* value = record.field(name);
    const auto* raw = value ? value->asString() : nullptr;
    return raw ? enumFromRaw<E>(*raw) : std::nullopt;
}

std::optional<std::string> stringField(const SyncRecord& record, std::string_view name) {
    const auto* value = record.field(name);
    const auto* raw = value ? value->asString() : nullptr;
    return raw ? std::optional<std::string>(*raw) : std::nullopt;
}

std::optional<Timestamp> dateField(const SyncRecord& record, std::string_view name) {
    const auto* value = record.field(name);
    return value ? value->asTimestamp() : std::nullopt;
}

std::optional<std::int64_t> intField(const SyncRecord& record, std::string_view name) {
    const auto* value = record.field(name);
    const auto* number = value ? value->asInt() : nullptr;
    return number ? std::optional<std::int64_t>(*number) : std::nullopt;
}

std::optional<Uuid> uuidField(const SyncRecord& record, std::string_view name) {
    const auto raw = stringField(record, name);
    return raw ? Uuid::parse(*raw) : std::nullopt;
}

std::optional<std::string> jsonField(const SyncRecord& record, std::string_view name) {
    const auto* value = record.field(name);
    const auto* bytes = value ? value->asBytes() : nullptr;
    return bytes ? std::optional<std::string>(std::string(bytes->begin(), bytes->end()))
                 : std::nullopt;
}

std::optional<SnippetHotkey> decodeHotkey(const std::string& text) {
    try {
        JsonDocument document(text);
        const auto object = json::asObject(document.root());
        if (!object) {
            return std::nullopt;
        }
        const auto keyCode = json::member(*object, "keyCode");
        const auto modifiers = json::member(*object, "modifiers");
        if (!keyCode || !modifiers) {
            return std::nullopt;
        }
        const std::int64_t code = json::asInt(*keyCode).value_or(-1);
        const std::int64_t mask = json::asInt(*modifiers).value_or(-1);
        if (code < 0 || code > 0xFFFF || mask < 0 || mask > 0xFFFFFFFF) {
            return std::nullopt;
        }
        SnippetHotkey hotkey{static_cast<std::uint16_t>(code), static_cast<std::uint32_t>(mask)};
        if ((hotkey.modifiers & modifier::shortcutMask) == 0) {
            return std::nullopt;
        }
        return hotkey;
    } catch (const JsonError&) {
        return std::nullopt;
    }
}

std::vector<AppIdentifier> decodeApps(const std::string& text) {
    std::vector<AppIdentifier> apps;
    try {
        JsonDocument document(text);
        const auto array = json::asArray(document.root());
        if (!array) {
            return apps;
        }
        for (auto element : *array) {
            const auto object = json::asObject(element);
            if (!object) {
                continue;
            }
            const auto bundleId = json::member(*object, "bundleId");
            const auto id = bundleId ? json::asString(*bundleId) : std::nullopt;
            if (!id) {
                continue;
            }
            AppIdentifier app;
            app.bundleId = std::string(*id);
            if (const auto name = json::member(*object, "name")) {
                app.name = std::string(json::asString(*name).value_or(""));
            }
            if (const auto icon = json::member(*object, "iconData")) {
                app.iconData = json::asBytes(*icon);
            }
            apps.push_back(std::move(app));
        }
    } catch (const JsonError&) {
    }
    return apps;
}

}  // namespace

SyncRecord encodeSnippetRecord(const Snippet& snippet, const SnippetImageReader& readImage,
                               const SyncRecord* previous) {
    SyncRecord record;
    record.recordType = std::string(syncRecordType::snippet);
    record.recordName = snippet.id.toString();
    record.set("abbreviation", text(snippet.abbreviation));
    record.set("label", text(snippet.label));
    record.set("content", text(snippet.content));
    record.set("contentType", text(legacyContentType(snippet.contentType)));
    record.set("contentTypeV2", text(rawValue(snippet.contentType)));
    if (snippet.codeLanguage) {
        record.set("codeLanguage", text(rawValue(*snippet.codeLanguage)));
    }
    if (snippet.groupId) {
        record.set("groupId", text(snippet.groupId->toString()));
    }
    record.set("tags", {snippet.tags});
    record.set("isEnabled", flag(snippet.isEnabled));
    record.set("caseSensitivity", text(rawValue(snippet.caseSensitivity)));
    record.set("triggerMode", text(rawValue(snippet.triggerMode)));
    record.set("createdAt", SyncFieldValue::timestamp(snippet.createdAt));
    record.set("modifiedAt", SyncFieldValue::timestamp(snippet.modifiedAt));
    record.set("useCount", {snippet.useCount});
    if (snippet.lastUsedAt) {
        record.set("lastUsedAt", SyncFieldValue::timestamp(*snippet.lastUsedAt));
    }
    if (snippet.deletedAt) {
        record.set("deletedAt", SyncFieldValue::timestamp(*snippet.deletedAt));
    }
    if (snippet.richTextData) {
        record.set("richTextData", {*snippet.richTextData});
    }
    if (snippet.hotkey) {
        setJson(record, "hotkeyData", [&] { return hotkeyJson(*snippet.hotkey); });
    }
    record.set("matchType", text(rawValue(snippet.matchType)));
    record.set("appFilterMode", text(rawValue(snippet.appFilterMode)));
    setJson(record, "filteredAppsData", [&] { return appsJson(snippet.filteredApps); });
    if (snippet.imageFileName) {
        record.set("imageFileName", text(*snippet.imageFileName));
    }
    if (snippet.contentType == ContentType::image || snippet.imageFileName || snippet.imageData) {
        auto bytes = snippet.imageData ? snippet.imageData : readImage(snippet);
        if (!bytes || bytes->empty()) {
            throw SyncImageAssetError::missingLocalBytes(record.recordName);
        }
        record.set("imageAsset", {SyncAsset{std::move(*bytes)}});
    }
    clearWhatWasDropped(record, previous);
    return record;
}

Snippet decodeSnippetRecord(const SyncRecord& record, Timestamp fallbackDate) {
    const auto fail = [&](const std::string& reason) {
        return SyncRecordError::couldNotDecode(record.recordType, record.recordName, reason);
    };
    Snippet s;
    const auto id = Uuid::parse(record.recordName);
    if (!id) {
        throw fail("its name is not a UUID");
    }
    s.id = *id;
    const auto abbreviation = stringField(record, "abbreviation");
    if (!abbreviation || !isValidAbbreviation(*abbreviation)) {
        throw fail("it has no valid abbreviation");
    }
    s.abbreviation = *abbreviation;
    s.label = stringField(record, "label").value_or("");
    s.content = stringField(record, "content").value_or("");
    s.contentType =
        enumField<ContentType>(record, "contentTypeV2")
            .value_or(
                enumField<ContentType>(record, "contentType").value_or(ContentType::plainText));
    s.codeLanguage = enumField<CodeLanguage>(record, "codeLanguage");
    s.groupId = uuidField(record, "groupId");
    if (const auto* tags = record.field("tags"); tags && tags->asStringList()) {
        s.tags = *tags->asStringList();
    }
    s.isEnabled = intField(record, "isEnabled").value_or(1) != 0;
    s.caseSensitivity =
        enumField<CaseSensitivity>(record, "caseSensitivity").value_or(CaseSensitivity::autoDetect);
    s.triggerMode = enumField<TriggerMode>(record, "triggerMode").value_or(TriggerMode::delimiter);
    s.createdAt = dateField(record, "createdAt").value_or(fallbackDate);
    s.modifiedAt = dateField(record, "modifiedAt").value_or(fallbackDate);
    s.useCount = std::max<std::int64_t>(0, intField(record, "useCount").value_or(0));
    s.lastUsedAt = dateField(record, "lastUsedAt");
    s.deletedAt = dateField(record, "deletedAt");
    if (const auto* rich = record.field("richTextData"); rich && rich->asBytes()) {
        s.richTextData = *rich->asBytes();
    }
    if (const auto hotkey = jsonField(record, "hotkeyData")) {
        s.hotkey = decodeHotkey(*hotkey);
    }
    s.matchType = enumField<AbbreviationMatchType>(record, "matchType")
                      .value_or(AbbreviationMatchType::exact);
    s.appFilterMode =
        enumField<AppFilterMode>(record, "appFilterMode").value_or(AppFilterMode::all);
    if (const auto apps = jsonField(record, "filteredAppsData")) {
        s.filteredApps = decodeApps(*apps);
    }
    s.imageFileName = stringField(record, "imageFileName");
    if (const auto* asset = record.field("imageAsset"); asset && !asset->isCleared()) {
        const auto* bytes = asset->asAsset();
        if (!bytes || bytes->bytes.empty()) {
            throw SyncImageAssetError::downloadedAssetUnreadable(record.recordName);
        }
        s.imageData = bytes->bytes;
    }
    return s;
}

SyncRecord encodeGroupRecord(const SnippetGroup& group, const SyncRecord* previous) {
    SyncRecord record;
    record.recordType = std::string(syncRecordType::group);
    record.recordName = group.id.toString();
    record.set("name", text(group.name));
    if (group.parentId) {
        record.set("parentId", text(group.parentId->toString()));
    }
    record.set("isEnabled", flag(group.isEnabled));
    record.set("sortOrder", {group.sortOrder});
    record.set("createdAt", SyncFieldValue::timestamp(group.createdAt));
    record.set("modifiedAt", SyncFieldValue::timestamp(group.modifiedAt));
    if (group.defaultTriggerMode) {
        record.set("defaultTriggerMode", text(rawValue(*group.defaultTriggerMode)));
    }
    if (group.defaultCaseSensitivity) {
        record.set("defaultCaseSensitivity", text(rawValue(*group.defaultCaseSensitivity)));
    }
    clearWhatWasDropped(record, previous);
    return record;
}

SnippetGroup decodeGroupRecord(const SyncRecord& record, Timestamp fallbackDate) {
    SnippetGroup group;
    const auto id = Uuid::parse(record.recordName);
    if (!id) {
        throw SyncRecordError::couldNotDecode(record.recordType, record.recordName,
                                              "its name is not a UUID");
    }
    group.id = *id;
    group.name = stringField(record, "name").value_or("");
    group.parentId = uuidField(record, "parentId");
    group.isEnabled = intField(record, "isEnabled").value_or(1) != 0;
    group.sortOrder = intField(record, "sortOrder").value_or(0);
    group.createdAt = dateField(record, "createdAt").value_or(fallbackDate);
    group.modifiedAt = dateField(record, "modifiedAt").value_or(fallbackDate);
    group.defaultTriggerMode = enumField<TriggerMode>(record, "defaultTriggerMode");
    group.defaultCaseSensitivity = enumField<CaseSensitivity>(record, "defaultCaseSensitivity");
    return group;
}

std::string syncRecordFingerprint(const SyncRecord& record) {
    SyncRecord untagged = record;
    untagged.changeTag.reset();
    // Cleared markers depend on the previous server copy, not on what the record says.
    std::erase_if(untagged.fields, [](const auto& field) { return field.second.isCleared(); });
    JsonWriter w(false);
    encodeSyncRecord(w, untagged);
    const auto encoded = w.take();
    unsigned char digest[16];
    crypto_generichash(digest, sizeof digest,
                       reinterpret_cast<const unsigned char*>(encoded.data()), encoded.size(),
                       nullptr, 0);
    std::string hex(sizeof digest * 2, '\0');
    sodium_bin2hex(hex.data(), hex.size() + 1, digest, sizeof digest);
    return hex;
}

}  // namespace wordloom
