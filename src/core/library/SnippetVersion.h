#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/library/Snippet.h"

namespace wordloom {

/// A saved earlier state of a snippet.
struct SnippetVersion {
    /// Written into every version so that later formats can tell old records apart.
    static constexpr std::int64_t currentSchemaVersion = 2;

    Uuid id;
    Uuid snippetId;
    std::string abbreviation;
    std::string label;
    std::string content;
    ContentType contentType = ContentType::plainText;
    std::optional<Bytes> richTextData;
    std::optional<Bytes> imageData;
    Timestamp savedAt;
    std::optional<std::string> changeDescription;
    AbbreviationMatchType matchType = AbbreviationMatchType::exact;
    CaseSensitivity caseSensitivity = CaseSensitivity::autoDetect;
    TriggerMode triggerMode = TriggerMode::delimiter;
    std::optional<SnippetHotkey> hotkey;
    std::vector<std::string> tags;
    AppFilterMode appFilterMode = AppFilterMode::all;
    std::vector<AppIdentifier> filteredApps;
    std::optional<std::string> imageFileName;
    bool isEnabled = true;
    std::optional<Uuid> groupId;
    std::optional<CodeLanguage> codeLanguage;
    std::int64_t schemaVersion = currentSchemaVersion;

    bool operator==(const SnippetVersion&) const = default;

    /// The state of `snippet` as a new version saved at `savedAt`.
    static SnippetVersion capture(const Snippet& snippet, Timestamp savedAt,
                                  std::optional<std::string> changeDescription);

    /// Copies the fields a version carries onto `snippet`; usage counts, dates and import data
    /// stay as they are.
    void applyTo(Snippet& snippet) const;
};

}  // namespace wordloom
