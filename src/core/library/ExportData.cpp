#include "core/library/ExportData.h"

#include "core/base/Iso8601.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/library/LibraryCoding.h"

namespace wordloom {

std::string encodeExportData(const ExportData& data) {
    JsonWriter w;
    w.beginObject();
    w.field("exportedAt", formatIso8601(data.exportedAt));
    w.key("groups");
    w.beginArray();
    for (const auto& group : data.groups) {
        encodeSnippetGroup(w, group);
    }
    w.endArray();
    w.key("settings");
    encodeAppSettings(w, data.settings);
    w.key("snippets");
    w.beginArray();
    for (const auto& snippet : data.snippets) {
        encodeSnippet(w, snippet);
    }
    w.endArray();
    w.field("version", data.version);
    w.endObject();
    return w.take();
}

ExportData decodeExportData(std::string_view text, Timestamp fallbackDate) {
    JsonDocument document(text);
    const auto root = json::asObject(document.root());
    if (!root) {
        throw JsonError("The backup is not a JSON object.");
    }
    const auto snippets = json::member(*root, "snippets");
    const auto snippetArray = snippets ? json::asArray(*snippets) : std::nullopt;
    if (!snippetArray) {
        throw JsonError("The backup has no \u201csnippets\u201d list.");
    }
    ExportData data;
    data.exportedAt = fallbackDate;
    for (auto element : *snippetArray) {
        try {
            data.snippets.push_back(decodeSnippet(element, fallbackDate));
        } catch (const DecodingError&) {
            // One unreadable snippet does not cost the rest of the backup.
        }
    }
    if (const auto groups = json::member(*root, "groups")) {
        if (const auto groupArray = json::asArray(*groups)) {
            for (auto element : *groupArray) {
                try {
                    data.groups.push_back(decodeSnippetGroup(element, fallbackDate));
                } catch (const DecodingError&) {
                }
            }
        }
    }
    if (const auto settings = json::member(*root, "settings")) {
        if (json::asObject(*settings)) {
            data.settings = decodeAppSettings(*settings);
        }
    }
    if (const auto exportedAt = json::member(*root, "exportedAt")) {
        if (const auto date = json::asDate(*exportedAt)) {
            data.exportedAt = *date;
        }
    }
    if (const auto version = json::member(*root, "version")) {
        if (const auto number = json::asInt(*version)) {
            data.version = *number;
        }
    }
    return data;
}

}  // namespace wordloom
