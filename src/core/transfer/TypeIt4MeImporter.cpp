#include "core/transfer/TypeIt4MeImporter.h"

#include <filesystem>

#include "core/base/Text.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/PropertyList.h"

namespace wordloom {
namespace {

std::string normalisedKey(std::string_view key) {
    std::string out;
    for (const char c : key) {
        if (c != ' ' && c != '_') {
            out += c;
        }
    }
    return text::lowercased(out);
}

// The member whose key reads `wanted` once lower-cased and without spaces.
PropertyListValue member(const PropertyListValue& entry, std::string_view wanted) {
    for (const auto& key : entry.keys()) {
        if (normalisedKey(key) == wanted) {
            return entry[key.c_str()];
        }
    }
    return PropertyListValue();
}

}  // namespace

ImportDocument TypeIt4MeImporter::importBytes(std::string_view bytes, const std::string& fileName,
                                              Timestamp now) {
    PropertyList list(bytes, fileName);
    PropertyListValue clippings = list.root();
    if (clippings.isDictionary()) {
        clippings = member(clippings, "clippings");
    }
    if (!clippings.isArray()) {
        throw ImportError("\u201c" + fileName +
                          "\u201d is not a TypeIt4Me file: it has no "
                          "\u201cClippings\u201d list.");
    }
    ImportDocument document;
    document.format = ImportFormat::typeIt4Me;
    auto group = importedGroup(std::filesystem::path(fileName).stem().string(), now);
    const auto groupId = group.id;
    document.groups.push_back(std::move(group));
    for (const auto& entry : clippings.elements()) {
        if (!entry.isDictionary()) {
            continue;
        }
        requireRoomForAnotherSnippet(document);
        auto snippet = importedSnippet(ImportSourceType::typeIt4MePlist, fileName, now);
        snippet.abbreviation = member(entry, "abbreviation").string().value_or("");
        snippet.content = member(entry, "plaintext").string().value_or("");
        snippet.label = member(entry, "label").string().value_or("");
        snippet.createdAt = member(entry, "creationdate").date().value_or(now);
        snippet.modifiedAt = member(entry, "modificationdate").date().value_or(snippet.createdAt);
        if (auto uuid = member(entry, "uuidstring").string()) {
            snippet.originalId = *uuid;
        }
        snippet.groupId = groupId;
        if (snippet.content.find_first_of("%^") != std::string::npos) {
            document.notes.count(
                "snippets hold \u201c%\u201d or \u201c^\u201d codes of "
                "TypeIt4Me, which were kept as text");
        }
        document.snippets.push_back(std::move(snippet));
    }
    return document;
}

}  // namespace wordloom
