#include "app/desktop/StoreExpansionLibrary.h"

#include <filesystem>

namespace wordloom {

std::optional<Snippet> StoreExpansionLibrary::snippetWithAbbreviation(
    const std::string& abbreviation) {
    for (const Snippet* snippet : snippets_.snippetsWithAbbreviation(abbreviation)) {
        if (snippet->isEnabled) {
            return *snippet;
        }
    }
    return std::nullopt;
}

ExpansionLibrary::SnippetLookup StoreExpansionLibrary::nestedSnippetLookup() {
    return [&index = detectionIndex_](const std::string& abbreviation) -> std::optional<Snippet> {
        const auto bucket = index.exactLookup(abbreviation);
        for (const auto& snippet : bucket) {
            if (snippet && snippet->isEnabled) {
                return *snippet;
            }
        }
        return std::nullopt;
    };
}

void StoreExpansionLibrary::recordUse(const Uuid& snippetId) {
    recordingUse_ = true;
    try {
        snippets_.recordUse(snippetId);
    } catch (...) {
        recordingUse_ = false;
        throw;
    }
    recordingUse_ = false;
}

std::optional<Bytes> StoreExpansionLibrary::imageData(const Snippet& snippet) {
    if (snippet.imageData) {
        return snippet.imageData;
    }
    std::error_code error;
    if (!std::filesystem::exists(images_.imageURL(snippet.id), error)) {
        return std::nullopt;
    }
    try {
        return images_.read(snippet.id);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace wordloom
