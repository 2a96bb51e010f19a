#include "core/transfer/WordloomImporter.h"

#include "core/base/JsonReader.h"
#include "core/base/Text.h"
#include "core/library/LibraryCoding.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"

namespace wordloom {

ImportDocument WordloomImporter::importText(std::string_view text, Timestamp now) {
    ImportDocument document;
    document.format = ImportFormat::wordloom;
    std::optional<JsonDocument> json;
    try {
        json.emplace(text);
    } catch (const JsonError& error) {
        throw ImportError(std::string("The file is not valid JSON: ") + error.what());
    }
    const auto root = json::asObject(json->root());
    const auto list = root ? json::member(*root, "snippets") : std::nullopt;
    const auto snippets = list ? json::asArray(*list) : std::nullopt;
    if (!snippets) {
        throw ImportError(
            "The file is not a Wordloom export or backup: it has no "
            "\u201csnippets\u201d list.");
    }
    std::size_t deleted = 0;
    std::size_t withoutPicture = 0;
    for (auto element : *snippets) {
        try {
            auto snippet = decodeSnippet(element, now);
            if (snippet.isDeleted()) {
                ++deleted;
                continue;
            }
            if (snippet.contentType == ContentType::image && !snippet.imageData) {
                ++withoutPicture;
            }
            // A side-file name points into the library the export came from.
            snippet.imageFileName.reset();
            requireRoomForAnotherSnippet(document);
            document.snippets.push_back(std::move(snippet));
        } catch (const DecodingError& error) {
            std::string name;
            if (const auto object = json::asObject(element)) {
                if (const auto abbreviation = json::member(*object, "abbreviation")) {
                    name = text::debugQuoted(json::asString(*abbreviation).value_or(""));
                }
            }
            document.notes.note("Skipped a snippet that cannot be read" +
                                (name.empty() ? std::string() : " (abbreviation " + name + ")") +
                                ": " + error.what());
        }
    }
    if (const auto groups = json::member(*root, "groups")) {
        if (const auto array = json::asArray(*groups)) {
            for (auto element : *array) {
                try {
                    document.groups.push_back(decodeSnippetGroup(element, now));
                } catch (const DecodingError&) {
                    document.notes.count("groups cannot be read and were left out");
                }
            }
        }
    }
    if (deleted > 0) {
        document.notes.note(std::to_string(deleted) +
                            " snippets in Recently Deleted were not imported.");
    }
    if (withoutPicture > 0) {
        document.notes.note(std::to_string(withoutPicture) +
                            " image snippets have no picture in the file and come in empty.");
    }
    return document;
}

}  // namespace wordloom
