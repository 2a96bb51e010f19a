#include "core/library/LibraryCoding.h"

#include <algorithm>
#include <array>

#include "core/base/Iso8601.h"
#include "core/base/Log.h"

namespace wordloom {
namespace {

// Reads `value` into `target` when it has the right type; otherwise leaves the default.
void read(JsonElement value, std::string& target) {
    if (auto v = json::asString(value)) {
        target = std::string(*v);
    }
}
void read(JsonElement value, bool& target) {
    if (auto v = json::asBool(value)) {
        target = *v;
    }
}
void read(JsonElement value, std::int64_t& target) {
    if (auto v = json::asInt(value)) {
        target = *v;
    }
}
void read(JsonElement value, Timestamp& target) {
    if (auto v = json::asDate(value)) {
        target = *v;
    }
}
void read(JsonElement value, std::optional<Timestamp>& target) {
    target = json::asDate(value);
}
void read(JsonElement value, std::optional<Uuid>& target) {
    target = json::asUuid(value);
}
void read(JsonElement value, std::optional<Bytes>& target) {
    target = json::asBytes(value);
}
void read(JsonElement value, std::optional<std::string>& target) {
    if (auto v = json::asString(value)) {
        target = std::string(*v);
    } else {
        target.reset();
    }
}
template <typename E>
void readEnum(JsonElement value, E& target) {
    if (auto raw = json::asString(value)) {
        if (auto v = enumFromRaw<E>(*raw)) {
            target = *v;
        }
    }
}
template <typename E>
void readEnum(JsonElement value, std::optional<E>& target) {
    target.reset();
    if (auto raw = json::asString(value)) {
        target = enumFromRaw<E>(*raw);
    }
}
void read(JsonElement value, std::vector<std::string>& target) {
    target.clear();
    if (auto array = json::asArray(value)) {
        for (auto item : *array) {
            if (auto text = json::asString(item)) {
                target.emplace_back(*text);
            }
        }
    }
}

std::optional<SnippetHotkey> decodeHotkey(JsonElement value) {
    auto object = json::asObject(value);
    if (!object) {
        return std::nullopt;
    }
    auto keyCode = json::member(*object, "keyCode");
    auto modifiers = json::member(*object, "modifiers");
    auto code = keyCode ? json::asInt(*keyCode) : std::nullopt;
    auto mask = modifiers ? json::asInt(*modifiers) : std::nullopt;
    if (!code || !mask || *code < 0 || *code > 0xFFFF || *mask < 0 || *mask > 0xFFFFFFFFLL) {
        return std::nullopt;
    }
    return SnippetHotkey{static_cast<std::uint16_t>(*code), static_cast<std::uint32_t>(*mask)};
}

std::optional<ImportSource> decodeImportSource(JsonElement value) {
    auto object = json::asObject(value);
    if (!object) {
        return std::nullopt;
    }
    auto type = json::member(*object, "type");
    auto raw = type ? json::asString(*type) : std::nullopt;
    auto parsedType = raw ? enumFromRaw<ImportSourceType>(*raw) : std::nullopt;
    auto fileName = json::member(*object, "fileName");
    auto importedAt = json::member(*object, "importedAt");
    auto name = fileName ? json::asString(*fileName) : std::nullopt;
    auto date = importedAt ? json::asDate(*importedAt) : std::nullopt;
    if (!parsedType || !name || !date) {
        return std::nullopt;
    }
    return ImportSource{*parsedType, std::string(*name), *date};
}

void read(JsonElement value, std::vector<AppIdentifier>& target) {
    target.clear();
    auto array = json::asArray(value);
    if (!array) {
        return;
    }
    for (auto item : *array) {
        auto object = json::asObject(item);
        if (!object) {
            continue;
        }
        auto bundleId = json::member(*object, "bundleId");
        auto id = bundleId ? json::asString(*bundleId) : std::nullopt;
        if (!id) {
            continue;
        }
        AppIdentifier app;
        app.bundleId = std::string(*id);
        if (auto name = json::member(*object, "name")) {
            read(*name, app.name);
        }
        if (auto icon = json::member(*object, "iconData")) {
            app.iconData = json::asBytes(*icon);
        }
        target.push_back(std::move(app));
    }
}

void writeDate(JsonWriter& w, std::string_view key, Timestamp time) {
    w.field(key, formatIso8601(time));
}

void writeTags(JsonWriter& w, const std::vector<std::string>& tags) {
    w.key("tags");
    w.beginArray();
    for (const auto& tag : tags) {
        w.value(tag);
    }
    w.endArray();
}

void writeApps(JsonWriter& w, const std::vector<AppIdentifier>& apps) {
    w.key("filteredApps");
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
}

void writeHotkey(JsonWriter& w, const SnippetHotkey& hotkey) {
    w.key("hotkey");
    w.beginObject();
    w.field("keyCode", static_cast<std::int64_t>(hotkey.keyCode));
    w.field("modifiers", static_cast<std::int64_t>(hotkey.modifiers));
    w.endObject();
}

// Field names of a snippet, sorted, so that a key is found by binary search.
enum class SnippetKey {
    abbreviation,
    appFilterMode,
    caseSensitivity,
    codeLanguage,
    content,
    contentType,
    createdAt,
    deletedAt,
    filteredApps,
    groupId,
    hotkey,
    id,
    imageData,
    imageFileName,
    importSource,
    isEnabled,
    label,
    lastUsedAt,
    matchType,
    modifiedAt,
    originalId,
    richTextData,
    tags,
    triggerMode,
    useCount,
};
constexpr std::array<std::string_view, 25> kSnippetKeys{
    "abbreviation", "appFilterMode", "caseSensitivity", "codeLanguage", "content", "contentType",
    "createdAt",    "deletedAt",     "filteredApps",    "groupId",      "hotkey",  "id",
    "imageData",    "imageFileName", "importSource",    "isEnabled",    "label",   "lastUsedAt",
    "matchType",    "modifiedAt",    "originalId",      "richTextData", "tags",    "triggerMode",
    "useCount"};

std::optional<SnippetKey> snippetKey(std::string_view name) {
    const auto it = std::lower_bound(kSnippetKeys.begin(), kSnippetKeys.end(), name);
    if (it == kSnippetKeys.end() || *it != name) {
        return std::nullopt;
    }
    return static_cast<SnippetKey>(it - kSnippetKeys.begin());
}

const Logger& decodeLogger() {
    static const Logger logger("SnippetDecode");
    return logger;
}

}  // namespace

Snippet decodeSnippet(JsonElement element, Timestamp fallbackDate) {
    auto object = json::asObject(element);
    if (!object) {
        throw DecodingError("Expected a snippet object.");
    }
    Snippet s;
    s.createdAt = fallbackDate;
    s.modifiedAt = fallbackDate;
    bool hasId = false;
    std::optional<std::string_view> abbreviation;
    for (auto [name, value] : *object) {
        const auto key = snippetKey(name);
        if (!key) {
            continue;
        }
        switch (*key) {
            case SnippetKey::id:
                if (auto id = json::asUuid(value)) {
                    s.id = *id;
                    hasId = true;
                }
                break;
            case SnippetKey::abbreviation:
                abbreviation = json::asString(value);
                break;
            case SnippetKey::label:
                read(value, s.label);
                break;
            case SnippetKey::content:
                read(value, s.content);
                break;
            case SnippetKey::contentType:
                readEnum(value, s.contentType);
                break;
            case SnippetKey::richTextData:
                read(value, s.richTextData);
                break;
            case SnippetKey::groupId:
                read(value, s.groupId);
                break;
            case SnippetKey::tags:
                read(value, s.tags);
                break;
            case SnippetKey::isEnabled:
                read(value, s.isEnabled);
                break;
            case SnippetKey::caseSensitivity:
                readEnum(value, s.caseSensitivity);
                break;
            case SnippetKey::triggerMode:
                readEnum(value, s.triggerMode);
                break;
            case SnippetKey::hotkey:
                s.hotkey = decodeHotkey(value);
                break;
            case SnippetKey::createdAt:
                read(value, s.createdAt);
                break;
            case SnippetKey::modifiedAt:
                read(value, s.modifiedAt);
                break;
            case SnippetKey::useCount:
                read(value, s.useCount);
                break;
            case SnippetKey::lastUsedAt:
                read(value, s.lastUsedAt);
                break;
            case SnippetKey::importSource:
                s.importSource = decodeImportSource(value);
                break;
            case SnippetKey::originalId:
                read(value, s.originalId);
                break;
            case SnippetKey::matchType:
                readEnum(value, s.matchType);
                break;
            case SnippetKey::appFilterMode:
                readEnum(value, s.appFilterMode);
                break;
            case SnippetKey::filteredApps:
                read(value, s.filteredApps);
                break;
            case SnippetKey::imageData:
                read(value, s.imageData);
                break;
            case SnippetKey::imageFileName:
                read(value, s.imageFileName);
                break;
            case SnippetKey::codeLanguage:
                readEnum(value, s.codeLanguage);
                break;
            case SnippetKey::deletedAt:
                read(value, s.deletedAt);
                break;
        }
    }
    if (!hasId) {
        throw DecodingError("The snippet has no valid \u201cid\u201d.");
    }
    if (!abbreviation) {
        throw DecodingError("The snippet has no \u201cabbreviation\u201d.");
    }
    if (!isValidAbbreviation(*abbreviation)) {
        throw DecodingError(invalidAbbreviationMessage(*abbreviation));
    }
    s.abbreviation = std::string(*abbreviation);
    if (s.hotkey && (s.hotkey->modifiers & modifier::shortcutMask) == 0) {
        s.hotkey.reset();
        decodeLogger().info(
            "Snippet hotkey stripped during decode (missing Cmd/Ctrl/Opt modifier). snippetId=" +
            s.id.toString());
    }
    return s;
}

void encodeSnippet(JsonWriter& w, const Snippet& s) {
    w.beginObject();
    w.field("abbreviation", s.abbreviation);
    w.field("appFilterMode", rawValue(s.appFilterMode));
    w.field("caseSensitivity", rawValue(s.caseSensitivity));
    if (s.codeLanguage) {
        w.field("codeLanguage", rawValue(*s.codeLanguage));
    }
    w.field("content", s.content);
    w.field("contentType", rawValue(s.contentType));
    writeDate(w, "createdAt", s.createdAt);
    if (s.deletedAt) {
        writeDate(w, "deletedAt", *s.deletedAt);
    }
    writeApps(w, s.filteredApps);
    if (s.groupId) {
        w.field("groupId", s.groupId->toString());
    }
    if (s.hotkey) {
        writeHotkey(w, *s.hotkey);
    }
    w.field("id", s.id.toString());
    if (s.imageData) {
        w.field("imageData", encodeBase64(*s.imageData));
    }
    if (s.imageFileName) {
        w.field("imageFileName", *s.imageFileName);
    }
    if (s.importSource) {
        w.key("importSource");
        w.beginObject();
        w.field("fileName", s.importSource->fileName);
        writeDate(w, "importedAt", s.importSource->importedAt);
        w.field("type", rawValue(s.importSource->type));
        w.endObject();
    }
    w.field("isEnabled", s.isEnabled);
    w.field("label", s.label);
    if (s.lastUsedAt) {
        writeDate(w, "lastUsedAt", *s.lastUsedAt);
    }
    w.field("matchType", rawValue(s.matchType));
    writeDate(w, "modifiedAt", s.modifiedAt);
    if (s.originalId) {
        w.field("originalId", *s.originalId);
    }
    if (s.richTextData) {
        w.field("richTextData", encodeBase64(*s.richTextData));
    }
    writeTags(w, s.tags);
    w.field("triggerMode", rawValue(s.triggerMode));
    w.field("useCount", s.useCount);
    w.endObject();
}

SnippetGroup decodeSnippetGroup(JsonElement element, Timestamp fallbackDate) {
    auto object = json::asObject(element);
    if (!object) {
        throw DecodingError("Expected a group object.");
    }
    SnippetGroup g;
    g.createdAt = fallbackDate;
    g.modifiedAt = fallbackDate;
    bool hasId = false;
    for (auto [name, value] : *object) {
        if (name == "id") {
            if (auto id = json::asUuid(value)) {
                g.id = *id;
                hasId = true;
            }
        } else if (name == "name") {
            read(value, g.name);
        } else if (name == "parentId") {
            read(value, g.parentId);
        } else if (name == "isEnabled") {
            read(value, g.isEnabled);
        } else if (name == "sortOrder") {
            read(value, g.sortOrder);
        } else if (name == "createdAt") {
            read(value, g.createdAt);
        } else if (name == "modifiedAt") {
            read(value, g.modifiedAt);
        } else if (name == "defaultCaseSensitivity") {
            readEnum(value, g.defaultCaseSensitivity);
        } else if (name == "defaultTriggerMode") {
            readEnum(value, g.defaultTriggerMode);
        }
    }
    if (!hasId) {
        throw DecodingError("The group has no valid \u201cid\u201d.");
    }
    return g;
}

void encodeSnippetGroup(JsonWriter& w, const SnippetGroup& g) {
    w.beginObject();
    writeDate(w, "createdAt", g.createdAt);
    if (g.defaultCaseSensitivity) {
        w.field("defaultCaseSensitivity", rawValue(*g.defaultCaseSensitivity));
    }
    if (g.defaultTriggerMode) {
        w.field("defaultTriggerMode", rawValue(*g.defaultTriggerMode));
    }
    w.field("id", g.id.toString());
    w.field("isEnabled", g.isEnabled);
    writeDate(w, "modifiedAt", g.modifiedAt);
    w.field("name", g.name);
    if (g.parentId) {
        w.field("parentId", g.parentId->toString());
    }
    w.field("sortOrder", g.sortOrder);
    w.endObject();
}

SnippetVersion decodeSnippetVersion(JsonElement element, Timestamp fallbackDate) {
    auto object = json::asObject(element);
    if (!object) {
        throw DecodingError("Expected a version object.");
    }
    SnippetVersion v;
    v.savedAt = fallbackDate;
    v.schemaVersion = 1;  // records from before the field existed
    bool hasId = false;
    bool hasSnippetId = false;
    for (auto [name, value] : *object) {
        if (name == "id") {
            if (auto id = json::asUuid(value)) {
                v.id = *id;
                hasId = true;
            }
        } else if (name == "snippetId") {
            if (auto id = json::asUuid(value)) {
                v.snippetId = *id;
                hasSnippetId = true;
            }
        } else if (name == "abbreviation") {
            read(value, v.abbreviation);
        } else if (name == "label") {
            read(value, v.label);
        } else if (name == "content") {
            read(value, v.content);
        } else if (name == "contentType") {
            readEnum(value, v.contentType);
        } else if (name == "richTextData") {
            read(value, v.richTextData);
        } else if (name == "imageData") {
            read(value, v.imageData);
        } else if (name == "savedAt") {
            read(value, v.savedAt);
        } else if (name == "changeDescription") {
            read(value, v.changeDescription);
        } else if (name == "matchType") {
            readEnum(value, v.matchType);
        } else if (name == "caseSensitivity") {
            readEnum(value, v.caseSensitivity);
        } else if (name == "triggerMode") {
            readEnum(value, v.triggerMode);
        } else if (name == "hotkey") {
            v.hotkey = decodeHotkey(value);
        } else if (name == "tags") {
            read(value, v.tags);
        } else if (name == "appFilterMode") {
            readEnum(value, v.appFilterMode);
        } else if (name == "filteredApps") {
            read(value, v.filteredApps);
        } else if (name == "imageFileName") {
            read(value, v.imageFileName);
        } else if (name == "isEnabled") {
            read(value, v.isEnabled);
        } else if (name == "groupId") {
            read(value, v.groupId);
        } else if (name == "codeLanguage") {
            readEnum(value, v.codeLanguage);
        } else if (name == "schemaVersion") {
            read(value, v.schemaVersion);
        }
    }
    if (!hasId || !hasSnippetId) {
        throw DecodingError("The version has no valid \u201cid\u201d or \u201csnippetId\u201d.");
    }
    return v;
}

void encodeSnippetVersion(JsonWriter& w, const SnippetVersion& v) {
    w.beginObject();
    w.field("abbreviation", v.abbreviation);
    w.field("appFilterMode", rawValue(v.appFilterMode));
    w.field("caseSensitivity", rawValue(v.caseSensitivity));
    if (v.changeDescription) {
        w.field("changeDescription", *v.changeDescription);
    }
    if (v.codeLanguage) {
        w.field("codeLanguage", rawValue(*v.codeLanguage));
    }
    w.field("content", v.content);
    w.field("contentType", rawValue(v.contentType));
    writeApps(w, v.filteredApps);
    if (v.groupId) {
        w.field("groupId", v.groupId->toString());
    }
    if (v.hotkey) {
        writeHotkey(w, *v.hotkey);
    }
    w.field("id", v.id.toString());
    if (v.imageData) {
        w.field("imageData", encodeBase64(*v.imageData));
    }
    if (v.imageFileName) {
        w.field("imageFileName", *v.imageFileName);
    }
    w.field("isEnabled", v.isEnabled);
    w.field("label", v.label);
    w.field("matchType", rawValue(v.matchType));
    if (v.richTextData) {
        w.field("richTextData", encodeBase64(*v.richTextData));
    }
    writeDate(w, "savedAt", v.savedAt);
    w.field("schemaVersion", v.schemaVersion);
    w.field("snippetId", v.snippetId.toString());
    writeTags(w, v.tags);
    w.field("triggerMode", rawValue(v.triggerMode));
    w.endObject();
}

std::optional<KeyboardShortcut> decodeKeyboardShortcut(JsonElement element) {
    auto object = json::asObject(element);
    if (!object) {
        return std::nullopt;
    }
    auto key = json::member(*object, "key");
    auto modifiers = json::member(*object, "modifiers");
    auto keyText = key ? json::asString(*key) : std::nullopt;
    auto mask = modifiers ? json::asInt(*modifiers) : std::nullopt;
    if (!keyText || !mask || *mask < 0 || *mask > 0xFFFFFFFFLL) {
        return std::nullopt;
    }
    return KeyboardShortcut{std::string(*keyText), static_cast<std::uint32_t>(*mask)};
}

void encodeKeyboardShortcut(JsonWriter& w, const KeyboardShortcut& shortcut) {
    w.beginObject();
    w.field("key", shortcut.key);
    w.field("modifiers", static_cast<std::int64_t>(shortcut.modifiers));
    w.endObject();
}

std::string encodeSnippetList(const std::vector<Snippet>& snippets, bool pretty) {
    JsonWriter w(pretty);
    std::size_t estimate = 64;
    for (const auto& s : snippets) {
        estimate += s.content.size() + s.label.size() + 700;
    }
    w.reserve(estimate);
    w.beginArray();
    for (const auto& s : snippets) {
        encodeSnippet(w, s);
    }
    w.endArray();
    return w.take();
}

std::string encodeGroupList(const std::vector<SnippetGroup>& groups, bool pretty) {
    JsonWriter w(pretty);
    w.beginArray();
    for (const auto& g : groups) {
        encodeSnippetGroup(w, g);
    }
    w.endArray();
    return w.take();
}

}  // namespace wordloom
