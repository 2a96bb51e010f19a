#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Base64.h"
#include "core/base/Executor.h"
#include "core/base/Uuid.h"
#include "core/library/LibraryEnums.h"

namespace wordloom {

/// Modifier bits as the library files store them.
namespace modifier {
inline constexpr std::uint32_t shift = 0x20000;
inline constexpr std::uint32_t control = 0x40000;
inline constexpr std::uint32_t option = 0x80000;
inline constexpr std::uint32_t command = 0x100000;
/// Control, Option or Command: what makes a key combination a shortcut.
inline constexpr std::uint32_t shortcutMask = control | option | command;
}  // namespace modifier

/// A key combination that expands one snippet. Key codes are the reference platform's virtual
/// key codes, so library files move between platforms unchanged.
struct SnippetHotkey {
    std::uint16_t keyCode = 0;
    std::uint32_t modifiers = 0;
    bool operator==(const SnippetHotkey&) const = default;
};

/// A shortcut recorded as the character of its key.
struct KeyboardShortcut {
    std::string key;
    std::uint32_t modifiers = 0;
    bool operator==(const KeyboardShortcut&) const = default;
};

/// Where an imported snippet came from.
struct ImportSource {
    ImportSourceType type = ImportSourceType::textExpanderCSV;
    std::string fileName;
    Timestamp importedAt;
    bool operator==(const ImportSource&) const = default;
};

/// An application a snippet is limited to or kept out of.
struct AppIdentifier {
    std::string bundleId;
    std::string name;
    std::optional<Bytes> iconData;
    bool operator==(const AppIdentifier&) const = default;
};

/// One abbreviation and what it expands to.
struct Snippet {
    Uuid id;
    std::string abbreviation;
    std::string label;
    std::string content;
    ContentType contentType = ContentType::plainText;
    std::optional<Bytes> richTextData;
    std::optional<Uuid> groupId;
    std::vector<std::string> tags;
    bool isEnabled = true;
    CaseSensitivity caseSensitivity = CaseSensitivity::autoDetect;
    TriggerMode triggerMode = TriggerMode::delimiter;
    std::optional<SnippetHotkey> hotkey;
    Timestamp createdAt;
    Timestamp modifiedAt;
    std::int64_t useCount = 0;
    std::optional<Timestamp> lastUsedAt;
    std::optional<ImportSource> importSource;
    std::optional<std::string> originalId;
    AbbreviationMatchType matchType = AbbreviationMatchType::exact;
    AppFilterMode appFilterMode = AppFilterMode::all;
    std::vector<AppIdentifier> filteredApps;
    std::optional<Bytes> imageData;
    std::optional<std::string> imageFileName;
    std::optional<CodeLanguage> codeLanguage;
    std::optional<Timestamp> deletedAt;

    bool operator==(const Snippet&) const = default;

    /// The label, else the abbreviation, else the first non-blank line of the content (each
    /// trimmed), else "Untitled Snippet".
    std::string displayName() const;

    bool isDeleted() const { return deletedAt.has_value(); }
};

/// An abbreviation is valid when it is not blank (white space and line breaks do not count)
/// and holds no control character. Blanks around a valid abbreviation are kept as typed.
bool isValidAbbreviation(std::string_view abbreviation);

/// The message shown for an abbreviation that fails isValidAbbreviation().
std::string invalidAbbreviationMessage(std::string_view abbreviation);

}  // namespace wordloom
