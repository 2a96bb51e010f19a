#include "core/library/LibraryBackup.h"

#include <stdexcept>

#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/library/ExportData.h"
#include "core/library/PersistenceService.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

std::string makeLibraryBackup(PersistenceService& persistence, const SnippetStore& snippets,
                              const SettingsStore& settings, SnippetImageStore& images,
                              const std::filesystem::path& file) {
    ExportData data;
    try {
        data = persistence.exportData(
            snippets.snippets(), snippets.groups(), settings.settings(),
            [&images](const Snippet& s) -> std::optional<Bytes> { return images.read(s.id); });
        writeFileAtomically(file, encodeExportData(data));
    } catch (const BackupError& error) {
        throw std::runtime_error(error.what());
    } catch (const FileError& error) {
        throw std::runtime_error(error.what());
    }
    return "Backed up " + std::to_string(data.snippets.size()) + " snippets and " +
           std::to_string(data.groups.size()) + " groups to " + file.string() + ".";
}

std::string restoreLibraryBackup(PersistenceService& persistence, SnippetStore& snippets,
                                 SettingsStore& settings, const std::filesystem::path& file,
                                 Timestamp now) {
    std::string text;
    try {
        text = readFile(file, fileSizeLimit::document);
    } catch (const FileError& error) {
        throw std::runtime_error(error.what());
    }
    ExportData backup;
    try {
        backup = decodeExportData(text, now);
    } catch (const JsonError& error) {
        throw std::runtime_error("\u201c" + file.filename().string() +
                                 "\u201d is not a Wordloom backup: " + error.what());
    }
    PersistenceService::RestoredLibrary restored;
    try {
        restored = persistence.restoreFromBackup(backup);
    } catch (const std::exception& error) {
        throw std::runtime_error(error.what());
    }
    const auto snippetCount = restored.snippets.size();
    const auto groupCount = restored.groups.size();
    snippets.replaceAll(std::move(restored.snippets), std::move(restored.groups));
    settings.replaceAll(restored.settings);
    return "Restored " + std::to_string(snippetCount) + " snippets and " +
           std::to_string(groupCount) + " groups from " + file.string() + ".";
}

}  // namespace wordloom
