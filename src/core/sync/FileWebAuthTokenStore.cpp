#include "core/sync/FileWebAuthTokenStore.h"

#include "core/base/FileIO.h"
#include "core/base/Log.h"

namespace wordloom {

std::optional<std::string> FileWebAuthTokenStore::load() {
    try {
        auto token = readFileIfExists(file_);
        if (token && token->empty()) {
            return std::nullopt;
        }
        return token;
    } catch (const std::exception& error) {
        Logger("iCloudSyncService.token").error(error.what());
        return std::nullopt;
    }
}

void FileWebAuthTokenStore::save(const std::string& token) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    fs::create_directories(file_.parent_path(), ignored);
    writeFileAtomically(file_, token);
    fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write, ignored);
}

void FileWebAuthTokenStore::clear() {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
}

}  // namespace wordloom
