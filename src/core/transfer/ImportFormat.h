#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace wordloom {

/// The libraries the importer reads.
enum class ImportFormat {
    wordloom,      // our own JSON export, or a backup
    espanso,       // a YAML match file, or the whole configuration folder
    textExpander,  // a .textexpander property list (XML or binary)
    alfred,        // an .alfredsnippets archive
    raycast,       // Raycast's snippets.json
    aText,         // aText's CSV export
    typeIt4Me,     // a TypeIt4Me property list
};

inline constexpr std::array allImportFormats{
    ImportFormat::wordloom, ImportFormat::espanso, ImportFormat::textExpander, ImportFormat::alfred,
    ImportFormat::raycast,  ImportFormat::aText,   ImportFormat::typeIt4Me};

/// The name the command line takes: "wordloom", "espanso", "textexpander", "alfred",
/// "raycast", "atext", "typeit4me".
std::string_view importFormatName(ImportFormat format);
std::optional<ImportFormat> importFormatNamed(std::string_view name);

/// "espanso", "TextExpander", ...: for messages.
std::string_view importFormatTitle(ImportFormat format);

}  // namespace wordloom
