#include "app/cli/LibrarySession.h"

#include "app/cli/CommandErrors.h"
#include "app/cli/CommandRegistry.h"
#include "core/base/Log.h"

namespace fs = std::filesystem;

namespace wordloom::cli {
namespace {

constexpr const char* kFolderName = "Wordloom";

std::optional<fs::path> nonEmptyVariable(const CommandInvocation& invocation,
                                         const std::string& name) {
    auto value = invocation.environment(name);
    if (!value || value->empty()) {
        return std::nullopt;
    }
    return fs::path(*value);
}

fs::path userFolder(const CommandInvocation& invocation, const std::string& xdgVariable,
                    const fs::path& fallbackUnderHome) {
    if (auto xdg = nonEmptyVariable(invocation, xdgVariable); xdg && xdg->is_absolute()) {
        return *xdg / kFolderName;
    }
    auto home = nonEmptyVariable(invocation, "HOME");
    if (!home) {
        throw CommandError("Can't find the data folder: neither " + xdgVariable +
                           " nor HOME is set. Use --data-dir DIR.");
    }
    return *home / fallbackUnderHome / kFolderName;
}

}  // namespace

LibraryLocation LibraryLocation::resolve(const CommandInvocation& invocation,
                                         const ParsedArguments& arguments) {
    auto explicitFolder = dataDirectoryOption(invocation, arguments);
    if (!explicitFolder) {
        explicitFolder = nonEmptyVariable(invocation, "WORDLOOM_DATA_DIR");
    }
    if (explicitFolder) {
        return {*explicitFolder, *explicitFolder};
    }
    return {userFolder(invocation, "XDG_DATA_HOME", fs::path(".local") / "share"),
            userFolder(invocation, "XDG_CONFIG_HOME", ".config")};
}

LibrarySession::LibrarySession(const LibraryLocation& location)
    : executor_(std::make_unique<EventLoopExecutor>()), location_(location) {
    try {
        persistence_ = std::make_unique<PersistenceService>(location.dataFolder, *executor_);
        persistence_->cleanUpInterruptedWork();
    } catch (const std::exception& error) {
        throw CommandError(error.what());
    }
    defaults_ = std::make_unique<UserDefaults>(location.configFolder / UserDefaults::fileName);
    imageStore_ = std::make_unique<SnippetImageStore>(persistence_->imagesFolder());
    versionStore_ = std::make_unique<SnippetVersionStore>(*executor_, *persistence_);
    settingsStore_ = std::make_unique<SettingsStore>(*executor_, *persistence_);
    snippetStore_ = std::make_unique<SnippetStore>(*executor_, *persistence_, *imageStore_,
                                                   *versionStore_, *defaults_);
    versionStore_->startHydration();
    settingsStore_->startHydration();
    snippetStore_->startHydration();
    const bool loaded = executor_->runUntil(
        [this] {
            return versionStore_->isHydrated() && settingsStore_->isHydrated() &&
                   snippetStore_->isHydrated();
        },
        loadDeadline);
    if (!loaded) {
        throw CommandError("The library in " + location.dataFolder.string() +
                           " did not finish loading in time.");
    }
    snippetLoadError_ = snippetStore_->lastError();
    settingsLoadError_ = settingsStore_->lastError();
}

std::vector<std::string> LibrarySession::loadWarnings() const {
    std::vector<std::string> warnings;
    if (snippetLoadError_) {
        warnings.push_back(*snippetLoadError_);
    }
    if (settingsLoadError_) {
        warnings.push_back("Settings could not be read, so the defaults are in use: " +
                           *settingsLoadError_);
    }
    return warnings;
}

LibrarySession::~LibrarySession() {
    // A command that failed halfway still keeps what it changed before, like the app would.
    snippetStore_->flush();
    settingsStore_->flush();
    versionStore_->flush();
    executor_->runUntilIdle(std::chrono::seconds(5));
}

void LibrarySession::requireWritableLibrary() const {
    if (snippetStore_->loadFailed()) {
        throw CommandError("The library was not changed because snippets.json could not be read: " +
                           snippetStore_->lastError().value_or("unknown error"));
    }
}

void LibrarySession::save() {
    // A command's changes are complete when it ends: write them at once instead of waiting out
    // the quiet period that lets the app gather a burst of edits into one write.
    snippetStore_->flush();
    settingsStore_->flush();
    const bool versionsSaved = versionStore_->flush();
    // Then let saves that were already under way report back.
    const bool settled = executor_->runUntilIdle(std::chrono::seconds(5));
    if (!settled) {
        Logger("LibrarySession").error("Saving took too long; pending writes were flushed.");
    }
    if (auto error = snippetStore_->lastError(); error && error != snippetLoadError_) {
        throw CommandError("Couldn't save the library: " + *error);
    }
    if (auto error = settingsStore_->lastError(); error && error != settingsLoadError_) {
        throw CommandError("Couldn't save the settings: " + *error);
    }
    if (!versionsSaved) {
        throw CommandError("Couldn't save the version history.");
    }
}

}  // namespace wordloom::cli
