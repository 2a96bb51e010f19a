#include "core/transfer/ATextImporter.h"

#include <filesystem>

#include "core/transfer/CsvReader.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/PropertyList.h"

namespace wordloom {
namespace {

bool mayHoldPlaceholders(std::string_view content) {
    return content.find("\xE3\x80\x90") != std::string_view::npos ||  // 【
           (content.find('{') != std::string_view::npos &&
            content.find("{{") == std::string_view::npos);
}

}  // namespace

ImportDocument ATextImporter::importBytes(std::string_view bytes, const std::string& fileName,
                                          Timestamp now) {
    ImportDocument document;
    document.format = ImportFormat::aText;
    auto group = importedGroup(std::filesystem::path(fileName).stem().string(), now);
    const auto groupId = group.id;
    document.groups.push_back(std::move(group));

    auto add = [&](std::string abbreviation, std::string content) {
        requireRoomForAnotherSnippet(document);
        auto snippet = importedSnippet(ImportSourceType::aTextCSV, fileName, now);
        snippet.abbreviation = std::move(abbreviation);
        snippet.content = std::move(content);
        snippet.groupId = groupId;
        if (mayHoldPlaceholders(snippet.content)) {
            document.notes.count("snippets may hold aText placeholders, which were kept as text");
        }
        document.snippets.push_back(std::move(snippet));
    };

    const bool isPlist = bytes.starts_with("bplist") || bytes.find("<plist") < 512;
    if (isPlist) {
        PropertyList list(bytes, fileName);
        if (!list.root().isArray()) {
            throw ImportError("\u201c" + fileName +
                              "\u201d is not an aText export: its top level "
                              "is not a list.");
        }
        for (const auto& entry : list.root().elements()) {
            auto shortcut = entry["shortcut"].string();
            if (!shortcut) {
                continue;
            }
            add(std::move(*shortcut), entry["phrase"].string().value_or(""));
        }
        return document;
    }
    for (auto& row : readCsv(bytes, kMaxImportedSnippets)) {
        if (row.size() < 2) {
            document.notes.count("lines of the CSV file have no content column and were skipped");
            continue;
        }
        if (row.size() > 2) {
            document.notes.count(
                "lines of the CSV file have more than two columns; the extra "
                "ones were ignored");
        }
        add(std::move(row[0]), std::move(row[1]));
    }
    return document;
}

}  // namespace wordloom
