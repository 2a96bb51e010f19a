#include "core/transfer/ImportFormat.h"

#include "core/base/Text.h"

namespace wordloom {

std::string_view importFormatName(ImportFormat format) {
    switch (format) {
        case ImportFormat::wordloom:
            return "wordloom";
        case ImportFormat::espanso:
            return "espanso";
        case ImportFormat::textExpander:
            return "textexpander";
        case ImportFormat::alfred:
            return "alfred";
        case ImportFormat::raycast:
            return "raycast";
        case ImportFormat::aText:
            return "atext";
        case ImportFormat::typeIt4Me:
            return "typeit4me";
    }
    return "wordloom";
}

std::string_view importFormatTitle(ImportFormat format) {
    switch (format) {
        case ImportFormat::wordloom:
            return "Wordloom";
        case ImportFormat::espanso:
            return "espanso";
        case ImportFormat::textExpander:
            return "TextExpander";
        case ImportFormat::alfred:
            return "Alfred";
        case ImportFormat::raycast:
            return "Raycast";
        case ImportFormat::aText:
            return "aText";
        case ImportFormat::typeIt4Me:
            return "TypeIt4Me";
    }
    return "Wordloom";
}

std::optional<ImportFormat> importFormatNamed(std::string_view name) {
    const auto lower = text::lowercased(name);
    for (const auto format : allImportFormats) {
        if (lower == importFormatName(format)) {
            return format;
        }
    }
    return std::nullopt;
}

}  // namespace wordloom
