#pragma once

#include <filesystem>
#include <string>

#include "core/base/Executor.h"

namespace wordloom {

class PersistenceService;
class SettingsStore;
class SnippetImageStore;
class SnippetStore;

/// Backups made and restored by the running app, as `wordloom backup` and
/// `wordloom restore-backup` make and restore them. Each returns the sentence to show, and
/// throws std::runtime_error with the reason when nothing was written or nothing replaced.
std::string makeLibraryBackup(PersistenceService& persistence, const SnippetStore& snippets,
                              const SettingsStore& settings, SnippetImageStore& images,
                              const std::filesystem::path& file);
/// All or nothing: a backup that can't be read or installed leaves the library as it was.
std::string restoreLibraryBackup(PersistenceService& persistence, SnippetStore& snippets,
                                 SettingsStore& settings, const std::filesystem::path& file,
                                 Timestamp now);

}  // namespace wordloom
