#include "core/library/SnippetVersion.h"

namespace wordloom {

SnippetVersion SnippetVersion::capture(const Snippet& snippet, Timestamp savedAt,
                                       std::optional<std::string> changeDescription) {
    SnippetVersion version;
    version.id = Uuid::random();
    version.snippetId = snippet.id;
    version.abbreviation = snippet.abbreviation;
    version.label = snippet.label;
    version.content = snippet.content;
    version.contentType = snippet.contentType;
    version.richTextData = snippet.richTextData;
    version.imageData = snippet.imageData;
    version.savedAt = savedAt;
    version.changeDescription = std::move(changeDescription);
    version.matchType = snippet.matchType;
    version.caseSensitivity = snippet.caseSensitivity;
    version.triggerMode = snippet.triggerMode;
    version.hotkey = snippet.hotkey;
    version.tags = snippet.tags;
    version.appFilterMode = snippet.appFilterMode;
    version.filteredApps = snippet.filteredApps;
    version.imageFileName = snippet.imageFileName;
    version.isEnabled = snippet.isEnabled;
    version.groupId = snippet.groupId;
    version.codeLanguage = snippet.codeLanguage;
    return version;
}

void SnippetVersion::applyTo(Snippet& snippet) const {
    snippet.abbreviation = abbreviation;
    snippet.label = label;
    snippet.content = content;
    snippet.contentType = contentType;
    snippet.richTextData = richTextData;
    snippet.imageData = imageData;
    snippet.matchType = matchType;
    snippet.caseSensitivity = caseSensitivity;
    snippet.triggerMode = triggerMode;
    snippet.hotkey = hotkey;
    snippet.tags = tags;
    snippet.appFilterMode = appFilterMode;
    snippet.filteredApps = filteredApps;
    snippet.imageFileName = imageFileName;
    snippet.isEnabled = isEnabled;
    snippet.groupId = groupId;
    snippet.codeLanguage = codeLanguage;
}

}  // namespace wordloom
