#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/EventLoopExecutor.h"
#include "core/library/PersistenceService.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"

namespace wordloom::cli {

class CommandInvocation;
class ParsedArguments;

/// Where the user's files are.
struct LibraryLocation {
    std::filesystem::path dataFolder;
    /// The folder of defaults.json.
    std::filesystem::path configFolder;

    /// "--data-dir" > WORDLOOM_DATA_DIR > $XDG_DATA_HOME/Wordloom > ~/.local/share/Wordloom. With
    /// an explicit data folder (option or variable) defaults.json lives in it, so one folder
    /// holds everything; otherwise in $XDG_CONFIG_HOME/Wordloom (~/.config/Wordloom). Throws
    /// CommandError when no folder can be worked out.
    static LibraryLocation resolve(const CommandInvocation& invocation,
                                   const ParsedArguments& arguments);
};

/// The user's library opened the way the app opens it: the same stores on a real event loop,
/// loaded in the background (with a deadline), saving after the same debounce. Every command
/// works through one. save() flushes what is pending and reports a failed write.
class LibrarySession {
  public:
    /// How long the first load may take before the command gives up.
    static constexpr Duration loadDeadline = std::chrono::seconds(20);

    /// Opens and loads the library. Throws CommandError when the data folder cannot be made or
    /// the load does not finish in time.
    explicit LibrarySession(const LibraryLocation& location);
    /// Flushes anything still pending (errors are logged).
    ~LibrarySession();
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    SnippetStore& snippets() { return *snippetStore_; }
    SettingsStore& settings() { return *settingsStore_; }
    SnippetVersionStore& versions() { return *versionStore_; }
    SnippetImageStore& images() { return *imageStore_; }
    PersistenceService& persistence() { return *persistence_; }
    EventLoopExecutor& executor() { return *executor_; }
    UserDefaults& defaults() { return *defaults_; }
    const LibraryLocation& location() const { return location_; }

    /// Throws CommandError when snippets.json could not be read, so that a change does not
    /// replace a file the user may still repair.
    void requireWritableLibrary() const;

    /// Messages of files that could not be read while loading (the library loaded without them).
    std::vector<std::string> loadWarnings() const;

    /// Writes every pending change now, waits for saves already under way, and throws
    /// CommandError with the store's message when a write failed.
    void save();

  private:
    // Declared so that they go away in a safe order: the stores first, then the executor (which
    // waits for background work still running), then what that work uses.
    std::unique_ptr<PersistenceService> persistence_;
    std::unique_ptr<UserDefaults> defaults_;
    std::unique_ptr<SnippetImageStore> imageStore_;
    std::unique_ptr<EventLoopExecutor> executor_;
    LibraryLocation location_;
    std::unique_ptr<SnippetVersionStore> versionStore_;
    std::unique_ptr<SettingsStore> settingsStore_;
    std::unique_ptr<SnippetStore> snippetStore_;
    // What the load left in lastError, so that save() reports only new failures.
    std::optional<std::string> snippetLoadError_;
    std::optional<std::string> settingsLoadError_;
};

}  // namespace wordloom::cli
