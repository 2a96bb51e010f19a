#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/sync/SyncBackend.h"

namespace wordloom {

class UserDefaults;

/// Which backend this copy syncs with and its particulars, kept in the user defaults (not in
/// settings.json, whose format every copy shares): "syncBackend" ("folder" or "cloudkit"),
/// "syncFolderPath", "cloudKitContainer", "cloudKitAPIToken", "cloudKitEnvironment", and
/// "syncDeviceId", this copy's own name in a shared folder.
struct SyncConfiguration {
    enum class Backend { none, folder, cloudKit };

    static constexpr const char* defaultContainer = "iCloud.com.corvelindahl.Wordloom";

    Backend backend = Backend::none;
    std::filesystem::path folder;
    std::string container = defaultContainer;
    std::string apiToken;
    std::string environment = "production";

    static SyncConfiguration load(const UserDefaults& defaults);
    void save(UserDefaults& defaults) const;

    /// This copy's device id, made and kept on first use.
    static std::string deviceId(UserDefaults& defaults);

    /// The backend, or nothing when sync is set up for none. Throws SyncBackendError for a
    /// configuration that cannot work (CloudKit, which this build cannot reach yet).
    std::shared_ptr<SyncBackend> makeBackend(UserDefaults& defaults) const;

    std::string backendName() const;
};

}  // namespace wordloom
