#include "core/transfer/TextExpanderImporter.h"

#include <filesystem>
#include <set>
#include <unordered_map>

#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/PropertyList.h"
#include "core/transfer/TEToWordloomMacroConverter.h"
#include "core/transfer/TextExpanderDocument.h"

namespace wordloom {
namespace {

CaseSensitivity caseSensitivity(std::optional<std::int64_t> mode) {
    switch (mode.value_or(0)) {
        case 1:
            return CaseSensitivity::insensitive;
        case 2:
            return CaseSensitivity::autoDetect;
        default:
            return CaseSensitivity::sensitive;
    }
}

bool endsWith(const std::string& text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           std::string_view(text).substr(text.size() - suffix.size()) == suffix;
}

}  // namespace

ImportDocument TextExpanderImporter::importBytes(std::string_view bytes,
                                                 const std::string& fileName, Timestamp now) {
    PropertyList list(bytes, fileName);
    const auto root = list.root();
    if (!root.isDictionary()) {
        throw ImportError("\u201c" + fileName +
                          "\u201d is not a TextExpander file: its top "
                          "level is not a dictionary.");
    }
    PropertyListValue snippets;
    for (const char* key : {"snippetsTE3", "snippetsTE2", "snippetPlists"}) {
        if (root[key].isArray()) {
            snippets = root[key];
            break;
        }
    }
    if (!snippets.exists()) {
        throw ImportError("\u201c" + fileName +
                          "\u201d is not a TextExpander file: it holds no "
                          "snippet list.");
    }
    ImportDocument document;
    document.format = ImportFormat::textExpander;
    const bool wholeLibrary = root["groupsTE2"].isArray();
    const auto sourceType =
        wholeLibrary ? ImportSourceType::textExpanderSettings : ImportSourceType::textExpanderPlist;

    // Groups: a library's list, or the one group a group export (or a bundle's file) is.
    std::unordered_map<std::string, Uuid> groupOfSnippet;
    std::optional<Uuid> singleGroup;
    if (wholeLibrary) {
        std::unordered_map<std::string, Uuid> idsByUuidString;
        std::vector<std::pair<std::size_t, std::string>> parents;
        for (const auto& entry : root["groupsTE2"].elements()) {
            auto group = importedGroup(entry["name"].string().value_or("TextExpander"), now);
            const auto uuid = entry["uuidString"].string().value_or("");
            if (const auto parsed = Uuid::parse(uuid)) {
                group.id = *parsed;
            }
            group.sortOrder = static_cast<std::int64_t>(document.groups.size());
            idsByUuidString[uuid] = group.id;
            for (const auto& member : entry["snippetUUIDs"].elements()) {
                if (auto id = member.string()) {
                    groupOfSnippet.emplace(*id, group.id);
                }
            }
            if (auto parent = entry["parentUuidString"].string()) {
                parents.emplace_back(document.groups.size(), *parent);
            }
            document.groups.push_back(std::move(group));
        }
        for (const auto& [index, parent] : parents) {
            if (const auto it = idsByUuidString.find(parent); it != idsByUuidString.end()) {
                document.groups[index].parentId = it->second;
            }
        }
    } else {
        auto name = root["groupInfo"]["groupName"].string();
        if (!name) {
            name = root["name"].string();
        }
        auto group =
            importedGroup(name.value_or(std::filesystem::path(fileName).stem().string()), now);
        singleGroup = group.id;
        document.groups.push_back(std::move(group));
    }

    for (const auto& entry : snippets.elements()) {
        if (!entry.isDictionary()) {
            continue;
        }
        std::set<std::string> kinds;
        auto snippet = importedSnippet(sourceType, fileName, now);
        snippet.abbreviation = entry["abbreviation"].string().value_or("");
        snippet.label = entry["label"].string().value_or("");
        const auto uuid = entry["uuidString"].string().value_or("");
        if (!uuid.empty()) {
            snippet.originalId = uuid;
            if (const auto parsed = Uuid::parse(uuid)) {
                snippet.id = *parsed;
            }
        }
        snippet.createdAt = entry["creationDate"].date().value_or(now);
        snippet.modifiedAt = entry["modificationDate"].date().value_or(snippet.createdAt);
        snippet.useCount = std::max<std::int64_t>(0, entry["useCount"].integer().value_or(0));
        snippet.caseSensitivity = caseSensitivity(entry["abbreviationMode"].integer());
        const auto text = entry["plainText"].string().value_or("");
        switch (entry["snippetType"].integer().value_or(0)) {
            case 2:
                document.notes.count(
                    "AppleScript snippets were skipped; Wordloom does not run "
                    "AppleScript");
                continue;
            case 3:
                document.notes.count(
                    "shell-script snippets were skipped; Wordloom does not run "
                    "shell scripts");
                continue;
            case 4:
                snippet.contentType = ContentType::javaScript;
                snippet.content = text;
                document.notes.count(
                    "JavaScript snippets were imported as Wordloom scripts; "
                    "check that they run");
                break;
            case 1:
                kinds.insert("formatted snippets were imported as plain text");
                [[fallthrough]];
            default:
                snippet.content = TEToWordloomMacroConverter::convert(text, kinds);
        }
        // What our own export marked comes back as it was.
        if (endsWith(snippet.label, kJavaScriptPreservedMark) &&
            text.starts_with(kJavaScriptSourceHeader)) {
            snippet.label.resize(snippet.label.size() -
                                 std::string_view(kJavaScriptPreservedMark).size());
            snippet.contentType = ContentType::javaScript;
            snippet.content = text.substr(std::string_view(kJavaScriptSourceHeader).size());
            kinds.clear();
        } else if (snippet.label == kRichTextFlattenedMark) {
            snippet.label.clear();
        } else if (endsWith(snippet.label, std::string(" ") + kRichTextFlattenedMark)) {
            snippet.label.resize(snippet.label.size() -
                                 std::string_view(kRichTextFlattenedMark).size() - 1);
        }
        if (const auto it = groupOfSnippet.find(uuid); it != groupOfSnippet.end()) {
            snippet.groupId = it->second;
        } else {
            snippet.groupId = singleGroup;
        }
        for (const auto& kind : kinds) {
            document.notes.count(kind);
        }
        requireRoomForAnotherSnippet(document);
        document.snippets.push_back(std::move(snippet));
    }
    return document;
}

}  // namespace wordloom
