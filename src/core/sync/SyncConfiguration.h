#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/sync/CloudKitWebServicesBackend.h"
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
    /// The loopback port of the API token's sign-in callback.
    int callbackPort = 0;

    static SyncConfiguration load(const UserDefaults& defaults);
    void save(UserDefaults& defaults) const;

    /// This copy's device id, made and kept on first use.
    static std::string deviceId(UserDefaults& defaults);

    /// The backend, or nothing when sync is set up for none. CloudKit's web auth token is kept
    /// in `tokens` (the desktop's Secret Service), or without one in the file tokenFile() names.
    std::shared_ptr<SyncBackend> makeBackend(
        UserDefaults& defaults, std::shared_ptr<WebAuthTokenStore> tokens = nullptr) const;

    /// The file CloudKit's web auth token is kept in when no Secret Service answers: beside
    /// `defaults`, readable by the user only.
    static std::filesystem::path tokenFile(const UserDefaults& defaults);
    CloudKitSettings cloudKitSettings() const;

    std::string backendName() const;
};

}  // namespace wordloom
