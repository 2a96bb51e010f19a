#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "core/sync/SyncBackend.h"

namespace wordloom {

/// Records kept in a folder that a file-sync tool (Syncthing, Nextcloud, Dropbox) copies
/// between machines. Safe under such tools: each device only ever creates files of its own,
/// never changes or deletes one, and reads everyone's.
///
/// Layout: <folder>/wordloom-sync/<device>/<sequence>.json, one file per modify request
/// ("batch"), numbered from 1 without gaps, each written whole under a temporary name and then
/// linked into place (so a reader never sees half a batch, and two processes of one device
/// never take the same number). A batch holds record versions, each with a Lamport clock: the
/// current copy of a record is its version with the highest (clock, device). A change tag names
/// one version ("<device>:<sequence>:<index>"); the change token records, per device, the last
/// batch read. A batch that cannot be read yet (a tool still copying it) ends what is read of
/// that device until a later sync. Conflict copies that tools make have other names and are
/// ignored.
class FolderSyncBackend final : public SyncBackend {
  public:
    static constexpr std::string_view subfolderName = "wordloom-sync";

    FolderSyncBackend(std::filesystem::path folder, std::string deviceId);

    std::string name() const override { return "folder"; }
    void ensureZone() override;
    CollectedChanges fetchChanges(const std::optional<std::string>& token) override;
    std::vector<SyncWriteResult> modify(const std::vector<SyncRecord>& saves,
                                        const std::vector<SyncRecordId>& deletions) override;
    std::optional<SyncRecord> lookup(const SyncRecordId& record) override;

  private:
    struct Version {
        std::string device;
        std::int64_t lamport = 0;
        bool deleted = false;
        SyncRecord record;  // changeTag set
    };
    struct Scan {
        std::map<std::string, Version> heads;      // by record name
        std::map<std::string, Version> headsThen;  // as of the token given to scan()
        std::map<std::string, std::int64_t> cursor;
        std::int64_t maxLamport = 0;
    };

    std::filesystem::path root() const;
    Scan scan(const std::map<std::string, std::int64_t>& then) const;
    void writeBatch(const std::vector<Version>& versions, std::int64_t& sequence);

    std::filesystem::path folder_;
    std::string deviceId_;
};

}  // namespace wordloom
