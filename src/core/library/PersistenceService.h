#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/library/AppSettings.h"
#include "core/library/BackupError.h"
#include "core/library/ExportData.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/library/SnippetVersion.h"

namespace wordloom {

/// The library files the service owns.
enum class LibraryFile { snippets, groups, settings, versions };

/// Owns the data folder and its JSON files: writes them atomically, reads them back
/// forgivingly, and replaces the whole library from a backup as one transaction. Thread-safe:
/// the stores call it from the main queue and from background tasks.
class PersistenceService {
  public:
    /// Where a save request stands in line: its sequence number and the restore epoch it was
    /// made in.
    struct SaveTicket {
        std::uint64_t sequence = 0;
        std::uint64_t epoch = 0;
    };

    /// One file a restore puts in place.
    struct Replacement {
        std::filesystem::path url;
        std::string data;
    };

    /// Writes `data` to `destination` so that it appears whole or not at all.
    using FileInstaller =
        std::function<void(const std::filesystem::path& destination, std::string_view data)>;

    /// What a restore put on disk, ready for the stores' replaceAll(). Image bytes now live in
    /// side files, so the snippets name those instead of carrying the bytes.
    struct RestoredLibrary {
        std::vector<Snippet> snippets;
        std::vector<SnippetGroup> groups;
        AppSettings settings;
    };

    static constexpr std::string_view snippetsFileName = "snippets.json";
    static constexpr std::string_view groupsFileName = "groups.json";
    static constexpr std::string_view settingsFileName = "settings.json";
    static constexpr std::string_view versionsFileName = "versions.json";
    static constexpr std::string_view imagesFolderName = "snippet-images";
    static constexpr std::string_view stagingPrefix = ".backup-restore-";

    /// Creates `dataFolder` (with its parents) when missing; throws FileError when it can't.
    PersistenceService(std::filesystem::path dataFolder, const Clock& clock);
    PersistenceService(const PersistenceService&) = delete;
    PersistenceService& operator=(const PersistenceService&) = delete;

    const std::filesystem::path& dataFolder() const { return dataFolder_; }
    std::filesystem::path path(LibraryFile file) const;
    std::filesystem::path imagesFolder() const { return dataFolder_ / imagesFolderName; }

    /// Puts back what an interrupted backup restore moved aside, and removes temporary files an
    /// interrupted write left, once they are older than `minimumAge` (so another running copy's
    /// write in progress is left alone). Returns how many leftovers were dealt with.
    std::size_t cleanUpInterruptedWork(std::chrono::seconds minimumAge = std::chrono::seconds(60));

    /// Takes the next save sequence number. A store takes it when it snapshots its state.
    SaveTicket beginSave();

    /// Each writes its file atomically. They return false, writing nothing, when the ticket is
    /// older than the newest snapshot already on disk, was taken before a restore, or a restore
    /// is running. Throw FileError when the write fails.
    bool saveSnippets(const std::vector<Snippet>& snippets, SaveTicket ticket);
    bool saveGroups(const std::vector<SnippetGroup>& groups, SaveTicket ticket);
    bool saveSettings(const AppSettings& settings, SaveTicket ticket);
    bool saveSnippetVersions(const std::vector<SnippetVersion>& versions, SaveTicket ticket);

    /// Loads; a missing file gives an empty result. Throw FileError (unreadable) or JsonError
    /// (not JSON, or of the wrong shape). Malformed snippets are skipped and logged.
    std::vector<Snippet> loadSnippets() const;
    std::vector<SnippetGroup> loadGroups() const;
    std::optional<AppSettings> loadSettings() const;
    std::vector<SnippetVersion> loadSnippetVersions() const;

    /// The backup document of a library. `readImage` gives the bytes of an image snippet that
    /// has only a side file; it returns nothing (or throws) when they cannot be read, and then
    /// BackupError::missingImageData is thrown.
    ExportData exportData(
        const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
        const AppSettings& settings,
        const std::function<std::optional<Bytes>(const Snippet&)>& readImage) const;

    /// Replaces snippets, groups, settings and image side files with the backup's, all or
    /// nothing. Throws BackupError before touching anything when an image snippet has no bytes,
    /// and BackupRestoreError (or the installer's error) when the files could not be replaced;
    /// the previous files are then back in place.
    RestoredLibrary restoreFromBackup(const ExportData& backup);

    /// Replaces how a restore writes each new file (tests make it fail on purpose).
    void setFileInstaller(FileInstaller installer);

    std::uint64_t saveSequence() const;
    std::uint64_t lastWrittenSequence(LibraryFile file) const;
    std::uint64_t writeEpoch() const;
    bool restoreInProgress() const;

  private:
    bool writeIfCurrent(LibraryFile file, SaveTicket ticket, std::string_view bytes);
    void installReplacements(const std::vector<Replacement>& replacements,
                             const std::filesystem::path& staging);

    std::filesystem::path dataFolder_;
    const Clock& clock_;
    FileInstaller installer_;

    std::mutex writeLock_;
    std::mutex restoreLock_;
    mutable std::mutex sequenceLock_;
    std::uint64_t saveSequence_ = 0;
    std::array<std::uint64_t, 4> lastWrittenSequence_{};
    std::uint64_t writeEpoch_ = 0;
    bool restoreInProgress_ = false;
};

}  // namespace wordloom
