#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/sync/SyncRecord.h"

namespace wordloom {

/// What this copy and the server last agreed on, per record: the server's change tag, the
/// fields the server's copy has, and the fingerprint of the local record at that moment. A
/// local record whose fingerprint differs has changed since (whoever changed it: the app, the
/// command line, a restore), and a record here that the library no longer has was deleted.
/// Kept in "icloud-sync-records.json" in the data folder.
class SyncedRecordIndex {
  public:
    static constexpr std::string_view fileName = "icloud-sync-records.json";

    struct Entry {
        std::string recordType;
        std::optional<std::string> changeTag;
        std::vector<std::string> fields;
        std::string fingerprint;
        bool operator==(const Entry&) const = default;
    };

    /// Reads `file`; a missing file is an empty index. Throws JsonError or FileError for one
    /// that cannot be read (the caller reconciles everything then).
    static SyncedRecordIndex load(const std::filesystem::path& file);
    /// Throws FileError.
    void save(const std::filesystem::path& file) const;

    const Entry* find(const std::string& recordName) const;
    /// Records that the server copy of `record` is what this copy has, `fingerprint` being the
    /// local record's.
    void agree(const SyncRecord& serverRecord, std::string fingerprint);
    void remove(const std::string& recordName);
    const std::map<std::string, Entry>& entries() const { return entries_; }
    void clear() { entries_.clear(); }

    /// The server's copy as far as the index knows it: type, name, tag and the names of its
    /// fields (for clearing the ones a new version no longer has).
    std::optional<SyncRecord> serverSkeleton(const std::string& recordName) const;

  private:
    std::map<std::string, Entry> entries_;
};

}  // namespace wordloom
