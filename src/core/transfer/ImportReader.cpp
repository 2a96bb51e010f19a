#include "core/transfer/ImportReader.h"

#include "core/transfer/ATextImporter.h"
#include "core/transfer/AlfredImporter.h"
#include "core/transfer/EspansoImporter.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportFormatDetection.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/RaycastImporter.h"
#include "core/transfer/TextExpanderImporter.h"
#include "core/transfer/TypeIt4MeImporter.h"
#include "core/transfer/WordloomImporter.h"

namespace wordloom {

ImportDocument readImport(const std::filesystem::path& path, std::optional<ImportFormat> format,
                          Timestamp now) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        throw ImportError("\u201c" + path.string() + "\u201d does not exist.");
    }
    const auto chosen = format ? *format : detectImportFormatOfPath(path);
    const bool isFolder = std::filesystem::is_directory(path, ec);
    if (isFolder && chosen != ImportFormat::espanso) {
        throw ImportError("\u201c" + path.string() +
                          "\u201d is a folder; only espanso imports "
                          "a folder. Name a file.");
    }
    if (chosen == ImportFormat::espanso) {
        return EspansoImporter::importPath(path, now);
    }
    const auto bytes = readImportFile(path);
    const auto name = path.filename().string();
    switch (chosen) {
        case ImportFormat::wordloom:
            return WordloomImporter::importText(bytes, now);
        case ImportFormat::textExpander:
            return TextExpanderImporter::importBytes(bytes, name, now);
        case ImportFormat::alfred:
            return AlfredImporter::importBytes(bytes, name, now);
        case ImportFormat::raycast:
            return RaycastImporter::importText(bytes, name, now);
        case ImportFormat::aText:
            return ATextImporter::importBytes(bytes, name, now);
        case ImportFormat::typeIt4Me:
            return TypeIt4MeImporter::importBytes(bytes, name, now);
        case ImportFormat::espanso:
            break;
    }
    return EspansoImporter::importPath(path, now);
}

}  // namespace wordloom
