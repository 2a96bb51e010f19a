#include "app/cli/CommandLine.h"

#include <cstdlib>
#include <ostream>
#include <string_view>

#include "app/cli/BackupCommands.h"
#include "app/cli/CommandErrors.h"
#include "app/cli/CommandRegistry.h"
#include "app/cli/CompletionCommands.h"
#include "app/cli/DetectionCommands.h"
#include "app/cli/ExportCommands.h"
#include "app/cli/GroupCommands.h"
#include "app/cli/ImportCommands.h"
#include "app/cli/LibraryCommands.h"
#include "app/cli/LibraryWindowCommand.h"
#include "app/cli/MacroCommands.h"
#include "app/cli/OpenUrlCommand.h"
#include "app/cli/PanelCommands.h"
#include "app/cli/RequestCommands.h"
#include "app/cli/SettingsCommands.h"
#include "app/cli/ShortcutCommands.h"
#include "app/cli/StartCommand.h"
#include "app/cli/SyncCommands.h"
#include "app/cli/VersionCommands.h"

namespace wordloom::cli {
namespace {

CommandRegistry makeRegistry() {
    CommandRegistry registry;
    registerLibraryCommands(registry);
    registerMacroCommands(registry);
    registerGroupCommands(registry);
    registerVersionCommands(registry);
    registerBackupCommands(registry);
    registerSettingsCommands(registry);
    registerStartCommand(registry);
    registerRequestCommands(registry);
    registerPanelCommands(registry);
    registerLibraryWindowCommand(registry);
    registerDetectionCommands(registry);
    registerSyncCommands(registry);
    registerShortcutCommands(registry);
    registerCompletionCommands(registry);
    registerOpenUrlCommand(registry);
    registerExportCommands(registry);
    registerImportCommands(registry);
    return registry;
}

void printOverview(const CommandRegistry& registry, std::ostream& stream) {
    stream << "usage: wordloom [--data-dir DIR] COMMAND [OPTIONS]\n\ncommands:\n";
    for (const auto* command : registry.commands()) {
        stream << "  " << command->name;
        for (std::size_t i = command->name.size(); i < 14; ++i) {
            stream << ' ';
        }
        stream << ' ' << command->summary << "\n";
    }
    stream << "\n\"wordloom help COMMAND\" shows how to call a command.\n";
}

bool isHelpRequest(std::string_view argument) {
    return argument == "--help" || argument == "-h" || argument == "help";
}

std::optional<std::string> processEnvironment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace

int runCommandLine(int argc, char** argv, std::istream& in, std::ostream& out, std::ostream& err) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    return runCommandLine(arguments, in, out, err, &processEnvironment);
}

int runCommandLine(std::vector<std::string> arguments, std::istream& in, std::ostream& out,
                   std::ostream& err,
                   std::function<std::optional<std::string>(const std::string&)> environment) {
    const auto registry = makeRegistry();
    std::optional<std::filesystem::path> dataDirectory;
    // Options before the command name apply to every command.
    while (!arguments.empty() && arguments.front().starts_with("--data-dir")) {
        if (arguments.front() == "--data-dir" && arguments.size() >= 2) {
            dataDirectory = arguments[1];
            arguments.erase(arguments.begin(), arguments.begin() + 2);
        } else if (arguments.front().starts_with("--data-dir=")) {
            dataDirectory = arguments.front().substr(std::string_view("--data-dir=").size());
            arguments.erase(arguments.begin());
        } else {
            err << "wordloom: the option \u201c--data-dir\u201d needs a value\n";
            printOverview(registry, err);
            return 2;
        }
    }
    if (arguments.empty()) {
        printOverview(registry, err);
        return 2;
    }
    if (arguments.front() == "--version" || arguments.front() == "-V") {
        out << "wordloom " << WORDLOOM_VERSION << "\n";
        return 0;
    }
    if (isHelpRequest(arguments.front())) {
        if (arguments.size() >= 2) {
            if (const auto* command = registry.find(arguments[1])) {
                out << "usage: " << command->usage << "\n" << command->summary << "\n";
                return 0;
            }
        }
        printOverview(registry, out);
        return 0;
    }
    const auto* command = registry.find(arguments.front());
    if (!command) {
        err << "wordloom: unknown command \u201c" << arguments.front() << "\u201d\n";
        printOverview(registry, err);
        return 2;
    }
    std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (!rest.empty() && (rest.front() == "--help" || rest.front() == "-h")) {
        out << "usage: " << command->usage << "\n" << command->summary << "\n";
        return 0;
    }
    CommandInvocation invocation(std::move(rest), in, out, err, std::move(environment));
    invocation.globalDataDirectory = dataDirectory;
    try {
        return command->handler(invocation);
    } catch (const UsageError& error) {
        err << "wordloom " << command->name << ": " << error.what() << "\n";
        err << "usage: " << command->usage << "\n";
        return 2;
    } catch (const CommandError& error) {
        err << "wordloom " << command->name << ": " << error.what() << "\n";
        return 1;
    } catch (const std::exception& error) {
        err << "wordloom " << command->name << ": " << error.what() << "\n";
        return 1;
    }
}

}  // namespace wordloom::cli
