#include "core/sync/SyncConfiguration.h"

#include "core/base/Uuid.h"
#include "core/library/UserDefaults.h"
#include "core/sync/FileWebAuthTokenStore.h"
#include "core/sync/FolderSyncBackend.h"

#include <cstdlib>

namespace wordloom {

SyncConfiguration SyncConfiguration::load(const UserDefaults& defaults) {
    SyncConfiguration configuration;
    const auto backend = defaults.stringForKey("syncBackend").value_or("");
    if (backend == "folder") {
        configuration.backend = Backend::folder;
    } else if (backend == "cloudkit") {
        configuration.backend = Backend::cloudKit;
    }
    configuration.folder = defaults.stringForKey("syncFolderPath").value_or("");
    configuration.container = defaults.stringForKey("cloudKitContainer").value_or(defaultContainer);
    configuration.apiToken = defaults.stringForKey("cloudKitAPIToken").value_or("");
    configuration.environment = defaults.stringForKey("cloudKitEnvironment").value_or("production");
    return configuration;
}

void SyncConfiguration::save(UserDefaults& defaults) const {
    defaults.setString("syncBackend", backendName());
    if (backend == Backend::folder) {
        defaults.setString("syncFolderPath", folder.string());
    } else if (backend == Backend::cloudKit) {
        defaults.setString("cloudKitContainer", container);
        defaults.setString("cloudKitAPIToken", apiToken);
        defaults.setString("cloudKitEnvironment", environment);
        defaults.setString("cloudKitCallbackPort", std::to_string(callbackPort));
    }
}

std::string SyncConfiguration::deviceId(UserDefaults& defaults) {
    if (const auto id = defaults.stringForKey("syncDeviceId"); id && Uuid::parse(*id)) {
        return *id;
    }
    const auto id = Uuid::random().toString();
    defaults.setString("syncDeviceId", id);
    return id;
}

std::shared_ptr<SyncBackend> SyncConfiguration::makeBackend(
    UserDefaults& defaults, std::shared_ptr<WebAuthTokenStore> tokens) const {
    switch (backend) {
        case Backend::none:
            return nullptr;
        case Backend::folder:
            return std::make_shared<FolderSyncBackend>(folder, deviceId(defaults));
        case Backend::cloudKit:
            if (!tokens) {
                tokens = std::make_shared<FileWebAuthTokenStore>(tokenFile(defaults));
            }
            return std::make_shared<CloudKitWebServicesBackend>(
                cloudKitSettings(), std::make_shared<CurlHttpTransport>(), std::move(tokens));
    }
    return nullptr;
}

std::filesystem::path SyncConfiguration::tokenFile(const UserDefaults& defaults) {
    return defaults.file().parent_path() / FileWebAuthTokenStore::fileName;
}

CloudKitSettings SyncConfiguration::cloudKitSettings() const {
    CloudKitSettings settings;
    settings.container = container;
    settings.environment = environment;
    settings.apiToken = apiToken;
    if (const char* base = std::getenv("WORDLOOM_CLOUDKIT_BASE_URL")) {
        settings.baseURL = base;  // a local server speaking the same protocol, for tests
    }
    return settings;
}

std::string SyncConfiguration::backendName() const {
    switch (backend) {
        case Backend::none:
            return "off";
        case Backend::folder:
            return "folder";
        case Backend::cloudKit:
            return "cloudkit";
    }
    return "off";
}

}  // namespace wordloom
