#include "app/cli/BackupCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/library/ExportData.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

constexpr const char* kDefaultBackupName = "Wordloom Backup.json";

int backupCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"output", Kind::value, "o"}});
    expectPositionals(arguments, 0);
    const std::filesystem::path file = arguments.value("output").value_or(kDefaultBackupName);
    auto session = openLibrary(invocation, arguments);
    auto& images = session->images();
    ExportData data;
    try {
        data = session->persistence().exportData(
            session->snippets().snippets(), session->snippets().groups(),
            session->settings().settings(),
            [&images](const Snippet& s) -> std::optional<Bytes> { return images.read(s.id); });
    } catch (const BackupError& error) {
        throw CommandError(error.what());
    }
    try {
        writeFileAtomically(file, encodeExportData(data));
    } catch (const FileError& error) {
        throw CommandError(error.what());
    }
    invocation.out() << "Backed up " << data.snippets.size() << " snippets and "
                     << data.groups.size() << " groups to " << file.string() << ".\n";
    return 0;
}

int restoreBackupCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 1);
    const std::filesystem::path file = arguments.positionals()[0];
    std::string text;
    try {
        text = readFile(file, fileSizeLimit::document);
    } catch (const FileError& error) {
        throw CommandError(error.what());
    }
    auto session = openLibrary(invocation, arguments);
    ExportData backup;
    try {
        backup = decodeExportData(text, session->executor().now());
    } catch (const JsonError& error) {
        throw CommandError("\u201c" + file.filename().string() +
                           "\u201d is not a Wordloom backup: " + error.what());
    }
    PersistenceService::RestoredLibrary restored;
    try {
        restored = session->persistence().restoreFromBackup(backup);
    } catch (const std::exception& error) {
        throw CommandError(error.what());
    }
    const auto snippetCount = restored.snippets.size();
    const auto groupCount = restored.groups.size();
    session->snippets().replaceAll(std::move(restored.snippets), std::move(restored.groups));
    session->settings().replaceAll(restored.settings);
    session->save();
    invocation.out() << "Restored " << snippetCount << " snippets and " << groupCount
                     << " groups from " << file.string() << ".\n";
    return 0;
}

}  // namespace

void registerBackupCommands(CommandRegistry& registry) {
    registry.add({"backup", "wordloom backup [-o FILE]",
                  "Write the whole library with its settings to one file (default \"" +
                      std::string(kDefaultBackupName) + "\").",
                  backupCommand});
    registry.add({"restore-backup", "wordloom restore-backup FILE",
                  "Replace the library and settings with a backup's, all or nothing.",
                  restoreBackupCommand});
}

}  // namespace wordloom::cli
