#include "core/transfer/ImportSupport.h"

#include "core/base/FileIO.h"
#include "core/transfer/ImportError.h"

namespace wordloom {

Snippet importedSnippet(ImportSourceType type, std::string_view fileName, Timestamp now) {
    Snippet snippet;
    snippet.id = Uuid::random();
    snippet.createdAt = now;
    snippet.modifiedAt = now;
    snippet.importSource = ImportSource{type, std::string(fileName), now};
    return snippet;
}

SnippetGroup importedGroup(std::string name, Timestamp now) {
    SnippetGroup group;
    group.id = Uuid::random();
    group.name = std::move(name);
    group.createdAt = now;
    group.modifiedAt = now;
    return group;
}

std::string readImportFile(const std::filesystem::path& path) {
    try {
        return readFile(path, fileSizeLimit::document);
    } catch (const FileError& error) {
        throw ImportError(error.what());
    }
}

void requireRoomForAnotherSnippet(const ImportDocument& document) {
    if (document.snippets.size() >= kMaxImportedSnippets) {
        throw ImportError("The file holds more than " + std::to_string(kMaxImportedSnippets) +
                          " snippets, more than one import takes. Split it and import the "
                          "parts one by one.");
    }
}

}  // namespace wordloom
