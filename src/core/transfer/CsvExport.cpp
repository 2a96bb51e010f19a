#include "core/transfer/CsvExport.h"

#include <unordered_map>

#include "core/base/Text.h"

namespace wordloom {

std::string escapeCsvField(std::string_view field) {
    std::string guarded(field);
    const auto text = text::trimWhitespaceAndNewlines(field);
    if (!text.empty() && (text[0] == '=' || text[0] == '+' || text[0] == '-' || text[0] == '@')) {
        guarded.insert(static_cast<std::size_t>(text.data() - field.data()), 1, '\'');
    }
    bool needsQuotes = false;
    std::string escaped;
    escaped.reserve(guarded.size() + 2);
    for (const char c : guarded) {
        if (c == '"') {
            escaped += "\"\"";
            needsQuotes = true;
            continue;
        }
        if (c == ',' || c == '\n') {
            needsQuotes = true;
        }
        escaped += c;
    }
    return needsQuotes ? "\"" + escaped + "\"" : escaped;
}

CsvExportResult renderCsvExport(const std::vector<Snippet>& snippets,
                                const std::vector<SnippetGroup>& groups) {
    std::unordered_map<Uuid, const SnippetGroup*> groupsById;
    for (const auto& group : groups) {
        groupsById.emplace(group.id, &group);
    }
    CsvExportResult result;
    result.text.reserve(128 * (snippets.size() + 1));
    result.text = "Abbreviation,Label,Content,Group,Enabled,Tags\n";
    std::size_t skippedImages = 0;
    for (const auto& snippet : snippets) {
        if (snippet.contentType == ContentType::image) {
            ++skippedImages;
            result.warnings.push_back(
                "Skipped image snippet '" + snippet.label +
                "' \u2014 CSV cannot represent image data. Use JSON export to round-trip images.");
            continue;
        }
        std::string groupName;
        if (snippet.groupId) {
            if (const auto it = groupsById.find(*snippet.groupId); it != groupsById.end()) {
                groupName = it->second->name;
            }
        }
        std::string tags;
        for (const auto& tag : snippet.tags) {
            if (!tags.empty()) {
                tags += ',';
            }
            tags += tag;
        }
        auto& line = result.text;
        line += escapeCsvField(snippet.abbreviation);
        line += ',';
        line += escapeCsvField(snippet.label);
        line += ',';
        line += escapeCsvField(snippet.content);
        line += ',';
        line += escapeCsvField(groupName);
        line += ',';
        line += snippet.isEnabled ? "true" : "false";
        line += ',';
        line += escapeCsvField(tags);
        line += '\n';
    }
    if (skippedImages > 0) {
        result.warnings.push_back(std::to_string(skippedImages) +
                                  " image snippets \u2014 CSV cannot represent image data. Use "
                                  "JSON export to round-trip images.");
    }
    return result;
}

}  // namespace wordloom
